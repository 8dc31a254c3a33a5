#!/usr/bin/env bash
# Whole-process decode speed of the console program against sharutils' uudecode, coreutils'
# base64 -d and uudeview on one large random file, with the peak resident memory of every run.
#
#   bench/decode_bench.sh [path/to/mandrel]      (default: build-rel/app/mandrel)
#
# Environment: RUNS (timed runs per tool, at least 5; default 5), SIZE_MIB (default 64),
# KEEP=1 keeps the work directory. Exit status: 0 when every target is met, 1 when one is
# missed, 2 when the benchmark could not run.
set -euo pipefail

mandrel=${1:-build-rel/app/mandrel}
runs=${RUNS:-5}
size_mib=${SIZE_MIB:-64}

fail() {
    echo "decode_bench: $*" >&2
    exit 2
}

[[ -x $mandrel ]] || fail "no mandrel program at $mandrel (build with -DCMAKE_BUILD_TYPE=Release)"
mandrel=$(realpath "$mandrel")
((runs >= 5)) || fail "RUNS must be at least 5"
for tool in uudecode uuencode base64 uudeview; do
    command -v "$tool" >/dev/null || fail "$tool is not installed (apt-get install sharutils coreutils uudeview)"
done
source "$(dirname "$0")/bench_lib.sh"

bytes=$((size_mib * 1024 * 1024))
mkdir -p "$work/src" "$work/dec" "$work/peer"
input=$work/src/input.bin
head -c "$bytes" /dev/urandom >"$input"

# The encoded inputs: ours in the four encodings (UU and XX with LF line ends, as on a UNIX
# system), and coreutils' plain Base64 for base64 -d.
(
    cd "$work/src"
    for method in u x m b; do
        env HOME="$home" XDG_CONFIG_HOME="$home/.config" "$mandrel" --quiet --encodecrlf=176 -N \
            "-E$method" input.bin
    done
    base64 input.bin >input.b64
)
mv "$work/src/input.uue" "$work/src/input.xxe" "$work/src/input.mme" "$work/src/input.hqx" \
    "$work/src/input.b64" "$work/dec/"
decoded=$work/dec/input.bin

cases=(
    "mandrel UU|env $mandrel_env '$mandrel' --quiet -N '$work/dec/input.uue'|$decoded"
    "mandrel XX|env $mandrel_env '$mandrel' --quiet -N '$work/dec/input.xxe'|$decoded"
    "mandrel MIME|env $mandrel_env '$mandrel' --quiet -N '$work/dec/input.mme'|$decoded"
    "mandrel BinHex|env $mandrel_env '$mandrel' --quiet -N '$work/dec/input.hqx'|$decoded"
    "uudecode|uudecode -o '$work/peer/uudecode.out' '$work/dec/input.uue'|$work/peer/uudecode.out"
    "base64 -d|base64 -d '$work/dec/input.b64' > '$work/peer/base64.out'|$work/peer/base64.out"
    "uudeview UU|mkdir -p '$work/peer/uudeview' && uudeview -i -q -o -p '$work/peer/uudeview/' '$work/dec/input.uue'|$work/peer/uudeview"
)
echo "Decoding $size_mib MiB of random bytes, median of $runs runs each ($(nproc) cores)" >&2
time_cases cases
cmp -s "$input" "$decoded" || fail "mandrel's decoded file differs from the input"
print_table "$bytes"

uu_ratio=$(speed_ratio uudecode "mandrel UU")
mime_ratio=$(speed_ratio "base64 -d" "mandrel MIME")
uudeview_ratio=$(speed_ratio "uudeview UU" "mandrel UU")
peak=0
for name in "mandrel UU" "mandrel XX" "mandrel MIME" "mandrel BinHex"; do
    ((rss[$name] > peak)) && peak=${rss[$name]}
done
peak_verdict=$(awk -v k="$peak" 'BEGIN { print (k < 32 * 1024) ? "met" : "MISSED" }')
uu_verdict=$(verdict "$uu_ratio" 1.5)
mime_verdict=$(verdict "$mime_ratio" 1.0)
uudeview_verdict=$(verdict "$uudeview_ratio" 10)
echo
echo "UU speed / uudecode speed:    $uu_ratio (target >= 1.5: $uu_verdict)"
echo "MIME speed / base64 -d speed: $mime_ratio (target >= 1.0: $mime_verdict)"
echo "UU speed / uudeview speed:    $uudeview_ratio (target >= 10: $uudeview_verdict)"
echo "peak RSS of mandrel:          $((peak / 1024)) MiB (target < 32: $peak_verdict)"
[[ $uu_verdict == met && $mime_verdict == met && $uudeview_verdict == met && $peak_verdict == met ]]
