#!/usr/bin/env bash
# Shows the library at work: reads image files, says what they are, scales them, writes every format, reads each of them
# back, and makes a contact sheet. Then a shorter round with the Windows library under Wine.
#
#   scripts/demo.sh [--native] [FILE...]
#
# Without files it takes the sample files that lie beside the project, or else draws its own. --native leaves Windows
# out. All results are in build/demo. Missing packages are installed first.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

usage() { sed -n '2,/^set /{/^#/s/^# \{0,1\}//p}' "$0"; }

windows=yes
inputs=()
for argument in "$@"; do
    case $argument in
        -h | --help) usage && exit 0 ;;
        --native) windows=no ;;
        -*) usage >&2 && exit 2 ;;
        *) [ -f "$argument" ] || fail "$argument: there is no such file"
           inputs+=("$(realpath "$argument")") ;;
    esac
done

demo=$root/build/demo
formats=(tif jpg exr psb tmp)
failures=0

# A few files of each kind, small enough for a demo.
collect_samples() {
    local folder
    for folder in tiff jpeg exr psb orf; do
        find "$root/../shared/samples/$folder" -type f -size -20M 2>/dev/null | sort | head -n 4
    done
}

draw_inputs() {
    local model
    for model in grey8 rgb16 argb8 argbfp32; do
        "${tool[@]}" testcard "$demo/inputs/card-$model.tmp" --model "$model" --width 320 --height 240 >/dev/null
        inputs+=("$demo/inputs/card-$model.tmp")
    done
    "${tool[@]}" testcard "$demo/inputs/card.jpg" --width 320 --height 240 >/dev/null
    inputs+=("$demo/inputs/card.jpg")
}

# info_of FILE: size and colour model of a file, or the reason why there is none.
info_of() {
    local text
    if text=$("${tool[@]}" info "$1" 2>&1); then
        printf '%s' "${text#"$1": }" | tr -d '\r' | sed 's/ bits a pixel/ bit/; s/\.0* dpi/ dpi/'
    else
        printf 'declined: %s' "$(printf '%s' "${text##*: }" | tr -d '\r')"
    fi
}

# convert_all BUILD FORMAT...: every readable input into every format, each read back; one table row an input.
convert_all() {
    local build=$1 input base format target row reason
    shift
    mkdir -p "$demo/$build"
    printf '  %-48s' file
    printf '%-10s' "$@" small
    printf '\n'
    for input in "${readable[@]}"; do
        base=$(basename "$input")
        row=$(printf '  %-48.47s' "$base")
        for format in "$@"; do
            target=$demo/$build/$base.$format
            if ! reason=$("${tool[@]}" convert "$input" "$target" 2>&1); then
                row+=$(printf '%-10s' failed)
                printf '%s\n' "$reason" >&2
                failures=$((failures + 1))
            elif ! reason=$("${tool[@]}" resize "$target" "$demo/$build/back.tmp" --width 8 --filter box 2>&1); then
                row+=$(printf '%-10s' unread)
                printf '%s\n' "$reason" >&2
                failures=$((failures + 1))
            else
                row+=$(printf '%-10s' "$(numfmt --to=iec "$(stat -c %s "$target")")")
            fi
        done
        if "${tool[@]}" resize "$input" "$demo/$build/$base-small.jpg" --width 64 >/dev/null; then
            row+=ok
        else
            row+=failed
            failures=$((failures + 1))
        fi
        printf '%s\n' "$row"
    done
    rm -f "$demo/$build/back.tmp"
}

# The rest of what the tool does, on one image.
work_on() {
    local build=$1 input=$2
    "${tool[@]}" lowpass "$input" "$demo/$build/smooth.tif" --width-x 4 --width-y 4
    "${tool[@]}" expose "$input" "$demo/$build/exposed.jpg" --auto
    "${tool[@]}" exif "$input"
}

show_inputs() {
    local input what
    readable=()
    for input in "${inputs[@]}"; do
        what=$(info_of "$input")
        printf '  %-48.47s%s\n' "$(basename "$input")" "$what"
        [ "${what#declined}" != "$what" ] || readable+=("$input")
    done
    [ ${#readable[@]} -gt 0 ] || fail "none of the files can be read"
}

make_sheet() {
    "${tool[@]}" sheet "$demo/$1/sheet.jpg" "${inputs[@]}" >/dev/null 2>"$logs/$1-sheet.log" ||
        fail "$(tail -n 1 "$logs/$1-sheet.log")"
    say "contact sheet: ${demo#"$root/"}/$1/sheet.jpg"
}

rm -rf "$demo"
mkdir -p "$demo/inputs" "$logs"

need_packages "${native_packages[@]}"
configure linux-release
build linux-release rastrel_tool
tool=("$root/build/linux-release/bin/rastrel")
[ ${#inputs[@]} -gt 0 ] || mapfile -t inputs < <(collect_samples)
[ ${#inputs[@]} -gt 0 ] || draw_inputs
say "what ${#inputs[@]} files are"
show_inputs
say "every format, written and read back (bytes), and scaled to 64 columns"
convert_all linux "${formats[@]}"
say "smoothed, exposed, and the metadata of $(basename "${readable[0]}")"
work_on linux "${readable[0]}" | sed 's/^/  /'
make_sheet linux

if [ $windows = yes ]; then
    "$root/scripts/windows-deps.sh"
    need_packages "${windows_packages[@]}"
    configure windows-release
    build windows-release rastrel_tool
    tool=("$root/cmake/run-with-wine.sh" "$root/build/windows-release/bin/rastrel.exe")
    readable=("${readable[@]:0:3}")
    say "the same with the Windows library under Wine"
    convert_all windows "${formats[@]}"
    make_sheet windows
    same=0
    for file in "$demo"/windows/*.tif "$demo"/windows/*.psb; do
        cmp -s "$file" "$demo/linux/$(basename "$file")" || fail "$(basename "$file") differs between Linux and Windows"
        same=$((same + 1))
    done
    say "$same TIFF and PSB files of both builds are the same byte for byte"
fi
[ $failures = 0 ] || fail "$failures conversions failed"
say "all results are in ${demo#"$root/"}"
