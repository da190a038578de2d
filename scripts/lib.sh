# What the commands of this folder share: messages, packages, steps with a log. Sourced, never run.
# shellcheck shell=bash

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
logs=$root/build/logs
program=scripts/$(basename "$0")

say() { printf '%s: %s\n' "$program" "$*"; }

fail() {
    printf '%s: %s\n' "$program" "$*" >&2
    exit 1
}

# step LOG TITLE COMMAND...: one line says what happens and how long it took; the command's output goes to a log, whose
# end is shown when the command fails.
step() {
    local log=$logs/$1.log title=$2 begin=$SECONDS
    shift 2
    mkdir -p "$logs"
    if ! "$@" >"$log" 2>&1 </dev/null; then
        tail -n 60 "$log" >&2
        fail "failed: $title (the whole output: $log)"
    fi
    say "$title ($((SECONDS - begin)) s)"
}

# as_root COMMAND...: the command itself for root, else through sudo, which asks for a password only where somebody can
# type one.
as_root() {
    if [ "$(id -u)" = 0 ]; then
        "$@"
    elif [ -t 0 ] && [ -t 2 ]; then
        sudo "$@"
    else
        sudo -n "$@"
    fi
}

may_install() {
    [ "$(id -u)" = 0 ] && return 0
    command -v sudo >/dev/null || return 1
    sudo -n true 2>/dev/null || { [ -t 0 ] && [ -t 2 ]; }
}

installed() { [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

install_packages() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600 update &&
        as_root env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600 install -y \
            --no-install-recommends "$@"
}

# need_packages NAME...: installs those that are missing; without the right to do so, one line names them.
need_packages() {
    local name missing=()
    command -v apt-get >/dev/null && command -v dpkg-query >/dev/null ||
        fail "needs Debian or Ubuntu (apt-get) to install: $*"
    for name in "$@"; do
        installed "$name" || missing+=("$name")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    may_install || fail "cannot install ${missing[*]}: run as root, or with a sudo that works here without a password"
    if [ "$(id -u)" != 0 ]; then
        sudo true || fail "sudo was refused; missing packages: ${missing[*]}"
    fi
    step packages "install ${missing[*]}" install_packages "${missing[@]}"
}

native_packages=(g++ cmake ninja-build libgtest-dev libgmock-dev libjpeg-dev libturbojpeg0-dev libopenexr-dev libcli11-dev)
windows_packages=(g++-mingw-w64-x86-64-posix cmake ninja-build nasm dpkg-dev libz-mingw-w64-dev googletest wine64 libcli11-dev)
viewer_packages=(xvfb imagemagick) # a screen that nobody sees, and pictures of it

# configure PRESET [OPTION...] and build PRESET [TARGET...] in build/PRESET.
configure() {
    local preset=$1
    shift
    step "$preset-configure" "configure $preset" cmake --preset "$preset" -S "$root" "$@"
}

build() {
    local preset=$1 target targets=()
    shift
    for target in "$@"; do
        targets+=(--target "$target")
    done
    step "$preset-build" "build $preset" cmake --build "$root/build/$preset" --parallel "$(nproc)" "${targets[@]}"
}
