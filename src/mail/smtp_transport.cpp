#include "mail/smtp_transport.h"

#include <algorithm>
#include <cstring>

#include "mail/mail_codes.h"

namespace mandrel {

namespace {

// The message handed to curl's upload, a piece at a time.
struct Upload {
    const std::string* text;
    std::size_t sent = 0;
};

size_t ReadUpload(char* buffer, size_t size, size_t count, void* data) {
    auto& upload = *static_cast<Upload*>(data);
    const std::size_t room = size * count;
    const std::size_t left = upload.text->size() - upload.sent;
    const std::size_t take = std::min(room, left);
    std::memcpy(buffer, upload.text->data() + upload.sent, take);
    upload.sent += take;
    return take;
}

CurlEasy SmtpHandle(const ServerAccess& access) {
    return ServerCurl(access, SmtpUrl(access.server));
}

int Result(CURL* easy, CURLcode code) {
    long response = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &response);
    return MailCodeForCurl(code, response);
}

}  // namespace

std::string SmtpUrl(const MailServer& server) {
    return std::string(server.security == MailSecurity::Tls ? "smtps://" : "smtp://") +
           UrlHost(server.host) + ":" + std::to_string(SmtpPort(server));
}

int CheckSmtp(const ServerAccess& access, const KeepGoing& keepGoing) {
    const CurlEasy easy = SmtpHandle(access);
    if (!easy) {
        return kMailInsufficientMemory;
    }
    curl_easy_setopt(easy.get(), CURLOPT_CONNECT_ONLY, 1L);
    return Result(easy.get(), RunTransfer(easy.get(), keepGoing));
}

int SendBySmtp(const ServerAccess& access, const std::string& from,
               const std::vector<std::string>& to, const std::string& text,
               const KeepGoing& keepGoing) {
    const CurlEasy easy = SmtpHandle(access);
    if (!easy) {
        return kMailInsufficientMemory;
    }
    std::vector<std::string> angled;
    angled.reserve(to.size());
    for (const std::string& address : to) {
        angled.push_back("<" + address + ">");
    }
    const CurlList recipients(angled);
    const std::string sender = "<" + from + ">";
    Upload upload{&text};
    curl_easy_setopt(easy.get(), CURLOPT_MAIL_FROM, sender.c_str());
    curl_easy_setopt(easy.get(), CURLOPT_MAIL_RCPT, recipients.get());
    curl_easy_setopt(easy.get(), CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(easy.get(), CURLOPT_READFUNCTION, ReadUpload);
    curl_easy_setopt(easy.get(), CURLOPT_READDATA, &upload);
    curl_easy_setopt(easy.get(), CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(text.size()));
    return Result(easy.get(), RunTransfer(easy.get(), keepGoing));
}

}  // namespace mandrel
