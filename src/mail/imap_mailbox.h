// The folder of an IMAP server as a mailbox (libcurl): listed with one FETCH that reads only
// the header fields the list shows and marks nothing as read; a message fetched whole by its
// UID, which marks it read as any mail reader does.
#pragma once

#include <memory>
#include <string>

#include "mail/mailbox.h"

namespace mandrel {

std::unique_ptr<Mailbox> NewImapMailbox(const ServerAccess& access, const std::string& folder);

// "imap://host:port/" or "imaps://...", with the folder when one is given.
std::string ImapUrl(const MailServer& server, const std::string& folder);

}  // namespace mandrel
