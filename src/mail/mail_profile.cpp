#include "mail/mail_profile.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <type_traits>
#include <utility>
#include <variant>

#include "core/settings_store.h"
#include "core/text_util.h"

namespace mandrel {

namespace {

constexpr std::size_t kMaxRecent = 50;
constexpr const char* kRecentName = "mailrecent";

template <typename Enum>
using Words = std::array<std::pair<Enum, const char*>, 3>;
constexpr std::array<std::pair<MailTransport, const char*>, 2> kTransportWords = {{
    {MailTransport::Sendmail, "sendmail"},
    {MailTransport::Smtp, "smtp"},
}};
constexpr Words<MailSecurity> kSecurityWords = {{
    {MailSecurity::None, "none"},
    {MailSecurity::StartTls, "starttls"},
    {MailSecurity::Tls, "tls"},
}};
constexpr Words<MailboxKind> kMailboxWords = {{
    {MailboxKind::Imap, "imap"},
    {MailboxKind::Maildir, "maildir"},
    {MailboxKind::Mbox, "mbox"},
}};

// One stored value of the profile: its name and how it is kept.
using Field = std::variant<std::string*, int*, MailTransport*, MailSecurity*, MailboxKind*,
                           std::vector<std::string>*>;

struct Value {
    const char* name;
    Field field;
};

std::vector<Value> ValuesOf(MailProfile& profile) {
    return {
        {"mailsender", &profile.sender},
        {"mailtransport", &profile.transport},
        {"sendmailcommand", &profile.sendmailCommand},
        {"smtphost", &profile.smtp.host},
        {"smtpport", &profile.smtp.port},
        {"smtpsecurity", &profile.smtp.security},
        {"smtpuser", &profile.smtp.user},
        {"mailboxtype", &profile.mailbox},
        {"imaphost", &profile.imap.host},
        {"imapport", &profile.imap.port},
        {"imapsecurity", &profile.imap.security},
        {"imapuser", &profile.imap.user},
        {"imapfolder", &profile.imapFolder},
        {"maildir", &profile.maildir},
        {"mbox", &profile.mbox},
        {"mailcafile", &profile.caFile},
        {kRecentName, &profile.recent},
    };
}

template <typename Enum, std::size_t N>
const char* WordOf(const std::array<std::pair<Enum, const char*>, N>& words, Enum value) {
    for (const auto& [each, word] : words) {
        if (each == value) {
            return word;
        }
    }
    return words.front().second;
}

template <typename Enum, std::size_t N>
bool FromWord(const std::array<std::pair<Enum, const char*>, N>& words, std::string_view text,
              Enum& value) {
    for (const auto& [each, word] : words) {
        if (text == word) {
            value = each;
            return true;
        }
    }
    return false;
}

std::string Joined(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items) {
        text += (text.empty() ? "" : ",") + item;
    }
    return text;
}

std::vector<std::string> Split(std::string_view text) {
    std::vector<std::string> items;
    while (!text.empty()) {
        const std::size_t comma = text.find(',');
        if (const std::string_view item = text.substr(0, comma); !item.empty()) {
            items.emplace_back(item);
        }
        text = comma == std::string_view::npos ? std::string_view() : text.substr(comma + 1);
    }
    return items;
}

void ReadValue(const Value& value, std::string_view text) {
    std::visit(
        [&](auto field) {
            using F = decltype(field);
            if constexpr (std::is_same_v<F, std::string*>) {
                *field = std::string(text);
            } else if constexpr (std::is_same_v<F, int*>) {
                int number = 0;
                if (std::from_chars(text.data(), text.data() + text.size(), number).ec ==
                        std::errc() &&
                    number >= 0 && number <= 65535) {
                    *field = number;
                }
            } else if constexpr (std::is_same_v<F, MailTransport*>) {
                FromWord(kTransportWords, text, *field);
            } else if constexpr (std::is_same_v<F, MailSecurity*>) {
                FromWord(kSecurityWords, text, *field);
            } else if constexpr (std::is_same_v<F, MailboxKind*>) {
                FromWord(kMailboxWords, text, *field);
            } else {
                *field = Split(text);
            }
        },
        value.field);
}

bool WriteValue(const Value& value, SettingsStore& store) {
    return std::visit(
        [&](auto field) {
            using F = decltype(field);
            if constexpr (std::is_same_v<F, std::string*>) {
                return store.WriteText(value.name, *field);
            } else if constexpr (std::is_same_v<F, int*>) {
                return store.WriteNumber(value.name, *field);
            } else if constexpr (std::is_same_v<F, MailTransport*>) {
                return store.WriteText(value.name, WordOf(kTransportWords, *field));
            } else if constexpr (std::is_same_v<F, MailSecurity*>) {
                return store.WriteText(value.name, WordOf(kSecurityWords, *field));
            } else if constexpr (std::is_same_v<F, MailboxKind*>) {
                return store.WriteText(value.name, WordOf(kMailboxWords, *field));
            } else {
                return store.WriteText(value.name, Joined(*field));
            }
        },
        value.field);
}

std::string HostName() {
    std::array<char, 256> name{};
    if (::gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') {
        return "localhost";
    }
    return name.data();
}

}  // namespace

