#!/usr/bin/env bash
# Whole-process decode speed of the console program against sharutils' uudecode, coreutils'
# base64 -d, macutils' hexbin, uudeview, and cat and dd (the copy limit) on one large random
# file, with the peak resident memory of every run; yEnc (as python3-yenc writes it) beside UU.
#
#   bench/decode_bench.sh [path/to/mandrel]      (default: build-rel/app/mandrel)
#
# Environment: RUNS (paired rounds, at least 7; default 7), SIZE_MIB (default 64), KEEP=1 keeps
# the work directory, BINHEX_BEFORE_S (the BinHex decode time before the block reader on this
# machine, for its target; default 0.382, measured at 64 MiB). Exit status: 0 when every target
# is met, 1 when one is missed, 2 when the benchmark could not run.
set -euo pipefail

mandrel=${1:-build-rel/app/mandrel}
runs=${RUNS:-7}
size_mib=${SIZE_MIB:-64}
binhex_before=${BINHEX_BEFORE_S:-0.382}

fail() {
    echo "decode_bench: $*" >&2
    exit 2
}

[[ -x $mandrel ]] || fail "no mandrel program at $mandrel (build with -DCMAKE_BUILD_TYPE=Release)"
mandrel=$(realpath "$mandrel")
((runs >= 7)) || fail "RUNS must be at least 7"
for tool in uudecode uuencode base64 uudeview hexbin; do
    command -v "$tool" >/dev/null ||
        fail "$tool is not installed (apt-get install sharutils coreutils uudeview macutils)"
done
/usr/bin/python3 -c 'import yenc' 2>/dev/null ||
    fail "python3-yenc is not installed (apt-get install python3-yenc)"
source "$(dirname "$0")/bench_lib.sh"

bytes=$((size_mib * 1024 * 1024))
src=$work/src
dec=$work/dec
parts=$work/parts
peer=$work/peer
mkdir -p "$src" "$dec" "$parts" "$peer"
input=$src/input.bin
head -c "$bytes" /dev/urandom >"$input"
encode() { (cd "$1" && env HOME="$home" XDG_CONFIG_HOME="$home/.config" "$mandrel" --quiet -N "${@:2}"); }

# The inputs: ours in the four encodings (UU and XX with LF line ends, as on a UNIX system, and
# UU once more with CR LF), sharutils' UU, coreutils' Base64 with its 76-character lines (bare
# for base64 -d, in a MIME message for us), a SimTel set of about 90 parts with checksum lines
# (joined in the shell's order, 1, 10, 11, ..., 2, ...) beside the single file with the same
# checksum lines, and the UU input with one damaged line in the middle.
encode "$src" --encodecrlf=176 -Eu input.bin
mv "$src/input.uue" "$dec/lf.uue"
for method in u x b; do
    encode "$src" --encodecrlf=176 "-E$method" input.bin
done
mv "$src/input.xxe" "$src/input.hqx" "$dec/"
encode "$src" --encodecrlf=175 -Eu input.bin
mv "$src/input.uue" "$dec/crlf.uue"
# The single file with the checksum lines the SimTel set carries (section and entire file).
encode "$src" --encodecrlf=176 --encodetype=3 --encodechecksum=1 -Eu input.bin
mv "$src/input.uue" "$dec/sums.uue"
uuencode "$input" input.bin >"$dec/sharutils.uue"
base64 "$input" >"$dec/input.b64"
{
    printf 'MIME-Version: 1.0\nContent-Type: application/octet-stream; name="input.bin"\n'
    printf 'Content-Transfer-Encoding: base64\n\n'
    cat "$dec/input.b64"
} >"$dec/b76.mme"
part_size=$(((bytes / 45 * 62 + 89) / 90))
((part_size >= 4500)) || part_size=4500
cp "$input" "$parts/"
encode "$parts" --encodecrlf=176 --encodetype=5 --encodechecksum=1 --encodeoutputsize="$part_size" -Eu input.bin
part_count=$(find "$parts" -name 'input*.uue' | wc -l)
cat "$parts"/input*.uue >"$dec/simtel.uue"
# yEnc as news servers carry it: python3-yenc's 128-character lines with CR LF.
/usr/bin/python3 - "$input" "$dec/input.yenc" <<'PYTHON'
import sys, yenc, zlib
data = open(sys.argv[1], 'rb').read()
encoder = yenc.Encoder()
encoder.feed(data)
encoder.terminate()
with open(sys.argv[2], 'wb') as out:
    out.write(b'=ybegin line=128 size=%d name=input.bin\r\n' % len(data))
    out.write(encoder.getEncoded())
    out.write(b'=yend size=%d crc32=%08x\r\n' % (len(data), zlib.crc32(data)))
PYTHON
awk 'NR == int(n / 2) { $0 = substr($0, 1, 10) "~" substr($0, 12) } { print }' \
    n="$(wc -l <"$dec/lf.uue")" "$dec/lf.uue" >"$dec/damaged.uue"
decoded=$dec/input.bin
run() { echo "env $mandrel_env '$mandrel' --quiet -N '$dec/$1'"; }

