// Recognises the lines that open an encoded file or a part of one: which multi-part format
// wrote it, which part it is of how many, the encoding and the file name it carries. Also the
// "begin" line, the MIME header block and the part-number phrases the formats share.
#pragma once

#include <string>
#include <string_view>

#include "core/buf_file.h"
#include "decode/decode_job.h"

namespace mandrel {

struct DecodeContext;

// Reads one line (at most 254 characters) for a recogniser, counting it in the line number.
// Returns the characters taken, 0 at the end of the input, -1 on a read error.
int ReadRecognizerLine(DecodeContext& app, BufFile input, char* line);
// Moves the input back by the line's length and counts the line off again.
void PushBackLine(DecodeContext& app, const char* line, BufFile input);

// The FileFormat (3 to 20, or uuenview's) that the line opens, or 0. May read further lines from
// input (the line buffer then holds the last one read) and may push one back. part, total and name
// are reset first (name to "DontKnow.Yet").
int RecognizeHeader(DecodeContext& app, char* line, BufFile input, int& part, int& total,
                    std::string& name);
// 1 and the name for a "begin" or "*begin" line (NameFound set, the line added to the current
// part's checksum and size); else 0 and "DontKnow.Yet".
int ParseBeginLine(DecodeContext& app, const char* line, std::string& name);
// A FileFormat guess (3, 6, 7 or 8) with part and total, or 0.
int ParsePartNumbers(DecodeContext& app, const char* text, int& part, int& total);
// Skips blanks and takes a run of digits; returns the position after it.
const char* ParseDecimal(const char* text, long& value, bool& found);
const char* CopyNameToken(const char* text, std::string& name, bool quoted, bool stopAtBlank);
bool FindNameParameter(const char* text, std::string& name);
// After a Wincode or R.E.M. part-1 header: skips blank lines and takes in an XX "table" block.
int SkipTableBlock(DecodeContext& app, BufFile input, char* line);
// A "begin" or "*begin" word with a blank after it: the line that opens UU or XX data.
bool IsBeginWord(const char* line);
bool HasCutHere(const char* line);
bool HasPartWord(const char* line);
bool IsBlankLine(const char* line);
// uuenview's "_=_" alone on a line, the mark above and below its part headers.
bool IsUuenviewMark(const char* line);
// A uuenview part header: "_=_ Part 2 of 3 of file name".
bool IsUuenviewHeader(const char* line);

// Scanning steps shared by the recognisers. A blank is a space or a tab; a word ends at the
// first blank, comma or the end of the text. Keys are compared up to the text's terminator.
const char* SkipBlankChars(const char* text);
const char* SkipWordChars(const char* text);
bool StartsWithExact(const char* text, std::string_view key);
bool StartsWithNoCase(const char* text, std::string_view key);
// The first place where key stands, or null.
const char* FindExact(const char* text, std::string_view key);
const char* FindNoCase(const char* text, std::string_view key);
// Adds the whole line to the current part's calculated checksum and size.
void AddLineToPartSum(DecodeContext& app, const char* line);

}  // namespace mandrel
