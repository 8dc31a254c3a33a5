#include "mail/local_mailboxes.h"

#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <sstream>

#include "mail/mail_codes.h"

namespace mandrel {

namespace {

namespace fs = std::filesystem;

// A message's header is what comes before its first empty line; a header longer than this is
// no header the list needs whole.
constexpr std::size_t kMaxHeader = std::size_t{256} * 1024;

bool IsEmptyLine(std::string_view line) {
    return line.empty() || line == "\r";
}

std::string ReadHeader(std::istream& in) {
    std::string header;
    std::string line;
    while (header.size() < kMaxHeader && std::getline(in, line) && !IsEmptyLine(line)) {
        header += line + "\n";
    }
    return header;
}

std::time_t ModificationTime(const fs::path& file) {
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 ? status.st_mtime : 0;
}

class MaildirMailbox final : public Mailbox {
public:
    explicit MaildirMailbox(fs::path folder) : folder_(std::move(folder)) {}

    int Check(const KeepGoing& /*keepGoing*/) override { return kMailSuccess; }

    int List(std::vector<MessageSummary>& messages, const ListProgress& progress) override {
        messages.clear();
        struct Found {
            std::time_t delivered;
            std::string id;
        };
        std::vector<Found> found;
        for (const char* sub : {"new", "cur"}) {
            std::error_code ec;
            for (const auto& entry : fs::directory_iterator(folder_ / sub, ec)) {
                const std::string name = entry.path().filename().string();
                if (!name.starts_with('.') && entry.is_regular_file(ec)) {
                    found.push_back(
                        {ModificationTime(entry.path()), std::string(sub) + "/" + name});
                }
            }
        }
        // Delivery order: the time of delivery, then the name (which starts with it).
        std::sort(found.begin(), found.end(), [](const Found& a, const Found& b) {
            return a.delivered != b.delivered ? a.delivered < b.delivered : a.id < b.id;
        });
        for (const Found& each : found) {
            std::ifstream in(folder_ / each.id, std::ios::binary);
            if (!in) {
                continue;  // gone since it was listed
            }
            MessageSummary& summary = messages.emplace_back();
            summary.id = each.id;
            std::error_code ec;
            summary.size = fs::file_size(folder_ / each.id, ec);
            summary.received = ReceivedText(each.delivered);
            SummarizeHeader(ReadHeader(in), summary);
            if (progress && !progress(messages.size())) {
                return kMailUserAbort;
            }
        }
        return kMailSuccess;
    }

    int Fetch(const std::string& id, std::string& raw, const KeepGoing& /*keepGoing*/) override {
        // Only the names the list gave: a file of new/ or cur/, never a path elsewhere.
        const bool listed = (id.starts_with("new/") || id.starts_with("cur/")) &&
                            id.find('/', 4) == std::string::npos && id.size() > 4;
        std::ifstream in(folder_ / id, std::ios::binary);
        if (!listed || !in) {
            return kMailInvalidMessage;
        }
        std::ostringstream text;
        text << in.rdbuf();
        raw = text.str();
        return kMailSuccess;
    }

private:
    fs::path folder_;
};

// "From sender Mon Nov 23 10:01:00 2026": the time the message was received, else 0.
std::time_t FromLineTime(std::string_view line) {
    std::size_t sender = line.find(' ', 5);
    if (sender == std::string_view::npos) {
        return 0;
    }
    std::tm parts{};
    const std::string date(line.substr(sender + 1));
    if (strptime(date.c_str(), "%a %b %d %H:%M:%S %Y", &parts) == nullptr) {
        return 0;
    }
    parts.tm_isdst = -1;
    return std::mktime(&parts);
}

// Lines ">From ", ">>From " ... lose one ">" (the mbox's escape of a "From " line).
std::string Unescaped(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    bool lineStart = true;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (lineStart && text[i] == '>') {
            const std::size_t from = text.find_first_not_of('>', i);
            if (from != std::string_view::npos && text.substr(from, 5) == "From ") {
                ++i;
            }
        }
        out += text[i];
        lineStart = text[i] == '\n';
    }
    return out;
}

class MboxMailbox final : public Mailbox {
public:
    explicit MboxMailbox(fs::path file) : file_(std::move(file)) {}

    int Check(const KeepGoing& /*keepGoing*/) override { return kMailSuccess; }

    int List(std::vector<MessageSummary>& messages, const ListProgress& progress) override {
        messages.clear();
        std::ifstream in(file_, std::ios::binary);
        if (!in) {
            return kMailSuccess;
        }
        std::string line;
        std::uint64_t offset = 0;
        bool afterEmpty = true;
        MessageSummary* open = nullptr;
        std::uint64_t start = 0;
        const auto close = [&](std::uint64_t end) {
            if (open != nullptr) {
                open->size = end - start;
                open->id = std::to_string(start) + ":" + std::to_string(open->size);
            }
        };
        while (std::getline(in, line)) {
            const std::uint64_t next = offset + line.size() + 1;
            if (afterEmpty && line.starts_with("From ")) {
                close(offset);
                if (open != nullptr && progress && !progress(messages.size())) {
                    return kMailUserAbort;
                }
                open = &messages.emplace_back();
                start = next;
                open->received = ReceivedText(FromLineTime(line));
                const std::streampos body = in.tellg();
                SummarizeHeader(Unescaped(ReadHeader(in)), *open);
                in.clear();
                in.seekg(body);
            }
            afterEmpty = IsEmptyLine(line);
            offset = next;
        }
        close(offset);
        return kMailSuccess;
    }

    int Fetch(const std::string& id, std::string& raw, const KeepGoing& /*keepGoing*/) override {
        std::uint64_t start = 0;
        std::uint64_t size = 0;
        const std::size_t colon = id.find(':');
        const char* end = id.data() + id.size();
        if (colon == std::string::npos ||
            std::from_chars(id.data(), id.data() + colon, start).ptr != id.data() + colon ||
            std::from_chars(id.data() + colon + 1, end, size).ptr != end) {
            return kMailInvalidMessage;
        }
        std::ifstream in(file_, std::ios::binary);
        std::string text(size, '\0');
        if (!in || !in.seekg(static_cast<std::streamoff>(start)) ||
            !in.read(text.data(), static_cast<std::streamsize>(size))) {
            return kMailInvalidMessage;
        }
        raw = Unescaped(text);
        return kMailSuccess;
    }

private:
    fs::path file_;
};

}  // namespace

std::unique_ptr<Mailbox> NewMaildirMailbox(const fs::path& folder) {
    return std::make_unique<MaildirMailbox>(folder);
}

std::unique_ptr<Mailbox> NewMboxMailbox(const fs::path& file) {
    return std::make_unique<MboxMailbox>(file);
}

}  // namespace mandrel
