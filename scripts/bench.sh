#!/usr/bin/env bash
# Measures the library beside the peers that are installed: scripts/bench.sh [PROGRAM] [OPTION...]
# PROGRAM is one of bench/*_bench.cpp without the ending (default: all); options go to Google Benchmark, e.g.
# --benchmark_filter=W1. Nothing else should run on the machine meanwhile.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

required=("${native_packages[@]}" libbenchmark-dev)
# A peer that cannot be had is left out of the tables.
peers=(libyuv-dev libopencv-imgproc-dev libtiff-dev libraw-dev libexiv2-dev)

need_packages "${required[@]}"
missing=()
for package in "${peers[@]}"; do
    installed "$package" || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ] && may_install; then
    (step peers "install peers to compare with: ${missing[*]}" install_packages "${missing[@]}") ||
        say "goes on without ${missing[*]}"
fi

# stb_image_resize2 is one header that older releases of the distribution do not have: take it from a later one's package.
stb_package=libstb-dev_0.0~git20241109.5c20573+ds-1_amd64.deb
stb_hash=SHA256:36fbe0c268c76daa655180ea3c9933afc41c6449ec5e53ef3d4907b516147650
stb_target=$root/build/linux-bench/peers

fetch_stb() {
    local mirror work
    work=$(mktemp -d "${TMPDIR:-/tmp}/rastrel-stb.XXXXXX")
    for mirror in $(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' | sort -u); do
        /usr/lib/apt/apt-helper download-file "${mirror}pool/main/libs/libstb/$stb_package" "$work/stb.deb" "$stb_hash" &&
            dpkg-deb -x "$work/stb.deb" "$work/stb" && mkdir -p "$stb_target" &&
            cp "$work/stb/usr/include/stb/stb_image_resize2.h" "$stb_target/" && break
    done
    rm -rf "$work"
    [ -f "$stb_target/stb_image_resize2.h" ]
}

if [ ! -f /usr/include/stb/stb_image_resize2.h ] && [ ! -f "$stb_target/stb_image_resize2.h" ]; then
    (step peer-stb "fetch stb_image_resize2 to compare with" fetch_stb) || say "goes on without stb_image_resize2"
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
