// Every vector path against the scalar one, on the same random and hostile inputs. The paths
// this processor lacks are skipped (UseKernelPath falls back to the best one it has).

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "codec/alphabets.h"
#include "codec/group_kernels.h"

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

INSTANTIATE_TEST_SUITE_P(Paths, EveryVectorPath,
                         ::testing::Values(KernelPath::Scalar, KernelPath::Ssse3, KernelPath::Avx2),
                         [](const ::testing::TestParamInfo<KernelPath>& info) {
                             return std::string(KernelPathName(info.param));
                         });

}  // namespace
}  // namespace mandrel
