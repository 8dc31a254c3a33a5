// A mailbox the program reads messages from: an IMAP server's folder, a Maildir folder or an
// mbox file. It lists its messages with what the list shows of each, and gives one message
// whole by the id the list gave it.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "mail/curl_transfer.h"
#include "mail/mail_profile.h"
#include "mail/message_text.h"

namespace mandrel {

// Called while a mailbox lists, with the number of messages read so far; false stops it.
using ListProgress = std::function<bool(std::size_t read)>;

class Mailbox {
public:
    virtual ~Mailbox() = default;
    // Whether the mailbox can be reached (and logged into). A mail code.
    virtual int Check(const KeepGoing& keepGoing) = 0;
    // Every message, in the mailbox's order, with its summary. A mail code (kMailUserAbort
    // when progress said stop); a mailbox that is not there has no messages.
    virtual int List(std::vector<MessageSummary>& messages, const ListProgress& progress) = 0;
    // One whole message. A mail code.
    virtual int Fetch(const std::string& id, std::string& raw, const KeepGoing& keepGoing) = 0;
};

// The mailbox the profile names; password is the IMAP user's.
std::unique_ptr<Mailbox> OpenMailbox(const MailProfile& profile, const std::string& password);

}  // namespace mandrel
