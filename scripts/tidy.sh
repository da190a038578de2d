#!/usr/bin/env bash
# clang-tidy: scripts/tidy.sh [FILE...]
# Without files, all sources of the library and the example program.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need_packages "${native_packages[@]}" clang clang-tidy
configure linux-clang -DCMAKE_EXPORT_COMPILE_COMMANDS=ON

if [ $# -eq 0 ]; then
    mapfile -t files < <(cd "$root" && find src examples -name '*.cpp' ! -name '*_windows.cpp' ! -name 'viewer*.cpp' | sort)
    cd "$root"
else
    files=("$@")
fi

# Each file on its own, as many at once as there are processors.
check() {
    printf '%s\0' "${files[@]}" |
        xargs -0 -n 1 -P "$(nproc)" clang-tidy --quiet -p "$root/build/linux-clang"
}

step tidy "clang-tidy over ${#files[@]} files" check
