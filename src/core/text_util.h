// Small functions on texts and paths shared by the encoder, the decoder and the shell: scanning
// for command and header lines, the file-name character rules for names taken from encoded
// text, temporary files and the encoder's line end.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace mandrel {

struct Config;

// The rest of the path after its last "\", "/" or ":" (the whole path when it has none).
std::string_view FileNamePart(std::string_view path);
// The part after the last "\" or "/", cut at its first ".".
std::string BaseNameNoExt(std::string_view path);
// The text from the first character that is neither blank nor tab.
std::string_view SkipBlanks(std::string_view text);
// Index of the first blank, tab or comma (text.size() when there is none).
std::size_t TokenEnd(std::string_view text);
// The text up to its first CR or LF.
std::string_view CutAtLineEnd(std::string_view text);
// Size of a file, -1 when it cannot be had.
int64_t FileSizeByName(const std::string& path);
// True for any existing file system entry, directories included.
bool FileExists(const std::string& path);

// 0 invalid in a file name, 1 valid, 2 path separator, 3 quote to be removed.
int FileNameCharClass(char c);
// Makes a name taken from encoded text safe to create: directories, drives and quotes go,
// invalid characters become "_", the result holds at most 255 characters. Returns 1 when an
// invalid character was replaced.
int SanitizeFileName(std::string& name);

// Removes a written output: a file or a link, never a device or a directory that was named as
// the output. True when something was removed.
bool RemoveOutputFile(const std::string& path);

// Creates a new empty file in `directory` ("" the current one) named `prefix`, four hex digits
// and ".tmp", never one that is there already. Returns the nonzero number in the name and fills
// path, or 0 (errno tells why).
unsigned CreateUniqueFile(std::string_view directory, std::string_view prefix, std::string& path);
// The same with the prefix "mdr" in the temporary directory ($TMPDIR, else /tmp), readable by
// the user alone.
unsigned MakeTempFileName(std::string& path);

// "\r\n" for encodecrlf 175, "\n" for 176, "" otherwise.
std::string_view EndOfLineString(const Config& config);

// The value of an environment variable, "" when it is not set.
std::string EnvironmentValue(const char* name);

// Joins a directory and a name with the local separator.
std::string JoinPath(std::string_view directory, std::string_view name);
// The directory part of a local path ("" when it has none).
std::string_view DirectoryPart(std::string_view path);

}  // namespace mandrel
