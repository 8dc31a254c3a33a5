#include "decode/data_line_classes.h"

#include <cstring>

#include "codec/alphabets.h"
#include "core/config.h"
#include "decode/decode_job.h"
#include "decode/header_recognition.h"
#include "decode/line_decoder.h"

namespace mandrel {

namespace {

bool IsLineEndOrBlank(char c) {
    return c == '\r' || c == '\n' || c == ' ' || c == '\t';
}

// "end" or "*end" standing alone as the first word. As the input's very last line, without a
// line end, the three letters are data.
bool IsEndWord(const char* line) {
    const char* word = line[0] == '*' ? line + 1 : line;
    return StartsWithNoCase(word, "end") && IsLineEndOrBlank(word[3]);
}

// The cut line that every format's trailer may be: "END" and, after it, "--" and "cut here".
bool IsEndCutLine(const char* line) {
    if (!StartsWithExact(line, "END")) {
        return false;
    }
    const char* rest = line + 3;
    return FindExact(rest, "--") != nullptr && HasCutHere(rest);
}

// The trailer that names its part and total (SimTel, shar, Wincode, Squirrel), read from the
// part-number phrase at `numbers`.
bool NumberedTrailer(DecodeContext& app, const char* numbers, int& trailerPart, int& trailerTotal) {
    int part = 0;
    int total = 0;
    if (ParsePartNumbers(app, numbers, part, total) == 0) {
        return false;
    }
    trailerPart = part;
    trailerTotal = total;
    return true;
}

// "-------- End of part 2 of 3 --------"
bool SimTelTrailer(DecodeContext& app, const char* line, int& trailerPart, int& trailerTotal) {
    if (!StartsWithExact(line, "--------")) {
        return false;
    }
    const char* p = SkipBlankChars(SkipWordChars(line));
    return StartsWithNoCase(p, "End of part") &&
           NumberedTrailer(app, p + 7, trailerPart, trailerTotal);
}

// "END-------------- name ------------ part 1/3 ---"
bool SharTrailer(DecodeContext& app, const char* line, int& trailerPart, int& trailerTotal) {
    if (!StartsWithExact(line, "END--")) {
        return false;
    }
    const char* p = SkipBlankChars(SkipWordChars(SkipBlankChars(SkipWordChars(line))));
    if (!StartsWithExact(p, "----------")) {
        return false;
    }
    return NumberedTrailer(app, SkipBlankChars(SkipWordChars(p)), trailerPart, trailerTotal);
}

// "section 2/3   file name   [ Wincode v2.3 ]"
bool WincodeTrailer(DecodeContext& app, const char* line, int& trailerPart, int& trailerTotal) {
    return StartsWithNoCase(line, "section") &&
           NumberedTrailer(app, SkipBlankChars(line + 7), trailerPart, trailerTotal);
}

enum class SquirrelLine { Data, NotTrailer, Trailer };

// "------ end of name ... part 1 of 3": a line of hyphens that does not go on with "end of"
// is data of this format.
SquirrelLine SquirrelTrailer(DecodeContext& app, const char* line, int& trailerPart,
                             int& trailerTotal) {
    if (!StartsWithExact(line, "------")) {
        return SquirrelLine::NotTrailer;
    }
    const char* p = SkipBlankChars(SkipWordChars(line));
    if (!StartsWithExact(p, "end of")) {
        return SquirrelLine::Data;
    }
    p = SkipWordChars(SkipBlankChars(p + 6));
    const char* partWord = FindExact(p, "part");
    if (partWord != nullptr && NumberedTrailer(app, partWord, trailerPart, trailerTotal)) {
        return SquirrelLine::Trailer;
    }
    return SquirrelLine::NotTrailer;
}

bool BeginsWithTwoHyphens(const char* line) {
    return line[0] == '-' && line[1] == '-';
}

bool IsSingleBlankUuLine(const char* line) {
    return line[0] == ' ' && (line[1] == '\r' || line[1] == '\n');
}

// Steps 1 and 2 of the classification leave the line to the checksum and trailer tests.
constexpr int kNotSettled = -1;

class LineClassifier {
public:
    LineClassifier(DecodeContext& app, char* line, int part, int& trailerPart, int& trailerTotal,
                   BufFile input)
        : app_(app),
          line_(line),
          part_(part),
          trailerPart_(trailerPart),
          trailerTotal_(trailerTotal),
          input_(input),
          format_(FileFormat(app.job.CurrentFileFormat)) {}

