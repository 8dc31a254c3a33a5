// Mailboxes on this machine: a Maildir folder (one file per message, in new/ and cur/) and an
// mbox file (messages one after the other, each after its "From " line). Both are only read.
#pragma once

#include <filesystem>
#include <memory>

#include "mail/mailbox.h"

namespace mandrel {

std::unique_ptr<Mailbox> NewMaildirMailbox(const std::filesystem::path& folder);
std::unique_ptr<Mailbox> NewMboxMailbox(const std::filesystem::path& file);

}  // namespace mandrel
