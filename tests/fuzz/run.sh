#!/usr/bin/env bash
# Builds the decoder's fuzz target with clang and runs it over the checked-in corpus for a
# bounded time, shared among the kernels' paths (scalar, SSSE3, AVX2, AVX-512: each or the best
# below it that this processor has). Usage: tests/fuzz/run.sh [seconds]
set -euo pipefail
cd "$(dirname "$0")/../.."
seconds="${1:-60}"
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMANDREL_FUZZ=ON >/dev/null
cmake --build build-fuzz -j2 --target decode_fuzz
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
# New inputs found go to a scratch copy; the checked-in seeds stay as they are.
cp -r tests/fuzz/corpus "$work/corpus"
share=$(( (seconds + 3) / 4 ))
for path in scalar ssse3 avx2 avx512; do
  echo "fuzzing with the $path kernels (or the best below them) for ${share} s" >&2
  MANDREL_KERNEL_PATH=$path build-fuzz/tests/fuzz/decode_fuzz -max_total_time="$share" \
    -max_len=65536 -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 "$work/corpus"
done