    int Classify() {
        int lineClass = kNotSettled;
        if (IsEndWord(line_)) {
            if (!HasCutHere(line_)) {
                return EndOfData();
            }
        } else if (IsBlankLine(line_)) {
            lineClass = BlankLine();
        } else if (app_.job.EncodingIndex == kEncodingMIME && StartsWithExact(line_, "====") &&
                   (line_[4] == '\0' || line_[4] == '\r' || line_[4] == '\n')) {
            // The line that ends "begin-base64" data; no Base64 line is padding alone.
            return OneOfOne(kLineEndOfData);
        }
        if (lineClass != kNotSettled) {
            return lineClass;
        }
        if (StartsWithExact(line_, "sum -r/size")) {
            return OfKnownTotal(kLineChecksum);
        }
        return TrailerOrData();
    }

private:
    int OfKnownTotal(int lineClass) {
        trailerPart_ = part_;
        trailerTotal_ = app_.parts.JobPartCount;
        return lineClass;
    }

    int OneOfOne(int lineClass) {
        trailerPart_ = 1;
        trailerTotal_ = 1;
        return lineClass;
    }

    int EndOfData() {
        AddLineToPartSum(app_, line_);
        if (format_.dataStart == DataStart::Header) {
            return OneOfOne(kLineEndOfData);
        }
        if (format_.blankLinesAfterEnd) {
            // The driver goes on with the first line after the blank lines.
            SkipBlankLines(app_, input_, line_);
        }
        if (format_.totalFromLastPart) {
            app_.parts.JobPartCount = part_;
        }
        return OfKnownTotal(kLineEndOfData);
    }

    int BlankLine() {
        switch (app_.job.EncodingIndex) {
            case kEncodingUU:
                if (IsSingleBlankUuLine(line_)) {
                    // The UU line for no bytes, written with a blank instead of a backquote.
                    return kLineData;
                }
                if (format_.blankLinesAfterEnd) {
                    SkipBlankLines(app_, input_, line_);
                    // Blank lines up to the end of the input end the data like one blank line.
                    return line_[0] == '\0' ? OfKnownTotal(kLineBlankEnd) : kNotSettled;
                }
                return OfKnownTotal(kLineBlankEnd);
            case kEncodingXX:
                return OfKnownTotal(kLineBlankEnd);
            case kEncodingMIME:
                return OneOfOne(kLineEndOfData);
            default:
                return kNotSettled;
        }
    }

    // The format's own trailer test, then the "END ... -- ... cut here" line of any format.
    int TrailerOrData() {
        if (const int lineClass = FormatTrailer(); lineClass != kNotSettled) {
            return lineClass;
        }
        return IsEndCutLine(line_) ? OfKnownTotal(kLineTrailer) : kLineData;
    }

    int FormatTrailer() {
        switch (format_.trailer) {
            case TrailerRule::MimeBoundary:
                return app_.job.EncodingIndex == kEncodingMIME && BeginsWithTwoHyphens(line_)
                           ? OneOfOne(kLineEndOfData)
                           : kNotSettled;
            case TrailerRule::SimTel:
                return Numbered(SimTelTrailer(app_, line_, trailerPart_, trailerTotal_));
            case TrailerRule::DashDashOrEndCut:
                if (BeginsWithTwoHyphens(line_)) {
                    return OfKnownTotal(kLineTrailer);
                }
                [[fallthrough]];
            case TrailerRule::EndCut:
                return StartsWithExact(line_, "END") && HasCutHere(line_)
                           ? OfKnownTotal(kLineTrailer)
                           : kNotSettled;
            case TrailerRule::Shar:
                return Numbered(SharTrailer(app_, line_, trailerPart_, trailerTotal_));
            case TrailerRule::Wincode:
                return Numbered(WincodeTrailer(app_, line_, trailerPart_, trailerTotal_));
            case TrailerRule::Aol:
                return StartsWithExact(line_, "-----") && HasCutHere(line_ + 5)
                           ? OfKnownTotal(kLineTrailer)
                           : kNotSettled;
            case TrailerRule::Squirrel:
                switch (SquirrelTrailer(app_, line_, trailerPart_, trailerTotal_)) {
                    case SquirrelLine::Data:
                        return kLineData;
                    case SquirrelLine::Trailer:
                        return kLineTrailer;
                    case SquirrelLine::NotTrailer:
                        return kNotSettled;
                }
                return kNotSettled;
            case TrailerRule::Uuenview:
                // The marks and header of the next part end this one's data.
                return IsUuenviewMark(line_) || IsUuenviewHeader(line_) ? OfKnownTotal(kLineTrailer)
                                                                        : kNotSettled;
            case TrailerRule::None:
                return kNotSettled;
        }
        return kNotSettled;
    }

