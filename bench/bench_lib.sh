# Shared by the whole-process benchmarks: timing with hyperfine (or a loop), peak memory with
# /usr/bin/time, a work directory with a private home. Sourced; expects `fail` and `runs`.

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
[[ -x /usr/bin/time ]] || fail "/usr/bin/time is not installed (apt-get install time)"

work=$(mktemp -d "${TMPDIR:-/tmp}/mandrel-bench-XXXXXX")
if [[ ${KEEP:-0} != 1 ]]; then
    trap 'rm -rf "$work"' EXIT
fi
# A private home: the program must neither read nor write the user's settings.
home=$work/home
mkdir -p "$home/.config"
mandrel_env="HOME='$home' XDG_CONFIG_HOME='$home/.config'"

# Wall-clock seconds of one run of a command (hyperfine when installed: it takes the shell's
# own start-up off; otherwise a clock around bash -c). Every run starts with the runs before it
# on the disk (sync, not timed): otherwise a run pays for the write-back of the output before
# it, and the order of the commands decides the figures (cat after the slow uudeview against a
# decoder right after another decoder).
one_run_seconds() {
    local command=$1 output=$2 json=$work/hyperfine.json
    rm -rf "$output"
    sync
    if ((have_hyperfine)); then
        hyperfine --style none --runs 1 --ignore-failure --export-json "$json" "$command" \
            >/dev/null
        json_median "$json"
        return
    fi
    local start end
    start=$(date +%s%N)
    bash -c "$command" || true
    end=$(date +%s%N)
    awk -v ns="$((end - start))" 'BEGIN { printf "%.6f\n", ns / 1e9 }'
}

median_of() { sort -g | awk '{ t[NR] = $1 } END {
    m = (NR % 2) ? t[(NR + 1) / 2] : (t[NR / 2] + t[NR / 2 + 1]) / 2; printf "%.6f\n", m }'; }

# Peak resident set of one run, in KiB.
peak_rss_kib() {
    local command=$1 output=$2
    rm -rf "$output"
    /usr/bin/time -f %M -o "$work/rss.txt" bash -c "exec $command"
    tail -n 1 "$work/rss.txt"
}

declare -A seconds rss
names=()

# Times every "name|command|output" entry of the array named by $1 into the associative arrays
# seconds and rss, in the order kept in names. The runs are paired: each round runs every
# command once, after one warm-up round, so that a busy moment of the machine falls on all of
# them alike; a command's figure is the median of its rounds. A failing exit status (a decode
# with warnings) still counts; a missing output does not.
time_cases() {
    local -n list=$1
    local entry name command output round
    local -A round_times=()
    for entry in "${list[@]}"; do
        IFS='|' read -r name command output <<<"$entry"
        names+=("$name")
        round_times[$name]=""
    done
    for ((round = 0; round <= runs; round++)); do
        echo "  round $round of $runs ..." >&2
        for entry in "${list[@]}"; do
            IFS='|' read -r name command output <<<"$entry"
            local t
            t=$(one_run_seconds "$command" "$output")
            [[ -e $output ]] || fail "$name wrote no output"
            ((round > 0)) && round_times[$name]+="$t "
        done
    done
    for entry in "${list[@]}"; do
        IFS='|' read -r name command output <<<"$entry"
        seconds[$name]=$(printf '%s\n' ${round_times[$name]} | median_of)
        rss[$name]=$(peak_rss_kib "$command" "$output")
    done
}

# The table: tool, median seconds, MB/s of $2 bytes, peak RSS.
print_table() {
    local bytes=$1 name
    printf '\n%-16s %12s %10s %14s\n' "tool" "median s" "MB/s" "peak RSS MiB"
    for name in "${names[@]}"; do
        awk -v n="$name" -v s="${seconds[$name]}" -v b="$bytes" -v k="${rss[$name]}" \
            'BEGIN { printf "%-16s %12.3f %10.1f %14.1f\n", n, s, b / 1e6 / s, k / 1024 }'
    done
}

# The peer's time over ours.
speed_ratio() { awk -v a="${seconds[$1]}" -v b="${seconds[$2]}" 'BEGIN { printf "%.2f", a / b }'; }
verdict() { awk -v r="$1" -v t="$2" 'BEGIN { print (r >= t) ? "met" : "MISSED" }'; }
# Ours over the reference's: for the targets that are a ceiling ("within 1.3 times").
time_ratio() { awk -v a="${seconds[$1]}" -v b="${seconds[$2]}" 'BEGIN { printf "%.2f", a / b }'; }
ceiling_verdict() { awk -v r="$1" -v t="$2" 'BEGIN { print (r <= t) ? "met" : "MISSED" }'; }
# The peak resident memory of every named case, in MiB, and whether all stay under 32 MiB.
peak_of() {
    local peak=0 name
    for name in "$@"; do
        ((rss[$name] > peak)) && peak=${rss[$name]}
    done
    echo "$((peak / 1024))"
}
