# shellcheck shell=bash
# shellcheck disable=SC2034 # lists are used by name
# The suite in a booted machine: kex as it is installed, under its unit, on Debian's kernel.

# shellcheck source-path=SCRIPTDIR
# shellcheck source=vm_image.sh
. "$ROOT/scripts/lib/vm_image.sh"

PACKAGES_vm=(busybox-static cpio e2fsprogs kmod mmdebstrap qemu-system-arm qemu-system-x86
    systemd)

VM_SUITES=(vm-amd64 vm-arm64)
CHECKS+=(exposure)

# Far more than a run takes; a guest that hangs is ended.
VM_TIME_LIMIT=1200

VM_amd64=(qemu-system-x86_64 -M q35 -cpu max)
VM_arm64=(qemu-system-aarch64 -M virt -cpu cortex-a57)
VM_CONSOLE_amd64=ttyS0
VM_CONSOLE_arm64=ttyAMA0

# As a system's packager would configure it.
configure_install_amd64() {
    configure install_amd64 --prefix=/usr -Dtests=disabled
}

configure_install_arm64() {
    configure install_arm64 --prefix=/usr -Dtests=disabled \
        --cross-file "$ROOT/tests/cross/aarch64.ini"
}

# What is laid over the guest's root: kex by its own installation, and the suite.
vm_stage() { # ARCH FOLDER
    rm -rf "$2"
    mkdir -p "$2/usr/lib/kex-vm"
    DESTDIR=$2 quietly meson install -C "$BUILD/install_$1" --no-rebuild &&
        quietly systemctl --root="$2" enable kex.service &&
        (cd "$2" && find . ! -type d -printf '/%P\n') >"${2%/*}/installed" &&
        cp -a "$ROOT/tests/vm/rootfs/." "$2/" &&
        cp "$ROOT"/tests/vm/guest/*.py "$ROOT/tests/sandbox/harness/log.py" "$2/usr/lib/kex-vm/" &&
        vm_stage_packages "$1" "$2"
}

# The packages are of this machine's processor.
vm_stage_packages() { # ARCH FOLDER
    local folder=$2/usr/lib/kex-vm
    if [ "$1" != amd64 ]; then
        rm "$folder/test_package.py"
        return
    fi
    mkdir "$folder/packages" && package_build "$BUILD/package/out" &&
        cp "$BUILD"/package/out/kex{,ctl}_*.deb "$folder/packages/" &&
        cp "${2%/*}/installed" "$folder/"
}

vm_initrd() { # IMAGE STAGE FILE
    # Two archives in a row are one initrd; owners are root's whoever made the checkout.
    {
        (cd "$1/initrd" && find . -print0 | cpio --quiet -0 -o -H newc -R 0:0)
        (cd "$2/.." && find stage -print0 | cpio --quiet -0 -o -H newc -R 0:0)
    } >"$3"
}

vm_boot() { # ARCH IMAGE INITRD RESULTS
    local -n machine="VM_$1" console="VM_CONSOLE_$1"
    timeout "$VM_TIME_LIMIT" "${machine[@]}" -accel tcg,thread=multi -smp 2 -m 1024 \
        -nodefaults -nographic -no-reboot -serial "file:$4/console.log" \
        -kernel "$2/vmlinuz" -initrd "$3" \
        -append "console=$console panic=-1 quiet mitigations=off" \
        -drive "file=$2/root.ext4,format=raw,if=none,id=root,snapshot=on" \
        -device virtio-blk-pci,drive=root \
        -netdev hubport,id=wire,hubid=0 -device e1000,netdev=wire,mac=52:54:00:00:00:01 \
        -fsdev "local,id=results,path=$4,security_model=none" \
        -device virtio-9p-pci,fsdev=results,mount_tag=results </dev/null
}

run_vm() { # ARCH RESULTS
    local work=$BUILD/vm-$1 begin=$SECONDS
    need_root && need_packages build arm64 vm && build "install_$1" && vm_image "$1" || return 1
    mkdir -p "$work"
    vm_stage "$1" "$work/stage" && vm_initrd "$(vm_cache)/image-$1" "$work/stage" "$work/initrd" ||
        return 1
    say "booting the $1 guest after $((SECONDS - begin)) s"
    begin=$SECONDS
    vm_boot "$1" "$(vm_cache)/image-$1" "$work/initrd" "$2" || say "the $1 guest ended badly"
    say "the $1 guest ran for $((SECONDS - begin)) s"
    if ! cat "$2/report.txt" >&2; then
        say "no report; the end of its console:"
        tail -n 30 "$2/console.log" >&2
    fi
    grep -q ' failures="0" ' "$2/results.xml"
}

# The commands, each with its tests on each architecture among the suites that ran.
vm_table() { # SUITE...
    local suite files=()
    for suite in "$@"; do
        [ ! -e "$RESULTS/$suite/commands.tsv" ] || files+=("$RESULTS/$suite/commands.tsv")
    done
    [ "${#files[@]}" -eq 0 ] || awk -F '\t' '
        FNR == 1 {
            arch = FILENAME
            sub(".*/vm-", "", arch)
            sub("/.*", "", arch)
            head = head sprintf("%-16s", arch)
        }
        !($1 in cells) { names[++count] = $1 }
        { cells[$1] = cells[$1] sprintf("%-16s", $3 == 0 ? $2 " passed" : $3 " FAILED") }
        END {
            printf "%-33s%s\n", "command", head
            for (i = 1; i <= count; i++) printf "%-33s%s\n", names[i], cells[names[i]]
        }' "${files[@]}" >&2
}

suite_vm_amd64() { # RESULTS
    run_vm amd64 "$1"
}

suite_vm_arm64() { # RESULTS
    run_vm arm64 "$1"
}

# Against what a program of systemd itself that sets networks up comes to, 2.8.
suite_exposure() { # RESULTS
    need_packages build vm && build install_amd64 &&
        record_check "$1" quietly systemd-analyze security --offline=true --no-pager \
            --threshold=27 "$BUILD/install_amd64/dist/kex.service"
}
