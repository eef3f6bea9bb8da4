# shellcheck shell=bash
# The guests' images: Debian's kernel and a small root, for each architecture. They are
# kept outside the checkout, below a hash of what they are made from.

# Of no consequence to what is tested, and seconds of an emulated boot.
VM_MASKED=(console-getty.service e2scrub_reap.service getty.target ldconfig.service
    systemd-hwdb-update.service systemd-journal-catalog-update.service
    systemd-journal-flush.service systemd-logind.service systemd-pstore.service
    systemd-random-seed.service systemd-update-done.service systemd-update-utmp.service
    systemd-update-utmp-runlevel.service apt-daily.timer apt-daily-upgrade.timer
    dpkg-db-backup.timer e2scrub_all.timer fstrim.timer nftables.service)

VM_ROOT_PACKAGES=(busybox-static dbus dhcpcd-base dnsmasq-base ethtool iproute2 iptables
    iputils-arping kmod libstdc++6 libsystemd0 mandoc nftables python3 systemd systemd-sysv)

VM_BOOT_MODULES=(virtio_pci virtio_blk ext4)
VM_MODULES=("${VM_BOOT_MODULES[@]}" 8021q 9p 9pnet_virtio bonding configfs dummy dummy_hcd e1000
    iptable_filter libcomposite macvlan nf_tables nft_compat nlmon usb_f_ecm veth)

vm_cache_root() {
    printf '%s/kex-vm' "${XDG_CACHE_HOME:-/var/cache}"
}

vm_cache() {
    local inputs
    inputs=$(cat "${BASH_SOURCE[0]}" "$ROOT/tests/vm/initrd/init" /etc/debian_version | sha256sum)
    printf '%s/%.16s' "$(vm_cache_root)" "$inputs"
}

# Runs a maker with the name of a file or folder to make, which gets its place when complete.
vm_cached() { # PLACE MAKER ARGUMENT...
    local place=$1
    shift
    [ ! -e "$place" ] || return 0
    say "making ${place##*/}"
    mkdir -p "${place%/*}"
    rm -rf "$place.new"
    "$1" "$place.new" "${@:2}" && mv "$place.new" "$place"
}

# The configured root for this machine's processor; only unpacked for another one, so that
# nothing has to be emulated, and then it gets no package that is not named.
vm_make_archive() { # FILE ARCH
    local variant=minbase packages
    [ "$2" = amd64 ] || variant=extract
    packages=$(printf ',%s' "${VM_ROOT_PACKAGES[@]}")
    quietly mmdebstrap --quiet --dpkgopt=force-unsafe-io --variant="$variant" \
        --architectures="$2" --skip=check/qemu --format=tar \
        --include='?essential' --include="${packages#,}" bookworm "$1"
}

vm_archive() { # ARCH
    vm_cached "$(vm_cache)/root-$1.tar" vm_make_archive "$1"
}

