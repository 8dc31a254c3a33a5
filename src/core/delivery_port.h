// Where encoded text goes when it does not go to a file: the clipboard and e-mail. The desktop
// and the mail layer supply the back ends.
#pragma once

#include <string>
#include <vector>

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

// The mail result code of a mail system that cannot send.
inline constexpr int kMailNotSupported = 26;

struct MailRecipient {
    std::string name;
    std::string address;  // "SMTP:" and the address as typed
};
struct MailMessage {
    std::string subject;
    std::string noteText;
    std::string messageType;  // the internal name
    std::string dateReceived = "(none)";
    int flags = 1;  // unread
    std::vector<MailRecipient> recipients;
};

class DeliveryPort {
public:
    virtual ~DeliveryPort() = default;
    // Takes the text over as the clipboard's text.
    virtual ClipboardResult PutClipboardText(std::string text) = 0;
    // Sends one message; 0 on success, else a mail result code (reported when report is set).
    virtual int SendMail(const MailMessage& message, bool report) = 0;
};

}  // namespace mandrel
