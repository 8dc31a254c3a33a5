#include "core/format.h"

#include <cstdio>

namespace mandrel {

std::string FormatV(const char* format, std::va_list args) {
    std::va_list copy;
    va_copy(copy, args);
    const int needed = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (needed <= 0) {
        return {};
    }
    std::string text(static_cast<std::size_t>(needed), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, args);
    return text;
}

std::string Format(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::string text = FormatV(format, args);
    va_end(args);
    return text;
}

}  // namespace mandrel
