// printf-style formatting into owned strings. Every text the user sees is built from the
// program's own printf templates, so one helper formats them all.
#pragma once

#include <cstdarg>
#include <string>

namespace mandrel {

[[gnu::format(printf, 1, 2)]] std::string Format(const char* format, ...);
std::string FormatV(const char* format, std::va_list args);

}  // namespace mandrel
