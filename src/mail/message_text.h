// Mail messages as text, built and read with GMime: the message that carries one encoded part,
// and what the mailbox's messages hold (their summaries for the list, their note text and
// attachments for decoding).
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "core/mail_port.h"

namespace mandrel {

// The header that names the kind of a message the program sent ("Mandrel32").
inline constexpr const char* kMessageTypeHeader = "X-Message-Type";

struct MessageSender {
    std::string name;     // the originator's display name
    std::string address;  // without "SMTP:"
};

// The whole message for one part: From, To, Subject, Date, Message-ID, the message type, and
// the note text as plain 7-bit text (quoted-printable only where a line could not stay 7-bit).
// Lines end with newline ("\r\n" for SMTP, "\n" for a local sendmail).
std::string BuildMessageText(const MailMessage& message, const MessageSender& sender,
                             std::time_t date, std::string_view newline);

// A recipient's address as the mail system takes it: "SMTP:" and blanks around it gone.
std::string RecipientAddress(const MailRecipient& recipient);

// What the list shows of a message, from its header.
struct MessageSummary {
    std::string id;
    std::string subject;     // empty: none
    std::string from;        // the display name, else the address; empty: unknown
    std::string received;    // "2026/11/23 10:01" in local time; empty: unknown
    std::uint64_t size = 0;  // of the whole message, in octets
    std::string type;        // the message type, else the media type; empty: unknown
    bool hasAttachments = false;
};
// Fills subject, from and type (and hasAttachments from the media type) from a header block.
void SummarizeHeader(std::string_view header, MessageSummary& summary);
// "YYYY/MM/DD HH:MM" in local time.
std::string ReceivedText(std::time_t when);

struct Attachment {
    std::string fileName;  // as it was sent; empty: none
    std::string bytes;     // decoded
};
struct MessageContent {
    std::string subject;
    std::string noteText;  // the first plain-text part that is no attachment, decoded
    std::vector<Attachment> attachments;
};
// Reads a whole message; false when it is not a message at all.
bool ParseMessage(std::string_view raw, MessageContent& content);

}  // namespace mandrel
