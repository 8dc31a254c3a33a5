#include "mail/mail_codes.h"

#include <array>

namespace mandrel {

namespace {

// Indexed by the code; null where the code has no text of its own.
constexpr std::array<const char*, 27> kTexts = {
    "E-mail Success",
    "User Cancelled",
    "Non-Specific Failure",
    "Already Logged into E-mail System",
    "Disk Full",
    "Insufficient Memory",
    "Access Denied",
    nullptr,
    "Too Many Sessions",
    "Too Many Files",
    "Too Many Recipients",
    "Attachment Not Found",
    "Attachment Read Failure",
    "Attachment Write Failure",
    "Unknown Recipient",
    "Bad Recipient Type",
    "No Matching Messages Found",
    "Invalid Message Identifier",
    "Message Too Large",
    "Invalid E-mail Session",
    "Message Type Not Supported",
    "Ambiguous Recipient",
    "Message in Use",
    "Network Failure",
    "Invalid Addressing Fields",
    "Invalid Recipients",
    "Feature Not Supported",
};

}  // namespace

const char* MailErrorText(int code) {
    if (code < 0 || code >= static_cast<int>(kTexts.size()) || kTexts[code] == nullptr) {
        return "Unspecified Mail System Error";
    }
    return kTexts[code];
}

}  // namespace mandrel
