// The result codes of the mail layer: those of the platform's simple messaging interface, so
// that the program's texts for them apply unchanged whatever carries the mail.
#pragma once

#include "core/mail_port.h"

namespace mandrel {

enum MailCode : int {
    kMailFailure = 2,
    kMailDiskFull = 4,
    kMailInsufficientMemory = 5,
    kMailAccessDenied = 6,
    kMailUnknownRecipient = 14,
    kMailNoMessages = 16,
    kMailInvalidMessage = 17,
    kMailTooLarge = 18,
    kMailInvalidSession = 19,
    kMailNetworkFailure = 23,
};

// "E-mail Success", "User Cancelled", ...; "Unspecified Mail System Error" for 7 and any code
// not in the table.
const char* MailErrorText(int code);

}  // namespace mandrel
