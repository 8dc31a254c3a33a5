#include "encode/part_trailers.h"

#include <cstdarg>
#include <string>

#include "codec/alphabets.h"
#include "codec/sum_r.h"
#include "core/config.h"
#include "core/format.h"
#include "core/text_util.h"
#include "encode/binhex_encoder.h"
#include "encode/encode_driver.h"
#include "encode/encode_job.h"
#include "encode/format_texts.h"
#include "encode/part_headers.h"

namespace mandrel {

namespace {

// One trailer line through the work area into the part's text.
template <typename... Args>
void AppendFormatted(EncodeContext& app, const char* format, Args... args) {
    AppendOutput(app, WorkArea(format, args...));
}

void AppendMimeClosingDelimiter(EncodeContext& app, const char* eol) {
    if (app.job.place.IsLast()) {
        // No line end: the multipart text ends here.
        AppendFormatted(app, "%s--%s--", eol, app.encode.MimeBoundary.c_str());
    }
}

void EndData(EncodeContext& app, const char* eol) {
    switch (app.job.EncodingIndex) {
        case kEncodingUU:
        case kEncodingXX:
            AppendFormatted(app, "end%s", eol);
            app.encode.PartSize += 4;
            app.encode.PartSum = SumRAdd(SumRAddText(app.encode.PartSum, "end"), '\n');
            break;
        case kEncodingMIME:
            AppendMimeClosingDelimiter(app, eol);
            break;
        case kEncodingBinHex:
            BinHexFinish(app);
            AppendMimeClosingDelimiter(app, eol);
            break;
        default:
            break;
    }
}

// The section line says which lines it covers, by the part's place in the set.
void AppendSectionEnding(EncodeContext& app, int part, bool lastPart, const char* eol) {
    if (part == 1) {
        if (lastPart) {
            AppendFormatted(app, R"("begin" to "end")%s)", eol);
        } else {
            AppendFormatted(app, "\"begin\" to last encoded line)%s", eol);
        }
    } else if (lastPart) {
        AppendFormatted(app, "first encoded line to \"end\")%s", eol);
    } else {
        AppendFormatted(app, "first to last encoded line)%s", eol);
    }
}

void AppendChecksumLines(EncodeContext& app, int part, bool lastPart, const char* eol) {
    if (!lastPart) {
        AppendOutput(app, eol);
    }
    AppendFormatted(app, "sum -r/size %u/%ld section (from ", app.encode.PartSum,
                    static_cast<long>(app.encode.PartSize));
    AppendSectionEnding(app, part, lastPart, eol);
    if (lastPart) {
        AppendFormatted(app, "sum -r/size %u/%ld entire input file%s", app.encode.InputSum,
                        static_cast<long>(app.encode.InputSize), eol);
    }
}

// Appends the format's closing lines; false when the format has none.
bool AppendFormatTrailer(EncodeContext& app, int part, int total, const std::string& name,
                         std::string_view eol) {
    const std::span<const std::string_view> texts = TrailerTexts(app.job.CurrentFileFormat);
    const TextFields fields{eol, name, name, {}, {}, {}, part, total};
    for (const std::string_view text : texts) {
        AppendFormatted(app, "%s", ExpandText(text, fields).c_str());
    }
    return !texts.empty();
}

}  // namespace

int WritePartTrailer(EncodeContext& app, int part, int total, std::string_view name) {
    const std::string eolText(EndOfLineString(app.config));
    const char* eol = eolText.c_str();
    const bool lastPart = part == total;
    if (lastPart) {
        EndData(app, eol);
    }
    // A shar part is a script; its checksums would be fed to the shell.
    if (app.config.encodechecksum != 0 && !FileFormat(app.job.CurrentFileFormat).script) {
        AppendChecksumLines(app, part, lastPart, eol);
    }
    const std::string shortName = HeaderFileName(name, true);
    if (AppendFormatTrailer(app, part, total, shortName, eolText)) {
        AppendOutput(app, eolText);
    }
    return 0;
}

}  // namespace mandrel
