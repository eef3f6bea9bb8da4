# shellcheck shell=bash
# shellcheck disable=SC2034,SC2153,SC2317 # lists and functions are used by scripts/test
# The suites: each installs and builds what it needs, runs, and leaves its results
# in the folder that it is given.

# shellcheck source-path=SCRIPTDIR
# shellcheck source=fuzz.sh
. "$ROOT/scripts/lib/fuzz.sh"

SUITES=(unit unit-sanitized sandbox sandbox-sanitized kexctl kexctl-sanitized torture fuzz
    unit-arm64)
CHECKS=(shellcheck format tidy cppcheck unit-clang hardening unit-valgrind package fuzz-planted bench)

# Any finding ends the program under test: none can go unseen.
with_sanitizers() { # COMMAND...
    ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1 \
        UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 "$@"
}

run_unit() { # BUILD RESULTS [WRAPPER...]
    local name=$1 results=$2
    shift 2
    python3 "$ROOT/scripts/lib/run_unit.py" "$BUILD/$name" "$results" "$@"
}

# The tests of a folder; what they print is seen when one fails.
run_pytest() { # SUITE RESULTS [OPTION...]
    local folder=$ROOT/tests/$1
    PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 -m pytest "$folder" --rootdir "$folder" \
        -c "$folder/pytest.ini" -q "${@:3}" --junitxml="$2/$1.xml" >"$2/output" 2>&1 || {
        cat "$2/output"
        return 1
    }
}

# Those of a folder against the daemon of a build.
run_on_daemon() { # SUITE BUILD RESULTS
    local binary
    binary=$(kex_binary "$2") || return 1
    KEX_BINARY=$binary run_pytest "$1" "$3" -n 2
}

run_kexctl() { # BUILD RESULTS
    local kex kexctl
    kex=$(kex_binary "$1") && kexctl=$(kexctl_binary "$1") || return 1
    KEX_BINARY=$kex KEXCTL_BINARY=$kexctl run_pytest kexctl "$2" -n 2
}

# A check counts as one test.
record_check() { # RESULTS COMMAND...
    local results=$1 failures=0
    shift
    "$@" || failures=1
    printf '{"tests": 1, "failures": %d}\n' "$failures" >"$results/check.json"
    return "$failures"
}

suite_unit() { # RESULTS
    need_packages build && build release && run_unit release "$1"
}

suite_unit_clang() {
    need_packages build clang && build clang && run_unit clang "$1"
}

suite_unit_sanitized() {
    need_packages build && build sanitized && with_sanitizers run_unit sanitized "$1"
}

suite_unit_arm64() {
    need_packages build arm64 && build arm64 &&
        run_unit arm64 "$1" qemu-aarch64-static
}

suite_sandbox() {
    need_root && need_packages build sandbox && build release kex verdicts &&
        run_on_daemon sandbox release "$1"
}

suite_sandbox_sanitized() {
    need_root && need_packages build sandbox && build sanitized kex verdicts &&
        with_sanitizers run_on_daemon sandbox sanitized "$1"
}

# The short form; scripts/torture is the long one.
suite_torture() {
    need_root && need_packages build sandbox && build release kex &&
        run_on_daemon torture release "$1"
}

# That every row of the benchmark can be measured; what comes out is no matter of a test.
suite_bench() {
    need_root && need_packages build sandbox bench && run_pytest bench "$1"
}

suite_kexctl() {
    need_root && need_packages build sandbox kexctl && build release kex kexctl &&
        run_kexctl release "$1"
}

suite_kexctl_sanitized() {
    need_root && need_packages build sandbox kexctl && build sanitized kex kexctl &&
        with_sanitizers run_kexctl sanitized "$1"
}

suite_shellcheck() {
    need_packages lint && record_check "$1" shellcheck --external-sources --source-path=SCRIPTDIR \
        "$ROOT"/scripts/bench "$ROOT"/scripts/demo "$ROOT"/scripts/test "$ROOT"/scripts/torture \
        "$ROOT"/scripts/fuzz "$ROOT"/scripts/lib/*.sh "$ROOT"/scripts/demo.d/*.sh \
        "$ROOT"/.ci/run "$ROOT"/tests/sandbox/harness/*.sh "$ROOT"/dist/completion/kexctl.bash \
        "$ROOT"/tests/vm/initrd/init "$ROOT"/tests/vm/rootfs/usr/bin/*.sh \
        "$ROOT"/tests/vm/rootfs/etc/plinth_script/network/*.sh &&
        record_check "$1" shellcheck -s sh "$ROOT/debian/kex.postrm"
}

suite_fuzz() { # RESULTS
    need_packages build fuzz && build fuzz && fuzz_all "$1" "${FUZZ_SECONDS:-10}"
}

suite_fuzz_planted() { # RESULTS
    need_packages build fuzz && find_planted "$1"
}

cpp_files() { # FOLDER...
    local folder
    for folder in "$@"; do
        [ ! -d "$ROOT/$folder" ] || find "$ROOT/$folder" -name '*.[ch]pp' -print0
    done
}

check_format() {
    cpp_files src subprojects tests bench | xargs -0 clang-format --dry-run --Werror
}

suite_format() {
    need_packages lint && record_check "$1" check_format
}

check_tidy() {
    cpp_files src | grep -z '\.cpp$' |
        xargs -0 -n 4 -P "$(nproc)" \
            clang-tidy -p "$BUILD/clang" --quiet --warnings-as-errors='*' 2>&1
}

suite_tidy() {
    need_packages build lint && build clang && record_check "$1" check_tidy
}

# On both processors, so that neither loses what the other has.
suite_hardening() {
    need_packages build arm64 || return 1
    build release kex && build arm64 kex || return 1
    local status=0
    python3 "$ROOT/scripts/lib/hardening.py" "$(kex_binary release)" "" "$1" || status=1
    python3 "$ROOT/scripts/lib/hardening.py" "$(kex_binary arm64)" aarch64-linux-gnu- "$1" || status=1
    return "$status"
}

# The folder in front has a stand-in for the one header that cppcheck cannot read.
check_cppcheck() {
    cpp_files src | grep -z '\.cpp$' | xargs -0 cppcheck --quiet --error-exitcode=1 --std=c++20 \
        --language=c++ --enable=warning,style,performance,portability --inline-suppr \
        --suppressions-list="$ROOT/scripts/lib/cppcheck/suppressions.txt" \
        --library=posix --library=gnu -I "$ROOT/scripts/lib/cppcheck" -I "$ROOT/src" 2>&1
}

suite_cppcheck() {
    need_packages static && record_check "$1" check_cppcheck
}

# Leaks are left to the sanitizers: children that end at once keep what they hold. The test that is
# left out uses descriptors up, of which valgrind keeps some for itself.
suite_unit_valgrind() {
    need_packages build static && build release &&
        GTEST_FILTER=-SilenceChildOutput.WithoutDescriptorIsNegative run_unit release "$1" \
            valgrind --quiet --error-exitcode=99 --leak-check=no \
            --suppressions="$ROOT/scripts/lib/valgrind.supp"
}

# Runs one suite; its exit status is kept for the count.
run_suite() { # NAME
    local results=$RESULTS/$1 status=0
    rm -rf "$results"
    mkdir -p "$results"
    say "suite $1"
    "suite_${1//-/_}" "$results" || status=$?
    echo "$status" >"$results/status"
}
