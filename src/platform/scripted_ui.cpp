#include "platform/scripted_ui.h"

namespace mandrel {

int ScriptedUi::Message(int style, std::string_view text) {
    messages.push_back({style, std::string(text)});
    if (!IsQuestionStyle(style)) {
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

namespace {

int NextResult(std::deque<int>& results) {
    if (results.empty()) {
        return 0;
    }
    const int result = results.front();
    results.pop_front();
    return result;
}

}  // namespace

int ScriptedUi::Logon(bool /*report*/, int flags) {
    mailSteps.push_back("logon " + std::to_string(flags));
    return NextResult(logonResults);
}

int ScriptedUi::Logoff(bool /*report*/) {
    mailSteps.emplace_back("logoff");
    return 0;
}

int ScriptedUi::ChooseRecipients(bool /*report*/, const std::vector<MailRecipient>& offered,
                                 std::vector<MailRecipient>& chosen) {
    mailSteps.push_back("recipients " + std::to_string(offered.size()));
    chosen = offered;
    return NextResult(recipientResults);
}

int ScriptedUi::Send(const MailMessage& message, bool /*report*/) {
    sentMail.push_back(message);
    return NextResult(mailResults);
}

namespace {

template <typename Answer>
Answer NextAnswer(std::deque<Answer>& answers, Answer fallback, int& unanswered) {
    if (answers.empty()) {
        ++unanswered;
        return fallback;
    }
    const Answer answer = answers.front();
    answers.pop_front();
    return answer;
}

}  // namespace

DecodeErrorChoice ScriptedUi::DecodeErrorDialog(std::string_view text) {
    dialogs.push_back({"DecodeError", std::string(text), {}});
    return NextAnswer(decodeErrorAnswers, DecodeErrorChoice::Abort, unansweredQuestions);
}

RetryChoice ScriptedUi::RetryDecodingDialog(std::string_view text) {
    dialogs.push_back({"RetryDecoding", std::string(text), {}});
    return NextAnswer(retryAnswers, RetryChoice::Abort(), unansweredQuestions);
}

EncodeOrDecodeChoice ScriptedUi::EncodeOrDecodeDialog(std::string_view text) {
    dialogs.push_back({"EncodeOrDecode", std::string(text), {}});
    return NextAnswer(encodeOrDecodeAnswers, EncodeOrDecodeChoice::Cancel, unansweredQuestions);
}

void ScriptedUi::ChecksumDetailsDialog(std::string_view caption, std::string_view inputPath,
                                       const std::vector<std::string>& lines) {
    dialogs.push_back(
        {"ChecksumDetails", std::string(caption) + "\n" + std::string(inputPath), lines});
}

std::vector<std::string> ScriptedUi::MessageTexts() const {
    std::vector<std::string> texts;
    for (const ShownMessage& m : messages) {
        texts.push_back(m.text);
    }
    return texts;
}

std::vector<std::string> ScriptedUi::DialogTexts(std::string_view kind) const {
    std::vector<std::string> texts;
    for (const Dialog& d : dialogs) {
        if (d.kind == kind) {
            texts.push_back(d.text);
        }
    }
    return texts;
}

}  // namespace mandrel
