// What becomes of a file that arrives without a command: a drop, a command-line list, an
// opened association.
#pragma once

#include <string>
#include <string_view>

namespace mandrel {

struct AppState;

// Private messages naming a file to process.
inline constexpr int WM_ENCODEFILE = 1224;
inline constexpr int WM_DECODEFILE = 1225;
inline constexpr int WM_NEXTFILE = 1226;
inline constexpr int WM_MAKEASSOCIATIONS = 1227;

// True when the file can be opened for reading.
bool InputReadable(AppState& app, const std::string& path);

// WM_ENCODEFILE or WM_DECODEFILE for a file, setting EncodingIndex for a decode.
int ChooseListAction(AppState& app, std::string_view path);

}  // namespace mandrel
