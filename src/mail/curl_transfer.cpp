#include "mail/curl_transfer.h"

#include <mutex>

#include "mail/mail_codes.h"

namespace mandrel {

namespace {

constexpr long kConnectSeconds = 30;
constexpr long kStallSeconds = 60;
constexpr int kPollMilliseconds = 16;

void InitCurl() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

struct CurlMultiCleanup {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};

// Which curl results mean what, for the mail system's table.
struct CurlMeaning {
    CURLcode code;
    int mail;
};
constexpr CurlMeaning kCurlMeanings[] = {
    {CURLE_COULDNT_RESOLVE_HOST, kMailNetworkFailure},
    {CURLE_COULDNT_CONNECT, kMailNetworkFailure},
    {CURLE_OPERATION_TIMEDOUT, kMailNetworkFailure},
    {CURLE_SEND_ERROR, kMailNetworkFailure},
    {CURLE_RECV_ERROR, kMailNetworkFailure},
    {CURLE_GOT_NOTHING, kMailNetworkFailure},
    {CURLE_SSL_CONNECT_ERROR, kMailNetworkFailure},
    {CURLE_PEER_FAILED_VERIFICATION, kMailNetworkFailure},
    {CURLE_SSL_CACERT_BADFILE, kMailNetworkFailure},
    {CURLE_WEIRD_SERVER_REPLY, kMailNetworkFailure},
    {CURLE_LOGIN_DENIED, kMailAccessDenied},
    {CURLE_REMOTE_ACCESS_DENIED, kMailAccessDenied},
    {CURLE_USE_SSL_FAILED, kMailNotSupported},
    {CURLE_UNSUPPORTED_PROTOCOL, kMailNotSupported},
    {CURLE_OUT_OF_MEMORY, kMailInsufficientMemory},
    {CURLE_ABORTED_BY_CALLBACK, kMailUserAbort},
};

// What a server's refusal means (SMTP reply codes; IMAP has none).
int MailCodeForResponse(long response) {
    switch (response) {
        case 550:
        case 551:
        case 553:
            return kMailUnknownRecipient;
        case 552:
            return kMailTooLarge;
        case 535:
        case 530:
            return kMailAccessDenied;
        default:
            return response >= 400 && response < 500 ? kMailNetworkFailure : kMailFailure;
    }
}

}  // namespace

CurlList::CurlList(const std::vector<std::string>& items) {
    for (const std::string& item : items) {
        list_ = curl_slist_append(list_, item.c_str());
    }
}

CurlEasy NewCurl(const std::string& caFile) {
    InitCurl();
    CurlEasy easy(curl_easy_init());
    if (!easy) {
        return easy;
    }
    curl_easy_setopt(easy.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy.get(), CURLOPT_CONNECTTIMEOUT, kConnectSeconds);
    curl_easy_setopt(easy.get(), CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(easy.get(), CURLOPT_LOW_SPEED_TIME, kStallSeconds);
    if (!caFile.empty()) {
        curl_easy_setopt(easy.get(), CURLOPT_CAINFO, caFile.c_str());
    }
    return easy;
}

CurlEasy ServerCurl(const ServerAccess& access, const std::string& url) {
    CurlEasy easy = NewCurl(access.caFile);
    if (!easy) {
        return easy;
    }
    curl_easy_setopt(easy.get(), CURLOPT_URL, url.c_str());
    if (access.server.security == MailSecurity::StartTls) {
        curl_easy_setopt(easy.get(), CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
    }
    if (!access.server.user.empty()) {
        curl_easy_setopt(easy.get(), CURLOPT_USERNAME, access.server.user.c_str());
        curl_easy_setopt(easy.get(), CURLOPT_PASSWORD, access.password.c_str());
    }
    return easy;
}

std::string UrlHost(const std::string& host) {
    if (host.find(':') == std::string::npos) {
        return host;
    }
    // An IPv6 address goes in brackets, so that its colons are not taken for the port's.
    return std::string("[").append(host).append("]");
}

CURLcode RunTransfer(CURL* easy, const KeepGoing& keepGoing) {
    const std::unique_ptr<CURLM, CurlMultiCleanup> multi(curl_multi_init());
    if (!multi || curl_multi_add_handle(multi.get(), easy) != CURLM_OK) {
        return CURLE_OUT_OF_MEMORY;
    }
    CURLcode result = CURLE_OK;
    int running = 1;
    while (running != 0) {
        if (curl_multi_perform(multi.get(), &running) != CURLM_OK) {
            result = CURLE_RECV_ERROR;
            break;
        }
        if (running == 0) {
            break;
        }
        curl_multi_poll(multi.get(), nullptr, 0, kPollMilliseconds, nullptr);
        if (keepGoing && !keepGoing()) {
            result = CURLE_ABORTED_BY_CALLBACK;
            break;
        }
    }
    int left = 0;
    while (CURLMsg* message = curl_multi_info_read(multi.get(), &left)) {
        if (message->msg == CURLMSG_DONE && result == CURLE_OK) {
            result = message->data.result;
        }
    }
    curl_multi_remove_handle(multi.get(), easy);
    return result;
}

int MailCodeForCurl(CURLcode code, long response) {
    if (code == CURLE_OK) {
        return kMailSuccess;
    }
    // A server that answered with a refusal says more than the transport's failure.
    if (response >= 400 && response < 600 && code != CURLE_ABORTED_BY_CALLBACK) {
        return MailCodeForResponse(response);
    }
    for (const CurlMeaning& meaning : kCurlMeanings) {
        if (meaning.code == code) {
            return meaning.mail;
        }
    }
    return kMailFailure;
}

size_t AppendToString(char* data, size_t size, size_t count, void* text) {
    static_cast<std::string*>(text)->append(data, size * count);
    return size * count;
}

size_t DiscardData(char* /*data*/, size_t size, size_t count, void* /*unused*/) {
    return size * count;
}

}  // namespace mandrel
