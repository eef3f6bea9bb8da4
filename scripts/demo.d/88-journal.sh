# shellcheck shell=bash
# Kernel messages of the last seconds, from a journal file with chosen entries.

# An entry in the journal's export format.
journal_entry() { # MICROSECONDS TRANSPORT MESSAGE
    printf '%s\n' "__REALTIME_TIMESTAMP=$((1700000000000000 + $1))" \
        "__MONOTONIC_TIMESTAMP=$1" "_BOOT_ID=$(tr -d - </proc/sys/kernel/random/boot_id)" \
        "_TRANSPORT=$2" "MESSAGE=$3" ""
}

group_journal() {
    local now folder=/run/log/journal/0123456789abcdef0123456789abcdef
    group "Kernel messages (from a journal file with chosen entries)"
    read -r now _ </proc/uptime
    now=$((10#${now/./} * 10000))
    mkdir -p "$folder"
    {
        journal_entry 1000500 kernel "long ago"
        journal_entry $((now - 20000000)) kernel "eth0: link becomes ready"
        journal_entry $((now - 10000000)) syslog "of a program"
        journal_entry $((now - 5000000)) kernel "eth0: link is down"
    } >/run/sandbox/entries
    /lib/systemd/systemd-journal-remote -o "$folder/system.journal" /run/sandbox/entries \
        >/dev/null 2>&1

    step "Copy the last minute: the kernel's messages only"
    call JOURNAL_CTRL kernel 60 /run/kernel.log
    show cat /run/kernel.log
    replied "i 0"
    has_logged "60 seconds"
    shows "] eth0: link becomes ready"
    shows "] eth0: link is down"
    shows_no "of a program"
    check "the header is the window, and an empty line follows" \
        grep -qzE '^\[[0-9]+\.[0-9]{6}\] -> \[[0-9]+\.[0-9]{6}\]'$'\n\n' /run/kernel.log
    done_step

    step "A window longer than the uptime begins at 0 and holds everything"
    call JOURNAL_CTRL kernel 2000000000 /run/kernel.log
    show cat /run/kernel.log
    shows "[0.000000] -> ["
    shows "[1.000500] long ago"
    done_step

    step "The output file is a folder"
    call JOURNAL_CTRL kernel 60 /run
    replied "i 0"
    has_logged "ERROR - failed to open [/run]"
    done_step

    step "Two arguments only"
    call JOURNAL_CTRL kernel 60
    has_logged "ERROR - invalid parm list"
    done_step
}
demo_groups+=(group_journal)
