#!/usr/bin/env bash
# Whole-process encode speed of the console program against sharutils' uuencode, coreutils'
# base64 and macutils' binhex on one large random file, with the peak resident memory of every
# run.
#
#   bench/encode_bench.sh [path/to/mandrel]      (default: build-rel/app/mandrel)
#
# Environment: RUNS (paired rounds, at least 7; default 7), SIZE_MIB (default 64), KEEP=1 keeps
# the work directory, BINHEX_BEFORE_S (the BinHex encode time before the block encoder on this
# machine, for its target; default 0.385, measured at 64 MiB). Exit status: 0 when every
# target is met, 1 when one is missed, 2 when the benchmark could not run.
set -euo pipefail

mandrel=${1:-build-rel/app/mandrel}
runs=${RUNS:-7}
size_mib=${SIZE_MIB:-64}
binhex_before=${BINHEX_BEFORE_S:-0.385}

fail() {
    echo "encode_bench: $*" >&2
    exit 2
}

[[ -x $mandrel ]] || fail "no mandrel program at $mandrel (build with -DCMAKE_BUILD_TYPE=Release)"
mandrel=$(realpath "$mandrel")
((runs >= 7)) || fail "RUNS must be at least 7"
for tool in uuencode base64 binhex; do
    command -v "$tool" >/dev/null ||
        fail "$tool is not installed (apt-get install sharutils coreutils macutils)"
done
source "$(dirname "$0")/bench_lib.sh"

input=$work/input.bin
bytes=$((size_mib * 1024 * 1024))
head -c "$bytes" /dev/urandom >"$input"

# name | command | output file removed before each run
cases=(
    "mandrel -Eu|env $mandrel_env '$mandrel' --quiet -N -Eu '$input'|$work/input.uue"
    "mandrel -Ex|env $mandrel_env '$mandrel' --quiet -N -Ex '$input'|$work/input.xxe"
    "mandrel -Em|env $mandrel_env '$mandrel' --quiet -N -Em '$input'|$work/input.mme"
    "mandrel -Eb|env $mandrel_env '$mandrel' --quiet -N -Eb '$input'|$work/input.hqx"
    "uuencode|uuencode '$input' input.bin > '$work/uuencode.out'|$work/uuencode.out"
    "base64|base64 '$input' > '$work/base64.out'|$work/base64.out"
    "binhex|binhex -d '$input' > '$work/binhex.out'|$work/binhex.out"
)

echo "Encoding $size_mib MiB of random bytes, median of $runs paired rounds ($(nproc) cores)" >&2
time_cases cases
print_table "$bytes"

ok=0
line() { printf '%-40s %6s (target %s: %s)\n' "$@"; [[ $4 == met ]]; }
echo
r=$(speed_ratio uuencode "mandrel -Eu")
line "UU speed / uuencode speed" "$r" ">= 3" "$(verdict "$r" 3)" || ok=1
r=$(speed_ratio base64 "mandrel -Em")
line "MIME speed / base64 speed" "$r" ">= 2.5" "$(verdict "$r" 2.5)" || ok=1
r=$(awk -v a="$binhex_before" -v b="${seconds[mandrel -Eb]}" -v m="$size_mib" \
    'BEGIN { printf "%.2f", a * m / 64 / b }')
line "BinHex / before ($binhex_before s at 64 MiB)" "$r" ">= 3" "$(verdict "$r" 3)" || ok=1
printf '%-40s %6s (for comparison)\n' "BinHex speed / binhex speed" \
    "$(speed_ratio binhex "mandrel -Eb")"
peak=$(peak_of "mandrel -Eu" "mandrel -Ex" "mandrel -Em" "mandrel -Eb")
line "peak RSS of mandrel, MiB" "$peak" "< 32" "$( ((peak < 32)) && echo met || echo MISSED)" || ok=1
exit "$ok"
