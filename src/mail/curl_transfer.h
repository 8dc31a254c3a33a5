// libcurl underneath the mail layer: one transfer at a time, run so that the caller's window
// keeps repainting and its Cancel button works while the server is slow.
#pragma once

#include <curl/curl.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "mail/mail_profile.h"

namespace mandrel {

// Called while a transfer runs, at least every few tens of milliseconds; false stops it.
using KeepGoing = std::function<bool()>;

struct CurlEasyCleanup {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
using CurlEasy = std::unique_ptr<CURL, CurlEasyCleanup>;

// A list of strings for curl's list options, owning its nodes.
class CurlList {
public:
    CurlList() = default;
    explicit CurlList(const std::vector<std::string>& items);
    ~CurlList() { curl_slist_free_all(list_); }
    CurlList(const CurlList&) = delete;
    CurlList& operator=(const CurlList&) = delete;
    curl_slist* get() const { return list_; }

private:
    curl_slist* list_ = nullptr;
};

// A new handle with what every transfer of ours has: no signals, a connect timeout, no stall
// longer than a minute, and the certificate to trust when one is given.
CurlEasy NewCurl(const std::string& caFile);

// A handle for a mail server's URL: STARTTLS required when the server's security says so, and
// its user's login when it has one.
CurlEasy ServerCurl(const ServerAccess& access, const std::string& url);
// A host as a URL names it: an IPv6 address in brackets.
std::string UrlHost(const std::string& host);

// Runs the transfer, asking keepGoing between its steps; CURLE_ABORTED_BY_CALLBACK when it
// said stop.
CURLcode RunTransfer(CURL* easy, const KeepGoing& keepGoing);

// The mail code for curl's result, with the server's last response code where it said one.
int MailCodeForCurl(CURLcode code, long response);

// Collects what curl hands to a write or header callback.
size_t AppendToString(char* data, size_t size, size_t count, void* text);
// Takes what curl hands over and keeps nothing.
size_t DiscardData(char* data, size_t size, size_t count, void* unused);

}  // namespace mandrel
