#!/usr/bin/env bash
# Builds and tests the library.
#
#   scripts/test.sh              the Linux and the Windows build
#   scripts/test.sh --native     Linux only
#   scripts/test.sh --windows    the DLL only, tested with Wine
#   scripts/test.sh --clang      Linux with clang++
#   scripts/test.sh --sanitize   the address + undefined and the thread sanitizer builds
#   scripts/test.sh --tidy       clang-tidy over the library and the tool
#
# Options add up. Missing packages are installed first. Exit code 0: all tests passed.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

usage() { sed -n '2,/^set /{/^#/s/^# \{0,1\}//p}' "$0"; }

presets=()
tidy=no
for option in "$@"; do
    case $option in
        --native) presets+=(linux-release) ;;
        --windows) presets+=(windows-release) ;;
        --clang) presets+=(linux-clang) ;;
        --sanitize) presets+=(linux-asan linux-tsan) ;;
        --tidy) tidy=yes ;;
        -h | --help) usage && exit 0 ;;
        *) usage >&2 && exit 2 ;;
    esac
done
[ ${#presets[@]} -gt 0 ] || [ $tidy = yes ] || presets=(linux-release windows-release)

packages=()
for preset in "${presets[@]}"; do
    case $preset in
        windows-*) packages+=("${windows_packages[@]}" "${viewer_packages[@]}") ;;
        linux-clang) packages+=("${native_packages[@]}" clang) ;;
        *) packages+=("${native_packages[@]}") ;;
    esac
done
[ $tidy = no ] || packages+=("${native_packages[@]}" clang-tidy)
need_packages $(printf '%s\n' "${packages[@]}" | sort -u)

# run_tests PRESET: CTest's output goes to a log; what failed is shown, and the closing lines are kept for the end.
run_tests() {
    local preset=$1 log=$logs/$1-test.log passed=yes again=()
    mkdir -p "$logs"
    # Once in some thousands of starts Wine itself ends a program without a word: there a test may try again, which is
    # said.
    [[ $preset != windows-* ]] || again=(--repeat until-pass:2)
    ctest --test-dir "$root/build/$preset" --output-on-failure --no-tests=error --parallel "$(nproc)" "${again[@]}" \
        >"$log" 2>&1 </dev/null || passed=no
    if [ $passed = no ]; then
        grep -vE '^ *([0-9]+/[0-9]+ )?(Test|Start) .*( Passed .*| [0-9]+: .*)$|^ *Start +[0-9]+: ' "$log" | head -n 400 >&2
        failures=$((failures + 1))
    fi
    closing[$preset]=$(sed -n '/tests passed, /,$p' "$log")
    say "test $preset ($(printf '%s' "${closing[$preset]}" | head -n 1))"
    if [ ${#again[@]} -gt 0 ] && [ $passed = yes ]; then
        sed -nE 's/^ *[0-9]*\/?[0-9]* *Test +#[0-9]+: ([^ ]+) .*\*\*\*(Failed|Timeout|Exception).*/\1/p' "$log" | sort -u |
            while read -r name; do say "test $preset: $name passed at its second start only"; done
    fi
}

# Builds are the same library: the same tests must have run in each, but for those of the viewer, which is for Windows.
compare_counts() {
    local preset counts
    counts=$(for preset in "${presets[@]}"; do
        grep -E '^ *[0-9]+/[0-9]+ Test +#' "$logs/$preset-test.log" | grep -vc ': viewer\.'
    done | sort -u)
    if [ "$(printf '%s\n' "$counts" | wc -l)" != 1 ]; then
        say "the builds ran different numbers of tests: $(printf '%s ' $counts)" >&2
        failures=$((failures + 1))
    fi
}

declare -A closing
failures=0
for preset in "${presets[@]}"; do
    [ "$preset" != windows-release ] || "$root/scripts/windows-deps.sh"
    configure "$preset"
    build "$preset"
    run_tests "$preset"
done
[ $tidy = no ] || "$root/scripts/tidy.sh" || failures=$((failures + 1))
[ ${#presets[@]} = 0 ] || compare_counts
for preset in "${presets[@]}"; do
    printf '\n%s:\n%s\n' "$preset" "${closing[$preset]}"
done
[ $failures = 0 ]
