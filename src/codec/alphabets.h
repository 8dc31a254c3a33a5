// The four alphabets and the internal encoding number shared by the encoder and the decoder.
#pragma once

#include <array>
#include <string_view>

namespace mandrel {

enum EncodingIndexValue : int {
    kEncodingAuto = 0,
    kEncodingUU = 1,
    kEncodingXX = 2,
    kEncodingMIME = 3,
    kEncodingBinHex = 4,
    kEncodingYEnc = 5,             // decoded only: nothing writes it
    kEncodingQuotedPrintable = 6,  // decoded only: MIME attachments
};

// The names of the encodings, indexed by EncodingIndex.
inline constexpr std::array<std::string_view, 7> EncodingNames = {
    "Auto", "UU", "XX", "MIME", "BinHex", "yEnc", "Quoted-Printable"};
// The name of an encoding, "" outside the table.
constexpr std::string_view EncodingName(int encoding) {
    return encoding >= 0 && encoding < static_cast<int>(EncodingNames.size())
               ? EncodingNames[static_cast<std::size_t>(encoding)]
               : std::string_view{};
}

// Value v is the character at position v. The UU text ends in a blank, its 65th character,
// which is written only where the whole alphabet is written out.
inline constexpr std::string_view UUAlphabet =
    "`!\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_ ";
inline constexpr std::string_view XXAlphabet =
    "+-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
inline constexpr std::string_view Base64Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
inline constexpr std::string_view BinHexAlphabet =
    "!\"#$%&'()*+,-012345689@ABCDEFGHIJKLMNPQRSTUVXYZ[`abcdefhijklmpqr";

// The decoders build their tables from these texts, so a slip in one of them would go
// unnoticed until a file failed to round-trip.
static_assert(UUAlphabet.size() == 65, "UU: 64 characters and the closing blank");
static_assert(XXAlphabet.size() == 64);
static_assert(Base64Alphabet.size() == 64);
static_assert(BinHexAlphabet.size() == 64);
static_assert(UUAlphabet[0] == '`' && UUAlphabet[63] == '_' && UUAlphabet[64] == ' ');
static_assert(BinHexAlphabet[0] == '!' && BinHexAlphabet[63] == 'r');

// The alphabet of an encoding; empty for Auto and anything else.
constexpr std::string_view AlphabetFor(int encoding) {
    switch (encoding) {
        case kEncodingUU:
            return UUAlphabet;
        case kEncodingXX:
            return XXAlphabet;
        case kEncodingMIME:
            return Base64Alphabet;
        case kEncodingBinHex:
            return BinHexAlphabet;
        default:
            return {};
    }
}

}  // namespace mandrel
