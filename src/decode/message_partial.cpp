#include "decode/message_partial.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstring>
#include <fstream>
#include <map>

#include "core/format.h"

namespace mandrel {

namespace {

// Most fragments one message may have, and ids one input may hold: beyond them the text is
// hostile, and what is kept per fragment stays small.
constexpr int64_t kMostFragments = 9999;
constexpr std::size_t kMostFragmentsKept = 100000;

bool StartsNoCase(std::string_view text, std::string_view key) {
    return text.size() >= key.size() &&
           std::equal(key.begin(), key.end(), text.begin(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) ==
                      std::tolower(static_cast<unsigned char>(b));
           });
}

std::string_view WithoutLineEnd(std::string_view line) {
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
        line.remove_suffix(1);
    }
    return line;
}

bool IsBlank(std::string_view line) {
    return WithoutLineEnd(line).find_first_not_of(" \t") == std::string_view::npos;
}

// "Name:" with a name of two or more characters: a header line, not a UU line such as "M:".
bool IsHeaderLine(std::string_view line) {
    std::size_t i = 0;
    while (i < line.size() &&
           (std::isalnum(static_cast<unsigned char>(line[i])) != 0 || line[i] == '-')) {
        ++i;
    }
    return i >= 2 && i < line.size() && line[i] == ':';
}

bool IsContinuation(std::string_view line) {
    return !line.empty() && (line[0] == ' ' || line[0] == '\t') && !IsBlank(line);
}

// The value of a parameter, quoted or not.
std::string Parameter(std::string_view text, std::string_view name) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (at > 0 && text[at - 1] != ';' && text[at - 1] != ' ' && text[at - 1] != '\t') {
            continue;
        }
        if (!StartsNoCase(text.substr(at), name) || at + name.size() >= text.size() ||
            text[at + name.size()] != '=') {
            continue;
        }
        std::string_view value = text.substr(at + name.size() + 1);
        if (!value.empty() && value[0] == '"') {
            value.remove_prefix(1);
            return std::string(value.substr(0, value.find('"')));
        }
        return std::string(value.substr(0, value.find_first_of("; \t")));
    }
    return {};
}

int64_t Number(const std::string& text) {
    int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && end == text.data() + text.size() ? value : 0;
}

// The next line without its LF, of which at most kKeptOfALine characters are kept, so that a
// hostile line of any length costs no memory; `length` counts all the characters taken, the LF
// included. False at the end of the input.
constexpr std::size_t kKeptOfALine = 4096;

bool NextLine(std::istream& in, std::string& line, int64_t& length) {
    line.clear();
    length = 0;
    std::array<char, 4096> piece{};
    for (;;) {
        in.getline(piece.data(), static_cast<std::streamsize>(piece.size()));
        const std::streamsize got = in.gcount();
        const std::size_t stored = std::strlen(piece.data());
        if (line.size() < kKeptOfALine) {
            line.append(piece.data(), std::min(stored, kKeptOfALine - line.size()));
        }
        length += got;
        if (in.fail() && !in.eof() && got == static_cast<std::streamsize>(piece.size()) - 1) {
            in.clear();  // the piece filled up: the line goes on
            continue;
        }
        // Even an empty line takes its LF: nothing taken is the end of the input.
        return got > 0 && !in.bad();
    }
}

struct Fragment {
    FragmentHeader header;
    std::size_t source = 0;
    int64_t start = 0;       // its first header line
    int64_t bodyStart = 0;   // after the blank line that ends its headers
    int64_t end = 0;         // where the next text begins
    bool inMailbox = false;  // a message of a mailbox, whose last line is the mailbox's blank
};

// One pass over the lines: where each fragment's headers and body lie.
class FragmentScan {
public:
    explicit FragmentScan(std::ifstream& in) : in_(in) {}

