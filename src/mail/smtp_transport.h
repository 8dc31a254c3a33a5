// Sending through an SMTP server (libcurl): plain, with STARTTLS, or over TLS from the start,
// logging in when the profile names a user.
#pragma once

#include <string>
#include <vector>

#include "mail/curl_transfer.h"
#include "mail/mail_profile.h"

namespace mandrel {

// Connects, greets and logs in, then leaves: whether the server can be used. A mail code.
int CheckSmtp(const ServerAccess& access, const KeepGoing& keepGoing);

// Hands a message (lines ending in CR LF) to the server for the recipients. A mail code; a
// recipient the server refuses is kMailUnknownRecipient.
int SendBySmtp(const ServerAccess& access, const std::string& from,
               const std::vector<std::string>& to, const std::string& text,
               const KeepGoing& keepGoing);

// "smtp://host:port" or "smtps://..." (IPv6 addresses in brackets).
std::string SmtpUrl(const MailServer& server);

}  // namespace mandrel
