#include "mail/imap_listing.h"

#include <charconv>
#include <cstring>

namespace mandrel {

namespace {

// A reader of the IMAP syntax over one answer.
class Reader {
public:
    explicit Reader(std::string_view text) : text_(text) {}

    bool AtEnd() const { return pos_ >= text_.size(); }
    std::size_t Pos() const { return pos_; }
    void Seek(std::size_t pos) { pos_ = pos; }
    char Peek() const { return AtEnd() ? '\0' : text_[pos_]; }
    void SkipBlanks() {
        while (!AtEnd() && text_[pos_] == ' ') {
            ++pos_;
        }
    }
    bool Take(char c) {
        if (Peek() != c) {
            return false;
        }
        ++pos_;
        return true;
    }

    // A data item's name: an atom, with a section in brackets ("BODY[HEADER.FIELDS (FROM)]").
    std::string_view Name() {
        const std::size_t start = pos_;
        int depth = 0;
        while (!AtEnd()) {
            const char c = text_[pos_];
            if (c == '[') {
                ++depth;
            } else if (c == ']') {
                --depth;
            } else if (depth == 0 && (c == ' ' || c == '(' || c == ')' || c == '\r' || c == '\n')) {
                break;
            }
            ++pos_;
        }
        return text_.substr(start, pos_ - start);
    }

    // A value: a quoted string, a literal, an atom or number, or a list (passed over). False
    // when the answer ends inside it.
    bool Value(std::string& value) {
        value.clear();
        switch (Peek()) {
            case '"':
                return Quoted(value);
            case '{':
                return Literal(value);
            case '(':
                return SkipList();
            default:
                value = std::string(Name());
                return true;
        }
    }

private:
    bool Quoted(std::string& value) {
        ++pos_;
        while (!AtEnd()) {
            char c = text_[pos_++];
            if (c == '"') {
                return true;
            }
            if (c == '\\' && !AtEnd()) {
                c = text_[pos_++];
            }
            value += c;
        }
        return false;
    }

    bool Literal(std::string& value) {
        const std::size_t close = text_.find('}', pos_);
        if (close == std::string_view::npos) {
            return false;
        }
        std::size_t count = 0;
        const char* first = text_.data() + pos_ + 1;
        if (std::from_chars(first, text_.data() + close, count).ptr != text_.data() + close) {
            return false;
        }
        pos_ = close + 1;
        Take('\r');
        if (!Take('\n') || count > text_.size() - pos_) {
            return false;
        }
        value = std::string(text_.substr(pos_, count));
        pos_ += count;
        return true;
    }

    bool SkipList() {
        ++pos_;
        std::string inner;
        for (;;) {
            while (!AtEnd() && (Peek() == ' ' || Peek() == '\r' || Peek() == '\n')) {
                ++pos_;
            }
            if (AtEnd()) {
                return false;
            }
            if (Take(')')) {
                return true;
            }
            if (!Value(inner)) {
                return false;
            }
        }
    }

    std::string_view text_;
    std::size_t pos_ = 0;
};

std::uint64_t Number(std::string_view text) {
    std::uint64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

// The data items of one FETCH response, from after its "(" to its ")"; false when cut short.
bool ReadItems(Reader& reader, ImapListed& listed) {
    std::string value;
    for (;;) {
        reader.SkipBlanks();
        if (reader.Take(')')) {
            return true;
        }
        if (reader.AtEnd() || reader.Peek() == '\r' || reader.Peek() == '\n') {
            return false;
        }
        const std::string name(reader.Name());
        reader.SkipBlanks();
        if (!reader.Value(value)) {
            return false;
        }
        if (name == "UID") {
            listed.uid = value;
        } else if (name == "RFC822.SIZE") {
            listed.size = Number(value);
        } else if (name == "INTERNALDATE") {
            listed.received = ImapDate(value);
        } else if (name.starts_with("BODY[")) {
            listed.header = std::move(value);
        }
    }
}

}  // namespace

std::time_t ImapDate(std::string_view text) {
    std::tm parts{};
    const std::string copy(text);
    const char* end = strptime(copy.c_str(), "%d-%b-%Y %H:%M:%S %z", &parts);
    if (end == nullptr) {
        return 0;
    }
    return timegm(&parts) - parts.tm_gmtoff;
}

std::vector<ImapListed> ReadImapListing(std::string_view answer) {
    std::vector<ImapListed> messages;
    Reader reader(answer);
    std::size_t lineStart = 0;
    while (lineStart < answer.size()) {
        // An untagged FETCH response starts a line: "* 12 FETCH (".
        reader.Seek(lineStart);
        std::size_t next = answer.find('\n', lineStart);
        next = next == std::string_view::npos ? answer.size() : next + 1;
        if (reader.Take('*') && reader.Take(' ')) {
            reader.Name();  // the message's number
            reader.SkipBlanks();
            if (reader.Name() == "FETCH") {
                reader.SkipBlanks();
                ImapListed listed;
                if (!reader.Take('(') || !ReadItems(reader, listed)) {
                    break;
                }
                if (!listed.uid.empty()) {
                    messages.push_back(std::move(listed));
                }
                next = answer.find('\n', reader.Pos());
                next = next == std::string_view::npos ? answer.size() : next + 1;
            }
        }
        lineStart = next;
    }
    return messages;
}

}  // namespace mandrel
