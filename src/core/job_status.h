// The status line of a running job.
#pragma once

#include <optional>
#include <string_view>

namespace mandrel {

struct JobContext;

// "UU Encode - Type Single File - Part 1 of 3" and "\r\nin --> out"; output given but empty
// shows only the line break and the input; no output at all shows the input path.
void ShowJobStatus(JobContext& app, int direction, int encoding, std::string_view input,
                   std::optional<std::string_view> output, int part, int of);

// "", "Encode", "Decode", "Concatenate" by JobDirection.
std::string_view DirectionVerb(int direction);

}  // namespace mandrel
