#include "json_report.h"

#include <initializer_list>
#include <string_view>
#include <utility>

#include "core/job_state.h"
#include "platform/console_ui.h"

namespace mandrel {

namespace {

// The length of the UTF-8 sequence at text[i], 0 when none starts there.
std::size_t Utf8Length(std::string_view text, std::size_t i) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t length = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
    }
    if (length == 0 || i + length > text.size()) {
        return 0;
    }
    for (std::size_t k = 1; k < length; ++k) {
        if ((static_cast<unsigned char>(text[i + k]) & 0xC0U) != 0x80U) {
            return 0;
        }
    }
    return length;
}

std::string Quoted(std::string_view text) {
    std::string out = "\"";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else if (c < 0x20 || c == 0x7F) {
            static constexpr std::string_view kHex = "0123456789abcdef";
            out += "\\u00";
            out += kHex[c >> 4];
            out += kHex[c & 15U];
        } else if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (const std::size_t length = Utf8Length(text, i); length > 0) {
            out.append(text.substr(i, length));
            i += length - 1;
        } else {
            out += "\\ufffd";
        }
    }
    return out + "\"";
}

// A message as one line: CR LF and lone CRs become blanks.
std::string OneLineText(std::string_view text) {
    std::string line = ConsoleText(text);
    for (char& c : line) {
        c = c == '\n' ? ' ' : c;
    }
    return line;
}

template <typename List, typename Item>
std::string Array(const List& items, Item item) {
    std::string out = "[";
    for (const auto& each : items) {
        out += (out.size() > 1 ? "," : "") + item(each);
    }
    return out + "]";
}

std::string Strings(const std::vector<std::string>& texts) {
    return Array(texts, [](const std::string& text) { return Quoted(OneLineText(text)); });
}

std::string Numbers(const std::vector<int>& numbers) {
    return Array(numbers, [](int n) { return std::to_string(n); });
}

std::string ResultWord(int result) {
    switch (result) {
        case kResultDone:
            return "done";
        case kResultAborted:
            return "aborted";
        case kResultDialogCancelled:
            return "cancelled";
        default:
            return "failed";
    }
}

std::string ChecksumWord(const JobOutcome& outcome) {
    if (!outcome.facts.checksumDifferences.empty()) {
        return "differences";
    }
    return outcome.facts.checksumsPresent ? "valid" : "none";
}

// Members, each a name and its value already written as JSON, as one object.
std::string Object(std::initializer_list<std::pair<std::string_view, std::string>> members) {
    std::string out = "{";
    for (const auto& [name, value] : members) {
        out += (out.size() > 1 ? "," : "") + Quoted(name) + ":" + value;
    }
    return out + "}";
}

}  // namespace

std::string JobJson(const JobOutcome& outcome, std::string_view report) {
    const JobFacts& facts = outcome.facts;
    const std::string input = facts.inputs.empty() ? outcome.path : facts.inputs.front();
    const std::string parts = Object({{"total", std::to_string(facts.partTotal)},
                                      {"found", Numbers(facts.partsFound)},
                                      {"missing", Numbers(facts.partsMissing)}});
    return Object({
        {"input", Quoted(input)},
        {"inputs", Strings(facts.inputs.empty() ? std::vector{input} : facts.inputs)},
        {"direction", Quoted(outcome.direction == kDirectionEncode ? "encode" : "decode")},
        {"result", Quoted(ResultWord(outcome.result))},
        {"code", std::to_string(outcome.result)},
        {"outputs", Strings(facts.outputs)},
        {"encoding", Quoted(facts.encoding)},
        {"format", Quoted(facts.format)},
        {"parts", parts},
        {"warnings", Strings(facts.warnings)},
        {"checksums", Quoted(ChecksumWord(outcome))},
        {"differences", Strings(facts.checksumDifferences)},
        {"report", Quoted(OneLineText(report))},
    });
}

}  // namespace mandrel
