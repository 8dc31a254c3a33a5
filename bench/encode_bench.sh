#!/usr/bin/env bash
# Whole-process encode speed of the console program against sharutils' uuencode and coreutils'
# base64 on one large random file, with the peak resident memory of every run.
#
#   bench/encode_bench.sh [path/to/mandrel]      (default: build-rel/app/mandrel)
#
# Environment: RUNS (timed runs per tool, at least 5; default 5), SIZE_MIB (default 64),
# KEEP=1 keeps the work directory. Exit status: 0 when both targets are met, 1 when one is
# missed, 2 when the benchmark could not run.
set -euo pipefail

mandrel=${1:-build-rel/app/mandrel}
runs=${RUNS:-5}
size_mib=${SIZE_MIB:-64}

fail() {
    echo "encode_bench: $*" >&2
    exit 2
}

[[ -x $mandrel ]] || fail "no mandrel program at $mandrel (build with -DCMAKE_BUILD_TYPE=Release)"
mandrel=$(realpath "$mandrel")
((runs >= 5)) || fail "RUNS must be at least 5"
for tool in uuencode base64; do
    command -v "$tool" >/dev/null || fail "$tool is not installed (apt-get install sharutils coreutils)"
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
)

echo "Encoding $size_mib MiB of random bytes, median of $runs runs each ($(nproc) cores)" >&2
time_cases cases
print_table "$bytes"

uu_ratio=$(speed_ratio uuencode "mandrel -Eu")
mime_ratio=$(speed_ratio base64 "mandrel -Em")
uu_verdict=$(verdict "$uu_ratio" 1.5)
mime_verdict=$(verdict "$mime_ratio" 1.0)
echo
echo "UU speed / uuencode speed:   $uu_ratio (target >= 1.5: $uu_verdict)"
echo "MIME speed / base64 speed:   $mime_ratio (target >= 1.0: $mime_verdict)"
[[ $uu_verdict == met && $mime_verdict == met ]]
