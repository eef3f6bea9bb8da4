# shellcheck shell=bash
# shellcheck disable=SC2034 # the lists are used by name
# What scripts/bench builds, and the peers that it measures beside kex.

PACKAGES_bench=(dbus-daemon iproute2 libbenchmark-dev libmnl-dev python3-jeepney
    systemd systemd-journal-remote util-linux valgrind)
PACKAGES_bench_arm64=(g++-aarch64-linux-gnu libsystemd-dev:arm64)

configure_bench() {
    configure bench -Dbench=enabled -Dtests=disabled
}

# For its size only: the tests and what they need are left out.
configure_bench_arm64() {
    configure bench_arm64 -Dtests=disabled --cross-file "$ROOT/tests/cross/aarch64.ini"
}

# NetworkManager would take the machine's network over if it were installed. Its packages are
# unpacked into a folder, which is printed.
unpack_peers() {
    local folder=$BUILD/peers package
    if [ ! -e "$folder/usr/sbin/NetworkManager" ]; then
        rm -rf "$folder" "$folder.packages"
        mkdir -p "$folder" "$folder.packages/partial"
        DEBIAN_FRONTEND=noninteractive quietly apt-get install -qq --yes --reinstall \
            --no-install-recommends --download-only \
            -o Dir::Cache::archives="$folder.packages" network-manager || return 1
        for package in "$folder.packages"/*.deb; do
            dpkg -x "$package" "$folder" || return 1
        done
    fi
    printf '%s' "$folder"
}
