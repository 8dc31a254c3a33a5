#include "decode/decode_questions.h"

#include "core/app_state.h"
#include "core/config.h"
#include "core/format.h"

namespace mandrel {

namespace {

// The buttons of the dialogs that end them without a choice of their own: Enter and Escape.
constexpr int kDialogOk = 1;
constexpr int kDialogCancel = 2;

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

}  // namespace

int AskAboutLineDlg(AppState& app, std::string_view text) {
    int answer = app.ui.DecodeErrorDialog(text);
    if (answer == kDialogOk) {
        answer = kLineAnswerSkip;  // Enter is the skip button
    }
    const char* warning = WarningFor(answer);
    if (warning == nullptr) {
        // Abort, Escape, and anything the dialog should never have ended with.
        return kLineAnswerAbort;
    }
    // Every way of going on may spoil the output, so the user confirms it first.
    if (ShowMessage(app.ui, kMbYesNoQuestion,
                    "*** Warning ***\r\n\r\n%s\r\n\r\nProceed as indicated?", warning) != kIdYes) {
        return kLineAnswerAbort;
    }
    return answer;
}

int TryOverDlg(AppState& app, std::string_view text) {
    const int answer = app.ui.RetryDecodingDialog(text);
    if (answer == 0 || answer == kFormatTryAll || IsRetryFormat(answer)) {
        return answer;
    }
    // A name that is not in the list retries as the list's first entry does.
    return kFormatSingleFile;
}

int WhichCodeDlg(AppState& app) {
    const std::string text = Format(
        "%s apparently cannot be decoded.\r\nYou may instead encode the file (choose "
        "Encode),\r\ncontinue trying to decode the file (choose Decode),\r\nor cancel the "
        "operation on this file (choose Cancel).",
        app.job.JobInputPath.c_str());
    const int answer = app.ui.EncodeOrDecodeDialog(text);
    if (answer == kIdNo || answer == kIdYes) {
        return answer;  // 7 encode, 6 decode
    }
    return kDialogCancel;
}

}  // namespace mandrel
