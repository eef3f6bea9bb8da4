#!/bin/sh
# Stands for the product's script: defines the network gadget in configfs.
# usage: configfs_gadget_usbpt.sh DEVICE-MAC HOST-MAC up|down
set -e
gadget=/sys/kernel/config/usb_gadget/usbpt
printf '%s ' "$@" >/run/usbpt.arguments
[ ! -e /run/usbpt.fails ] || exit 3
mkdir "$gadget"
echo 0x1d6b >"$gadget/idVendor"
echo 0x0104 >"$gadget/idProduct"
mkdir "$gadget/configs/c.1" "$gadget/functions/ecm.0"
echo "$1" >"$gadget/functions/ecm.0/dev_addr"
echo "$2" >"$gadget/functions/ecm.0/host_addr"
ln -s "$gadget/functions/ecm.0" "$gadget/configs/c.1"
if [ "$3" = up ]; then
    # The only controller of this machine.
    echo dummy_udc.0 >"$gadget/UDC"
    ip link set "$(cat "$gadget/functions/ecm.0/ifname")" up
fi