    std::vector<Fragment> Run(int64_t from) {
        // A mailbox starts with a "From " line, whatever part of it is to be read.
        std::string first;
        mailbox_ = std::getline(in_, first) && first.starts_with("From ");
        in_.clear();
        in_.seekg(from);
        int64_t offset = from;
        int64_t headerRun = from;  // where the current run of header lines began
        bool inHeaderRun = false;
        bool afterBlank = true;
        std::string line;
        std::string contentType;  // being unfolded, in a fragment candidate's header run
        int64_t length = 0;
        while (NextLine(in_, line, length)) {
            const int64_t start = offset;
            offset += length;
            if (afterBlank && line.starts_with("From ")) {
                Close(start);
                mailbox_ = true;
            }
            if (IsHeaderLine(line)) {
                if (!inHeaderRun) {
                    headerRun = start;
                    inHeaderRun = true;
                }
            } else if (!(inHeaderRun && IsContinuation(line))) {
                inHeaderRun = false;
            }
            if (!contentType.empty() && IsContinuation(line)) {
                if (contentType.size() < kKeptOfALine) {
                    contentType += WithoutLineEnd(line);
                }
            } else if (!contentType.empty()) {
                TakeContentType(contentType, headerRun);
                contentType.clear();
            }
            if (inHeaderRun && StartsNoCase(line, "Content-Type:")) {
                contentType = std::string(WithoutLineEnd(line));
            }
            if (pendingBody_ && IsBlank(line)) {
                fragments_.back().bodyStart = offset;
                pendingBody_ = false;
            }
            afterBlank = IsBlank(line);
        }
        if (!contentType.empty()) {
            TakeContentType(contentType, headerRun);
        }
        Close(offset);
        if (pendingBody_) {
            fragments_.pop_back();  // headers without a body
        }
        return std::move(fragments_);
    }

private:
    void TakeContentType(const std::string& contentType, int64_t headerRun) {
        FragmentHeader header;
        if (!ReadFragmentHeader(contentType, header) || fragments_.size() >= kMostFragmentsKept) {
            return;
        }
        Close(headerRun);
        if (pendingBody_) {
            fragments_.pop_back();
        }
        fragments_.push_back(Fragment{std::move(header), 0, headerRun, 0, 0, mailbox_});
        pendingBody_ = true;
        open_ = true;
    }

    // The open fragment ends where `at` begins.
    void Close(int64_t at) {
        if (open_ && !pendingBody_) {
            fragments_.back().end = std::max(at, fragments_.back().bodyStart);
        }
        open_ = open_ && pendingBody_;
    }

    std::ifstream& in_;
    std::vector<Fragment> fragments_;
    bool open_ = false;
    bool pendingBody_ = false;
    bool mailbox_ = false;  // "From " lines part the messages
};

bool Copy(std::ifstream& in, std::ofstream& out, int64_t from, int64_t to) {
    in.clear();
    in.seekg(from);
    std::array<char, 65536> block{};
    for (int64_t left = to - from; left > 0;) {
        const auto n = static_cast<std::streamsize>(std::min<int64_t>(left, block.size()));
        if (!in.read(block.data(), n)) {
            return false;
        }
        out.write(block.data(), n);
        left -= n;
    }
    return static_cast<bool>(out);
}

// A fragment's body, less the blank line that ends a mailbox's messages.
int64_t BodyEnd(std::ifstream& in, const Fragment& fragment) {
    if (!fragment.inMailbox || fragment.end <= fragment.bodyStart) {
        return fragment.end;
    }
    const int64_t last = std::max(fragment.bodyStart, fragment.end - 2);
    in.clear();
    in.seekg(last);
    std::string tail(static_cast<std::size_t>(fragment.end - last), '\0');
    in.read(tail.data(), static_cast<std::streamsize>(tail.size()));
    if (tail == "\r\n" && fragment.end - 2 >= fragment.bodyStart) {
        return fragment.end - 2;
    }
    return tail.ends_with('\n') ? fragment.end - 1 : fragment.end;
}

