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
};

// "Auto", "UU", "XX", "MIME", "BinHex", indexed by EncodingIndex.
inline constexpr std::array<std::string_view, 5> EncodingNames = {"Auto", "UU", "XX", "MIME",
                                                                  "BinHex"};

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

// The EncodingIndex of an EncodingMethod value (182..185), or 0 for any other value.
int EncodingIndexForMethod(int method);
// The alphabet of an EncodingMethod value; alphabet is left unchanged for any other value.
void SelectAlphabet(std::string_view& alphabet, int method);

}  // namespace mandrel
