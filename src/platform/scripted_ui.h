// The scripted back end of the user-interface port: records every message, status text and
// progress value, and answers each question and dialog from a script. Used by the tests and the
// fuzz targets.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "core/ui_port.h"

namespace mandrel {

class ScriptedUi : public UiPort {
public:
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
    int SendMail(const MailMessage& message, bool report) override;

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
};

}  // namespace mandrel
