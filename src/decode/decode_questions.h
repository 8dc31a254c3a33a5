// The questions that steer a decode in trouble: what to do with an invalid line, how to retry
// an input whose format was not found, and whether to encode a file that holds nothing to
// decode.
#pragma once

#include <string_view>

namespace mandrel {

struct DecodeContext;

// Answers of the Decode Error question.
enum LineAnswerValue : int {
    kLineAnswerNone = 7,
    kLineAnswerAbort = 200,
    kLineAnswerSkip = 602,
    kLineAnswerDecode = 603,
    kLineAnswerDecodeAll = 604,
    kLineAnswerSkipAll = 605,
};

// Asks Decode Error with text; a skip or decode answer is confirmed by its warning, and No to
// the warning gives 200.
int AskAboutLineDlg(DecodeContext& app, std::string_view text);
// 0 abort, 1 try all formats, or the FileFormat id to force.
int TryOverDlg(DecodeContext& app, std::string_view text);
// 7 encode, 6 decode, 2 cancel.
int WhichCodeDlg(DecodeContext& app);

}  // namespace mandrel
