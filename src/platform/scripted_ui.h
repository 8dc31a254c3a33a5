// The scripted back end of the user's port, the delivery port and the mail port: records every
// message, status text, progress value, delivery and mail step, and answers each question and
// dialog from a script. Used by the tests and the fuzz targets.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "core/delivery_port.h"
#include "core/user_port.h"

namespace mandrel {

class ScriptedUi : public UserPort, public DeliveryPort, public MailPort {
public:
    ScriptedUi() { SetMail(this); }

    struct ShownMessage {
        int style;
        std::string text;
    };

    int Message(int style, std::string_view text) override;
    void Status(std::string_view text) override;
    void Progress(int position) override;
    void Pump(int count) override;
    void BusyCursor(bool busy) override;
    SaveDialogResult SaveFileDialog(const SaveDialogRequest& request) override;
    ClipboardResult PutClipboardText(std::string text) override;
    int Logon(bool report, int flags) override;
    int Logoff(bool report) override;
    int ChooseRecipients(bool report, const std::vector<MailRecipient>& offered,
                         std::vector<MailRecipient>& chosen) override;
    int Send(const MailMessage& message, bool report) override;
    DecodeErrorChoice DecodeErrorDialog(std::string_view text) override;
    RetryChoice RetryDecodingDialog(std::string_view text) override;
    EncodeOrDecodeChoice EncodeOrDecodeDialog(std::string_view text) override;
    void ChecksumDetailsDialog(std::string_view caption, std::string_view inputPath,
                               const std::vector<std::string>& lines) override;

    // What was shown.
    std::vector<ShownMessage> messages;
    std::vector<std::string> statuses;
    std::vector<int> progress;
    std::vector<SaveDialogRequest> saveRequests;
    int pumps = 0;
    int busyDepth = 0;

    // The script. A message box with a question takes the next answer (Cancel when none is
    // left, and the question is counted in unansweredQuestions); other boxes return OK.
    std::deque<int> answers;
    int unansweredQuestions = 0;
    std::deque<SaveDialogResult> saveDialogAnswers;  // none left: the dialog is cancelled
    std::function<void(int pumpNumber)> onPump;      // e.g. press Cancel at some point

    // Destinations.
    ClipboardResult clipboardResult;
    std::string clipboardText;
    bool clipboardWritten = false;
    std::vector<MailMessage> sentMail;
    std::deque<int> mailResults;  // none left: 0
    // The mail session's steps ("logon 66", "recipients 2", "logoff"), and their results (none
    // left: 0; the recipients chosen are those offered).
    std::vector<std::string> mailSteps;
    std::deque<int> logonResults;
    std::deque<int> recipientResults;

    // The decoder's dialogs: what they showed and the scripted answers. With no answer left,
    // each aborts or cancels, and is counted in unansweredQuestions too.
    struct Dialog {
        std::string kind;  // "DecodeError", "RetryDecoding", "EncodeOrDecode", "ChecksumDetails"
        std::string text;
        std::vector<std::string> lines;  // the checksum details
    };
    std::vector<Dialog> dialogs;
    std::deque<DecodeErrorChoice> decodeErrorAnswers;
    std::deque<RetryChoice> retryAnswers;
    std::deque<EncodeOrDecodeChoice> encodeOrDecodeAnswers;

    // The texts of the message boxes shown, and of the decoder's dialogs of one kind.
    std::vector<std::string> MessageTexts() const;
    std::vector<std::string> DialogTexts(std::string_view kind) const;
};

}  // namespace mandrel
