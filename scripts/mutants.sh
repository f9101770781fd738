#!/usr/bin/env bash
# Measures the tests' bite with seeded faults: each fault of scripts/mutants.faults is put
# into a scratch copy of the tree, the copy is rebuilt, the suites named beside the fault
# run, and the whole test command (every ctest test) runs for the faults they miss. A fault
# is killed when a test fails. Prints killed/survived per fault and the kill rate.
#   scripts/mutants.sh [--resume] [--check] [--list] [--faults FILE] [ID...]
#     ID...     only these faults (default: every fault of the list)
#     --resume  skip the faults that already have a result for the same tree
#     --check   only tell which faults still apply (no build, no tests)
#     --list    print each fault's id, file and description
# The checkout is never written: the copy of the tree (HEAD with the working changes), its
# build and the results live in $MUTANTS_DIR (default build-mutants/, ignored by git). A
# fault whose text is not found exactly once is "stale" and is not counted; one that does
# not compile is "unbuilt" and is not counted either.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/env.sh"

FAULTS="$OSTREL_ROOT/scripts/mutants.faults"
RESUME=0
CHECK_ONLY=0
LIST_ONLY=0
WANTED=()
while (($#)); do
    case "$1" in
        --resume) RESUME=1 ;;
        --check) CHECK_ONLY=1 ;;
        --list) LIST_ONLY=1 ;;
        --faults) FAULTS="$(realpath "$2")"; shift ;;
        -h | --help) sed -n '2,15p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//'; exit 0 ;;
        -*) echo "mutants.sh: unknown option $1" >&2; exit 2 ;;
        *) WANTED+=("$1") ;;
    esac
    shift
done

WORK="${MUTANTS_DIR:-$OSTREL_ROOT/build-mutants}"
TREE="$WORK/tree"
BUILD="$WORK/build"
LOGS="$WORK/logs"
RESULTS="$WORK/results.tsv"
mkdir -p "$TREE" "$LOGS"
touch "$RESULTS"

# ---- the fault list: blocks of "key: value" lines separated by blank lines ---------------
declare -a IDS=()
declare -A F_FILE=() F_SUITES=() F_WHAT=() F_FIND=() F_PUT=()
parse_faults() {
    local id="" key value line number=0
    local -A seen=()
    finish() {
        [ -z "$id" ] && return 0
        if [ -z "${F_FILE[$id]:-}" ] || [ -z "${F_FIND[$id]+x}" ] || [ -z "${F_PUT[$id]+x}" ]; then
            echo "mutants.sh: fault $id needs file, find and put" >&2
            exit 2
        fi
        IDS+=("$id")
        id=""
    }
    while IFS= read -r line || [ -n "$line" ]; do
        number=$((number + 1))
        case "$line" in
            '#'*) continue ;;
            '') finish; continue ;;
        esac
        key="${line%%:*}"
        value="${line#*:}"
        value="${value# }"
        if [ "$key" = "$line" ]; then
            echo "mutants.sh: $FAULTS:$number: expected 'key: value'" >&2
            exit 2
        fi
        case "$key" in
            id)
                finish
                id="$value"
                if [ -n "${seen[$id]:-}" ]; then
                    echo "mutants.sh: $FAULTS:$number: fault $id named twice" >&2
                    exit 2
                fi
                seen[$id]=1
                ;;
            file) F_FILE[$id]="$value" ;;
            suites) F_SUITES[$id]="$value" ;;
            what) F_WHAT[$id]="$value" ;;
            # Repeated find/put lines make a text of several lines.
            find) F_FIND[$id]="${F_FIND[$id]+${F_FIND[$id]}$'\n'}$value" ;;
            put) F_PUT[$id]="${F_PUT[$id]+${F_PUT[$id]}$'\n'}$value" ;;
            *)
                echo "mutants.sh: $FAULTS:$number: unknown key '$key'" >&2
                exit 2
                ;;
        esac
        if [ -z "$id" ]; then
            echo "mutants.sh: $FAULTS:$number: a fault starts with 'id:'" >&2
            exit 2
        fi
    done <"$FAULTS"
    finish
}
parse_faults

