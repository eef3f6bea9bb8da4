# shellcheck shell=bash
# The fuzzers: run two at a time over their corpora, and counted; and the bugs that each has to
# find in a copy of the sources.

# What a planted bug is looked for, at most; most are found at once.
PLANTED_SECONDS=120

fuzzers() {
    local source
    for source in "$ROOT"/tests/fuzz/*.cpp; do
        basename "$source" .cpp
    done
}

# Replays the corpus, and goes on from there until the time is over; 0 replays only.
run_fuzzer() { # NAME RESULTS SECONDS
    local limit=(-max_total_time="$3") grown=$BUILD/corpus/$1 status=0
    [ "$3" -gt 0 ] || limit=(-runs=0)
    mkdir -p "$grown"
    TMPDIR=$2 with_sanitizers "$BUILD/fuzz/tests/fuzz/fuzz_$1" "$grown" \
        "$ROOT/tests/fuzz/corpus/$1" "${limit[@]}" -timeout=25 -print_final_stats=1 \
        -artifact_prefix="$2/$1-" >"$2/$1.log" 2>&1 </dev/null || status=$?
    echo "$status" >"$2/$1.ended"
    [ "$status" -eq 0 ] || say "$1 has a finding, see ${2#"$ROOT"/}/$1.log"
}

# One line for each fuzzer.
fuzz_table() { # RESULTS NAME...
    local results=$1 name
    shift
    printf '%-18s%12s%10s%8s%8s  %s\n' fuzzer executions each_s edges corpus result
    for name in "$@"; do
        awk -v name="$name" -v status="$(cat "$results/$name.ended")" '
            / cov: / {
                for (i = 1; i < NF; i++) {
                    if ($i == "cov:") edges = $(i + 1)
                    if ($i == "corp:") corpus = $(i + 1)
                }
                sub("/.*", "", corpus)
            }
            /^stat::number_of_executed_units/ { executions = $2 }
            /^stat::average_exec_per_sec/ { rate = $2 }
            END {
                printf "%-18s%12d%10d%8d%8d  %s\n", name, executions, rate, edges, corpus,
                    status == 0 ? "nothing found" : "FINDING"
            }' "$results/$name.log"
    done
}

count_as_tests() { # RESULTS TESTS FAILURES
    printf '{"tests": %d, "failures": %d}\n' "$2" "$3" >"$1/count.json"
    [ "$2" -gt 0 ] && [ "$3" -eq 0 ]
}

fuzz_all() { # RESULTS SECONDS [NAME...]
    local results=$1 seconds=$2 names=("${@:3}") name failures=0
    [ "${#names[@]}" -gt 0 ] || mapfile -t names < <(fuzzers)
    for name in "${names[@]}"; do
        [ "$(jobs -rp | wc -l)" -lt 2 ] || wait -n
        run_fuzzer "$name" "$results" "$seconds" &
    done
    wait
    fuzz_table "$results" "${names[@]}" >&2
    for name in "${names[@]}"; do
        [ "$(cat "$results/$name.ended")" -eq 0 ] || failures=$((failures + 1))
    done
    count_as_tests "$results" "${#names[@]}" "$failures"
}

# Whether a fuzzer finds a bug: the patch NAME.patch, or NAME-WORD.patch, of fuzzer NAME.
find_planted_bug() { # PATCH RESULTS
    local bug name
    bug=$(basename "$1" .patch)
    name=${bug%%-*}
    quietly patch -d "$ROOT" -p1 -i "$1" && configure_fuzz &&
        quietly meson compile -C "$BUILD/fuzz" "fuzz_$name" || return 1
    mkdir -p "$2/$bug"
    run_fuzzer "$name" "$2/$bug" "$PLANTED_SECONDS" 2>/dev/null
    quietly patch -d "$ROOT" -p1 -R -i "$1" || return 1
    # The input that shows it, and not for instance a fuzzer that does not start.
    if compgen -G "$2/$bug/$name-*-*" >/dev/null && [ "$(cat "$2/$bug/$name.ended")" -ne 0 ]; then
        say "planted $bug: found"
    else
        say "planted $bug: NOT FOUND"
        return 1
    fi
}

# In a copy of the sources, so that the checkout stays as it is whatever happens.
find_planted() { # RESULTS [BUG...]
    local results=$1 bugs=("${@:2}") bug copy count=0 failures=0
    [ "${#bugs[@]}" -gt 0 ] ||
        mapfile -t bugs < <(cd "$ROOT/tests/fuzz/planted" && basename -s .patch -- *.patch)
    copy=$(mktemp -d)
    tar -C "$ROOT" --exclude=./.git --exclude='./build*' -cf - . | tar -C "$copy" -xf -
    for bug in "${bugs[@]}"; do
        count=$((count + 1))
        # A corpus of its own: what another bug has left behind is of no use here.
        rm -rf "$copy/build/corpus"
        (ROOT=$copy BUILD=$copy/build find_planted_bug "$copy/tests/fuzz/planted/$bug.patch" \
            "$results") || failures=$((failures + 1))
    done
    rm -rf "$copy"
    count_as_tests "$results" "$count" "$failures"
}
