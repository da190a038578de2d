#!/usr/bin/env bash
# Cross-builds what the Windows library carries inside: libjpeg-turbo, Imath, OpenEXR and zlib, all static, from the
# distribution's source packages. The result is kept in build/deps/windows-x64 (or the folder that
# RASTREL_WINDOWS_DEPS names); a second run finds it there and does nothing.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

prefix=${RASTREL_WINDOWS_DEPS:-$root/build/deps/windows-x64}
compiler=x86_64-w64-mingw32-g++-posix

# Source package and the upstream versions that this project is tested with.
jpeg_versions="2.1.5"
imath_versions="3.1.6 3.1.9 3.1.12"
openexr_versions="3.1.5 3.1.13"

wanted_stamp() { cat "$root/scripts/windows-deps.sh" && "$compiler" -dumpfullversion; }

up_to_date() {
    command -v "$compiler" >/dev/null && [ -f "$prefix/stamp" ] &&
        [ "$(wanted_stamp | sha256sum)" = "$(cat "$prefix/stamp")" ]
}

if up_to_date; then
    say "the Windows libraries are in place"
    exit 0
fi

need_packages "${windows_packages[@]}"

# Everything temporary lives outside the project: its path may hold spaces, which some of these builds do not take.
work=$(mktemp -d "${TMPDIR:-/tmp}/rastrel-deps.XXXXXX")
trap 'rm -rf "$work"' EXIT

# An apt of our own that knows the source twin of every package entry of this machine; the system's stays as it is.
private_apt() {
    local file
    mkdir -p "$work/apt/sources.list.d" "$work/apt/state/lists/partial" "$work/apt/cache/archives/partial"
    cat >"$work/apt/apt.conf" <<CONF
Dir::Etc::sourcelist "$work/apt/sources.list";
Dir::Etc::sourceparts "$work/apt/sources.list.d";
Dir::State "$work/apt/state";
Dir::State::status "/var/lib/dpkg/status";
Dir::Cache "$work/apt/cache";
APT::Sandbox::User "";
Acquire::Languages "none";
CONF
    : >"$work/apt/sources.list"
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        [ -f "$file" ] || continue
        sed -n 's/^[[:space:]]*deb\([[:space:]]\)/deb-src\1/p' "$file" >>"$work/apt/sources.list"
    done
    for file in /etc/apt/sources.list.d/*.sources; do
        [ -f "$file" ] || continue
        sed 's/^Types:.*/Types: deb-src/' "$file" >"$work/apt/sources.list.d/$(basename "$file")"
    done
    export APT_CONFIG=$work/apt/apt.conf
    # An entry of a third party without sources is no obstacle: what counts is whether the packages are found.
    apt-get update || true
}

upstream_version() {
    local version=${1#*:}
    printf '%s' "${version%-*}"
}

# fetch PACKAGE VERSIONS: unpacks the first offered version that is one of VERSIONS into $work/PACKAGE.
fetch() {
    local package=$1 pins=$2 offered version pin
    offered=$(apt-cache showsrc --only-source "$package" | sed -n 's/^Version: //p' | sort -Vur)
    [ -n "$offered" ] || { echo "no source package $package in this machine's package sources"; return 1; }
    for version in $offered; do
        for pin in $pins; do
            [ "$(upstream_version "$version")" = "$pin" ] || continue
            mkdir "$work/fetch-$package"
            (cd "$work/fetch-$package" && apt-get source --only-source "$package=$version") || return 1
            mv "$work/fetch-$package"/*/ "$work/$package"
            return
        done
    done
    echo "$package: tested with $pins, but this machine offers" $offered
    return 1
}

fetch_sources() {
    private_apt
    fetch libjpeg-turbo "$jpeg_versions" && fetch imath "$imath_versions" && fetch openexr "$openexr_versions"
}

# cross_build PACKAGE OPTION...: Release, static, installed into the prefix that the next one finds it in.
cross_build() {
    local package=$1
    shift
    # GCC for Win64 does not align the stack to 32 bytes: spilled vectors must use unaligned moves.
    RASTREL_WINDOWS_DEPS=$work/prefix cmake -S "$work/$package" -B "$work/$package-build" -G Ninja \
        -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-mingw64.cmake" -DCMAKE_BUILD_TYPE=Release \
        -DFETCHCONTENT_FULLY_DISCONNECTED=ON \
        -DCMAKE_C_FLAGS="-Wa,-muse-unaligned-vector-move" -DCMAKE_CXX_FLAGS="-Wa,-muse-unaligned-vector-move" \
        -DCMAKE_POSITION_INDEPENDENT_CODE=ON -DBUILD_SHARED_LIBS=OFF -DBUILD_TESTING=OFF \
        -DCMAKE_INSTALL_PREFIX="$work/prefix" -DCMAKE_INSTALL_LIBDIR:STRING=lib "$@" &&
        cmake --build "$work/$package-build" --parallel "$(nproc)" &&
        cmake --install "$work/$package-build"
}

# The static zlib alone: beside its import library CMake would choose that one, and the DLL would need another DLL.
copy_zlib() {
    local target=/usr/x86_64-w64-mingw32
    mkdir -p "$work/prefix/include" "$work/prefix/lib"
    cp "$target/include/zlib.h" "$target/include/zconf.h" "$work/prefix/include/"
    cp "$target/lib/libz.a" "$work/prefix/lib/"
}

keep_result() {
    wanted_stamp | sha256sum >"$work/prefix/stamp"
    mkdir -p "$(dirname "$prefix")"
    rm -rf "$prefix" "$prefix.new"
    cp -r "$work/prefix" "$prefix.new"
    mv "$prefix.new" "$prefix"
}

step deps-sources "fetch the sources of libjpeg-turbo, Imath and OpenEXR" fetch_sources
step deps-zlib "take over the static zlib" copy_zlib
step deps-jpeg "cross-build libjpeg-turbo" cross_build libjpeg-turbo -DENABLE_SHARED=OFF -DENABLE_STATIC=ON \
    -DWITH_JAVA=OFF -DREQUIRE_SIMD=ON
step deps-imath "cross-build Imath" cross_build imath
step deps-openexr "cross-build OpenEXR" cross_build openexr -DOPENEXR_BUILD_TOOLS=OFF -DOPENEXR_INSTALL_TOOLS=OFF \
    -DOPENEXR_INSTALL_EXAMPLES=OFF -DOPENEXR_FORCE_INTERNAL_ZLIB=OFF -DDOCS=OFF
step deps-keep "keep the Windows libraries in ${prefix#"$root"/}" keep_result
