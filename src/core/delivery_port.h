// Where encoded text goes when it does not go to a file: the clipboard and e-mail. The desktop
// and the mail layer supply the back ends.
#pragma once

#include <string>

#include "core/mail_port.h"

namespace mandrel {

// Outcome of handing a part's text to the clipboard.
struct ClipboardResult {
    bool ok = true;
    // "Open", "Obtain Ownership of", "Write Encoded Data to", "Close"
    const char* failedAction = "";
    int errorCode = 0;
    // Why, when the system's text for errorCode would not say it (no desktop session).
    std::string reason;
};

class DeliveryPort {
public:
    virtual ~DeliveryPort() = default;
    // Takes the text over as the clipboard's text.
    virtual ClipboardResult PutClipboardText(std::string text) = 0;

    // The mail system, where the program has one.
    void SetMail(MailPort* mail) { mail_ = mail; }
    MailPort* Mail() const { return mail_; }
    // Sends one message; 0 on success, else a mail result code (reported when report is set).
    int SendMail(const MailMessage& message, bool report) {
        return mail_ != nullptr ? mail_->Send(message, report) : kMailNotSupported;
    }

private:
    MailPort* mail_ = nullptr;
};

}  // namespace mandrel