std::string MissingText(const std::string& id, int64_t total, const std::vector<int64_t>& have) {
    if (total <= 0) {
        return Format(
            "Message %s: Number of Parts Could Not be Determined;\r\nSomething is Missing.",
            id.c_str());
    }
    std::string missing;
    constexpr std::size_t kMostText = 400;
    for (int64_t number = 1; number <= total && missing.size() < kMostText; ++number) {
        if (!std::binary_search(have.begin(), have.end(), number)) {
            missing += (missing.empty() ? "" : ", ") + std::to_string(number);
        }
    }
    return Format("Message %s: Total Parts Required: %lld.\r\nMissing Parts: %s", id.c_str(),
                  static_cast<long long>(total), missing.c_str());
}

}  // namespace

bool ReadFragmentHeader(std::string_view contentType, FragmentHeader& header) {
    std::string_view value = contentType.substr(contentType.find(':') + 1);
    value.remove_prefix(std::min(value.size(), value.find_first_not_of(" \t")));
    if (!StartsNoCase(value, "message/partial")) {
        return false;
    }
    header.id = Parameter(value, "id");
    header.number = Number(Parameter(value, "number"));
    header.total = Number(Parameter(value, "total"));
    return !header.id.empty() && header.number >= 1 && header.number <= kMostFragments &&
           header.total >= 0 && header.total <= kMostFragments;
}

PartialAssembly AssemblePartialMessages(const std::vector<PartialSource>& sources,
                                        const std::string& output) {
    PartialAssembly result;
    std::ofstream out(output, std::ios::binary | std::ios::trunc);
    std::vector<std::ifstream> ins;
    for (const PartialSource& source : sources) {
        ins.emplace_back(source.path, std::ios::binary);
        if (!ins.back()) {
            return result;
        }
    }
    if (!out) {
        return result;
    }
    std::vector<Fragment> fragments;
    bool good = true;
    for (std::size_t s = 0; s < sources.size(); ++s) {
        std::ifstream& in = ins[s];
        std::vector<Fragment> found = FragmentScan(in).Run(sources[s].from);
        // The text that is no fragment, as it stands.
        int64_t at = sources[s].from;
        for (Fragment& fragment : found) {
            good = good && Copy(in, out, at, fragment.start);
            at = fragment.end;
            fragment.source = s;
        }
        in.clear();
        in.seekg(0, std::ios::end);
        good = good && Copy(in, out, at, static_cast<int64_t>(in.tellg()));
        if (fragments.size() + found.size() <= kMostFragmentsKept) {
            fragments.insert(fragments.end(), found.begin(), found.end());
        }
    }
    result.fragments = static_cast<int>(fragments.size());
    // Each id's fragments by number; the first of a number counts.
    std::map<std::string, std::map<int64_t, const Fragment*>> byId;
    std::map<std::string, int64_t> totals;
    for (const Fragment& fragment : fragments) {
        byId[fragment.header.id].emplace(fragment.header.number, &fragment);
        if (fragment.header.total > 0) {
            totals[fragment.header.id] = fragment.header.total;
        }
    }
    for (const auto& [id, numbered] : byId) {
        const int64_t total = totals.contains(id) ? totals.at(id) : 0;
        std::vector<int64_t> have;
        for (const auto& entry : numbered) {
            have.push_back(entry.first);
        }
        bool complete = total > 0;
        for (int64_t number = 1; complete && number <= total; ++number) {
            complete = numbered.contains(number);
        }
        if (!complete) {
            result.problems.push_back(MissingText(id, total, have));
            continue;
        }
        out << "\r\n";
        for (int64_t number = 1; number <= total; ++number) {
            const Fragment& fragment = *numbered.at(number);
            std::ifstream& in = ins[fragment.source];
            good = good && Copy(in, out, fragment.bodyStart, BodyEnd(in, fragment));
        }
        ++result.messages;
    }
    out.flush();
    result.written = good && static_cast<bool>(out);
    return result;
}

}  // namespace mandrel
