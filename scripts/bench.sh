#!/usr/bin/env bash
# Measures the library beside the peers that are installed: scripts/bench.sh [PROGRAM] [OPTION...]
# PROGRAM is one of bench/*_bench.cpp without the ending (default: all); options go to Google Benchmark, e.g.
# --benchmark_filter=W1. Nothing else should run on the machine meanwhile.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

required=("${native_packages[@]}" libbenchmark-dev)
# A peer that cannot be had is left out of the tables.
peers=(libyuv-dev libopencv-imgproc-dev libstb-dev libtiff-dev libraw-dev libexiv2-dev)

need_packages "${required[@]}"
missing=()
for package in "${peers[@]}"; do
    installed "$package" || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ] && may_install; then
    (step peers "install peers to compare with: ${missing[*]}" install_packages "${missing[@]}") ||
        say "goes on without ${missing[*]}"
fi

programs=()
if [ $# -gt 0 ] && [ -f "$root/bench/$1.cpp" ]; then
    programs=("$1")
    shift
else
    for file in "$root"/bench/*_bench.cpp; do
        programs+=("$(basename "$file" .cpp)")
    done
fi

configure linux-bench
build linux-bench "${programs[@]}"
say "$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1), $(nproc) processors, load $(cut -d' ' -f1 /proc/loadavg)"
for name in "${programs[@]}"; do
    printf '\n%s\n' "$name"
    "$root/build/linux-bench/bin/$name" "$@" 2>"$logs/$name.log" || fail "$name failed: $(tail -n 1 "$logs/$name.log")"
done
