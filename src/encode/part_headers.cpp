#include "encode/part_headers.h"

#include <cctype>
#include <cstdarg>
#include <cstdint>

#include "codec/alphabets.h"
#include "codec/sum_r.h"
#include "core/config.h"
#include "core/format.h"
#include "core/text_util.h"
#include "encode/encode_driver.h"
#include "encode/encode_job.h"

namespace mandrel {

namespace {

std::string LowerCase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return lower;
}

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

void AppendSharPrologue(EncodeContext& app, const HeaderNames& n, int part, int total) {
    const char* eol = n.eol.c_str();
    const char* name = n.shortName.c_str();
    AppendOutput(
        app, WorkArea("#!/bin/sh%s#%s# This is a shell archive. Cut everything off before%s", eol,
                      eol, eol));
    AppendOutput(app, WorkArea("# the #!/bin/sh and feed the rest to /bin/sh%s#%s", eol, eol));
    // The reassembly script joins the pieces with `cat $file.uue.*`, which takes them in the
    // order of their names: a set of ten parts or more numbers them with two digits, so that
    // piece 10 follows piece 9 and the file comes back whole.
    AppendOutput(app, WorkArea(total >= 10 ? "part=%02d%sfile=%s%s" : "part=%d%sfile=%s%s", part,
                               eol, name, eol));
    AppendOutput(app, WorkArea("sed -e '/^BEGIN/d' -e '/^END/d' << \\End_of_Section > "
                               "$file.uue.$part%s",
                               eol));
    AppendOutput(app, WorkArea("BEGIN------------ %s ------------ part %d/%d ---%s", name, part,
                               total, eol));
}

// Appends the format's own lines. Returns the "Subject:" line of the news formats that carry
// one as their mail subject, empty for the others.
std::string AppendFormatLines(EncodeContext& app, const HeaderNames& n, int part, int total) {
    const char* eol = n.eol.c_str();
    const char* name = n.shortName.c_str();
    const int encoding = app.job.EncodingIndex;
    std::string subject;
    switch (app.job.CurrentFileFormat) {
        case kSingleFile:
            if (encoding == kEncodingMIME) {
                AppendMimeHeader(app, n);
            } else if (encoding == kEncodingBinHex) {
                AppendBinHexHeader(app, n);
            }
            break;
        case kCompBinaries:
            AppendOutput(app, WorkArea("Archive-name: %.8s/part%02d%sBEGIN--cut here--cut here--%s",
                                       HeaderFileName(n.stem, true).c_str(), part, eol, eol));
            break;
        case kSimTel:
            AppendOutput(app,
                         WorkArea("------------ Part %d of %d ------------%s", part, total, eol));
            break;
        case kAltBinaries1:
            subject = WorkArea("Subject: %s (%d/%d)%s%s", name, part, total, eol, eol);
            AppendOutput(app, subject);
            AppendOutput(
                app, WorkArea("BEGIN --- CUT HERE --- Cut Here --- cut here --- %s%s", name, eol));
            break;
        case kAltBinaries2:
            subject = WorkArea("Subject: %s [part %d/%d]%s%s", name, part, total, eol, eol);
            AppendOutput(app, subject);
            AppendOutput(
                app,
                WorkArea("BEGIN------------------>  cut here  <------------------------%s", eol));
            break;
        case kAltBinaries3:
            subject = WorkArea("Subject: %s [%d/%d]%s%s", name, part, total, eol, eol);
            AppendOutput(app, subject);
            break;
        case kAltBinaries4:
            subject = WorkArea("Subject: %s [%d/%d]%s%s", n.stem.c_str(), part, total, eol, eol);
            AppendOutput(app, subject);
            AppendOutput(
                app,
                WorkArea("BEGIN----------------------CUT HERE--------------------------%s", eol));
            break;
        case kShar:
            AppendSharPrologue(app, n, part, total);
            break;
        case kXFile:
            AppendOutput(app, WorkArea("X-File-Name: %s%s", n.longName.c_str(), eol));
            AppendOutput(app, WorkArea("X-Part: %d%s", part, eol));
            AppendOutput(app, WorkArea("X-Part-Total: %d%s%s", total, eol, eol));
            AppendOutput(
                app,
                WorkArea("BEGIN------------------------cut here------------------------%s", eol));
            break;
        case kUumove:
            AppendOutput(app, WorkArea("%s    section  %d/%d   UUMOVE 2.0 by Quorvane, Inc.%s%s",
                                       name, part, total, eol, eol));
            AppendOutput(
                app,
                WorkArea("BEGIN----------------------CUT HERE--------------------------%s", eol));
            break;
        case kWincode:
            AppendOutput(app, WorkArea("section %d/%d   file %s   [ Wincode v2.3 ]%s", part, total,
                                       name, eol));
            AppendOutput(app, WorkArea("%s", eol));
            break;
        case kPost120:
            AppendOutput(app,
                         WorkArea("POST V1.2.0 %s (Part %d/%d)%s%sBEGIN -- Cut Here -- cut here%s",
                                  name, part, total, eol, eol, eol));
            break;
        case kXmitBin:
            AppendOutput(
                app, WorkArea("BEGIN --- CUT HERE --- Cut Here --- cut here --- %s %d/%d%s", name,
                              part, total, eol));
            break;
        case kBitftp:
            AppendOutput(
                app, WorkArea("Subject: %s, Part %03d of %03d (%sencoded)%s%s", name, part, total,
                              std::string(EncodingName(encoding)).c_str(), eol, eol));
            AppendOutput(app,
                         WorkArea("The following line should contain ASCII characters "
                                  "0x20-0x5F%s%s%s%s",
                                  eol, std::string(app.encode.CurrentAlphabet).c_str(), eol, eol));
            break;
        case kRem:
            AppendOutput(app,
                         WorkArea("section %d of %sencode 5.24 of file %s    by Quorvane, "
                                  "Inc.%s%s",
                                  part, LowerCase(EncodingName(encoding)).c_str(), name, eol, eol));
            break;
        default:
            break;  // formats that are only ever read have no header of their own
    }
    return subject;
}

bool BeginLineUsesLongName(int format) {
    return format == kSimTel || format == kAltBinaries4 || format == kXFile;
}

// The begin line is part of what "sum -r" covers, as the decoder's saved text would hold it.
void AppendBeginLine(EncodeContext& app, const HeaderNames& n) {
    const std::string& name =
        BeginLineUsesLongName(app.job.CurrentFileFormat) ? n.longName : n.shortName;
    const std::string line = WorkArea("begin 644 %s", name.c_str());
    app.encode.PartSize += static_cast<uint32_t>(line.size()) + 1U;
    app.encode.PartSum = SumRAdd(SumRAddText(app.encode.PartSum, line), '\n');
    AppendOutput(app, line + n.eol);
}

bool SubjectIsHeaderLine(int format) {
    return format == kAltBinaries1 || format == kAltBinaries2 || format == kAltBinaries3 ||
           format == kAltBinaries4;
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

    if (SubjectIsHeaderLine(app.job.CurrentFileFormat)) {
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
