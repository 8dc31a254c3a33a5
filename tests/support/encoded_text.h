// Encoded text made by the program's own encoder, for the tests that decode it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "core/config.h"

namespace mandrel::test {

struct EncodeSettings {
    int format = kFormatSingleFile;
    int method = kMethodUU;
    int eol = kEolCrLf;
    int checksum = 0;
    int outputSize = kMinOutputSize;
};

// Encodes bytes as the file `name` in a program of its own, and returns the text of every part
// in part order. The work files are made in directory and removed again.
std::vector<std::string> EncodeParts(const std::filesystem::path& directory,
                                     const std::string& name, const std::string& bytes,
                                     const EncodeSettings& settings);

std::string Join(const std::vector<std::string>& parts);

}  // namespace mandrel::test
