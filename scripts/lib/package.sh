# shellcheck shell=bash
# The suite of the Debian packages: built in a clean root from a clean copy of the checkout, checked
# by lintian, and installed, upgraded, removed and purged in a root of their own.

package_cache_root() {
    printf '%s/kex-package' "${XDG_CACHE_HOME:-/var/cache}"
}

# dpkg complains of what is missing here.
PACKAGE_BUILD_ROOT=debhelper,libsystemd-dev,meson,nlohmann-json3-dev,pkgconf,python3,python3-yaml
PACKAGE_ROOT=dbus,man-db,systemd

# The archive of a root with the packages, made once; its name says of what.
package_root() { # VARIANT PACKAGES
    local name archive
    name=$(printf '%s ' "$@" "$(cat /etc/debian_version)" | sha256sum)
    archive=$(package_cache_root)/$1-${name:0:16}.tar
    if [ ! -e "$archive" ]; then
        say "making ${archive##*/}"
        mkdir -p "${archive%/*}"
        rm -f "${archive%/*}/$1"-*
        quietly mmdebstrap --quiet --dpkgopt=force-unsafe-io --variant="$1" --format=tar \
            --include="$2" bookworm "$archive.new" && mv "$archive.new" "$archive" || return 1
    fi
    printf '%s' "$archive"
}

# Runs a command in a root, with no network and no other process of the machine.
package_enter() { # ROOT COMMAND...
    # shellcheck disable=SC2016 # for the inner shell
    unshare --mount --net --pid --fork --kill-child sh -c '
        mount -t proc proc "$0/proc" && mount -t tmpfs tmpfs "$0/run" &&
            mount --rbind /dev "$0/dev" &&
            exec chroot "$0" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 "$@"
    ' "$@"
}

# Leaves the packages in a folder.
package_build() { # FOLDER
    local archive tree=$BUILD/package/root
    archive=$(package_root buildd "$PACKAGE_BUILD_ROOT") || return 1
    rm -rf "$tree" "$1"
    mkdir -p "$tree/src/kex" "$1"
    say "building the packages"
    tar -C "$tree" --exclude './dev/*' -xf "$archive" &&
        tar -C "$ROOT" --exclude './build*' --exclude ./.git --exclude __pycache__ -c . |
        tar -C "$tree/src/kex" -x || return 1
    quietly package_enter "$tree" sh -c 'cd /src/kex && exec dpkg-buildpackage -us -uc -b' &&
        cp "$tree"/src/*.deb "$tree"/src/*.changes "$tree"/src/*.buildinfo "$1/" && rm -r "$tree"
}

suite_package() { # RESULTS
    local archive
    need_root && need_packages package && package_build "$BUILD/package/out" || return 1
    record_check "$1" quietly lintian --fail-on error,warning --allow-root \
        "$BUILD"/package/out/*.changes || return 1
    archive=$(package_root minbase "$PACKAGE_ROOT") || return 1
    PACKAGES_FOLDER=$BUILD/package/out ROOT_ARCHIVE=$archive run_pytest package "$1"
}
