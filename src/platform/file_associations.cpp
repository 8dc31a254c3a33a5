#include "platform/file_associations.h"

#include <QByteArray>
#include <QFile>
#include <QSaveFile>
#include <QString>

#include <array>
#include <string>

#include "platform/child_process.h"
#include "core/config.h"
#include "platform/data_directories.h"
#include "platform/desktop_entry.h"

namespace mandrel {

namespace {

namespace fs = std::filesystem;

// clang-format off
constexpr std::array<AssociationRow, 9> kAssociations = {{
    {true,  ".uue", "UUEncodedFile",     "UU encoded file",     "text/x-uuencode"},
    {false, ".uu",  "UUEncodedFile",     nullptr,               nullptr},
    {true,  ".xxe", "XXEncodedFile",     "XX encoded file",     nullptr},
    {false, ".xx",  "XXEncodedFile",     nullptr,               nullptr},
    {true,  ".mme", "MIMEEncodedFile",   "MIME encoded file",   nullptr},
    {false, ".mm",  "MIMEEncodedFile",   nullptr,               nullptr},
    {false, ".b64", "MIMEEncodedFile",   nullptr,               nullptr},
    {true,  ".hqx", "BinhexEncodedFile", "Binhex encoded file", "application/mac-binhex40"},
    {false, ".hex", "BinhexEncodedFile", nullptr,               nullptr},
}};
// clang-format on

// The desktop's own types (the .uue and .mm globs among them) weigh 50: ours weigh more, so
// that these extensions are ours as they were asked to be.
constexpr int kGlobWeight = 60;

constexpr const char* kIconName = "mandrel32";
constexpr std::array<std::string_view, 9> kIconFiles = {
    "icons/hicolor/16x16/apps/mandrel32.png",    "icons/hicolor/22x22/apps/mandrel32.png",
    "icons/hicolor/24x24/apps/mandrel32.png",    "icons/hicolor/32x32/apps/mandrel32.png",
    "icons/hicolor/48x48/apps/mandrel32.png",    "icons/hicolor/64x64/apps/mandrel32.png",
    "icons/hicolor/128x128/apps/mandrel32.png",  "icons/hicolor/256x256/apps/mandrel32.png",
    "icons/hicolor/scalable/apps/mandrel32.svg",
};

QString ToQString(const fs::path& path) {
    return QString::fromStdString(path.string());
}

// Writes bytes to path through a temporary file beside it, so that a reader never sees half a
// file; leaves a file that already holds them alone. False when it cannot be written.
bool WriteIfChanged(const fs::path& path, const QByteArray& bytes) {
    QFile existing(ToQString(path));
    if (existing.open(QIODevice::ReadOnly) && existing.readAll() == bytes) {
        return true;
    }
    existing.close();
    std::error_code ec;
    fs::create_directories(path.parent_path(), ec);
    QSaveFile file(ToQString(path));
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
}

QByteArray Bytes(const std::string& text) {
    return {text.data(), static_cast<qsizetype>(text.size())};
}

QByteArray Resource(std::string_view relativePath) {
    QFile file(QStringLiteral(":/") +
               QString::fromUtf8(relativePath.data(), static_cast<qsizetype>(relativePath.size())));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Every type the entry opens: ours, and the desktop's own that ours are kinds of, so that a
// desktop which names those for such a file still offers the program.
std::string EntryMimeTypes() {
    std::string types;
    for (const AssociationRow& row : kAssociations) {
        if (row.createClass) {
            types += MimeTypeForClass(row.className) + ';';
        }
    }
    for (const AssociationRow& row : kAssociations) {
        if (row.parentType != nullptr) {
            types += std::string(row.parentType) + ';';
        }
    }
    return types;
}

}  // namespace

std::span<const AssociationRow> AssociationTable() {
    return kAssociations;
}

std::span<const std::string_view> IconFiles() {
    return kIconFiles;
}

std::string MimeTypeForClass(std::string_view className) {
    std::string type = "text/x-quorvane-";
    for (const char c : className) {
        type += static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    }
    return type;
}

std::string MimePackageText() {
    std::string xml =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<mime-info xmlns=\"http://www.freedesktop.org/standards/shared-mime-info\">\n";
    const std::string weight = std::to_string(kGlobWeight);
    for (const AssociationRow& row : kAssociations) {
        if (!row.createClass) {
            continue;
        }
        xml += "  <mime-type type=\"" + MimeTypeForClass(row.className) + "\">\n";
        xml += "    <comment>" + std::string(row.description) + "</comment>\n";
        if (row.parentType != nullptr) {
            xml += "    <sub-class-of type=\"" + std::string(row.parentType) + "\"/>\n";
        }
        xml += "    <sub-class-of type=\"text/plain\"/>\n";
        xml += "    <icon name=\"" + std::string(kIconName) + "\"/>\n";
        for (const AssociationRow& glob : kAssociations) {
            if (std::string_view(glob.className) == row.className) {
                xml += "    <glob pattern=\"*" + std::string(glob.extension) + "\" weight=\"" +
                       weight + "\"/>\n";
            }
        }
        xml += "  </mime-type>\n";
    }
    xml += "</mime-info>\n";
    return xml;
}

std::string DesktopEntryText(std::string_view programPath, std::string_view productName) {
    std::string entry = "[Desktop Entry]\n";
    const auto line = [&entry](std::string_view key, std::string_view value) {
        entry.append(key).append("=").append(value).append("\n");
    };
    line("Type", "Application");
    line("Version", "1.4");
    line("Name", DesktopStringValue(productName));
    line("GenericName", "Encoder and Decoder for Mail and News");
    line("Comment", "Turns any file into text for mail and news, and such text back into the file");
    line("Icon", kIconName);
    // Desktops hide the entry once the program it names is gone.
    line("TryExec", DesktopStringValue(programPath));
    line("Exec", DesktopExecArgument(programPath) + " %f");
    line("Terminal", "false");
    line("Categories", "Utility;Archiving;");
    line("MimeType", EntryMimeTypes());
    line("Keywords", "uuencode;uudecode;xxencode;base64;BinHex;decode;encode;");
    line("StartupWMClass", "mandrel32");
    return entry;
}

int WriteDesktopFiles(const fs::path& dataDirectory, std::string_view programPath,
                      std::string_view productName) {
    int failures = 0;
    const auto write = [&](std::string_view relativePath, const QByteArray& bytes) {
        if (bytes.isEmpty() || !WriteIfChanged(dataDirectory / relativePath, bytes)) {
            ++failures;
        }
    };
    write(kMimePackageFile, Bytes(MimePackageText()));
    write(kDesktopEntryFile, Bytes(DesktopEntryText(programPath, productName)));
    for (const std::string_view icon : kIconFiles) {
        write(icon, Resource(icon));
    }
    return failures;
}

int UpdateDesktopCaches(const fs::path& dataDirectory) {
    struct CacheTool {
        const char* program;
        const char* directory;
    };
    constexpr std::array<CacheTool, 2> kTools = {{
        {"update-mime-database", "mime"},
        {"update-desktop-database", "applications"},
    }};
    int failures = 0;
    for (const CacheTool& tool : kTools) {
        if (!ProgramOnPath(tool.program)) {
            continue;
        }
        const std::array<std::string, 2> command = {tool.program,
                                                    (dataDirectory / tool.directory).string()};
        if (RunAndWait(command) != 0) {
            ++failures;
        }
    }
    return failures;
}

int MakeFileAssociations(const Config& config, const Identity& identity, SettingsStore* store,
                         UserPort& ui) {
    const fs::path data = UserDataDirectory();
    int failures = WriteDesktopFiles(data, config.fullpath, identity.productName);
    // Caches made over files that could not all be written would not help.
    if (failures == 0) {
        failures += UpdateDesktopCaches(data);
    }
    if (store != nullptr) {
        WriteSettingsGroup(config, ProgramPathGroup(), *store, identity.SettingsKey, ui);
    }
    return failures;
}

}  // namespace mandrel
