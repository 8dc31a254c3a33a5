#include "decode/header_recognition.h"

#include <algorithm>
#include <cstring>

#include "codec/alphabets.h"
#include "core/config.h"
#include "core/text_util.h"
#include "decode/decode_job.h"
#include "decode/line_decoder.h"
#include "decode/part_sums.h"

namespace mandrel {

namespace {

constexpr std::string_view kUnknownName = "DontKnow.Yet";
constexpr std::size_t kMaxNameLength = 255;

// A run of digits longer than this cannot be a part number or a size; the rest is skipped.
constexpr int kMaxDigits = 67;
// Numbers stop growing here, so that a hostile run of digits fits every 32-bit field.
constexpr long kDecimalCeiling = 0x7FFFFFFF;

// What a shape made of the line: not its shape (the next one is tried), or a settled result.
constexpr int kNoMatch = -1;

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}
bool IsWhite(char c) {
    return IsBlank(c) || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}
bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
char Lower(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

// Characters a name taken from encoded text may hold: none that no file system takes, no
// control characters (CR, LF and the terminator among them), nothing from 0x80 up.
bool AllowedInName(char c) {
    const auto u = static_cast<unsigned char>(c);
    if (u < 0x20 || u >= 0x80) {
        return false;
    }
    return c != '*' && c != '<' && c != '>' && c != '?' && c != '|';
}

void AppendNameChar(std::string& name, char c) {
    if (name.size() < kMaxNameLength) {
        name.push_back(c);
    }
}

// The text before `end`, without the blanks that separated it from what followed.
std::string TextBefore(const char* begin, const char* end) {
    while (end > begin && IsWhite(end[-1])) {
        --end;
    }
    const auto length =
        std::min<std::size_t>(static_cast<std::size_t>(end - begin), kMaxNameLength);
    return {begin, length};
}

const char* FindLast(const char* text, char c) {
    return std::strrchr(text, c);
}

bool CheckedPart(DecodeContext& app, long value) {
    return CheckPartNumber(app.ui, static_cast<int>(value)) == 0;
}

void CopyLine(char* to, const char* from) {
    const std::size_t length = strnlen(from, kLineBufferSize);
    std::memcpy(to, from, length);
    to[length] = '\0';
}

// The outputs of a header, written only when a shape matches.
struct HeaderOut {
    int& part;
    int& total;
    std::string& name;
};

int Matched(HeaderOut& out, int format, long part, long total, std::string name) {
    out.part = static_cast<int>(part);
    out.total = static_cast<int>(total);
    out.name = std::move(name);
    return format;
}

// "begin 644 name" opens UU or XX data: a single file, or part 1 of the multi-part file whose
// header came before it.
int BeginLineShape(DecodeContext& app, char* line, BufFile /*input*/, HeaderOut& out) {
    if (!IsBeginWord(line) || HasCutHere(line)) {
        return kNoMatch;
    }
    std::string name;
    if (ParseBeginLine(app, line, name) == 0) {
        return 0;
    }
    const int current = app.job.CurrentFileFormat;
    if (current == 0 || current == kSingleFile) {
        return Matched(out, kSingleFile, 1, 1, std::move(name));
    }
    return Matched(out, current, 1, app.parts.JobPartCount, std::move(name));
}

// "begin-base64 644 name" (sharutils' uuencode -m): a single file of Base64 lines, which a line
// of "====" ends.
int BeginBase64Shape(DecodeContext& app, char* line, BufFile /*input*/, HeaderOut& out) {
    constexpr std::string_view kWord = "begin-base64";
    if (!StartsWithExact(line, kWord) || !IsBlank(line[kWord.size()])) {
        return kNoMatch;
    }
    const char* p = SkipBlankChars(line + kWord.size());
    const char* mode = p;
    while (IsDigit(*p)) {
        ++p;
    }
    const char* nameStart = SkipBlankChars(p);
    if (p == mode || nameStart == p || *nameStart == '\0' || *nameStart == '\r' ||
        *nameStart == '\n') {
        return kNoMatch;
    }
    std::string name;
    CopyNameToken(nameStart, name, false, false);
    app.job.EncodingIndex = kEncodingMIME;
    SelectDecodeTable(app, kEncodingMIME);
    app.decode.NameFound = true;
    return Matched(out, kSingleFile, 1, 1, std::move(name));
}

int SimTelShape(DecodeContext& app, char* line, BufFile /*input*/, HeaderOut& out) {
    if (!StartsWithExact(line, "------------")) {
        return kNoMatch;
    }
    int part = 0;
    int total = 0;
    if (ParsePartNumbers(app, SkipBlankChars(SkipWordChars(line)), part, total) == 0) {
        return kNoMatch;
    }
    return Matched(out, kSimTel, part, total, std::string(kUnknownName));
}

// "Archive-name: stem/part02". The line is cut at the "/" when it matches.
int ArchiveNameShape(DecodeContext& app, char* line, BufFile /*input*/, HeaderOut& out) {
    constexpr std::string_view kKey = "Archive-name:";
    if (!StartsWithNoCase(line, kKey)) {
        return kNoMatch;
    }
    char* text = line + (SkipBlankChars(line + kKey.size()) - line);
    char* slash = std::strchr(text, '/');
    if (slash == nullptr) {
        return kNoMatch;
    }
    *slash = '\0';
    std::string name;
    CopyNameToken(text, name, true, false);
    const char* after = slash + 1;
    long part = 0;
    bool found = false;
    if (StartsWithNoCase(after, "part")) {
        ParseDecimal(after + 4, part, found);
    }
    if (!found || !CheckedPart(app, part)) {
        *slash = '/';
        return kNoMatch;
    }
    return Matched(out, kCompBinaries, part, app.parts.JobPartCount, std::move(name));
}

// bitftp: "Subject: name, Part 001 of 003 (uuencoded)".
int BitftpSubject(DecodeContext& app, const char* subject, HeaderOut& out) {
    if (FindExact(subject, "encoded)") == nullptr) {
        return kNoMatch;
    }
    const char* comma = FindLast(subject, ',');
    if (comma == nullptr) {
        return kNoMatch;
    }
    const char* text = SkipBlankChars(comma + 1);
    int part = 0;
    int total = 0;
    if (!StartsWithNoCase(text, "Part") || ParsePartNumbers(app, text, part, total) == 0) {
        return kNoMatch;
    }
    std::string name;
    CopyNameToken(subject, name, true, true);
    return Matched(out, kBitftp, part, total, std::move(name));
}

// The news subjects: "name (1/3)", "name [part 1/3]", "name [1/3]". A name without a "." is
// the stem that Alt.binaries 3 or 4 writes.
int BracketSubject(DecodeContext& app, const char* subject, char bracket, int withoutDot,
                   HeaderOut& out) {
    const char* open = FindLast(subject, bracket);
    if (open == nullptr) {
        return kNoMatch;
    }
    int part = 0;
    int total = 0;
    const int guess = ParsePartNumbers(app, open, part, total);
    if (guess == 0) {
        return kNoMatch;
    }
    std::string name = TextBefore(subject, open);
    const int format = name.find('.') != std::string::npos ? guess : withoutDot;
    return Matched(out, format, part, total, std::move(name));
}

int SubjectShapes(DecodeContext& app, char* line, BufFile /*input*/, HeaderOut& out) {
    constexpr std::string_view kKey = "Subject:";
    if (!StartsWithNoCase(line, kKey)) {
        return kNoMatch;
    }
    const char* subject = SkipBlankChars(line + kKey.size());
    if (*subject == '-') {
        // A leading "-word" (a tag of the poster's) stands before the subject proper.
        const char* end = SkipWordChars(subject);
        if (*end == '\0') {
            return kNoMatch;
        }
        subject = SkipBlankChars(end + 1);
    }
    int result = BitftpSubject(app, subject, out);
    if (result == kNoMatch) {
        result = BracketSubject(app, subject, '(', kAltBinaries3, out);
    }
    if (result == kNoMatch) {
        result = BracketSubject(app, subject, '[', kAltBinaries4, out);
    }
    return result;
}

// R.E.M. "section 1 of uuencode 5.24 of file name" and Wincode "section 1/3   file name".
// Part 1 of either may be followed by the XX table block, which belongs to the part's text.
int SectionShapes(DecodeContext& app, char* line, BufFile input, HeaderOut& out) {
    constexpr std::string_view kKey = "section";
    if (!StartsWithExact(line, kKey)) {
        return kNoMatch;
    }
    long part = 0;
    bool partFound = false;
    const char* p = SkipBlankChars(ParseDecimal(line + kKey.size(), part, partFound));
    std::string name;
    long total = app.parts.JobPartCount;
    int format = kRem;
    if (*p != '/') {
        if (!StartsWithExact(p, "of uuencode") && !StartsWithExact(p, "of xxencode")) {
            return 0;
        }
        p = SkipBlankChars(SkipWordChars(SkipBlankChars(p + 11)));
        if (!StartsWithExact(p, "of file")) {
            return kNoMatch;
        }
        CopyNameToken(SkipBlankChars(p + 7), name, true, true);
        if (!partFound || !CheckedPart(app, part)) {
            return kNoMatch;
        }
    } else {
        bool totalFound = false;
        p = SkipBlankChars(ParseDecimal(p + 1, total, totalFound));
        if (!StartsWithNoCase(p, "file")) {
            return kNoMatch;
        }
        CopyNameToken(SkipBlankChars(p + 4), name, true, true);
        if (!partFound || !CheckedPart(app, part) || !totalFound || !CheckedPart(app, total)) {
            return kNoMatch;
        }
        format = kWincode;
    }
    if (part == 1) {
        SkipTableBlock(app, input, line);
    }
    return Matched(out, format, part, total, std::move(name));
}

// shar: "BEGIN------------ name ------------ part 1/3 ---".
int SharBegin(DecodeContext& app, const char* afterWord, HeaderOut& out) {
    std::string name;
    const char* p = SkipBlankChars(CopyNameToken(SkipBlankChars(afterWord), name, true, true));
    if (!StartsWithExact(p, "----------")) {
        return kNoMatch;
    }
    int part = 0;
    int total = 0;
    if (ParsePartNumbers(app, SkipBlankChars(SkipWordChars(p)), part, total) == 0) {
        return kNoMatch;
    }
    return Matched(out, kShar, part, total, std::move(name));
}

// xmitBin: "BEGIN --- CUT HERE --- Cut Here --- cut here --- name 1/3". At least three groups
// of "---" and "cut here"; the "---" that is followed by no "cut here" leads to the name.
int XmitBinBegin(DecodeContext& app, const char* afterWord, HeaderOut& out) {
    constexpr int kMostGroups = 4;
    const char* p = afterWord;
    int groups = 0;
    while (groups < kMostGroups) {
        p = SkipBlankChars(p);
        if (!StartsWithExact(p, "---")) {
            break;
        }
        const char* q = SkipBlankChars(p + 3);
        if (!StartsWithNoCase(q, "CUT HERE")) {
            p = q;
            break;
        }
        p = q + 8;
        ++groups;
    }
    if (groups < 3) {
        return kNoMatch;
    }
    std::string name;
    p = SkipBlankChars(CopyNameToken(SkipBlankChars(p), name, true, true));
    int part = 0;
    int total = 0;
    if (ParsePartNumbers(app, p, part, total) == 0) {
        return kNoMatch;
    }
    return Matched(out, kXmitBin, part, total, std::move(name));
}

int BeginKeywordShapes(DecodeContext& app, char* line, BufFile /*input*/, HeaderOut& out) {
    if (!StartsWithExact(line, "BEGIN")) {
        return kNoMatch;
    }
    const char* afterWord = SkipWordChars(line);
    if (FindExact(afterWord, "part") != nullptr) {
        return SharBegin(app, afterWord, out);
    }
    return XmitBinBegin(app, afterWord, out);
}

// A keyed line of the X-File header: the number after the key, when the line has the key.
enum class Keyed { Absent, Number, NoNumber };
Keyed ReadKeyedNumber(const char* line, std::string_view key, long& value) {
    if (!StartsWithNoCase(line, key)) {
        return Keyed::Absent;
    }
    bool found = false;
    ParseDecimal(line + key.size(), value, found);
    return found ? Keyed::Number : Keyed::NoNumber;
}

// X-File: "X-File-Name:", then "X-Part:", "X-Part-Total:" and perhaps "X-File-Sum:" lines.
// A part outside 1 to 99 has no row in the part table and is refused as the other shapes
// refuse it; so is a stated total outside that range.
int XFileShape(DecodeContext& app, char* line, BufFile input, HeaderOut& out) {
    constexpr std::string_view kKey = "X-File-Name:";
    if (!StartsWithNoCase(line, kKey)) {
        return kNoMatch;
    }
    std::string name;
    CopyNameToken(SkipBlankChars(line + kKey.size()), name, true, false);
    long part = 0;
    long total = 0;
    bool totalGiven = false;
    if (ReadRecognizerLine(app, input, line) <= 0 ||
        ReadKeyedNumber(line, "X-Part:", part) == Keyed::NoNumber) {
        return kNoMatch;
    }
    if (ReadRecognizerLine(app, input, line) <= 0) {
        return kNoMatch;
    }
    const Keyed totalLine = ReadKeyedNumber(line, "X-Part-Total:", total);
    if (totalLine == Keyed::NoNumber) {
        return kNoMatch;
    }
    totalGiven = totalLine == Keyed::Number;
    if (ReadRecognizerLine(app, input, line) <= 0) {
        return kNoMatch;
    }
    long sum = 0;
    const Keyed sumLine = ReadKeyedNumber(line, "X-File-Sum:", sum);
    if (sumLine == Keyed::NoNumber) {
        return kNoMatch;
    }
    if (sumLine == Keyed::Absent) {
        PushBackLine(app, line, input);
    }
    if (!CheckedPart(app, part) || (totalGiven && !CheckedPart(app, total))) {
        return kNoMatch;
    }
    return Matched(out, kXFile, part, total, std::move(name));
}

int PostShape(DecodeContext& app, char* line, BufFile /*input*/, HeaderOut& out) {
    if (!StartsWithExact(line, "POST V")) {
        return kNoMatch;
    }
    const int format = line[6] == '1' ? kPost120 : kPost201;
    std::string name;
    const char* p = SkipBlankChars(SkipWordChars(line + 5));
    p = SkipBlankChars(CopyNameToken(p, name, true, true));
    int part = 0;
    int total = 0;
    if (ParsePartNumbers(app, p, part, total) == 0) {
        return kNoMatch;
    }
    return Matched(out, format, part, total, std::move(name));
}

constexpr std::string_view kContentType = "Content-Type:";
constexpr std::string_view kTransferEncoding = "Content-Transfer-Encoding:";

bool IsBase64TransferLine(const char* line) {
    return StartsWithNoCase(line, kTransferEncoding) &&
           StartsWithNoCase(SkipBlankChars(line + kTransferEncoding.size()), "BASE64");
}

bool IsQuotedPrintableTransferLine(const char* line) {
    return StartsWithNoCase(line, kTransferEncoding) &&
           StartsWithNoCase(SkipBlankChars(line + kTransferEncoding.size()), "quoted-printable");
}

// A "boundary=" parameter in a header line, kept for the bodies it separates.
void NoteBoundary(DecodeContext& app, const char* line) {
    const char* at = FindNoCase(line, "boundary=");
    if (at == nullptr) {
        return;
    }
    // Quoted, up to the closing quote; else up to a blank, ";" or the line end.
    const char* p = at + 9;
    const bool quoted = *p == '"';
    p += quoted ? 1 : 0;
    std::string boundary;
    constexpr std::size_t kLongestBoundary = 70;
    for (; *p != '\0' && *p != '\r' && *p != '\n' && boundary.size() <= kLongestBoundary; ++p) {
        if (quoted ? *p == '"' : (IsWhite(*p) || *p == ';')) {
            break;
        }
        boundary += *p;
    }
    std::vector<std::string>& boundaries = app.decode.mimeBoundaries;
    constexpr std::size_t kMostBoundaries = 16;
    if (!boundary.empty() && boundaries.size() < kMostBoundaries &&
        std::find(boundaries.begin(), boundaries.end(), boundary) == boundaries.end()) {
        boundaries.push_back(std::move(boundary));
    }
}

// The MIME header block of one body: its Content-Type (the name, and whether the body is
// BinHex) and its Content-Transfer-Encoding, up to the blank line that opens the body.
class MimeHeaderBlock {
public:
    MimeHeaderBlock(DecodeContext& app, char* line, BufFile input)
        : app_(app), line_(line), input_(input) {}

    int Recognize(HeaderOut& out) {
        if (IsBase64TransferLine(line_)) {
            base64_ = true;
        } else if (IsQuotedPrintableTransferLine(line_)) {
            quotedPrintable_ = true;
        } else if (StartsWithNoCase(line_, kContentType)) {
            if (!TakeContentType() || !ReadToTransferEncoding()) {
                return kNoMatch;
            }
        } else {
            return kNoMatch;
        }
        if (!ReadToBody()) {
            return kNoMatch;
        }
        SanitizeFileName(name_);
        if (quotedPrintable_) {
            // An attachment; an unnamed quoted-printable body is the message's text, given back
            // to the other recognisers (UU text in a mail's body among them).
            if (!nameFound_ || binhex_) {
                return kNoMatch;
            }
            app_.job.EncodingIndex = kEncodingQuotedPrintable;
            SelectDecodeTable(app_, kEncodingQuotedPrintable);
            app_.decode.NameFound = true;
            return Matched(out, kSingleFile, 1, 1, std::move(name_));
        }
        if (binhex_ || !base64_) {
            // The BinHex text of the body is found by its own opening line later on.
            return 0;
        }
        app_.job.EncodingIndex = kEncodingMIME;
        SelectDecodeTable(app_, kEncodingMIME);
        app_.decode.NameFound = true;
        return Matched(out, kSingleFile, 1, 1, std::move(name_));
    }

private:
    bool TakeContentType() {
        const char* p = SkipBlankChars(line_ + kContentType.size());
        while (*p != '\0' && *p != '/' && *p != '\r' && *p != '\n') {
            ++p;
        }
        if (*p == '\0') {
            return false;
        }
        if (*p == '/') {
            ++p;
        }
        const char* subtype = SkipBlankChars(p);
        const char* end = subtype;
        while (*end != '\0' && !IsWhite(*end) && *end != ';') {
            ++end;
        }
        if (!app_.decode.partialIgnored &&
            StartsWithNoCase(SkipBlankChars(line_ + kContentType.size()), "message/partial")) {
            // A message/partial fragment (its parameters may follow on folded lines): the job
            // puts the fragments together first.
            app_.decode.partialFrom = app_.decode.lineStart.offset;
            return false;
        }
        constexpr std::string_view kBinHex = "mac-binhex40";
        binhex_ = end - subtype == static_cast<std::ptrdiff_t>(kBinHex.size()) &&
                  StartsWithNoCase(subtype, kBinHex);
        name_ = kUnknownName;
        if (const char* semicolon = std::strchr(line_, ';'); semicolon != nullptr) {
            nameFound_ = FindNameParameter(semicolon + 1, name_);
        }
        NoteBoundary(app_, line_);
        return true;
    }

    void LookForName() {
        if (!nameFound_) {
            nameFound_ = FindNameParameter(line_, name_);
        }
    }

    bool ReadToTransferEncoding() {
        for (;;) {
            if (ReadRecognizerLine(app_, input_, line_) <= 0 || IsBlankLine(line_)) {
                return false;
            }
            LookForName();
            NoteBoundary(app_, line_);
            if (IsBase64TransferLine(line_)) {
                base64_ = true;
                return true;
            }
            if (IsQuotedPrintableTransferLine(line_)) {
                quotedPrintable_ = true;
                return true;
            }
        }
    }

    bool ReadToBody() {
        for (;;) {
            if (ReadRecognizerLine(app_, input_, line_) <= 0) {
                return false;
            }
            if (IsBlankLine(line_)) {
                return true;
            }
            LookForName();
        }
    }

    DecodeContext& app_;
    char* line_;
    BufFile input_;
    std::string name_{kUnknownName};
    bool nameFound_ = false;
    bool base64_ = false;
    bool quotedPrintable_ = false;
    bool binhex_ = false;
};

int BinHexShape(DecodeContext& app, char* line, BufFile /*input*/, HeaderOut& out) {
    constexpr std::string_view kKey = "(This file must be converted with binhex";
    static_assert(kKey.size() == 40);
    if (!StartsWithNoCase(line, kKey)) {
        return kNoMatch;
    }
    app.job.EncodingIndex = kEncodingBinHex;
    SelectDecodeTable(app, kEncodingBinHex);
    return Matched(out, kSingleFile, 1, 1, std::string(kUnknownName));
}

// AOL: "Subj: #1(3)".
int AolShape(DecodeContext& app, char* line, BufFile /*input*/, HeaderOut& out) {
    if (!StartsWithNoCase(line, "Subj:")) {
        return kNoMatch;
    }
    const char* p = SkipBlankChars(line + 5);
    if (*p != '#') {
        return kNoMatch;
    }
    long part = 0;
    long total = 0;
    bool found = false;
    p = ParseDecimal(p + 1, part, found);
    if (!found || *p != '(') {
        return kNoMatch;
    }
    p = ParseDecimal(p + 1, total, found);
    if (!found || *p != ')') {
        return kNoMatch;
    }
    if (!CheckedPart(app, part) || !CheckedPart(app, total)) {
        return kNoMatch;
    }
    return Matched(out, kAol, part, total, std::string(kUnknownName));
}

// uuenview: "_=_ Part 002 of 003 of file pic.jpg", with or without a line of "_=_" above and
// below it.
int UuenviewShape(DecodeContext& app, char* line, BufFile /*input*/, HeaderOut& out) {
    if (!IsUuenviewHeader(line)) {
        return kNoMatch;
    }
    const char* p = SkipBlankChars(line + 3);
    int part = 0;
    int total = 0;
    if (ParsePartNumbers(app, p, part, total) == 0) {
        return kNoMatch;
    }
    std::string name(kUnknownName);
    if (const char* file = FindNoCase(p, "of file "); file != nullptr) {
        CopyNameToken(SkipBlankChars(file + 8), name, false, false);
    }
    return Matched(out, kFormatUuenview, part, total, std::move(name));
}

// Squirrel: "------ begin of name ... part 1 of 3".
int SquirrelShape(DecodeContext& app, char* line, BufFile /*input*/, HeaderOut& out) {
    if (!StartsWithExact(line, "------")) {
        return kNoMatch;
    }
    const char* p = SkipBlankChars(SkipWordChars(line));
    if (!StartsWithExact(p, "begin of")) {
        return kNoMatch;
    }
    std::string name;
    p = CopyNameToken(SkipBlankChars(p + 8), name, true, true);
    const char* partWord = FindExact(p, "part");
    int part = 0;
    int total = 0;
    if (partWord == nullptr || ParsePartNumbers(app, partWord, part, total) == 0) {
        return kNoMatch;
    }
    return Matched(out, kSquirrel, part, total, std::move(name));
}

// UUMOVE: "name    section  1/3   UUMOVE 2.0 ...".
int UumoveShape(DecodeContext& app, char* line, BufFile /*input*/, HeaderOut& out) {
    if (FindExact(line, "UUMOVE") == nullptr) {
        return kNoMatch;
    }
    std::string name;
    const char* p = SkipBlankChars(CopyNameToken(line, name, true, true));
    if (!StartsWithNoCase(p, "section")) {
        return kNoMatch;
    }
    int part = 0;
    int total = 0;
    if (ParsePartNumbers(app, SkipBlankChars(p + 7), part, total) == 0) {
        return kNoMatch;
    }
    return Matched(out, kUumove, part, total, std::move(name));
}

// A line that is no header but holds bytes above 0x7F hints that the input is a binary file.
void NoteBinaryData(DecodeContext& app, const char* line) {
    if (app.decode.BinaryDataSeen != 0) {
        return;
    }
    for (const char* p = line; *p != '\0'; ++p) {
        if (static_cast<unsigned char>(*p) > 0x7F) {
            app.decode.BinaryDataSeen = 1;
            return;
        }
    }
}

// The shapes that read further lines give the first line back when they do not match, so
// that the shapes after them judge the line the driver handed in.
int ShapesReadingAhead(DecodeContext& app, char* line, BufFile input, HeaderOut& out,
                       int (*shape)(DecodeContext&, char*, BufFile, HeaderOut&)) {
    LineBuffer first;
    CopyLine(first.data(), line);
    const int result = shape(app, line, input, out);
    if (result == kNoMatch) {
        CopyLine(line, first.data());
    }
    return result;
}

int MimeShape(DecodeContext& app, char* line, BufFile input, HeaderOut& out) {
    if (!StartsWithNoCase(line, kContentType) && !StartsWithNoCase(line, kTransferEncoding)) {
        return kNoMatch;
    }
    MimeHeaderBlock block(app, line, input);
    return block.Recognize(out);
}

int XFileShapeGivenBack(DecodeContext& app, char* line, BufFile input, HeaderOut& out) {
    return StartsWithNoCase(line, "X-File-Name:")
               ? ShapesReadingAhead(app, line, input, out, XFileShape)
               : kNoMatch;
}

int MimeShapeGivenBack(DecodeContext& app, char* line, BufFile input, HeaderOut& out) {
    return StartsWithNoCase(line, kContentType) || StartsWithNoCase(line, kTransferEncoding)
               ? ShapesReadingAhead(app, line, input, out, MimeShape)
               : kNoMatch;
}

// The shapes in the order they are tried: the first that makes something of the line settles it.
using Shape = int (*)(DecodeContext&, char*, BufFile, HeaderOut&);
constexpr Shape kShapes[] = {
    BeginBase64Shape,   BeginLineShape, UuenviewShape,      SimTelShape,         ArchiveNameShape,
    SubjectShapes,      SectionShapes,  BeginKeywordShapes, XFileShapeGivenBack, PostShape,
    MimeShapeGivenBack, BinHexShape,    AolShape,           SquirrelShape,       UumoveShape,
};

int TryShapes(DecodeContext& app, char* line, BufFile input, HeaderOut& out) {
    for (const Shape shape : kShapes) {
        if (const int result = shape(app, line, input, out); result != kNoMatch) {
            return result;
        }
    }
    NoteBinaryData(app, line);
    return 0;
}

}  // namespace

const char* SkipBlankChars(const char* text) {
    while (IsBlank(*text)) {
        ++text;
    }
    return text;
}

const char* SkipWordChars(const char* text) {
    while (*text != '\0' && !IsBlank(*text) && *text != ',') {
        ++text;
    }
    return text;
}

bool StartsWithExact(const char* text, std::string_view key) {
    for (const char k : key) {
        if (*text != k) {
            return false;
        }
        ++text;
    }
    return true;
}

bool StartsWithNoCase(const char* text, std::string_view key) {
    for (const char k : key) {
        if (*text == '\0' || Lower(*text) != Lower(k)) {
            return false;
        }
        ++text;
    }
    return true;
}

const char* FindExact(const char* text, std::string_view key) {
    for (; *text != '\0'; ++text) {
        if (StartsWithExact(text, key)) {
            return text;
        }
    }
    return nullptr;
}

const char* FindNoCase(const char* text, std::string_view key) {
    for (; *text != '\0'; ++text) {
        if (StartsWithNoCase(text, key)) {
            return text;
        }
    }
    return nullptr;
}

void AddLineToPartSum(DecodeContext& app, const char* line) {
    AddTextToPartSum(app, app.parts.current, line);
}

int ReadRecognizerLine(DecodeContext& app, BufFile input, char* line) {
    DecodeJob& decode = app.decode;
    decode.lineStart = app.files.BufFileMark(input);
    const int count = app.files.BufFileReadLine(input, line, kLineBufferSize);
    decode.lineEnd = app.files.BufFileMark(input);
    decode.markedLine = line;
    ++app.decode.lineNumber;
    if (count <= 0) {
        line[0] = '\0';
    }
    return count;
}

void PushBackLine(DecodeContext& app, const char* line, BufFile input) {
    const auto length = static_cast<int64_t>(strnlen(line, kLineBufferSize));
    app.files.BufFileSeek(input, -length, BufSeekOrigin::Current);
    --app.decode.lineNumber;
}

int RecognizeHeader(DecodeContext& app, char* line, BufFile input, int& part, int& total,
                    std::string& name) {
    part = 0;
    total = 0;
    name = kUnknownName;
    HeaderOut out{part, total, name};
    const int result = TryShapes(app, line, input, out);
    if (result == 0) {
        part = 0;
        total = 0;
        name = kUnknownName;
    }
    return result;
}

int ParseBeginLine(DecodeContext& app, const char* line, std::string& name) {
    bool parsed = false;
    if (StartsWithNoCase(line, "begin") && IsBlank(line[5])) {
        const char* p = SkipBlankChars(line + 5);
        const char* mode = p;
        while (IsDigit(*p)) {
            ++p;
        }
        if (p > mode) {
            p = SkipBlankChars(p);
            if (*p != '\0') {
                CopyNameToken(p, name, false, false);
                parsed = true;
            }
        }
    }
    if (!parsed && line[0] == '*' && StartsWithNoCase(line + 1, "begin")) {
        CopyNameToken(SkipBlankChars(line + 6), name, false, false);
        parsed = true;
    }
    if (!parsed) {
        name = kUnknownName;
        return 0;
    }
    app.decode.NameFound = true;
    AddLineToPartSum(app, line);
    return 1;
}

int ParsePartNumbers(DecodeContext& app, const char* text, int& part, int& total) {
    const char* p = text;
    char bracket = '\0';
    if (*p == '(' || *p == '[') {
        bracket = *p;
        ++p;
    }
    p = SkipBlankChars(p);
    const bool partWord = StartsWithNoCase(p, "part");
    if (partWord) {
        p = SkipBlankChars(p + 4);
    }
    int guess = 0;
    if (bracket == '[') {
        guess = partWord ? 7 : 8;
    } else if (bracket == '(') {
        guess = 6;
    } else if (partWord) {
        guess = 3;
    }
    long first = 0;
    bool found = false;
    p = ParseDecimal(p, first, found);
    if (!found || first == 0 || !CheckedPart(app, first)) {
        return 0;
    }
    // The word between the numbers: "/" or "of".
    constexpr int kMostWordChars = 63;
    const char* word = SkipBlankChars(p);
    p = word;
    while (*p != '\0' && !IsDigit(*p) && !IsWhite(*p) && p - word < kMostWordChars) {
        ++p;
    }
    const std::string_view between(word, static_cast<std::size_t>(p - word));
    const bool isOf = between.size() == 2 && StartsWithNoCase(word, "of");
    if (between != "/" && !isOf) {
        return 0;
    }
    long second = 0;
    p = ParseDecimal(p, second, found);
    if (!found || !CheckedPart(app, second)) {
        return 0;
    }
    if (guess == 0) {
        guess = 3;
    }
    if ((bracket == '(' && *p != ')') || (bracket == '[' && *p != ']')) {
        return 0;
    }
    part = static_cast<int>(first);
    total = static_cast<int>(second);
    return guess;
}

const char* ParseDecimal(const char* text, long& value, bool& found) {
    const char* p = SkipBlankChars(text);
    long v = 0;
    int gathered = 0;
    for (; IsDigit(*p); ++p) {
        if (gathered == kMaxDigits) {
            continue;
        }
        ++gathered;
        const long digit = *p - '0';
        v = v > (kDecimalCeiling - digit) / 10 ? kDecimalCeiling : v * 10 + digit;
    }
    value = v;
    found = gathered > 0;
    return p;
}

const char* CopyNameToken(const char* text, std::string& name, bool quoted, bool stopAtBlank) {
    name.clear();
    const char* p = text;
    if (!quoted) {
        for (; *p != '\0' && *p != '\r' && *p != '\n'; ++p) {
            AppendNameChar(name, *p);
        }
        return p;
    }
    if (*p == '"') {
        ++p;
    }
    for (; AllowedInName(*p) && !(stopAtBlank && (IsWhite(*p) || *p == ',')); ++p) {
        AppendNameChar(name, *p);
    }
    if (*p == '"') {
        ++p;
    }
    return p;
}

bool FindNameParameter(const char* text, std::string& name) {
    const char* at = FindNoCase(text, "name=");
    if (at == nullptr) {
        return false;
    }
    CopyNameToken(SkipBlankChars(at + 5), name, true, false);
    return true;
}

int SkipTableBlock(DecodeContext& app, BufFile input, char* line) {
    do {
        if (ReadRecognizerLine(app, input, line) <= 0) {
            return 0;
        }
    } while (IsBlankLine(line));
    if (!StartsWithExact(line, "table")) {
        PushBackLine(app, line, input);
        return 0;
    }
    // The table and its two lines of alphabet are part 1's text and count in its checksum.
    app.parts.current = 0;
    AddLineToPartSum(app, line);
    for (int i = 0; i < 2; ++i) {
        ReadRecognizerLine(app, input, line);
        AddLineToPartSum(app, line);
    }
    return 1;
}

bool IsUuenviewMark(const char* line) {
    if (!StartsWithExact(line, "_=_")) {
        return false;
    }
    const char* p = SkipBlankChars(line + 3);
    return *p == '\0' || *p == '\r' || *p == '\n';
}

bool IsUuenviewHeader(const char* line) {
    return StartsWithExact(line, "_=_") && IsBlank(line[3]) &&
           StartsWithNoCase(SkipBlankChars(line + 3), "part");
}

bool IsBeginWord(const char* line) {
    if (StartsWithNoCase(line, "begin")) {
        return IsBlank(line[5]);
    }
    return line[0] == '*' && StartsWithNoCase(line + 1, "begin") && IsBlank(line[6]);
}

bool HasCutHere(const char* line) {
    return FindNoCase(line, "cut here") != nullptr;
}

bool HasPartWord(const char* line) {
    return FindNoCase(line, "part") != nullptr;
}

bool IsBlankLine(const char* line) {
    const char* p = SkipBlankChars(line);
    return *p == '\0' || *p == '\r' || *p == '\n';
}

}  // namespace mandrel
