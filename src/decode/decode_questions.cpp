#include "decode/decode_questions.h"

#include "core/config.h"
#include "core/format.h"
#include "decode/decode_job.h"

namespace mandrel {

namespace {

constexpr const char* kSkipWarning =
    "You have chosen to skip decoding of places where encoding integrity rules have been "
    "violated. This may help in decoding a multiple part format which cannot be automatically "
    "detected. However, it is also possible that the decoded file is corrupted as a result "
    "because all areas which should normally be decoded are not.";
constexpr const char* kAttemptWarning =
    "You have chosen to attempt decoding in spite of violations in the encoding integrity "
    "rules. The decoded file may be corrupted as a result because the assumption of how to "
    "decode may be inaccurate.";

// The warning that goes with an answer, or null for an answer that needs none.
const char* WarningFor(int answer) {
    switch (answer) {
        case kLineAnswerSkip:
        case kLineAnswerSkipAll:
            return kSkipWarning;
        case kLineAnswerDecode:
        case kLineAnswerDecodeAll:
            return kAttemptWarning;
        default:
            return nullptr;
    }
}

bool IsRetryFormat(int id) {
    return id >= kFormatSingleFile && id < kFileFormatCount &&
           FileFormatTable()[static_cast<std::size_t>(id)].decodable != 0;
}

// The dialog's buttons by their ids.
int LineAnswerFor(DecodeErrorChoice choice) {
    switch (choice) {
        case DecodeErrorChoice::SkipLine:
            return kLineAnswerSkip;
        case DecodeErrorChoice::DecodeLine:
            return kLineAnswerDecode;
        case DecodeErrorChoice::DecodeAll:
            return kLineAnswerDecodeAll;
        case DecodeErrorChoice::SkipAll:
            return kLineAnswerSkipAll;
        case DecodeErrorChoice::Abort:
            break;
    }
    return kLineAnswerAbort;
}

}  // namespace

int AskAboutLineDlg(DecodeContext& app, std::string_view text) {
    const int answer = LineAnswerFor(app.ui.DecodeErrorDialog(text));
    const char* warning = WarningFor(answer);
    if (warning == nullptr) {
        return kLineAnswerAbort;
    }
    // Every way of going on may spoil the output, so the user confirms it first.
    if (ShowMessage(app.ui, kMbYesNoQuestion,
                    "*** Warning ***\r\n\r\n%s\r\n\r\nProceed as indicated?", warning) != kIdYes) {
        return kLineAnswerAbort;
    }
    return answer;
}

int TryOverDlg(DecodeContext& app, std::string_view text) {
    const RetryChoice answer = app.ui.RetryDecodingDialog(text);
    switch (answer.kind) {
        case RetryChoice::Kind::Abort:
            return 0;
        case RetryChoice::Kind::TryAllFormats:
            return kFormatTryAll;
        case RetryChoice::Kind::Format:
            break;
    }
    // A name that is not in the list retries as the list's first entry does.
    return IsRetryFormat(answer.format) ? answer.format : kFormatSingleFile;
}

int WhichCodeDlg(DecodeContext& app) {
    const std::string text = Format(
        "%s apparently cannot be decoded.\r\nYou may instead encode the file (choose "
        "Encode),\r\ncontinue trying to decode the file (choose Decode),\r\nor cancel the "
        "operation on this file (choose Cancel).",
        app.job.JobInputPath.c_str());
    switch (app.ui.EncodeOrDecodeDialog(text)) {
        case EncodeOrDecodeChoice::Encode:
            return kIdNo;  // the dialog's Encode button ends it with 7
        case EncodeOrDecodeChoice::Decode:
            return kIdYes;
        case EncodeOrDecodeChoice::Cancel:
            break;
    }
    return kIdCancel;
}

}  // namespace mandrel
