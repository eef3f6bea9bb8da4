#!/bin/sh
# Stands for the product's script, with what such a script needs: rules by every tool,
# a file of its own below /etc and one below /run.
# usage: fwctrl.sh mdns|ping|dedipv4 true|false [INTERFACE]
set -e
printf '%s ' "$@" >/run/fwctrl.arguments
state=/etc/plinth_script/network/fwctrl.state
case "$1 $2" in
"mdns true")
    nft add table inet kex_mdns
    nft add chain inet kex_mdns input '{ type filter hook input priority 0; }'
    nft add rule inet kex_mdns input udp dport 5353 accept
    ;;
"mdns false") nft delete table inet kex_mdns ;;
"ping true")
    iptables-nft -D INPUT -p icmp --icmp-type echo-request -j DROP
    iptables-legacy -D INPUT -p icmp --icmp-type echo-request -j DROP
    ;;
"ping false")
    iptables-nft -A INPUT -p icmp --icmp-type echo-request -j DROP
    iptables-legacy -A INPUT -p icmp --icmp-type echo-request -j DROP
    ;;
dedipv4*)
    [ -e "/sys/class/net/$3" ] || exit 4
    nft -f - <<END
table ip kex_dedipv4 {
    chain input {
        type filter hook input priority 0
        iifname "$3" drop
    }
}
END
    ;;
esac
echo "$*" >"$state.new"
chmod 640 "$state.new"
mv "$state.new" "$state"
