# shellcheck shell=bash
# Configures and builds into the folders below build/.

# A folder that was configured with other arguments is made anew.
configure() { # NAME MESON-ARGUMENT...
    local folder=$BUILD/$1
    shift
    if [ ! -f "$folder/build.ninja" ] || [ "$*" != "$(cat "$folder/.arguments" 2>/dev/null)" ]; then
        rm -rf "$folder"
        say "configuring ${folder#"$ROOT"/}"
        quietly meson setup "$folder" "$ROOT" "$@" || return 1
        printf '%s' "$*" >"$folder/.arguments"
    fi
}

# Builds the named targets of a folder, or all of them.
build() { # NAME [TARGET...]
    local name=$1
    shift
    configure_"$name" || return 1
    say "building build/$name"
    quietly meson compile -C "$BUILD/$name" "$@"
}

configure_release() {
    configure release -Dtests=enabled
}

configure_sanitized() {
    # Optimised a little, so that it is built and runs fast, and its reports stay exact.
    configure sanitized --buildtype=debug -Doptimization=1 -Dtests=enabled \
        -Db_sanitize=address,undefined -Db_lundef=false
}

configure_clang() {
    CC=clang CXX=clang++ configure clang -Dtests=enabled
}

configure_fuzz() {
    CC=clang CXX=clang++ configure fuzz -Dfuzz=true -Dtests=disabled -Ddebug=true \
        -Doptimization=1 -Db_sanitize=address,undefined -Db_lundef=false
}

configure_arm64() {
    configure arm64 -Dtests=enabled --cross-file "$ROOT/tests/cross/aarch64.ini"
}

kex_binary() { # NAME
    python3 "$ROOT/scripts/lib/meson_info.py" program "$BUILD/$1" kex
}

kexctl_binary() { # NAME
    python3 "$ROOT/scripts/lib/meson_info.py" program "$BUILD/$1" kexctl
}
