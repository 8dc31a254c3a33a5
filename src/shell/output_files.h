// Output naming and the choice of what to do with a file that arrives without a command.
#pragma once

#include <string>
#include <string_view>

#include "core/buf_file.h"

namespace mandrel {

struct AppState;

// Private messages naming a file to process.
inline constexpr int WM_ENCODEFILE = 1224;
inline constexpr int WM_DECODEFILE = 1225;
inline constexpr int WM_NEXTFILE = 1226;
inline constexpr int WM_MAKEASSOCIATIONS = 1227;

// ".uue", ".xxe", ".mme", ".hqx" for 1..4, "" otherwise.
std::string_view ExtensionForEncoding(int index);
// The EncodingIndex of a file extension (".uue", ".uu", ... compared without regard to case),
// or 0 when it is none of them.
int EncodingForExtension(std::string_view extension);

// Settles the output name (output directory, save dialog when ask is 1 and default names are
// off), asks before replacing an existing file, and creates it. name receives the path used.
// Returns the open file, -2 when it could not be created (reported), -3 when the user cancelled.
BufFile MakeOutFile(AppState& app, std::string& name, int direction, int ask);

// WM_ENCODEFILE or WM_DECODEFILE for a file, setting EncodingIndex for a decode.
int ChooseListAction(AppState& app, std::string_view path);

}  // namespace mandrel
