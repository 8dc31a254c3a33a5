// Reading the server's answer to the listing's FETCH: for each message its UID, size, the date
// it was received and the header fields asked for. The answer is taken as the server sent it
// (libcurl hands it over line by line), literals and all.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

namespace mandrel {

struct ImapListed {
    std::string uid;
    std::uint64_t size = 0;
    std::time_t received = 0;  // 0: not said
    std::string header;
};

// The FETCH responses of an answer, in order; anything else in it is passed over, and a
// response cut short ends the reading.
std::vector<ImapListed> ReadImapListing(std::string_view answer);

// "23-Nov-2026 10:01:00 +0000" as a time; 0 when it is not such a date.
std::time_t ImapDate(std::string_view text);

}  // namespace mandrel
