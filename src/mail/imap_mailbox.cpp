#include "mail/imap_mailbox.h"

#include <memory>

#include "mail/imap_listing.h"
#include "mail/mail_codes.h"

namespace mandrel {

namespace {

// The listing asks for these header fields only, so that no line of a message's own text can
// come back among the server's answer lines.
constexpr const char* kListing =
    "UID FETCH 1:* (UID RFC822.SIZE INTERNALDATE BODY.PEEK[HEADER.FIELDS (FROM SUBJECT "
    "CONTENT-TYPE X-MESSAGE-TYPE)])";

struct CurlFree {
    void operator()(char* text) const { curl_free(text); }
};

// IMAP answers carry no reply numbers: curl's result alone says what went wrong.
class ImapMailbox final : public Mailbox {
public:
    ImapMailbox(ServerAccess access, std::string folder)
        : access_(std::move(access)), folder_(std::move(folder)) {}

    int Check(const KeepGoing& keepGoing) override {
        const CurlEasy easy = Handle(ImapUrl(access_.server, {}));
        if (!easy) {
            return kMailInsufficientMemory;
        }
        curl_easy_setopt(easy.get(), CURLOPT_CUSTOMREQUEST, "NOOP");
        return MailCodeForCurl(RunTransfer(easy.get(), keepGoing), 0);
    }

    int List(std::vector<MessageSummary>& messages, const ListProgress& progress) override {
        messages.clear();
        const CurlEasy easy = Handle(ImapUrl(access_.server, folder_));
        if (!easy) {
            return kMailInsufficientMemory;
        }
        // The answer's lines, literals included, reach the header callback as they came.
        std::string answer;
        curl_easy_setopt(easy.get(), CURLOPT_CUSTOMREQUEST, kListing);
        curl_easy_setopt(easy.get(), CURLOPT_HEADERFUNCTION, AppendToString);
        curl_easy_setopt(easy.get(), CURLOPT_HEADERDATA, &answer);
        // What curl makes of the answer itself (its first lines) is not needed.
        curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, DiscardData);
        const CURLcode code =
            RunTransfer(easy.get(), [&progress] { return !progress || progress(0); });
        if (code == CURLE_QUOTE_ERROR) {
            return kMailSuccess;  // no such folder, or nothing in it: no messages
        }
        if (const int result = MailCodeForCurl(code, 0); result != kMailSuccess) {
            return result;
        }
        for (ImapListed& listed : ReadImapListing(answer)) {
            MessageSummary& summary = messages.emplace_back();
            summary.id = listed.uid;
            summary.size = listed.size;
            if (listed.received != 0) {
                summary.received = ReceivedText(listed.received);
            }
            SummarizeHeader(listed.header, summary);
            if (progress && !progress(messages.size())) {
                return kMailUserAbort;
            }
        }
        return kMailSuccess;
    }

    int Fetch(const std::string& id, std::string& raw, const KeepGoing& keepGoing) override {
        raw.clear();
        const CurlEasy easy = Handle(ImapUrl(access_.server, folder_) + ";UID=" + id);
        if (!easy) {
            return kMailInsufficientMemory;
        }
        curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, AppendToString);
        curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &raw);
        const int result = MailCodeForCurl(RunTransfer(easy.get(), keepGoing), 0);
        if (result == kMailSuccess && raw.empty()) {
            return kMailInvalidMessage;
        }
        return result;
    }

private:
    CurlEasy Handle(const std::string& url) const { return ServerCurl(access_, url); }

    ServerAccess access_;
    std::string folder_;
};

}  // namespace

std::string ImapUrl(const MailServer& server, const std::string& folder) {
    std::string url = server.security == MailSecurity::Tls ? "imaps://" : "imap://";
    url += UrlHost(server.host);
    url += ":" + std::to_string(ImapPort(server)) + "/";
    if (!folder.empty()) {
        const std::unique_ptr<char, CurlFree> escaped(
            curl_easy_escape(nullptr, folder.c_str(), static_cast<int>(folder.size())));
        url += escaped ? escaped.get() : folder;
    }
    return url;
}

std::unique_ptr<Mailbox> NewImapMailbox(const ServerAccess& access, const std::string& folder) {
    return std::make_unique<ImapMailbox>(access, folder);
}

}  // namespace mandrel
