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
            AppendFormatted(app, "\"begin\" to \"end\")%s", eol);
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

// The script that makes every shar part self-extracting: once all pieces are present it
// joins and decodes them and removes the pieces.
void AppendSharScript(EncodeContext& app, int part, int total, const std::string& name,
                      const char* eol) {
    AppendFormatted(app, "END-------------- %s ------------ part %d/%d ---%s", name.c_str(), part,
                    total, eol);
    AppendFormatted(app, "End_of_Section%secho $file, part $part extracted.%s", eol, eol);
    AppendFormatted(app, "if [ `echo $file.uue.[0-9]* | wc -w` = %d ]; then %s", total, eol);
    AppendFormatted(app, "cat $file.uue.* | uudecode%s", eol);
    AppendFormatted(app, "if [ $? -gt 0 ]; then%s", eol);
    AppendFormatted(app, "  echo Error encountered when uudecoding pieces...%sexit 1%sfi%s", eol,
                    eol, eol);
    AppendFormatted(app, "echo $file successfully uudecoded. Removing uuencoded pieces.%s", eol);
    AppendFormatted(app, "rm $file.uue.[0-9]*%sfi%sexit 0", eol, eol);
}

// Appends the format's closing lines; false when the format has none.
bool AppendFormatTrailer(EncodeContext& app, int part, int total, const std::string& name,
                         const char* eol) {
    switch (app.job.CurrentFileFormat) {
        case kCompBinaries:
            AppendFormatted(app, "END--cut here--cut here");
            return true;
        case kSimTel:
            AppendFormatted(app, "-------- End of part %d of %d --------", part, total);
            return true;
        case kAltBinaries1:
        case kAltBinaries3:
            AppendFormatted(app, "-- ");
            return true;
        case kAltBinaries2:
            AppendFormatted(app, "END-------------------->  cut here  <------------------------");
            return true;
        case kAltBinaries4:
            AppendFormatted(app, "END------------------------CUT HERE--------------------------");
            return true;
        case kShar:
            AppendSharScript(app, part, total, name, eol);
            return true;
        case kXFile:
            AppendFormatted(app, "END------------------------cut here--------------------------");
            return true;
        case kUumove:
            AppendFormatted(app, "END------------------------CUT HERE--------------------------%s",
                            eol);
            return true;
        case kWincode:
            AppendFormatted(app, "section %d/%d   file %s   [ Wincode v2.3 ]%s", part, total,
                            name.c_str(), eol);
            AppendFormatted(app, "%s", eol);
            return true;
        case kPost120:
            AppendFormatted(app, "END -- Cut Here -- cut here%s", eol);
            return true;
        case kXmitBin:
            AppendFormatted(app, "END --- CUT HERE --- Cut Here --- cut here --- %s %d/%d%s",
                            name.c_str(), part, total, eol);
            return true;
        case kBitftp:
            AppendFormatted(app, "%s%s", eol, eol);
            return true;
        case kRem:
            AppendFormatted(app, "%s", eol);
            return true;
        default:
            return false;
    }
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
    if (app.config.encodechecksum != 0 && app.job.CurrentFileFormat != kShar) {
        AppendChecksumLines(app, part, lastPart, eol);
    }
    const std::string shortName = HeaderFileName(name, true);
    if (AppendFormatTrailer(app, part, total, shortName, eol)) {
        AppendOutput(app, eolText);
    }
    return 0;
}

}  // namespace mandrel