MailProfile DefaultMailProfile() {
    MailProfile profile;
    std::string user = EnvironmentValue("USER");
    if (user.empty()) {
        user = EnvironmentValue("LOGNAME");
    }
    profile.sender = (user.empty() ? "mandrel" : user) + "@" + HostName();
    const std::string mail = EnvironmentValue("MAIL");
    if (!mail.empty()) {
        profile.mailbox = MailboxKind::Mbox;
        profile.mbox = mail;
    }
    profile.maildir = EnvironmentValue("HOME") + "/Maildir";
    return profile;
}

int SmtpPort(const MailServer& server) {
    if (server.port != 0) {
        return server.port;
    }
    switch (server.security) {
        case MailSecurity::Tls:
            return 465;
        case MailSecurity::StartTls:
            return 587;
        case MailSecurity::None:
            break;
    }
    return 25;
}

int ImapPort(const MailServer& server) {
    if (server.port != 0) {
        return server.port;
    }
    return server.security == MailSecurity::Tls ? 993 : 143;
}

std::string MailProfileKey(std::string_view settingsKey) {
    const std::size_t last = settingsKey.rfind('\\');
    return std::string(settingsKey.substr(0, last == std::string_view::npos ? 0 : last + 1)) +
           "Mail";
}

bool ReadMailProfile(MailProfile& profile, SettingsStore& store, std::string_view key) {
    if (!store.OpenKey(key, false)) {
        return false;
    }
    bool saved = false;
    for (const Value& value : ValuesOf(profile)) {
        if (const auto text = store.ReadValue(value.name)) {
            ReadValue(value, *text);
            saved = saved || std::string_view(value.name) != kRecentName;
        }
    }
    store.CloseKey();
    return saved;
}

bool WriteMailProfile(const MailProfile& profile, SettingsStore& store, std::string_view key) {
    if (!store.OpenKey(key, true)) {
        return false;
    }
    MailProfile copy = profile;
    bool written = true;
    for (const Value& value : ValuesOf(copy)) {
        written = WriteValue(value, store) && written;
    }
    store.CloseKey();
    return written;
}

std::string PasswordAccount(const char* protocol, const std::string& user, const std::string& host,
                            int port) {
    return std::string(protocol) + ":" + user + "@" + host + ":" + std::to_string(port);
}

std::string SmtpAccount(const MailServer& server) {
    return PasswordAccount("smtp", server.user, server.host, SmtpPort(server));
}

std::string ImapAccount(const MailServer& server) {
    return PasswordAccount("imap", server.user, server.host, ImapPort(server));
}

void RememberRecipients(MailProfile& profile, const std::vector<std::string>& addresses) {
    std::vector<std::string> recent = addresses;
    for (const std::string& old : profile.recent) {
        if (std::find(recent.begin(), recent.end(), old) == recent.end()) {
            recent.push_back(old);
        }
    }
    if (recent.size() > kMaxRecent) {
        recent.resize(kMaxRecent);
    }
    profile.recent = std::move(recent);
}

bool WriteRecentRecipients(const std::vector<std::string>& recent, SettingsStore& store,
                           std::string_view key) {
    if (!store.OpenKey(key, true)) {
        return false;
    }
    const bool written = store.WriteText(kRecentName, Joined(recent));
    store.CloseKey();
    return written;
}

}  // namespace mandrel
