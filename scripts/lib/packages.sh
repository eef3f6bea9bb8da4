# shellcheck shell=bash
# shellcheck disable=SC2034 # the lists are used by name
# The Debian packages that each purpose needs, and their installation.

PACKAGES_build=(g++ libgtest-dev libsystemd-dev meson ninja-build nlohmann-json3-dev pkgconf
    python3 python3-yaml)
PACKAGES_demo=(dbus-daemon iproute2 python3-jeepney systemd systemd-journal-remote util-linux)
PACKAGES_sandbox=(dbus-daemon iproute2 python3-jeepney python3-pytest python3-pytest-xdist systemd
    systemd-journal-remote util-linux)
PACKAGES_kexctl=(mandoc zsh)
PACKAGES_package=(lintian mmdebstrap python3-pytest python3-yaml util-linux)
PACKAGES_clang=(clang)
PACKAGES_fuzz=(clang libclang-rt-dev patch)
PACKAGES_static=(cppcheck valgrind)
PACKAGES_lint=(clang clang-format clang-tidy shellcheck)
PACKAGES_arm64=(g++-aarch64-linux-gnu googletest libstdc++6:arm64 libsystemd-dev:arm64
    qemu-user-static)

installed() { # PACKAGE[:ARCHITECTURE]
    local architecture=${1#"${1%%:*}"}
    architecture=${architecture#:}
    dpkg-query -W -f '${db:Status-Abbrev}${Architecture}\n' "${1%%:*}" 2>/dev/null |
        grep -Eqx "ii (all|${architecture:-$(dpkg --print-architecture)})"
}

# Installs what is missing of the named lists; asks the network only then.
need_packages() { # LIST...
    local list package missing=()
    for list in "$@"; do
        local -n packages="PACKAGES_$list"
        for package in "${packages[@]}"; do
            installed "$package" || missing+=("$package")
        done
    done
    [ "${#missing[@]}" -gt 0 ] || return 0
    need_root || return 1
    say "installing: ${missing[*]}"
    case " ${missing[*]} " in
    *:arm64\ *) quietly dpkg --add-architecture arm64 || return 1 ;;
    esac
    quietly apt-get update -qq || return 1
    DEBIAN_FRONTEND=noninteractive quietly apt-get install -qq --yes \
        --no-install-recommends "${missing[@]}"
}
