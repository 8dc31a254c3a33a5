#include "platform/scripted_ui.h"

namespace mandrel {

int ScriptedUi::Message(int style, std::string_view text) {
    messages.push_back({style, std::string(text)});
    if (style != kMbQuestion) {
        return kIdOk;
    }
    if (answers.empty()) {
        ++unansweredQuestions;
        return kIdCancel;
    }
    const int answer = answers.front();
    answers.pop_front();
    return answer;
}

void ScriptedUi::Status(std::string_view text) {
    statuses.emplace_back(text);
}

void ScriptedUi::Progress(int position) {
    progress.push_back(position);
}

void ScriptedUi::Pump(int /*count*/) {
    ++pumps;
    if (onPump) {
        onPump(pumps);
    }
}

void ScriptedUi::BusyCursor(bool busy) {
    busyDepth += busy ? 1 : -1;
}

SaveDialogResult ScriptedUi::SaveFileDialog(const SaveDialogRequest& request) {
    saveRequests.push_back(request);
    if (saveDialogAnswers.empty()) {
        return {};
    }
    SaveDialogResult answer = saveDialogAnswers.front();
    saveDialogAnswers.pop_front();
    return answer;
}

ClipboardResult ScriptedUi::PutClipboardText(std::string text) {
    if (clipboardResult.ok) {
        clipboardText = std::move(text);
        clipboardWritten = true;
    }
    return clipboardResult;
}

int ScriptedUi::SendMail(const MailMessage& message, bool /*report*/) {
    sentMail.push_back(message);
    if (mailResults.empty()) {
        return 0;
    }
    const int result = mailResults.front();
    mailResults.pop_front();
    return result;
}

}  // namespace mandrel
