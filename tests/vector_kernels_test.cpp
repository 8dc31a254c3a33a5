// Every vector path against the scalar one, on the same random and hostile inputs. The paths
// this processor lacks are skipped (UseKernelPath falls back to the best one it has).

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "codec/alphabets.h"
#include "codec/group_kernels.h"
#include "codec/line_encode.h"
#include "codec/line_run_decode.h"
#include "codec/sum_r.h"

namespace mandrel {
namespace {

struct Alphabet {
    std::string_view name;
    std::string_view text;
    const DecodeTable* table;
};
const std::vector<Alphabet> kAlphabets = {
    {"UU", UUAlphabet, &kUUDecodeTable},
    {"XX", XXAlphabet, &kXXDecodeTable},
    {"Base64", Base64Alphabet, &kBase64DecodeTable},
    {"BinHex", BinHexAlphabet, &kBinHexDecodeTable},
};

// Runs the body once for every vector path this processor has, and restores the best path.
class EveryVectorPath : public ::testing::TestWithParam<KernelPath> {
protected:
    void SetUp() override {
        if (UseKernelPath(GetParam()) != GetParam()) {
            UseKernelPath(BestKernelPath());
            GTEST_SKIP() << "this processor has no " << KernelPathName(GetParam()) << " path";
        }
    }
    void TearDown() override { UseKernelPath(BestKernelPath()); }
};

// Group counts around every block width and overlap the paths have, and one long run; the
// data sits at an odd offset inside a buffer just as long, so that a read or write beyond it
// shows under the sanitizers.
TEST_P(EveryVectorPath, GroupKernelsMatchTheScalarReference) {
    std::mt19937 random(7);
    std::uniform_int_distribution<int> byte(0, 255);
    for (const Alphabet& alphabet : kAlphabets) {
        for (std::size_t groups = 0; groups <= 70; groups += groups < 20 ? 1 : 7) {
            SCOPED_TRACE(std::string(alphabet.name) + " groups " + std::to_string(groups));
            std::vector<unsigned char> input(3 * groups);
            for (unsigned char& b : input) {
                b = static_cast<unsigned char>(byte(random));
            }
            std::string fast(4 * groups, '\0');
            std::string exact(4 * groups, '\0');
            EncodeGroups(alphabet.text, input.data(), groups, fast.data());
            EncodeGroupsScalar(alphabet.text, input.data(), groups, exact.data());
            ASSERT_EQ(fast, exact);

            const std::vector<unsigned char> text(exact.begin(), exact.end());
            std::vector<unsigned char> decoded(3 * groups);
            ASSERT_TRUE(DecodeGroups(*alphabet.table, text.data(), groups, decoded.data()));
            ASSERT_EQ(decoded, input);

            // One character outside the alphabet, at every position, is refused by both.
            for (std::size_t at = 0; at < text.size(); ++at) {
                std::vector<unsigned char> bad = text;
                for (const unsigned char c : {'\n', '=', '~', '\x80', '\xFF', ' '}) {
                    if ((*alphabet.table)[c] >= 0) {
                        continue;
                    }
                    bad[at] = c;
                    ASSERT_FALSE(DecodeGroups(*alphabet.table, bad.data(), groups, decoded.data()))
                        << "character " << static_cast<int>(c) << " at " << at;
                    ASSERT_FALSE(
                        DecodeGroupsScalar(*alphabet.table, bad.data(), groups, decoded.data()));
                }
            }
            // And every byte outside the alphabet, each at a position of its own: the paths
            // that look bytes up by nibble meet the neighbours of valid characters here.
            for (int c = 0; c < 256 && !text.empty(); ++c) {
                if ((*alphabet.table)[static_cast<std::size_t>(c)] >= 0) {
                    continue;
                }
                std::vector<unsigned char> bad = text;
                const std::size_t at = static_cast<std::size_t>(c) * 7 % bad.size();
                bad[at] = static_cast<unsigned char>(c);
                ASSERT_FALSE(DecodeGroups(*alphabet.table, bad.data(), groups, decoded.data()))
                    << "character " << c << " at " << at;
            }
        }
    }
}

// UU's two spellings of 0 (backquote and blank) and every character of each alphabet decode to
// the table's value on every path.
TEST_P(EveryVectorPath, EveryAlphabetCharacterDecodesToItsTableValue) {
    for (const Alphabet& alphabet : kAlphabets) {
        std::vector<unsigned char> text;
        for (int c = 0; c < 256; ++c) {
            if ((*alphabet.table)[static_cast<std::size_t>(c)] >= 0) {
                text.push_back(static_cast<unsigned char>(c));
            }
        }
        while (text.size() % 32 != 0) {
            text.push_back(text[text.size() % 7]);
        }
        const std::size_t groups = text.size() / 4;
        std::vector<unsigned char> fast(3 * groups);
        std::vector<unsigned char> exact(3 * groups);
        ASSERT_TRUE(DecodeGroups(*alphabet.table, text.data(), groups, fast.data()));
        ASSERT_TRUE(DecodeGroupsScalar(*alphabet.table, text.data(), groups, exact.data()));
        EXPECT_EQ(fast, exact) << alphabet.name;
    }
}

// Runs of lines, sound ones and spoiled ones, with every line end, decoded on this path and on
// the scalar one: the same stops, counts and bytes.
TEST_P(EveryVectorPath, LineRunsMatchTheScalarPath) {
    std::mt19937 random(11);
    for (const int encoding : {kEncodingUU, kEncodingXX, kEncodingMIME}) {
        const std::string_view alphabet = AlphabetFor(encoding);
        std::vector<unsigned char> text;
        std::vector<std::size_t> starts;
        for (int line = 0; line < 400; ++line) {
            std::array<unsigned char, 45> block{};
            for (unsigned char& b : block) {
                b = static_cast<unsigned char>(random());
            }
            const std::size_t size = line % 7 == 6 ? random() % 45 : 45;
            std::array<char, 80> out{};
            const std::string_view eol = std::array{"\n", "\r\n", "\r"}[random() % 3];
            std::size_t n = EncodeLineText(std::span(block).first(size), alphabet,
                                           encoding == kEncodingMIME, eol, nullptr, out);
            if (line % 11 == 10) {
                out[random() % (n - 1)] = "~\n \x80"[random() % 4];  // spoiled
            }
            if (line % 13 == 12) {
                // One character too many before the line end.
                std::copy_backward(out.begin() + static_cast<long>(n - eol.size()),
                                   out.begin() + static_cast<long>(n),
                                   out.begin() + static_cast<long>(n + 1));
                out[n - eol.size()] = static_cast<char>(alphabet[random() % 64]);
                ++n;
            }
            starts.push_back(text.size());
            starts.push_back(text.size() + random() % n);  // and somewhere inside the line
            text.insert(text.end(), out.begin(), out.begin() + static_cast<long>(n));
        }
        const DecodeTable& table = DecodeTableFor(encoding);
        for (const std::size_t at : starts) {
            // Now and then a limit on the lines or on the room stops the run instead.
            const std::size_t mostLines = at % 3 == 0 ? SIZE_MAX : at % 13 + 1;
            const LineRunRules rules{&table, encoding == kEncodingMIME, nullptr, mostLines};
            const std::size_t room = at % 4 == 1 ? 60 + at % 5 * 45 + at % 45 : text.size();
            const std::span<const unsigned char> from = std::span(text).subspan(at);
            const int previous = at == 0 ? -1 : text[at - 1];
            std::vector<unsigned char> fast(room);
            std::vector<unsigned char> exact(room);
            const LineRunResult a = DecodeLineRun(rules, from, previous, fast);
            const KernelPath active = ActiveKernelPath();
            UseKernelPath(KernelPath::Scalar);
            const LineRunResult b = DecodeLineRun(rules, from, previous, exact);
            UseKernelPath(active);
            ASSERT_EQ(a.consumed, b.consumed) << at;
            ASSERT_EQ(a.lines, b.lines) << at;
            ASSERT_EQ(a.characters, b.characters) << at;
            ASSERT_EQ(a.stop, b.stop) << at;
            ASSERT_EQ(a.produced, b.produced) << at;
            ASSERT_TRUE(std::equal(fast.begin(), fast.begin() + static_cast<long>(a.produced),
                                   exact.begin()))
                << at;
        }
    }
}

// The "sum -r" chain taken sixteen steps at once rests on no step overflowing and no state
// being 0 or 0xFFFF; each block here is started so that step n of it lands on one of those
// (running the chain backwards from there), besides runs of random, high and low bytes.
TEST_P(EveryVectorPath, SumRMatchesTheStepByStepChain) {
    std::mt19937 random(11);
    auto bytesBetween = [&](std::size_t count, int low, int high) {
        std::uniform_int_distribution<int> pick(low, high);
        std::vector<unsigned char> bytes(count);
        for (unsigned char& b : bytes) {
            b = static_cast<unsigned char>(pick(random));
        }
        return bytes;
    };
    auto check = [](const std::vector<unsigned char>& bytes, uint32_t start) {
        ASSERT_EQ(SumRBlock(bytes, start), SumRBlockScalar(bytes, start))
            << "start " << start << " length " << bytes.size();
    };
    for (const auto& [low, high] : {std::pair{0, 255}, std::pair{240, 255}, std::pair{0, 2}}) {
        for (std::size_t length = 0; length <= 70; ++length) {
            for (const uint32_t start : {0U, 1U, 0x7FFFU, 0x8000U, 0xFFFEU, 0xFFFFU}) {
                check(bytesBetween(length, low, high), start);
            }
        }
        check(bytesBetween(100000, low, high), 12345);
    }
    for (const uint16_t landing : {uint16_t{0}, uint16_t{0xFFFF}, uint16_t{0xFF00}}) {
        for (std::size_t step = 1; step <= 48; ++step) {
            const std::vector<unsigned char> bytes = bytesBetween(48, 0, 255);
            auto state = landing;
            for (std::size_t k = step; k > 0; --k) {
                state = std::rotl(static_cast<uint16_t>(state - bytes[k - 1]), 1);
            }
            check(bytes, state);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Paths, EveryVectorPath,
                         ::testing::Values(KernelPath::Scalar, KernelPath::Ssse3, KernelPath::Avx2,
                                           KernelPath::Avx512),
                         [](const ::testing::TestParamInfo<KernelPath>& info) {
                             return std::string(KernelPathName(info.param));
                         });

}  // namespace
}  // namespace mandrel