cases=(
    "mandrel UU LF|$(run lf.uue)|$decoded"
    "mandrel UU CRLF|$(run crlf.uue)|$decoded"
    "mandrel UU shar|$(run sharutils.uue)|$decoded"
    "mandrel XX|$(run input.xxe)|$decoded"
    "mandrel MIME 76|$(run b76.mme)|$decoded"
    "mandrel BinHex|$(run input.hqx)|$decoded"
    "mandrel yEnc|$(run input.yenc)|$decoded"
    "mandrel UU sums|$(run sums.uue)|$decoded"
    "mandrel SimTel|$(run simtel.uue)|$decoded"
    "mandrel damaged|$(run damaged.uue)|$decoded"
    "uudecode shar|uudecode -o '$peer/uudecode.out' '$dec/sharutils.uue'|$peer/uudecode.out"
    "uudecode CRLF|uudecode -o '$peer/uudecode.out' '$dec/crlf.uue'|$peer/uudecode.out"
    "base64 -d|base64 -d '$dec/input.b64' > '$peer/base64.out'|$peer/base64.out"
    "hexbin|bash -c \"cd '$peer' && exec hexbin -d -n hexbin '$dec/input.hqx'\"|$peer/hexbin.data"
    "uudeview|mkdir -p '$peer/uudeview' && uudeview -i -q -o -p '$peer/uudeview/' '$dec/lf.uue'|$peer/uudeview"
    "cat|cat '$input' > '$peer/cat.out'|$peer/cat.out"
    "dd|dd if='$input' of='$peer/dd.out' bs=256K status=none|$peer/dd.out"
)
echo "Decoding $size_mib MiB of random bytes ($part_count SimTel parts), median of $runs paired rounds ($(nproc) cores)" >&2
time_cases cases
# The damaged input's output differs on purpose: the clean one's is compared.
rm -f "$decoded"
bash -c "$(run lf.uue)"
cmp -s "$input" "$decoded" || fail "mandrel's decoded file differs from the input"
cmp -s "$input" "$peer/hexbin.data" || fail "hexbin's decoded file differs from the input"
print_table "$bytes"

declare -a checks=()
check() { # name, figure, target, verdict
    checks+=("$(printf '%-44s %6s (target %s: %s)' "$1" "$2" "$3" "$4")")
    [[ $4 == met ]]
}
ok=0
# The targets that are a ratio of two rows' times: name|numerator|denominator|>= or <=|target.
# A peer's time over ours is a speed ratio (at least the target); ours over a reference is a
# time ratio (at most the target).
targets=(
    "UU (sharutils text) / uudecode|uudecode shar|mandrel UU shar|>=|2.5"
    "UU (our CR LF text) / uudecode|uudecode CRLF|mandrel UU CRLF|>=|2.5"
    "XX / uudecode (sharutils text)|uudecode shar|mandrel XX|>=|2.5"
    "UU time / cat writing the output|mandrel UU LF|cat|<=|1.3"
    "XX time / cat writing the output|mandrel XX|cat|<=|1.3"
    "MIME (76-character lines) / base64 -d|base64 -d|mandrel MIME 76|>=|2.5"
    "SimTel set with sums / single file|mandrel SimTel|mandrel UU LF|<=|1.3"
    "SimTel set / single file, same sum lines|mandrel SimTel|mandrel UU sums|<=|1.3"
    "damaged line (no questions) / clean|mandrel damaged|mandrel UU LF|<=|1.3"
    "yEnc / UU LF, same output|mandrel yEnc|mandrel UU LF|<=|1.0"
    "UU / uudeview|uudeview|mandrel UU LF|>=|10"
)
for target in "${targets[@]}"; do
    IFS='|' read -r name over under op figure <<<"$target"
    r=$(time_ratio "$over" "$under")
    if [[ $op == ">=" ]]; then v=$(verdict "$r" "$figure"); else v=$(ceiling_verdict "$r" "$figure"); fi
    check "$name" "$r" "$op $figure" "$v" || ok=1
done
# cat copies inside the system (copy_file_range); dd moves the bytes through the program as a
# decoder must.
r=$(time_ratio "mandrel UU LF" "dd")
checks+=("$(printf '%-44s %6s (for comparison)' "UU time / dd copying the output" "$r")")
r=$(awk -v a="$binhex_before" -v b="${seconds[mandrel BinHex]}" -v m="$size_mib" \
    'BEGIN { printf "%.2f", a * m / 64 / b }')
check "BinHex / before ($binhex_before s at 64 MiB)" "$r" ">= 5" "$(verdict "$r" 5)" || ok=1
r=$(speed_ratio "hexbin" "mandrel BinHex")
checks+=("$(printf '%-44s %6s (for comparison)' "BinHex / hexbin" "$r")")
peak=$(peak_of "mandrel UU LF" "mandrel UU CRLF" "mandrel UU shar" "mandrel XX" "mandrel MIME 76" "mandrel UU sums" \
    "mandrel BinHex" "mandrel yEnc" "mandrel SimTel" "mandrel damaged")
check "peak RSS of mandrel, MiB" "$peak" "< 32" "$( ((peak < 32)) && echo met || echo MISSED)" || ok=1
echo
printf '%s\n' "${checks[@]}"
exit "$ok"
