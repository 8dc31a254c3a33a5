// The line kernels of the codec layer alone, without the file layer, the drivers or the
// sums' bookkeeping around them: the rate each encoding's encoder and decoders reach, so that a
// change in a kernel shows without the noise of a whole-program run. Rates are in bytes of
// binary data (the encoder's input, the decoders' output) per second.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "codec/alphabets.h"
#include "codec/binhex_crc.h"
#include "codec/decode_tables.h"
#include "codec/group_kernels.h"
#include "codec/line_decode.h"
#include "codec/line_encode.h"
#include "codec/line_run_decode.h"
#include "codec/sum_r.h"
#include "codec/yenc.h"

namespace {

using mandrel::kBlockSize;

// Cycling over 1 MiB keeps the data in the cache sizes a real job sees while reading ahead.
constexpr std::size_t kBlocks = (std::size_t{1} << 20U) / kBlockSize;

std::vector<unsigned char> InputBytes() {
    std::vector<unsigned char> bytes(kBlocks * kBlockSize);
    uint32_t state = 0x12345678U;
    for (auto& byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<unsigned char>(state >> 24U);
    }
    return bytes;
}

std::span<const unsigned char> Block(const std::vector<unsigned char>& bytes, std::size_t n) {
    return std::span(bytes).subspan(n * kBlockSize, kBlockSize);
}

// Every block as the line the encoder makes of it, zero-terminated in a buffer of the size the
// decoder holds its lines in.
using Line = std::array<unsigned char, 256>;
std::vector<Line> EncodedLines(int encoding, std::string_view eol) {
    const std::vector<unsigned char> bytes = InputBytes();
    std::vector<Line> lines(kBlocks);
    for (std::size_t n = 0; n < kBlocks; ++n) {
        std::array<char, mandrel::kMaxLineLength + 2> text{};
        const std::size_t size =
            mandrel::EncodeLineText(Block(bytes, n), mandrel::AlphabetFor(encoding),
                                    encoding == mandrel::kEncodingMIME, eol, nullptr, text);
        std::copy_n(text.begin(), size, lines[n].begin());
    }
    return lines;
}

// range(0): the encoding; range(1): 1 keeps the "sum -r" counters (checksum lines wanted).
void BM_EncodeLineText(benchmark::State& state) {
    const auto encoding = static_cast<int>(state.range(0));
    const std::vector<unsigned char> bytes = InputBytes();
    mandrel::LineEncodeSums sums;
    std::array<char, mandrel::kMaxLineLength + 2> line{};
    std::size_t n = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(mandrel::EncodeLineText(
            Block(bytes, n), mandrel::AlphabetFor(encoding), encoding == mandrel::kEncodingMIME,
            "\r\n", state.range(1) != 0 ? &sums : nullptr, line));
        benchmark::ClobberMemory();
        n = n + 1 == kBlocks ? 0 : n + 1;
    }
    benchmark::DoNotOptimize(sums);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kBlockSize);
}

// The quick way of sound UU and XX lines.
void BM_DecodeWholeGroups(benchmark::State& state) {
    const auto encoding = static_cast<int>(state.range(0));
    const std::vector<Line> lines = EncodedLines(encoding, "\r\n");
    std::array<unsigned char, 512> out{};
    std::size_t n = 0;
    int characters = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(mandrel::DecodeWholeGroups(mandrel::DecodeTableFor(encoding),
                                                            lines[n], out, characters));
        benchmark::ClobberMemory();
        n = n + 1 == kBlocks ? 0 : n + 1;
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kBlockSize);
}

// The exact way of UU and XX lines, the part's and the output's sums kept.
void BM_DecodeGroupLineText(benchmark::State& state) {
    const auto encoding = static_cast<int>(state.range(0));
    const std::vector<Line> lines = EncodedLines(encoding, "\r\n");
    const auto pad = static_cast<unsigned char>(mandrel::AlphabetFor(encoding)[0]);
    std::array<unsigned char, 512> out{};
    mandrel::LineDecodeSums sums;
    std::string reason;
    std::size_t n = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(mandrel::DecodeGroupLineText(
            mandrel::DecodeTableFor(encoding), lines[n], out, sums, false, pad, reason));
        benchmark::ClobberMemory();
        n = n + 1 == kBlocks ? 0 : n + 1;
    }
    benchmark::DoNotOptimize(sums);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kBlockSize);
}

