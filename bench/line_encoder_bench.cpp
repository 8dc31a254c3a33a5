// EncodeLine alone, over full 45-byte blocks as the encode driver hands them: the upper bound of
// what the UU, XX and MIME encoders can deliver before the file layer and the part assembly take
// their share. Bytes processed are input bytes, so the rates compare with the whole-program
// figures of encode_bench.sh.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <span>
#include <vector>

#include "codec/alphabets.h"
#include "core/config.h"
#include "encode/line_encoder.h"
#include "platform/scripted_ui.h"
#include "shell/app_state.h"

namespace {

// Cycling over 1 MiB keeps the input in the cache sizes a real job sees while reading ahead.
constexpr std::size_t kInputBytes = 1U << 20U;
constexpr std::size_t kBlocks = kInputBytes / mandrel::kBlockSize;

std::vector<unsigned char> InputBytes() {
    std::vector<unsigned char> bytes(kBlocks * mandrel::kBlockSize);
    uint32_t state = 0x12345678U;
    for (auto& byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<unsigned char>(state >> 24U);
    }
    return bytes;
}

// range(0): the EncodingMethod value; range(1): the encodecrlf value.
void BM_EncodeLine(benchmark::State& state) {
    mandrel::ScriptedUi ui;
    mandrel::AppState app(ui);
    const auto method = static_cast<int>(state.range(0));
    app.config.encodemethod = method;
    app.config.encodecrlf = static_cast<int32_t>(state.range(1));
    app.config.eollength = mandrel::EolLengthFor(app.config.encodecrlf);
    app.job.EncodingIndex = mandrel::EncodingIndexForMethod(method);
    mandrel::SelectAlphabet(app.encode.CurrentAlphabet, method);

    const std::vector<unsigned char> input = InputBytes();
    char line[mandrel::kMaxLineLength + 2];
    std::size_t block = 0;
    int64_t written = 0;
    for (auto _ : state) {
        const std::span<const unsigned char> bytes(input.data() + block * mandrel::kBlockSize,
                                                   mandrel::kBlockSize);
        written += mandrel::EncodeLine(app, bytes, line);
        benchmark::DoNotOptimize(line);
        block = block + 1 == kBlocks ? 0 : block + 1;
    }
    benchmark::DoNotOptimize(app.encode.PartSum);
    benchmark::DoNotOptimize(app.encode.InputSum);
    state.SetBytesProcessed(state.iterations() * mandrel::kBlockSize);
    state.counters["out_chars_per_line"] =
        benchmark::Counter(static_cast<double>(written) / static_cast<double>(state.iterations()));
}

BENCHMARK(BM_EncodeLine)
    ->ArgNames({"method", "eol"})
    ->Args({mandrel::kMethodUU, mandrel::kEolCrLf})
    ->Args({mandrel::kMethodUU, mandrel::kEolLf})
    ->Args({mandrel::kMethodXX, mandrel::kEolCrLf})
    ->Args({mandrel::kMethodMIME, mandrel::kEolCrLf})
    ->Args({mandrel::kMethodMIME, mandrel::kEolLf});

}  // namespace

BENCHMARK_MAIN();
