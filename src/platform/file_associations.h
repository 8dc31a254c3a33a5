// The program as the handler of encoded files, the freedesktop way: a shared-mime-info package
// with one type per class of encoded file and the nine extensions as its globs, a desktop entry
// that opens such a file with the program, and the program's icon, under a data directory; the
// desktop's caches are brought up to date by their own tools where those are installed.
#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <string_view>

namespace mandrel {

struct Config;
struct Identity;
class SettingsStore;
class UserPort;

// One row of the association table: an extension and the class of file it belongs to. The
// first row of a class (createClass) also describes the class.
struct AssociationRow {
    bool createClass;
    const char* extension;
    const char* className;
    const char* description;  // null for rows that only add an extension
    const char* parentType;   // the desktop's own type the class is a kind of; null for none
};
std::span<const AssociationRow> AssociationTable();

// The MIME type that stands for a class of encoded file ("text/x-quorvane-uuencodedfile").
std::string MimeTypeForClass(std::string_view className);
// The shared-mime-info package: one type per class, with its description, icon and globs.
std::string MimePackageText();
// The desktop entry that opens such files with the program at programPath.
std::string DesktopEntryText(std::string_view programPath, std::string_view productName);

// Where the package and the entry lie in a data directory (such as ~/.local/share).
inline constexpr std::string_view kMimePackageFile = "mime/packages/mandrel32.xml";
inline constexpr std::string_view kDesktopEntryFile = "applications/mandrel32.desktop";
// The program's icons as they lie in a data directory, and in the program's resources under
// ":/": the hicolor PNG sizes, then the SVG.
std::span<const std::string_view> IconFiles();

// Writes the package, the entry and the icons under dataDirectory; each file that cannot be
// written counts one failure. A file that already holds the same bytes is left alone.
int WriteDesktopFiles(const std::filesystem::path& dataDirectory, std::string_view programPath,
                      std::string_view productName);
// Runs update-mime-database and update-desktop-database over dataDirectory, each where it is
// installed; each that fails counts one failure.
int UpdateDesktopCaches(const std::filesystem::path& dataDirectory);

// Makes the program at config.fullpath the handler of encoded files in the user's data
// directory, then writes fullpath to the settings store (when there is one; that result is not
// counted). Returns the number of failures, 0 when all was written.
int MakeFileAssociations(const Config& config, const Identity& identity, SettingsStore* store,
                         UserPort& ui);

}  // namespace mandrel
