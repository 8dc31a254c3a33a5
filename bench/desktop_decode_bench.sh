#!/usr/bin/env bash
# What a decode job costs in the desktop program against the console program on the same input:
# 64 MiB of random bytes as UU and as MIME text, decoded by `mandrel32 -N FILE` (the window is
# shown and pumps its events during the job) and by `mandrel -N FILE`. A job's cost is the median
# time of the large decode less that of a one-byte decode, so that starting the program (Qt's
# start-up for the window) is not counted against the job.
#
#   bench/desktop_decode_bench.sh [BUILD_DIRECTORY]      (default: build)
#
# Environment: RUNS (at least 5; default 5), SIZE_MIB (default 64), QT_QPA_PLATFORM (default
# offscreen; run under xvfb-run with QT_QPA_PLATFORM=xcb for a real X server). Exit status: 0 when
# every job costs at most 1.2 times the console's, 1 when one does not, 2 when it could not run.
set -euo pipefail

build=${1:-build}
runs=${RUNS:-5}
size_mib=${SIZE_MIB:-64}
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}

fail() {
    echo "desktop_decode_bench: $*" >&2
    exit 2
}
mandrel=$(realpath "$build/app/mandrel")
mandrel32=$(realpath "$build/app/mandrel32")
[[ -x $mandrel && -x $mandrel32 ]] || fail "build both programs in $build first"
((runs >= 5)) || fail "RUNS must be at least 5"
source "$(dirname "$0")/bench_lib.sh"
mkdir -p "$home/runtime" && chmod 700 "$home/runtime"
mandrel_env="$mandrel_env XDG_RUNTIME_DIR='$home/runtime'"

bytes=$((size_mib * 1024 * 1024))
mkdir -p "$work/big" "$work/tiny"
head -c "$bytes" /dev/urandom >"$work/big/input.bin"
head -c 1 /dev/urandom >"$work/tiny/input.bin"
for dir in big tiny; do
    (
        cd "$work/$dir"
        for method in u m; do
            env HOME="$home" XDG_CONFIG_HOME="$home/.config" "$mandrel" --quiet --encodecrlf=176 \
                -N "-E$method" input.bin
        done
        mv input.bin original.bin
    )
done

cases=()
for encoding in uue:UU mme:MIME; do
    extension=${encoding%%:*}
    name=${encoding##*:}
    for dir in big tiny; do
        cases+=("mandrel $name $dir|env $mandrel_env '$mandrel' --quiet -N '$work/$dir/input.$extension'|$work/$dir/input.bin")
        cases+=("mandrel32 $name $dir|env $mandrel_env '$mandrel32' -N '$work/$dir/input.$extension'|$work/$dir/input.bin")
    done
done
echo "Decoding $size_mib MiB as UU and MIME, median of $runs runs each, platform $QT_QPA_PLATFORM" >&2
time_cases cases
cmp -s "$work/big/original.bin" "$work/big/input.bin" || fail "the decoded file differs from the input"
print_table "$bytes"

status=0
echo
for name in UU MIME; do
    ratio=$(awk -v d="${seconds[mandrel32 $name big]}" -v dt="${seconds[mandrel32 $name tiny]}" \
        -v c="${seconds[mandrel $name big]}" -v ct="${seconds[mandrel $name tiny]}" \
        'BEGIN { printf "%.3f", (d - dt) / (c - ct) }')
    startup=$(awk -v a="${seconds[mandrel32 $name tiny]}" -v b="${seconds[mandrel $name tiny]}" \
        'BEGIN { printf "%.3f", a - b }')
    ok=$(awk -v r="$ratio" 'BEGIN { print (r <= 1.2) ? "met" : "MISSED" }')
    [[ $ok == met ]] || status=1
    echo "$name job in mandrel32 / in mandrel: $ratio (target <= 1.2: $ok); window start-up adds ${startup} s"
done
exit $status
