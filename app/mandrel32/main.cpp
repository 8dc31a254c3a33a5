// The desktop program: the main window over the same engines as the console program. It takes
// the same switches and file names; a command-line list is worked through without reports and
// the program closes after its last file.
#include <QApplication>
#include <QClipboard>
#include <filesystem>
#include <string>
#include <vector>

#include "core/version_strings.h"
#include "gui/desktop_mail_ui.h"
#include "gui/main_window.h"
#include "gui/program_icon.h"
#include "gui/program_start.h"
#include "mail/mail_session.h"
#include "platform/child_process.h"
#include "platform/desktop_clipboard.h"
#include "platform/keyring_passwords.h"
#include "platform/program_path.h"
#include "platform/qsettings_store.h"

namespace mandrel {
namespace {

constexpr int kExitStartupFailed = 1;

// The help document lies in the installation's data directory, found from the program's own
// directory (the build tree is laid out the same way).
QString HelpFilePath(const std::string& programPath) {
    const std::filesystem::path program(programPath);
    const std::filesystem::path document =
        program.parent_path() / MANDREL_HELP_DIRECTORY / (program.filename().string() + ".html");
    return QString::fromStdString(document.lexically_normal().string());
}

// Text the program put on the clipboard would go with it on a desktop without a clipboard
// manager; wl-copy or xclip keep it available after the program has exited.
void KeepClipboardText() {
    const QString platform = QGuiApplication::platformName();
    if (platform != QLatin1String("xcb") && !platform.startsWith(QLatin1String("wayland"))) {
        return;
    }
    const QClipboard* clipboard = QGuiApplication::clipboard();
    if (!clipboard->ownsClipboard()) {
        return;
    }
    const std::string text = clipboard->text().toStdString();
    if (!text.empty()) {
        PutTextOnDesktopClipboard(text, DesktopSession::FromEnvironment());
    }
}

int Run(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("mandrel32"));
    QApplication::setApplicationVersion(QString::fromLatin1(version::kProductVersion));
    QApplication::setDesktopFileName(QStringLiteral("mandrel32"));
    QApplication::setWindowIcon(ProgramIcon());

    const std::string programPath = ProgramPath(argc > 0 ? argv[0] : nullptr);
    const QString helpFile = HelpFilePath(programPath);
    QSettingsStore store;
    MainWindow window(helpFile);
    window.SetSettingsStore(&store);
    AppState& app = window.State();
    app.config.fullpath = programPath;
    app.files.BufFileInit(10, 32768);
    window.SizeToScreen();
    window.show();
    LoadSettings(app.config, app.identity, store, app.ui);
    window.Ui().SetProductName(QString::fromStdString(app.identity.productName));
    // Mail: the profile beside the settings, passwords in the desktop's keyring.
    KeyringPasswords passwords(app.identity.internalName);
    DesktopMailUi mailUi(&window, passwords, window.Ui(), window.Help());
    const SystemPrograms programs;
    MailSession mail(window.Ui(), mailUi, store, MailProfileKey(app.identity.SettingsKey),
                     passwords, programs);
    window.SetMail(&mail, &mailUi);

    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i) {
        arguments.emplace_back(argv[i]);
    }
    if (!StartProgram(window, arguments)) {
        return kExitStartupFailed;
    }
    const int loopResult = QApplication::exec();
    KeepClipboardText();
    app.files.BufFileShutdown();
    return loopResult != 0 ? loopResult : window.ExitCode();
}

}  // namespace
}  // namespace mandrel

int main(int argc, char** argv) {
    return mandrel::Run(argc, argv);
}
