# shellcheck shell=bash
# Host name, domain name, hosts file.

group_identity() {
    local long
    group "Host identity"

    step "Set the host name"
    call SET_HOSTNAME bmc-1
    show hostname
    replied "i 0"
    has_logged "setting hostname:bmc-1 rc=0"
    shows "bmc-1"
    done_step

    step "Set the domain name"
    call SET_DOMAINNAME example.net
    show cat /proc/sys/kernel/domainname
    has_logged "setting domainname:example.net rc=0"
    shows "example.net"
    done_step

    step "A name of 65 characters: kex lets it through, the kernel does not"
    long=$(printf 'x%.0s' {1..65})
    call SET_HOSTNAME "$long"
    show hostname
    replied "i 0"
    has_logged "rc=-1"
    shows "bmc-1"
    done_step

    step "A blank in a name is refused"
    call SET_HOSTNAME "bmc 1"
    show hostname
    has_logged "ERROR - invalid parm list"
    shows "bmc-1"
    done_step

    step "Give the name to the hosts file, twice: it has one line for it"
    call UPDATE_HOSTS_FILE bmc-1
    call UPDATE_HOSTS_FILE bmc-1
    show cat /etc/hosts
    shows $'127.0.0.1\tlocalhost wpcm450'
    shows $'127.0.0.1\tbmc-1'
    check "the file has four lines" test "$(wc -l </etc/hosts)" -eq 4
    done_step
}
demo_groups+=(group_identity)
