# shellcheck shell=bash
# shellcheck disable=SC2154 # program_calls is that of 84-scripts.sh
# The USB network gadget, on a folder in place of configfs.

group_usbnic() {
    local gadget=/sys/kernel/config/usb_gadget/usbpt
    local arp_ignore=/proc/sys/net/ipv4/conf/all/arp_ignore
    group "USB network gadget (on a folder in place of configfs)"

    step "Set it up: the script runs, then the kernel's ARP policy is set"
    lay_program /bin/configfs_gadget_usbpt.sh
    call USBNIC init 02:00:5e:00:00:01 02:00:5e:00:00:02 up
    show cat "$program_calls" "$arp_ignore"
    replied "i 0"
    has_logged "initializing usb-nic"
    shows "configfs_gadget_usbpt.sh 02:00:5e:00:00:01 02:00:5e:00:00:02 up"
    check "arp_ignore is 1" grep -qx 1 "$arp_ignore"
    done_step

    step "There is no gadget yet"
    call USBNIC enable
    has_logged "ERROR - failed to open $gadget/UDC"
    done_step

    step "Bind the gadget to its controller"
    mkdir -p "$gadget"
    echo >"$gadget/UDC"
    call USBNIC enable
    show cat "$gadget/UDC"
    has_logged "driver command OK"
    shows "ci_hdrc.5"
    done_step

    step "Unbind it"
    call USBNIC disable
    show od -c "$gadget/UDC"
    has_logged "driver command OK"
    shows_no "c   i"
    check "the file holds one line feed" test "$(od -An -tx1 "$gadget/UDC")" = " 0a"
    done_step

    step "An init without its addresses is refused"
    call USBNIC init
    replied "i 0"
    has_logged "ERROR - invalid parm list"
    done_step
}
demo_groups+=(group_usbnic)