vm_make_kernel() { # FOLDER ARCH
    local package
    mkdir -p "$1/package"
    package=$(apt-cache depends "linux-image-$2:$2" |
        sed -n 's/^ *Depends: \(linux-image-[^:]*\).*/\1/p') || return 1
    (cd "$1/package" && quietly apt-get download -qq "$package:$2" && dpkg -x ./*.deb .) || return 1
    mv "$1"/package/boot/vmlinuz-* "$1/vmlinuz" && mv "$1/package/lib" "$1/" && rm -r "$1/package"
}

# A root that was only unpacked lacks what maintainer scripts make: the merged /usr, and
# /etc and /var, which do not depend on the processor but for one cache.
vm_make_tree() { # FOLDER ARCH
    local cache folder
    cache=$(vm_cache)
    mkdir -p "$1"
    if [ "$2" = amd64 ]; then
        tar -C "$1" --exclude ./dev -xf "$cache/root-amd64.tar" || return 1
    else
        tar -C "$1" -xf "$cache/root-amd64.tar" ./etc ./var || return 1
        rm "$1/etc/ld.so.cache"
        vm_adopt_packages "$1/var/lib/dpkg" "$2" || return 1
        for folder in bin sbin lib; do
            mkdir -p "$1/usr/$folder"
            ln -s "usr/$folder" "$1/$folder"
        done
        tar -C "$1" --keep-directory-symlink --exclude ./dev --exclude ./etc --exclude ./var \
            -xf "$cache/root-$2.tar" || return 1
        mkdir -p "$1/proc" "$1/sys" "$1/run" "$1/tmp"
        ln -sf dash "$1/usr/bin/sh"
        # Else every start of python compiles its library anew.
        quietly python3 -m compileall -q "$1/usr/lib/python3.11" || return 1
    fi
    mkdir -p "$1/dev" "$1/results"
    vm_add_modules "$1" "$2"
    vm_settle "$1"
}

# The package database came from the other root, where the same packages are installed.
vm_adopt_packages() { # FOLDER ARCH
    local file
    sed -i "s/^Architecture: amd64$/Architecture: $2/" "$1/status" || return 1
    for file in "$1"/info/*:amd64.*; do
        mv "$file" "${file/:amd64./:$2.}" || return 1
    done
}

vm_modules_of() { # TREE VERSION MODULE...
    local module
    for module in "${@:3}"; do
        modprobe -d "$1" -S "$2" --show-depends "$module" || return 1
    done | awk '$1 == "insmod" && !seen[$2]++ { print $2 }'
}

vm_add_modules() { # TREE ARCH
    local kernel version path
    kernel=$(vm_cache)/kernel-$2
    version=$(ls "$kernel/lib/modules")
    depmod -b "$kernel" "$version"
    mkdir -p "$1/usr/lib/modules/$version"
    cp "$kernel/lib/modules/$version"/modules.{builtin,builtin.modinfo,order} \
        "$1/usr/lib/modules/$version/"
    vm_modules_of "$kernel" "$version" "${VM_MODULES[@]}" | while read -r path; do
        install -D -m 644 "$path" "$1/usr${path#"$kernel"}"
    done
    depmod -b "$1" "$version"
}

vm_settle() { # TREE
    local unit
    for unit in "${VM_MASKED[@]}"; do
        ln -sf /dev/null "$1/etc/systemd/system/$unit"
    done
    # A machine that has been set up, so that units are enabled by nothing but their install.
    printf '%s\n' 5fe57cbd1b1d4f0fa3b2e1d9a8c7b6a5 >"$1/etc/machine-id"
    printf 'vm\n' >"$1/etc/hostname"
    # Its readers look at the journal of /run.
    install -D -m 644 /dev/stdin "$1/etc/systemd/journald.conf.d/vm.conf" <<'END'
[Journal]
Storage=volatile
RateLimitIntervalSec=0
END
    # Users come from sysusers.d at boot, as on a system that was just updated.
    rm -f "$1/etc/.updated"
}

# Also makes the initrd's part that does not change: busybox, the modules and init.
vm_make_image() { # FOLDER ARCH
    local tree=$1/tree kernel version path
    kernel=$(vm_cache)/kernel-$2
    mkdir -p "$1/initrd"
    vm_make_tree "$tree" "$2" || return 1
    cp "$kernel/vmlinuz" "$1/"
    version=$(ls "$kernel/lib/modules")
    cp "$tree/bin/busybox" "$ROOT/tests/vm/initrd/init" "$1/initrd/"
    vm_modules_of "$tree" "$version" "${VM_BOOT_MODULES[@]}" | while read -r path; do
        cp "$path" "$1/initrd/"
        printf '/%s\n' "${path##*/}"
    done >"$1/initrd/modules"
    quietly mke2fs -q -t ext4 -O ^has_journal -d "$tree" "$1/root.ext4" 700M && rm -r "$tree"
}

# What is left of former inputs is deleted, unless another checkout may be at work with it.
vm_image() { # ARCH
    local cache
    cache=$(vm_cache)
    mkdir -p "$cache"
    find "$(vm_cache_root)" -mindepth 1 -maxdepth 1 ! -path "$cache" -mtime +1 \
        -exec rm -rf {} +
    if [ ! -e "$cache/image-$1" ]; then
        vm_archive amd64 && vm_archive "$1" && vm_cached "$cache/kernel-$1" vm_make_kernel "$1"
    fi && vm_cached "$cache/image-$1" vm_make_image "$1"
}