void BM_DecodeBase64LineText(benchmark::State& state) {
    const std::vector<Line> lines = EncodedLines(mandrel::kEncodingMIME, "\r\n");
    std::array<unsigned char, 512> out{};
    mandrel::LineDecodeSums sums;
    mandrel::Base64State base64;
    uint32_t consumed = 0;
    std::string reason;
    std::size_t n = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            mandrel::DecodeBase64LineText(lines[n], out, base64, consumed, sums, false, reason));
        benchmark::ClobberMemory();
        n = n + 1 == kBlocks ? 0 : n + 1;
    }
    benchmark::DoNotOptimize(sums);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kBlockSize);
}

// Takes the vector path of range(0) for the benchmark's run; false (the row skipped) when this
// processor lacks it.
bool UsePath(benchmark::State& state) {
    const auto path = static_cast<mandrel::KernelPath>(state.range(0));
    if (mandrel::UseKernelPath(path) != path) {
        state.SkipWithError("this processor lacks the path");
        return false;
    }
    state.SetLabel(std::string(mandrel::KernelPathName(path)));
    return true;
}

// The group kernels alone over 1 MiB: range(0) the path, range(1) the encoding.
void BM_EncodeGroups(benchmark::State& state) {
    if (!UsePath(state)) {
        return;
    }
    const std::string_view alphabet = mandrel::AlphabetFor(static_cast<int>(state.range(1)));
    const std::vector<unsigned char> bytes = InputBytes();
    std::vector<char> text(bytes.size() / 3 * 4);
    for (auto _ : state) {
        mandrel::EncodeGroups(alphabet, bytes.data(), bytes.size() / 3, text.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(bytes.size()));
}

void BM_DecodeGroups(benchmark::State& state) {
    if (!UsePath(state)) {
        return;
    }
    const auto encoding = static_cast<int>(state.range(1));
    const std::vector<unsigned char> bytes = InputBytes();
    std::vector<char> text(bytes.size() / 3 * 4);
    mandrel::EncodeGroupsScalar(mandrel::AlphabetFor(encoding), bytes.data(), bytes.size() / 3,
                                text.data());
    std::vector<unsigned char> out(bytes.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(mandrel::DecodeGroups(
            mandrel::DecodeTableFor(encoding), reinterpret_cast<const unsigned char*>(text.data()),
            bytes.size() / 3, out.data()));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(bytes.size()));
}

// Runs of whole lines as the decoder meets them in its read buffer (32 KiB of text at a time,
// LF line ends): what the whole-program decode is built on.
void BM_DecodeLineRun(benchmark::State& state) {
    if (!UsePath(state)) {
        return;
    }
    const auto encoding = static_cast<int>(state.range(1));
    const std::vector<Line> lines = EncodedLines(encoding, "\n");
    std::vector<unsigned char> text;
    for (const Line& line : lines) {
        const auto* end = std::find(line.begin(), line.end(), '\0');
        text.insert(text.end(), line.begin(), end);
    }
    const mandrel::LineRunRules rules{&mandrel::DecodeTableFor(encoding),
                                      encoding == mandrel::kEncodingMIME, nullptr};
    std::vector<unsigned char> out(32768);
    constexpr std::size_t kWindow = 32768;
    uint64_t decoded = 0;
    for (auto _ : state) {
        for (std::size_t at = 0; at + kWindow <= text.size();) {
            const mandrel::LineRunResult run =
                mandrel::DecodeLineRun(rules, std::span(text).subspan(at, kWindow), -1, out);
            decoded += run.produced;
            at += run.consumed > 0 ? run.consumed : kWindow;
        }
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(decoded));
}

// The two checksums the decoder keeps over whole blocks.
void BM_BinHexCrcBlock(benchmark::State& state) {
    const std::vector<unsigned char> bytes = InputBytes();
    uint32_t crc = 0;
    for (auto _ : state) {
        crc = mandrel::BinHexCrcBlock(bytes, crc);
        benchmark::DoNotOptimize(crc);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(bytes.size()));
}

// A checksum over random bytes on the path range(0) names: "sum -r" one step at a time (scalar)
// or sixteen (AVX2 in one pass, AVX-512 in two); yEnc's CRC-32 by the tables alone (scalar) or
// folding 64 bytes at a time (AVX2, with SSE4.1's carry-less multiplication) or 256 (AVX-512).
template <uint32_t (*Checksum)(std::span<const unsigned char>, uint32_t)>
void BM_ChecksumOnPath(benchmark::State& state) {
    mandrel::UseKernelPath(static_cast<mandrel::KernelPath>(state.range(0)));
    const std::vector<unsigned char> bytes = InputBytes();
    uint32_t value = 0;
    for (auto _ : state) {
        value = Checksum(bytes, value);
        benchmark::DoNotOptimize(value);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(bytes.size()));
    state.SetLabel(std::string(mandrel::KernelPathName(mandrel::ActiveKernelPath())));
    mandrel::UseKernelPath(mandrel::BestKernelPath());
}
void BM_SumRBlock(benchmark::State& state) {
    BM_ChecksumOnPath<mandrel::SumRBlock>(state);
}
void BM_Crc32(benchmark::State& state) {
    BM_ChecksumOnPath<mandrel::Crc32>(state);
}

// yEnc lines of 128 characters with CR LF, escapes where encoders put them, decoded in runs
// from 32 KiB windows as the decoder meets them in its read buffer, on the path range(0) names.
void BM_DecodeYEncLines(benchmark::State& state) {
    mandrel::UseKernelPath(static_cast<mandrel::KernelPath>(state.range(0)));
    const std::vector<unsigned char> bytes = InputBytes();
    std::vector<unsigned char> text;
    std::size_t column = 0;
    for (const unsigned char byte : bytes) {
        const auto c = static_cast<unsigned char>(byte + 42);
        if (c == 0 || c == '\r' || c == '\n' || c == '=') {
            text.push_back('=');
            text.push_back(static_cast<unsigned char>(c + 64));
            column += 2;
        } else {
            text.push_back(c);
            ++column;
        }
        if (column >= 128) {
            text.push_back('\r');
            text.push_back('\n');
            column = 0;
        }
    }
    constexpr std::size_t kWindow = 32768;
    std::vector<unsigned char> out(kWindow);
    std::size_t decoded = 0;
    for (auto _ : state) {
        bool afterCr = false;
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t size = std::min(kWindow, text.size() - at);
            const mandrel::YEncRun run =
                mandrel::DecodeYEncLines(std::span(text).subspan(at, size), out, 4096, afterCr);
            decoded += run.produced;
            at += run.consumed > 0 ? run.consumed : size;
            afterCr = run.consumed > 0 && run.afterCr;
        }
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(decoded));
    state.SetLabel(std::string(mandrel::KernelPathName(mandrel::ActiveKernelPath())));
    mandrel::UseKernelPath(mandrel::BestKernelPath());
}

