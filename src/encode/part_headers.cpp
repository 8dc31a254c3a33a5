#include "encode/part_headers.h"

#include <cstdarg>
#include <cstdint>

#include "codec/alphabets.h"
#include "codec/sum_r.h"
#include "core/config.h"
#include "core/format.h"
#include "core/text_util.h"
#include "encode/encode_driver.h"
#include "encode/encode_job.h"
#include "encode/format_texts.h"

namespace mandrel {

namespace {

// Everything a header template is filled with, worked out once per part.
struct HeaderNames {
    std::string base;
    std::string stem;
    std::string shortName;
    std::string longName;
    std::string eol;
};

HeaderNames MakeHeaderNames(const EncodeContext& app, std::string_view inputPath) {
    HeaderNames names;
    names.base = std::string(FileNamePart(inputPath));
    names.stem = BaseNameNoExt(inputPath);
    names.shortName = HeaderFileName(names.base, true);
    names.longName = HeaderFileName(names.base, false);
    names.eol = std::string(EndOfLineString(app.config));
    return names;
}

// The opening of the multipart text comes once per list: the files after the first continue
// the same text and share its boundary.
void AppendMultipartPrologue(EncodeContext& app, const HeaderNames& n) {
    if (!app.job.place.IsFirst()) {
        return;
    }
    AppendOutput(app, WorkArea("MIME-Version: 1.0%s", n.eol.c_str()));
    app.encode.MimeBoundary = MakeMimeBoundary(app.encode.InputSize);
    AppendOutput(app, WorkArea("Content-Type: multipart/mixed; boundary=\"%s\"%s",
                               app.encode.MimeBoundary.c_str(), n.eol.c_str()));
}

void AppendMimeHeader(EncodeContext& app, const HeaderNames& n) {
    const char* eol = n.eol.c_str();
    const char* base = n.base.c_str();
    AppendMultipartPrologue(app, n);
    AppendOutput(app, WorkArea("%s--%s%s", eol, app.encode.MimeBoundary.c_str(), eol));
    AppendOutput(app, WorkArea("Content-Type: Application/octet-stream; name=\"%s\"%s", base, eol));
    AppendOutput(app, WorkArea("Content-Description: \"%s base64 encoded by %s\"%s", base,
                               app.identity.internalName.c_str(), eol));
    AppendOutput(app, WorkArea("Content-Transfer-Encoding: BASE64%s", eol));
    AppendOutput(app,
                 WorkArea("Content-Disposition: attachment; filename=\"%s\"%s%s", base, eol, eol));
}

void AppendBinHexHeader(EncodeContext& app, const HeaderNames& n) {
    const char* eol = n.eol.c_str();
    const char* base = n.base.c_str();
    AppendMultipartPrologue(app, n);
    AppendOutput(app, WorkArea("%s--%s%s", eol, app.encode.MimeBoundary.c_str(), eol));
    AppendOutput(app, WorkArea("Content-Type: Application/mac-binhex40; name=\"%s\"%s", base, eol));
    AppendOutput(app, WorkArea("Content-Description: \"%s binhex encoded by %s\"%s", base,
                               app.identity.internalName.c_str(), eol));
    AppendOutput(app,
                 WorkArea("Content-Disposition: attachment; filename=\"%s\"%s%s", base, eol, eol));
    // The colon opens the first line of the BinHex data.
    AppendOutput(app, WorkArea("%s(This file must be converted with BinHex 4.0)%s:", eol, eol));
}

// The fields the format's texts are filled with.
TextFields FieldsOf(const EncodeContext& app, const HeaderNames& n, int part, int total) {
    return {n.eol,
            n.shortName,
            n.longName,
            n.stem,
            EncodingName(app.job.EncodingIndex),
            app.encode.CurrentAlphabet,
            part,
            total};
}

// Appends the format's own lines. Returns the subject line of the news formats, whose first
// line it is, empty for the others.
std::string AppendFormatLines(EncodeContext& app, const HeaderNames& n, int part, int total) {
    if (app.job.CurrentFileFormat == kFormatSingleFile) {
        if (app.job.EncodingIndex == kEncodingMIME) {
            AppendMimeHeader(app, n);
        } else if (app.job.EncodingIndex == kEncodingBinHex) {
            AppendBinHexHeader(app, n);
        }
        return {};
    }
    const TextFields fields = FieldsOf(app, n, part, total);
    std::string subject;
    for (const std::string_view text : HeaderTexts(app.job.CurrentFileFormat)) {
        const std::string line = WorkArea("%s", ExpandText(text, fields).c_str());
        if (subject.empty() &&
            FileFormat(app.job.CurrentFileFormat).dataStart == DataStart::Subject) {
            subject = line;
        }
        AppendOutput(app, line);
    }
    return subject;
}

// The begin line is part of what "sum -r" covers, as the decoder's saved text would hold it.
void AppendBeginLine(EncodeContext& app, const HeaderNames& n) {
    const std::string& name =
        FileFormat(app.job.CurrentFileFormat).longNameInBeginLine ? n.longName : n.shortName;
    const std::string line = WorkArea("begin 644 %s", name.c_str());
    app.encode.PartSize += static_cast<uint32_t>(line.size()) + 1U;
    app.encode.PartSum = SumRAdd(SumRAddText(app.encode.PartSum, line), '\n');
    AppendOutput(app, line + n.eol);
}

}  // namespace

// Header lines and the mail subject are formatted into a 256-character work area.
constexpr std::size_t kWorkAreaLength = 255;

std::string WorkArea(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::string text = FormatV(format, args);
    va_end(args);
    if (text.size() > kWorkAreaLength) {
        text.resize(kWorkAreaLength);
    }
    return text;
}

int WritePartHeader(EncodeContext& app, std::string_view inputPath, int part, int total) {
    app.encode.PartSum = 0;
    app.encode.PartSize = 0;
    const HeaderNames names = MakeHeaderNames(app, inputPath);
    std::string subjectLine = AppendFormatLines(app, names, part, total);

    const int encoding = app.job.EncodingIndex;
    if (part == 1 && (encoding == kEncodingUU || encoding == kEncodingXX)) {
        AppendBeginLine(app, names);
    }

    if (!subjectLine.empty()) {
        app.encode.MailSubject = std::move(subjectLine);
    } else {
        app.encode.MailSubject =
            WorkArea("* %s *; %s; %s; %d of %d", app.identity.internalName.c_str(),
                     std::string(EncodingName(encoding)).c_str(), names.base.c_str(), part, total);
    }
    return 0;
}

std::string HeaderFileName(std::string_view name, bool shortForm) {
    if (shortForm || name.find(' ') == std::string_view::npos) {
        return std::string(name);
    }
    std::string quoted;
    quoted.reserve(name.size() + 2);
    quoted += '"';
    quoted += name;
    quoted += '"';
    return quoted;
}

std::string MakeMimeBoundary(uint32_t inputSize) {
    const uint32_t complement = 1U - inputSize;
    return Format("%lu_boundary_%lx", static_cast<unsigned long>(inputSize),
                  static_cast<unsigned long>(complement));
}

}  // namespace mandrel
