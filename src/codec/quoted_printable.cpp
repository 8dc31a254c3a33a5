#include "codec/quoted_printable.h"

namespace mandrel {

namespace {

int HexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return -1;
}

}  // namespace

std::size_t DecodeQuotedPrintableLine(std::string_view line, std::span<unsigned char> out,
                                      bool& soft) {
    while (!line.empty() && (line.back() == ' ' || line.back() == '\t')) {
        line.remove_suffix(1);
    }
    soft = !line.empty() && line.back() == '=';
    if (soft) {
        line.remove_suffix(1);
    }
    std::size_t produced = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '=' && i + 2 < line.size() && HexValue(line[i + 1]) >= 0 &&
            HexValue(line[i + 2]) >= 0) {
            out[produced++] =
                static_cast<unsigned char>(HexValue(line[i + 1]) * 16 + HexValue(line[i + 2]));
            i += 2;
        } else {
            out[produced++] = static_cast<unsigned char>(c);
        }
    }
    return produced;
}

}  // namespace mandrel
