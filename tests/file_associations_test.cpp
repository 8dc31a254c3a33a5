// The file associations as the desktop sees them: the console's R switch in a scratch home,
// the entry checked by desktop-file-validate, the types and the handler as xdg-mime answers
// for them, a .uue opened by xdg-open and decoded by the desktop program, a second run that
// changes nothing, a program path with blanks, and a data directory that cannot be written.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "core/config.h"
#include "platform/desktop_entry.h"
#include "platform/file_associations.h"
#include "platform/qsettings_store.h"
#include "platform/scripted_ui.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::WriteFile;

TEST(DesktopEntry, ExecArgumentsAreQuotedWhereTheyMustBeAndReadBack) {
    struct Case {
        std::string argument;
        std::string written;  // as it stands in the file
    };
    const Case cases[] = {
        {"/usr/bin/mandrel32", "/usr/bin/mandrel32"},
        {"/opt/My Apps/mandrel32", R"("/opt/My Apps/mandrel32")"},
        {"/opt/100%/mandrel32", "/opt/100%%/mandrel32"},
        {R"(/tmp/a"b$c`d\e)", R"("/tmp/a\\"b\\$c\\`d\\\\e")"},
        {"/tmp/new\nline", R"("/tmp/new\nline")"},
    };
    for (const Case& c : cases) {
        const std::string written = DesktopExecArgument(c.argument);
        EXPECT_EQ(written, c.written);
        const std::string entry = "[Desktop Entry]\nExec=" + written + " %f\n";
        const auto exec = DesktopEntryValue(entry, "Exec");
        ASSERT_TRUE(exec.has_value()) << c.written;
        EXPECT_EQ(ExecArguments(*exec), std::vector<std::string>{c.argument}) << c.written;
    }
    // Other programs' entries, as a browser's is read: field codes go, "%%" is one "%".
    const auto exec = DesktopEntryValue(
        "[Desktop Action new]\nExec=other\n[Desktop Entry]\n"
        "Exec = \"/opt/Web Browser/run\" --new-window --ratio=50%% --url=%u %U\n",
        "Exec");
    ASSERT_TRUE(exec.has_value());
    EXPECT_EQ(ExecArguments(*exec),
              (std::vector<std::string>{"/opt/Web Browser/run", "--new-window", "--ratio=50%",
                                        "--url="}));
    EXPECT_FALSE(DesktopEntryValue("[Desktop Entry]\nName=x\n", "Exec").has_value());
}

class Associations : public ::testing::Test {
protected:
    Associations() {
        for (const char* sub : {"home", "data", "config", "files", "runtime"}) {
            fs::create_directories(dir.path() / sub);
        }
        fs::permissions(dir.path() / "runtime", fs::perms::owner_all);
    }

