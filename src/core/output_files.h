// Output files: the encodings' extensions, and making an output file under the described
// naming rules and questions.
#pragma once

#include <string>
#include <string_view>

#include "core/buf_file.h"

namespace mandrel {

struct Config;
struct JobContext;

// ".uue", ".xxe", ".mme", ".hqx" for 1..4, "" otherwise.
std::string_view ExtensionForEncoding(int index);
// The EncodingIndex of a file extension (".uue", ".uu", ... compared without regard to case),
// or 0 when it is none of them.
int EncodingForExtension(std::string_view extension);

// The directory the user chose for a direction's outputs (encodedir or decodedir when "User
// Specified" is selected), "" for "Same as Input File".
std::string ChosenDirectory(const Config& config, int direction);

// Settles the output name (the job's forced output directory, else the configured one; the
// save dialog when ask is 1 and default names are
// off), asks before replacing an existing file, and creates it. name receives the path used.
// Returns the open file, -2 when it could not be created (reported), -3 when the user cancelled.
BufFile MakeOutFile(JobContext& app, std::string& name, int direction, int ask);

}  // namespace mandrel
