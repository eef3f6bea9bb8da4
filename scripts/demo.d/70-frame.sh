# shellcheck shell=bash
# A prepared Ethernet frame, caught at the other end of the veth pair.

frame_file=/etc/lldpd.d/tirveth1.packet

# Writes the first frame that arrives at eth2 into a file.
catch_frame() { # FILE
    rm -f "$1.ready"
    python3 -c '
import socket, sys
sock = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(3))
sock.bind(("eth2", 3))
sock.settimeout(20)
open(sys.argv[1] + ".ready", "w").close()
open(sys.argv[1], "wb").write(sock.recv(65536))' "$1" &
    catcher_pid=$!
    wait_for test -e "$1.ready"
}

lay_frame() { # SIZE
    { printf '\001\200\302\000\000\016\002\000\136\000\000\001\210\314'; seq 1 1000; } |
        head -c "$1" >"$frame_file"
}

group_frame() {
    group "A raw frame"
    ip link add eth1 type veth peer name eth2
    # The kernel's own frames stay away, and the MTU lets the largest frame out.
    for link in eth1 eth2; do
        echo 1 >"/proc/sys/net/ipv6/conf/$link/disable_ipv6"
        ip link set "$link" mtu 9000 up
    done
    mkdir -p /etc/lldpd.d

    step "A frame of 64 bytes is sent as it stands"
    lay_frame 64
    catch_frame /tmp/frame
    call SEND_NTW_PKT eth1
    wait "$catcher_pid"
    show od -A d -t x1 /tmp/frame
    replied "i 0"
    shows "01 80 c2 00 00 0e 02 00 5e 00 00 01 88 cc"
    check "eth2 received the file's bytes" cmp /tmp/frame "$frame_file"
    done_step

    step "Of a file of 2000 bytes the first 1522 are sent"
    lay_frame 2000
    catch_frame /tmp/frame
    call SEND_NTW_PKT eth1
    wait "$catcher_pid"
    show stat -c '%n: %s bytes' /tmp/frame
    has_logged "ERROR - File size is too large or small 2000"
    shows "/tmp/frame: 1522 bytes"
    check "they are the file's" cmp -n 1522 /tmp/frame "$frame_file"
    done_step

    step "A file of 63 bytes is too small"
    lay_frame 63
    call SEND_NTW_PKT eth1
    replied "i 0"
    has_logged "ERROR - File size is too small 63"
    done_step

    step "There is no file for this link"
    call SEND_NTW_PKT eth9
    has_logged "ERROR - failed to open /etc/lldpd.d/tirveth9.packet"
    done_step

    step "A name with a slash is refused"
    call SEND_NTW_PKT ../eth1
    has_logged "ERROR - invalid parm or incorrect ifacename for LLDP"
    done_step

    ip link delete eth1
}
demo_groups+=(group_frame)
