#include "core/job_status.h"

#include <array>
#include <string>

#include "core/job_context.h"
#include "core/format.h"
#include "core/text_util.h"
#include "codec/alphabets.h"

namespace mandrel {

std::string_view DirectionVerb(int direction) {
    constexpr std::array<std::string_view, 4> kVerbs = {"", "Encode", "Decode", "Concatenate"};
    return direction >= 0 && direction < static_cast<int>(kVerbs.size()) ? kVerbs[direction] : "";
}

void ShowJobStatus(JobContext& app, int direction, int encoding, std::string_view input,
                   std::optional<std::string_view> output, int part, int of) {
    std::string text;
    if (output && !output->empty()) {
        const std::string_view method = EncodingName(encoding);
        text = std::string(method) + " " + std::string(DirectionVerb(direction)) + " - Type " +
               std::string(FileFormatName(app.job.CurrentFileFormat));
        if (part > 0 && of < 1) {
            text += Format(" - Part %d", part);
        } else if (of > 1) {
            text += Format(" - Part %d of %d", part, of);
        }
    }
    if (!input.empty() && !output) {
        text = std::string(input);
    }
    if (!input.empty() && output) {
        text += "\r\n" + std::string(FileNamePart(input)) + " --> " +
                std::string(FileNamePart(*output));
    }
    app.ui.Status(text);
}

}  // namespace mandrel