    // A trailer that names its part and total has filled them in.
    static int Numbered(bool found) { return found ? kLineTrailer : kNotSettled; }

    DecodeContext& app_;
    char* line_;
    int part_;
    int& trailerPart_;
    int& trailerTotal_;
    BufFile input_;
    const FileFormatRow& format_;
};

bool IsBeginCutLine(const char* line) {
    if (!StartsWithExact(line, "BEGIN")) {
        return false;
    }
    const char* rest = line + 5;
    return FindExact(rest, "--") != nullptr && HasCutHere(rest);
}

}  // namespace

bool IsSeparatorLine(DecodeContext& app, char* line, BufFile input) {
    switch (FileFormat(app.job.CurrentFileFormat).separator) {
        case SeparatorRule::BeginCutOrPart:
            if (StartsWithExact(line, "BEGIN") && (HasCutHere(line) || HasPartWord(line))) {
                return true;
            }
            break;
        case SeparatorRule::BlankLine:
            if (IsBlankLine(line)) {
                return true;
            }
            break;
        case SeparatorRule::FollowingLine:
            if (StartsWithNoCase(line, "The following line")) {
                // The line of test characters after it would pass for data.
                ReadRecognizerLine(app, input, line);
                return true;
            }
            break;
        case SeparatorRule::DashCut:
            if (StartsWithExact(line, "-----") && HasCutHere(line + 5)) {
                return true;
            }
            break;
        case SeparatorRule::None:
            return false;
    }
    return IsBeginCutLine(line);
}

int ClassifyDataLine(DecodeContext& app, char* line, int part, int& trailerPart, int& trailerTotal,
                     BufFile input) {
    LineClassifier classifier(app, line, part, trailerPart, trailerTotal, input);
    return classifier.Classify();
}

// The classifier's tests, by their first byte: "end" and "*end" in either case, blank lines,
// "sum -r/size", "section" in either case, and every trailer and cut line ("-", "END").
const std::array<bool, 256>& MayNotBeDataFirstBytes() {
    static constexpr std::array<bool, 256> kBytes = [] {
        std::array<bool, 256> bytes{};
        for (const unsigned char c : {'e', 'E', '*', 's', 'S', '-', ' ', '\t', '\r', '\n', '\0'}) {
            bytes[c] = true;
        }
        return bytes;
    }();
    return kBytes;
}

bool IsPlainDataLine(const char* line) {
    return !IsEndWord(line) && !IsBlankLine(line) && line[0] != '-' &&
           !StartsWithExact(line, "END") && !StartsWithExact(line, "sum -r/size") &&
           !StartsWithNoCase(line, "section");
}

int GuessUuOrXx(DecodeContext& app, const char* line) {
    const DecodeTable& xx = DecodeTableFor(kEncodingXX);
    const DecodeTable& uu = DecodeTableFor(kEncodingUU);
    for (const char* p = line; *p != '\0'; ++p) {
        const auto c = static_cast<unsigned char>(*p);
        const bool inXx = xx[c] >= 0;
        const bool inUu = uu[c] >= 0;
        if (inXx == inUu) {
            if (!inXx) {
                return 0;
            }
            continue;
        }
        const int encoding = inUu ? kEncodingUU : kEncodingXX;
        app.job.EncodingIndex = encoding;
        SelectDecodeTable(app, encoding);
        return 1;
    }
    return 0;
}

void SkipBlankLines(DecodeContext& app, BufFile input, char* line) {
    while (ReadRecognizerLine(app, input, line) > 0 && IsBlankLine(line)) {
    }
}

int AtEndOfInput(DecodeContext& app, BufFile input) {
    LineBuffer ahead;
    ahead[0] = '\0';
    const int count = app.files.BufFileReadLine(input, ahead.data(), kLineBufferSize);
    if (count == 0) {
        return 1;
    }
    // After a failed read the characters that did arrive are given back; the driver's own
    // next read then meets the failure and reports it.
    const int64_t back =
        count > 0 ? count : static_cast<int64_t>(strnlen(ahead.data(), kLineBufferSize));
    if (back > 0) {
        app.files.BufFileSeek(input, -back, BufSeekOrigin::Current);
    }
    return 0;
}

}  // namespace mandrel