    // Runs a shell command in the scratch directory with the scratch home and data directories,
    // and no desktop named; its exit status, with what it wrote in out and err.
    int Shell(const std::string& command, std::string* out = nullptr,
              std::string* err = nullptr) const {
        const std::string line =
            "cd '" + dir.path().string() +
            "' && unset XDG_CURRENT_DESKTOP XDG_DATA_DIRS WAYLAND_DISPLAY DISPLAY && export "
            "HOME='" +
            dir.File("home") + "' XDG_DATA_HOME='" + dir.File("data") + "' XDG_CONFIG_HOME='" +
            dir.File("config") + "' XDG_RUNTIME_DIR='" + dir.File("runtime") + "' && { " + command +
            "; } </dev/null >.out 2>.err";
        const int status = std::system(line.c_str());
        if (out != nullptr) {
            *out = ReadFile(dir.File(".out"));
        }
        if (err != nullptr) {
            *err = ReadFile(dir.File(".err"));
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string Answer(const std::string& command) const {
        std::string out;
        EXPECT_EQ(Shell(command, &out), 0) << command;
        return out.substr(0, out.find('\n'));
    }
    // Every file under the data directory with its bytes.
    std::map<std::string, std::string> DataFiles() const {
        std::map<std::string, std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(dir.path() / "data")) {
            if (entry.is_regular_file()) {
                files[entry.path().string()] = ReadFile(entry.path().string());
            }
        }
        return files;
    }
    std::string Settings() const {
        return ReadFile(dir.File("config/Quorvane, Inc./Mandrel32.conf"));
    }

    test::TempDir dir;
};

TEST_F(Associations, TheConsoleMakesThemAndTheDesktopOpensEncodedFilesWithTheProgram) {
    const std::string console = std::string("'") + MANDREL_CONSOLE_PATH + "'";
    const std::string desktop = MANDREL_DESKTOP_PATH;
    std::string out;
    std::string err;
    ASSERT_EQ(Shell(console + " -R", &out, &err), 0) << err;
    EXPECT_EQ(out + err, "");

    const std::string entry = ReadFile(dir.File("data/applications/mandrel32.desktop"));
    EXPECT_EQ(entry,
              "[Desktop Entry]\nType=Application\nVersion=1.4\nName=Mandrel Desktop 32\n"
              "GenericName=Encoder and Decoder for Mail and News\n"
              "Comment=Turns any file into text for mail and news, and such text back into the "
              "file\nIcon=mandrel32\nTryExec=" +
                  desktop + "\nExec=" + desktop +
                  " %f\nTerminal=false\nCategories=Utility;Archiving;\n"
                  "MimeType=text/x-quorvane-uuencodedfile;text/x-quorvane-xxencodedfile;"
                  "text/x-quorvane-mimeencodedfile;text/x-quorvane-binhexencodedfile;"
                  "text/x-uuencode;application/mac-binhex40;\n"
                  "Keywords=uuencode;uudecode;xxencode;base64;BinHex;decode;encode;\n"
                  "StartupWMClass=mandrel32\n");
    EXPECT_EQ(Shell("desktop-file-validate data/applications/mandrel32.desktop", &out, &err), 0);
    EXPECT_EQ(out + err, "");
    for (const std::string_view icon : IconFiles()) {
        const std::string source =
            std::string(MANDREL_ICON_DIR) + "/" + std::string(icon.substr(icon.find('/') + 1));
        EXPECT_EQ(ReadFile(dir.File("data/" + std::string(icon))), ReadFile(source)) << icon;
    }
    EXPECT_NE(Settings().find("fullpath=" + desktop + "\n"), std::string::npos) << Settings();

    // What the desktop makes of files with the nine extensions: through GIO, as GNOME and the
    // file managers built on it do, and through xdg-mime's own way where no desktop is named.
    const std::map<std::string, std::string> types = {
        {"uue", "uuencodedfile"},   {"uu", "uuencodedfile"},      {"xxe", "xxencodedfile"},
        {"xx", "xxencodedfile"},    {"mme", "mimeencodedfile"},   {"mm", "mimeencodedfile"},
        {"b64", "mimeencodedfile"}, {"hqx", "binhexencodedfile"}, {"hex", "binhexencodedfile"},
    };
    for (const auto& [extension, type] : types) {
        WriteFile(dir.File("files/photo." + extension), "begin 644 photo\n`\nend\n");
        EXPECT_EQ(
            Answer("XDG_CURRENT_DESKTOP=GNOME xdg-mime query filetype files/photo." + extension),
            "text/x-quorvane-" + type)
            << extension;
    }
    EXPECT_EQ(Answer("xdg-mime query filetype files/photo.b64"), "text/x-quorvane-mimeencodedfile");
    for (const std::string type : {"text/x-quorvane-uuencodedfile", "text/x-quorvane-xxencodedfile",
                                   "text/x-quorvane-mimeencodedfile",
                                   "text/x-quorvane-binhexencodedfile", "text/x-uuencode"}) {
        EXPECT_EQ(Answer("xdg-mime query default " + type), "mandrel32.desktop") << type;
    }

    // Twice gives the same files, caches included, and no failure.
    const auto before = DataFiles();
    ASSERT_EQ(Shell(console + " -R", &out, &err), 0) << err;
    EXPECT_EQ(DataFiles(), before);

    // Opening a .uue, as a file manager does, runs the desktop program on it, which decodes it
    // beside the input. Default names, so that it asks nothing; a display named, so that
    // xdg-open looks for a handler at all; the window on the offscreen platform.
    const std::string bytes = test::RandomBytes(9, 4000);
    WriteFile(dir.File("files/photo.jpg"), bytes);
    ASSERT_EQ(Shell("cd files && uuencode photo.jpg photo.jpg > \"my photo.uue\" && rm photo.jpg"),
              0);
    ASSERT_EQ(Shell(console + " --save --usedefaultnames=1"), 0);
    for (const std::string desktopName : {"", "GNOME"}) {
        fs::remove(dir.path() / "files/photo.jpg");
        ASSERT_EQ(Shell("DISPLAY=:99 QT_QPA_PLATFORM=offscreen XDG_CURRENT_DESKTOP=" + desktopName +
                            " xdg-open \"$PWD/files/my photo.uue\"",
                        &out, &err),
                  0)
            << err;
        // gio open does not wait for the program.
        for (int i = 0; i < 200 && !fs::exists(dir.path() / "files/photo.jpg"); ++i) {
            ::usleep(50000);
        }
        EXPECT_EQ(ReadFile(dir.File("files/photo.jpg")), bytes) << desktopName;
    }
}

TEST_F(Associations, ABlankInTheProgramPathIsQuotedAndAFailureIsCountedWithFullpathKept) {
    // As the programs start: the settings are read (which makes their file) before anything.
    Config config;
    Identity identity;
    ScriptedUi ui;
    QSettingsStore store(dir.File("config"));
    LoadSettings(config, identity, store, ui);
    config.fullpath = "/opt/Mandrel Apps/mandrel32";
    {
        const test::ScopedEnv data("XDG_DATA_HOME", dir.File("data"));
        EXPECT_EQ(MakeFileAssociations(config, identity, &store, ui), 0);
    }
    const std::string entry = ReadFile(dir.File("data/applications/mandrel32.desktop"));
    EXPECT_NE(entry.find("\nTryExec=/opt/Mandrel Apps/mandrel32\n"
                         "Exec=\"/opt/Mandrel Apps/mandrel32\" %f\n"),
              std::string::npos)
        << entry;
    EXPECT_EQ(Shell("desktop-file-validate data/applications/mandrel32.desktop"), 0);

    // Nothing can be made under a data directory whose parent is a file: each file counts one
    // failure (the package, the entry, the icons); fullpath is still written, and the console
    // says so and fails.
    WriteFile(dir.File("blocker"), "");
    config.fullpath = "/opt/Elsewhere/mandrel32";
    {
        const test::ScopedEnv data("XDG_DATA_HOME", dir.File("blocker/share"));
        EXPECT_EQ(MakeFileAssociations(config, identity, &store, ui), 2 + IconFiles().size());
    }
    EXPECT_EQ(Settings(), "[2.0]\nfullpath=/opt/Elsewhere/mandrel32\n");
    std::string err;
    EXPECT_EQ(
        Shell("XDG_DATA_HOME=\"$PWD/blocker/share\" '" + std::string(MANDREL_CONSOLE_PATH) + "' -R",
              nullptr, &err),
        1);
    EXPECT_EQ(err,
              "Mandrel Desktop 32: File Associations Registry Error.\nNot everything could "
              "be written under " +
                  dir.File("blocker/share") + ".\n");
    // A console program without the desktop program beside it has nothing to name.
    fs::copy_file(MANDREL_CONSOLE_PATH, dir.File("files/mandrel"));
    EXPECT_EQ(Shell("files/mandrel -R", nullptr, &err), 1);
    EXPECT_EQ(err, "Mandrel Desktop 32: File Associations Registry Error.\nThe desktop program " +
                       dir.File("files/mandrel32") +
                       ", which is to open the encoded files, is "
                       "missing.\n");
}

}  // namespace
}  // namespace mandrel
