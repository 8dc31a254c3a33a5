#include "mail/mailbox.h"

#include "mail/imap_mailbox.h"
#include "mail/local_mailboxes.h"

namespace mandrel {

std::unique_ptr<Mailbox> OpenMailbox(const MailProfile& profile, const std::string& password) {
    switch (profile.mailbox) {
        case MailboxKind::Imap:
            return NewImapMailbox({profile.imap, password, profile.caFile}, profile.imapFolder);
        case MailboxKind::Mbox:
            return NewMboxMailbox(profile.mbox);
        case MailboxKind::Maildir:
            break;
    }
    return NewMaildirMailbox(profile.maildir);
}

}  // namespace mandrel