void EveryPathAndEncoding(benchmark::internal::Benchmark* b) {
    b->ArgNames({"path", "encoding"});
    for (const auto path : {mandrel::KernelPath::Scalar, mandrel::KernelPath::Ssse3,
                            mandrel::KernelPath::Avx2, mandrel::KernelPath::Avx512}) {
        for (const int encoding : {mandrel::kEncodingUU, mandrel::kEncodingXX,
                                   mandrel::kEncodingMIME, mandrel::kEncodingBinHex}) {
            b->Args({static_cast<int64_t>(path), encoding});
        }
    }
}

void EveryPathLineEncoding(benchmark::internal::Benchmark* b) {
    b->ArgNames({"path", "encoding"});
    for (const auto path : {mandrel::KernelPath::Scalar, mandrel::KernelPath::Ssse3,
                            mandrel::KernelPath::Avx2, mandrel::KernelPath::Avx512}) {
        for (const int encoding :
             {mandrel::kEncodingUU, mandrel::kEncodingXX, mandrel::kEncodingMIME}) {
            b->Args({static_cast<int64_t>(path), encoding});
        }
    }
}

BENCHMARK(BM_EncodeGroups)->Apply(EveryPathAndEncoding);
BENCHMARK(BM_DecodeGroups)->Apply(EveryPathAndEncoding);
BENCHMARK(BM_DecodeLineRun)->Apply(EveryPathLineEncoding);
BENCHMARK(BM_BinHexCrcBlock);
BENCHMARK(BM_SumRBlock)->ArgName("path")->Arg(0)->Arg(2)->Arg(3);
BENCHMARK(BM_Crc32)->ArgName("path")->Arg(0)->Arg(2)->Arg(3);
BENCHMARK(BM_DecodeYEncLines)->ArgName("path")->Arg(0)->Arg(2)->Arg(3);

BENCHMARK(BM_EncodeLineText)
    ->ArgNames({"encoding", "sums"})
    ->Args({mandrel::kEncodingUU, 0})
    ->Args({mandrel::kEncodingUU, 1})
    ->Args({mandrel::kEncodingXX, 0})
    ->Args({mandrel::kEncodingMIME, 0})
    ->Args({mandrel::kEncodingMIME, 1});
BENCHMARK(BM_DecodeWholeGroups)
    ->ArgNames({"encoding"})
    ->Arg(mandrel::kEncodingUU)
    ->Arg(mandrel::kEncodingXX);
BENCHMARK(BM_DecodeGroupLineText)
    ->ArgNames({"encoding"})
    ->Arg(mandrel::kEncodingUU)
    ->Arg(mandrel::kEncodingXX);
BENCHMARK(BM_DecodeBase64LineText);

}  // namespace

BENCHMARK_MAIN();