SELECTED=()
if ((${#WANTED[@]})); then
    for want in "${WANTED[@]}"; do
        if [ -z "${F_FILE[$want]:-}" ]; then
            echo "mutants.sh: no fault named $want" >&2
            exit 2
        fi
        SELECTED+=("$want")
    done
else
    SELECTED=("${IDS[@]}")
fi

if ((LIST_ONLY)); then
    for id in "${SELECTED[@]}"; do
        printf '%s\t%s\t%s\n' "$id" "${F_FILE[$id]}" "${F_WHAT[$id]:-}"
    done
    exit 0
fi

# ---- the scratch tree -------------------------------------------------------------------
# Copies the checkout's files (tracked and untracked, not ignored) into $TREE by content:
# an unchanged file keeps its time, so the build stays incremental, and a changed one gets
# a new time, so it is rebuilt even when it only goes back to what it was.
sync_tree() {
    local list="$WORK/files.lst"
    git -C "$OSTREL_ROOT" ls-files -z --cached --others --exclude-standard |
        while IFS= read -r -d '' f; do [ -f "$OSTREL_ROOT/$f" ] && printf '%s\0' "$f"; done >"$list"
    local f
    while IFS= read -r -d '' f; do
        if ! cmp -s "$OSTREL_ROOT/$f" "$TREE/$f"; then
            mkdir -p "$(dirname "$TREE/$f")"
            cp "$OSTREL_ROOT/$f" "$TREE/$f"
        fi
    done <"$list"
    # Files the checkout no longer has (renamed sources, saved fuzz inputs) go too.
    (cd "$TREE" && find . -type f -printf '%P\0') | sort -z >"$WORK/tree.lst"
    sort -z "$list" | comm -z -23 "$WORK/tree.lst" - | (cd "$TREE" && xargs -0 -r rm -f)
    # The results hold for this tree; the fault list and this script do not change them.
    TREE_HASH="$(cd "$TREE" && sort -z "$list" | grep -zv '^scripts/mutants\.' | xargs -0 sha1sum |
        sha1sum | cut -c1-12)"
}

# Puts FIND -> PUT into the tree's copy of FILE; exit 3 when FIND is not there exactly once.
apply_fault() {
    FIND="${F_FIND[$1]}" PUT="${F_PUT[$1]}" perl -e '
        my ($path) = @ARGV;
        open(my $in, "<:raw", $path) or exit 3;
        local $/; my $text = <$in>; close $in;
        my ($find, $put) = ($ENV{FIND}, $ENV{PUT});
        my $count = () = $text =~ /\Q$find\E/g;
        exit 3 if $count != 1;
        $text =~ s/\Q$find\E/$put/;
        open(my $out, ">:raw", $path) or die "$path: $!";
        print $out $text; close $out;' "$TREE/${F_FILE[$1]}"
}

# The file as it was before the fault: later edits of the checkout do not reach a run.
save_file() { cp "$TREE/$1" "$WORK/pristine"; }
restore_file() {
    cp "$WORK/pristine" "$TREE/$1"
    touch "$TREE/$1"
}

configure() {
    cmake -S "$TREE" -B "$BUILD" -G Ninja \
          -DCMAKE_TOOLCHAIN_FILE="$TREE/cmake/mingw-w64-x86_64.cmake" \
          -DCMAKE_BUILD_TYPE=RelWithDebInfo >"$LOGS/configure.log" 2>&1
}

# Runs ctest on the scratch build; the arguments select suites. Fails when a test fails.
run_tests() {
    local status=0
    BUILD_DIR="$BUILD" ctest --test-dir "$BUILD" -j1 --output-on-failure "$@" || status=$?
    wine_settle
    return $status
}

# What the named suites need: the shipped binaries and each suite's own executable (its
# helpers are its dependencies); a suite that is a script needs the whole build.
suite_targets() {
    local targets=(shipped) suite
    for suite in "$@"; do
        grep -qx "$suite: phony" <<<"$phony" || { echo all; return; }
        targets+=("$suite")
    done
    echo "${targets[@]}"
}

record() { printf '%s\t%s\t%s\t%s\n' "$1" "$2" "$3" "$TREE_HASH" >>"$RESULTS"; }
recorded() { awk -F'\t' -v id="$1" -v h="$TREE_HASH" '$1 == id && $4 == h { r = $2 "\t" $3 } END { if (r) print r; else exit 1 }' "$RESULTS"; }

sync_tree
if ((CHECK_ONLY)); then
    for id in "${SELECTED[@]}"; do
        save_file "${F_FILE[$id]}"
        if apply_fault "$id"; then echo "applies  $id"; else echo "stale    $id"; fi
        restore_file "${F_FILE[$id]}"
    done
    exit 0
fi

current=""
trap 'if [ -n "$current" ]; then restore_file "$current"; fi' EXIT
trap 'exit 130' INT TERM

say "scratch tree $TREE ($TREE_HASH), build $BUILD"
configure
known="$(ctest --test-dir "$BUILD" -N | sed -n 's/^ *Test *#[0-9]*: //p')"
phony="$(ninja -C "$BUILD" -t targets all | grep ': phony$')"
for id in "${SELECTED[@]}"; do
    for suite in ${F_SUITES[$id]:-}; do
        if ! grep -qx "$suite" <<<"$known"; then
            echo "mutants.sh: fault $id names $suite, which is no ctest test" >&2
            exit 2
        fi
    done
done
if ! recorded baseline >/dev/null; then
    say "baseline: the unchanged tree must pass every test"
    if ! cmake --build "$BUILD" >"$LOGS/baseline.log" 2>&1 || ! run_tests >>"$LOGS/baseline.log" 2>&1; then
        echo "mutants.sh: the unchanged tree fails its tests; see $LOGS/baseline.log" >&2
        exit 1
    fi
    record baseline passed whole
fi

for id in "${SELECTED[@]}"; do
    if ((RESUME)) && previous="$(recorded "$id")"; then
        printf '%-9s %-28s %s (earlier run)\n' "${previous%%$'\t'*}" "$id" "${previous#*$'\t'}"
        continue
    fi
    file="${F_FILE[$id]}"
    log="$LOGS/$id.log"
    save_file "$file"
    current="$file"
    if ! apply_fault "$id"; then
        current=""
        restore_file "$file"
        record "$id" stale "text not found once in $file"
        printf '%-9s %-28s %s\n' stale "$id" "text not found once in $file"
        continue
    fi
    read -r -a suites <<<"${F_SUITES[$id]:-}"
    named=()
    ((${#suites[@]})) && named=("^($(IFS='|'; echo "${suites[*]}"))\$")
    verdict=survived
    by=""
    if ! cmake --build "$BUILD" --target $(suite_targets "${suites[@]}") >"$log" 2>&1; then
        verdict=unbuilt
        by="see $log"
    elif ((${#named[@]})) && ! run_tests -R "${named[0]}" >>"$log" 2>&1; then
        verdict=killed
        by="${suites[*]}"
    elif ! cmake --build "$BUILD" >>"$log" 2>&1; then
        verdict=unbuilt
        by="see $log"
    elif ! run_tests --stop-on-failure ${named[0]+-E "${named[0]}"} >>"$log" 2>&1; then
        verdict=killed
        by="whole command: $(sed -n '/tests FAILED:/,$p' "$log" | grep -oE '[0-9]+ - [A-Za-z0-9_]+' | awk '{print $3}' | paste -sd' ')"
    fi
    restore_file "$file"
    current=""
    record "$id" "$verdict" "$by"
    printf '%-9s %-28s %s\n' "$verdict" "$id" "$by"
done

# ---- the summary of the selected faults ---------------------------------------------------
killed=0 survived=0 stale=0 unbuilt=0
for id in "${SELECTED[@]}"; do
    result="$(recorded "$id" || true)"
    case "${result%%$'\t'*}" in
        killed) killed=$((killed + 1)) ;;
        survived) survived=$((survived + 1)) ;;
        stale) stale=$((stale + 1)) ;;
        unbuilt) unbuilt=$((unbuilt + 1)) ;;
    esac
done
counted=$((killed + survived))
rate="n/a"
((counted)) && rate="$((100 * killed / counted))%"
echo "killed $killed, survived $survived (stale $stale, unbuilt $unbuilt): kill rate $rate of $counted faults"
