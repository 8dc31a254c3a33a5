#include "encode/alphabets.h"

#include "core/config.h"

namespace mandrel {

// The decoders build their tables from these texts, so a slip in one of them would go
// unnoticed until a file failed to round-trip.
static_assert(UUAlphabet.size() == 65, "UU: 64 characters and the closing blank");
static_assert(XXAlphabet.size() == 64);
static_assert(Base64Alphabet.size() == 64);
static_assert(BinHexAlphabet.size() == 64);
static_assert(UUAlphabet[0] == '`' && UUAlphabet[63] == '_' && UUAlphabet[64] == ' ');
static_assert(BinHexAlphabet[0] == '!' && BinHexAlphabet[63] == 'r');

int EncodingIndexForMethod(int method) {
    switch (method) {
        case kMethodUU:
            return kEncodingUU;
        case kMethodXX:
            return kEncodingXX;
        case kMethodMIME:
            return kEncodingMIME;
        case kMethodBinHex:
            return kEncodingBinHex;
        default:
            return kEncodingAuto;
    }
}

void SelectAlphabet(std::string_view& alphabet, int method) {
    switch (method) {
        case kMethodUU:
            alphabet = UUAlphabet;
            break;
        case kMethodXX:
            alphabet = XXAlphabet;
            break;
        case kMethodMIME:
            alphabet = Base64Alphabet;
            break;
        case kMethodBinHex:
            alphabet = BinHexAlphabet;
            break;
        default:
            break;  // a stored value from elsewhere keeps the alphabet already chosen
    }
}

}  // namespace mandrel
