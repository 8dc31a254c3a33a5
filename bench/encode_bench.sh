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
[[ -x /usr/bin/time ]] || fail "/usr/bin/time is not installed (apt-get install time)"
have_hyperfine=0
if command -v hyperfine >/dev/null; then
    have_hyperfine=1
fi
if command -v jq >/dev/null; then
    json_median() { jq -r '.results[0].median' "$1"; }
elif command -v python3 >/dev/null; then
    json_median() { python3 -c 'import json,sys; print(json.load(open(sys.argv[1]))["results"][0]["median"])' "$1"; }
elif ((have_hyperfine)); then
    fail "hyperfine's results need jq or python3 to be read"
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/mandrel-bench-XXXXXX")
if [[ ${KEEP:-0} != 1 ]]; then
    trap 'rm -rf "$work"' EXIT
fi
# A private home: the program must neither read nor write the user's settings.
home=$work/home
mkdir -p "$home/.config"
input=$work/input.bin
bytes=$((size_mib * 1024 * 1024))
head -c "$bytes" /dev/urandom >"$input"
mandrel_env="HOME='$home' XDG_CONFIG_HOME='$home/.config'"

# name | command | output file removed before each run
cases=(
    "mandrel -Eu|env $mandrel_env '$mandrel' --quiet -N -Eu '$input'|$work/input.uue"
    "mandrel -Ex|env $mandrel_env '$mandrel' --quiet -N -Ex '$input'|$work/input.xxe"
    "mandrel -Em|env $mandrel_env '$mandrel' --quiet -N -Em '$input'|$work/input.mme"
    "mandrel -Eb|env $mandrel_env '$mandrel' --quiet -N -Eb '$input'|$work/input.hqx"
    "uuencode|uuencode '$input' input.bin > '$work/uuencode.out'|$work/uuencode.out"
    "base64|base64 '$input' > '$work/base64.out'|$work/base64.out"
)

# Median wall-clock seconds of a command over $runs runs, after one warm-up run.
median_seconds() {
    local command=$1 output=$2 json=$work/hyperfine.json
    if ((have_hyperfine)); then
        hyperfine --style none --warmup 1 --runs "$runs" --prepare "rm -f '$output'" \
            --export-json "$json" "$command" >/dev/null
        json_median "$json"
        return
    fi
    local i start end times=()
    rm -f "$output"
    bash -c "$command"
    for ((i = 0; i < runs; i++)); do
        rm -f "$output"
        start=$(date +%s%N)
        bash -c "$command"
        end=$(date +%s%N)
        times+=($(((end - start) / 1000)))
    done
    printf '%s\n' "${times[@]}" | sort -n | awk '{ t[NR] = $1 } END {
        m = (NR % 2) ? t[(NR + 1) / 2] : (t[NR / 2] + t[NR / 2 + 1]) / 2; printf "%.6f\n", m / 1e6 }'
}

# Peak resident set of one run, in KiB.
peak_rss_kib() {
    local command=$1 output=$2
    rm -f "$output"
    /usr/bin/time -f %M -o "$work/rss.txt" bash -c "exec $command"
    tail -n 1 "$work/rss.txt"
}

declare -A seconds rss
names=()
echo "Encoding $size_mib MiB of random bytes, median of $runs runs each ($(nproc) cores)" >&2
for entry in "${cases[@]}"; do
    IFS='|' read -r name command output <<<"$entry"
    names+=("$name")
    echo "  timing $name ..." >&2
    seconds[$name]=$(median_seconds "$command" "$output")
    rss[$name]=$(peak_rss_kib "$command" "$output")
    [[ -s $output ]] || fail "$name wrote no output"
done

printf '\n%-14s %12s %10s %14s\n' "tool" "median s" "MB/s" "peak RSS MiB"
for name in "${names[@]}"; do
    awk -v n="$name" -v s="${seconds[$name]}" -v b="$bytes" -v k="${rss[$name]}" \
        'BEGIN { printf "%-14s %12.3f %10.1f %14.1f\n", n, s, b / 1e6 / s, k / 1024 }'
done

# Speed ratios: the peer's time over ours.
uu_ratio=$(awk -v a="${seconds[uuencode]}" -v b="${seconds[mandrel -Eu]}" 'BEGIN { printf "%.2f", a / b }')
mime_ratio=$(awk -v a="${seconds[base64]}" -v b="${seconds[mandrel -Em]}" 'BEGIN { printf "%.2f", a / b }')
verdict() { awk -v r="$1" -v t="$2" 'BEGIN { print (r >= t) ? "met" : "MISSED" }'; }
uu_verdict=$(verdict "$uu_ratio" 1.5)
mime_verdict=$(verdict "$mime_ratio" 1.0)
echo
echo "UU speed / uuencode speed:   $uu_ratio (target >= 1.5: $uu_verdict)"
echo "MIME speed / base64 speed:   $mime_ratio (target >= 1.0: $mime_verdict)"
[[ $uu_verdict == met && $mime_verdict == met ]]
