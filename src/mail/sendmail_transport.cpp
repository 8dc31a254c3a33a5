#include "mail/sendmail_transport.h"

#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "mail/mail_codes.h"

namespace mandrel {

namespace {

// What a sendmail's exit status says (sysexits.h), for the mail system's table.
constexpr std::array<std::pair<int, int>, 9> kExitMeanings = {{
    {0, kMailSuccess},
    {65, kMailUnknownRecipient},  // EX_DATAERR: msmtp says a refused address with it
    {67, kMailUnknownRecipient},  // EX_NOUSER
    {68, kMailNetworkFailure},    // EX_NOHOST
    {69, kMailNetworkFailure},    // EX_UNAVAILABLE
    {74, kMailNetworkFailure},    // EX_IOERR
    {75, kMailNetworkFailure},    // EX_TEMPFAIL
    {76, kMailNetworkFailure},    // EX_PROTOCOL
    {77, kMailAccessDenied},      // EX_NOPERM
}};

int MailCodeForExit(int status) {
    for (const auto& [exit, mail] : kExitMeanings) {
        if (exit == status) {
            return mail;
        }
    }
    return kMailFailure;
}

}  // namespace

std::vector<std::string> SendmailWords(const std::string& command) {
    std::vector<std::string> words;
    std::string word;
    bool quoted = false;
    bool inWord = false;
    for (const char c : command) {
        if (c == '"') {
            quoted = !quoted;
            inWord = true;
        } else if ((c == ' ' || c == '\t') && !quoted) {
            if (inWord) {
                words.push_back(std::move(word));
                word.clear();
            }
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord) {
        words.push_back(std::move(word));
    }
    return words;
}

int CheckSendmail(const ProgramRunner& programs, const std::string& command) {
    const std::vector<std::string> words = SendmailWords(command);
    return !words.empty() && programs.OnPath(words.front()) ? kMailSuccess : kMailNotSupported;
}

int SendBySendmail(const ProgramRunner& programs, const std::string& command,
                   const std::string& text, const KeepGoing& keepGoing) {
    std::vector<std::string> words = SendmailWords(command);
    if (words.empty()) {
        return kMailNotSupported;
    }
    words.emplace_back("-t");
    words.emplace_back("-i");
    const FedRun run = programs.RunFeeding(words, text, keepGoing);
    if (!run.started) {
        return kMailNotSupported;
    }
    if (run.stopped) {
        return kMailUserAbort;
    }
    return run.status ? MailCodeForExit(*run.status) : kMailFailure;
}

}  // namespace mandrel
