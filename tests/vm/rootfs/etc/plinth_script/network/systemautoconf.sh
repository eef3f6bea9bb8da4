#!/bin/sh
# Stands for the product's script: keeps its command below /etc, configures a link and leaves
# the agent running, which fetches over IP.
# usage: systemautoconf.sh COMMAND
set -e
[ "$1" != fail ] || exit 5
if [ "$1" = wait ]; then
    until [ -e /run/autoconf.go ]; do sleep 0.1; done
    exit 0
fi
printf '%s' "$1" >/etc/plinth_script/network/autoconf.command
chmod 600 /etc/plinth_script/network/autoconf.command
mkdir -p /run/autoconf
ip address replace 192.0.2.77/32 dev lo
/usr/libexec/ostrelagent >/run/autoconf/agent.log 2>&1 &
echo $! >/run/tirvad/ostrelagent.pid
