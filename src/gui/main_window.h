// The program's single main window. It turns every user action (a menu command, an
// accelerator, the window menu's items, dropped files, Cancel, closing) into calls of the job
// API and works a list of files through as a chain of queued calls, one file each, so that the
// window repaints between them. All engine work happens in the shell below it.
#pragma once

#include <QMainWindow>
#include <QStringList>
#include <QUrl>
#include <functional>
#include <map>
#include <memory>

#include "core/settings_store.h"
#include "gui/desktop_ui.h"
#include "gui/file_dialogs.h"
#include "gui/help_desk.h"
#include "shell/app_state.h"

class QAction;
class QMenu;

namespace mandrel {

class DesktopMailUi;
class JobPanel;
class MailSession;

class MainWindow : public QMainWindow {
public:
    explicit MainWindow(const QString& helpFilePath, QWidget* parent = nullptr);
    ~MainWindow() override;
    MainWindow(const MainWindow&) = delete;
    MainWindow& operator=(const MainWindow&) = delete;

    AppState& State() { return app_; }
    DesktopUi& Ui() { return ui_; }
    HelpDesk& Help() { return help_; }
    JobPanel* Panel() const { return panel_; }
    // The menu item or window-menu item of a command id; null for an unknown id.
    QAction* Action(int id) const;

    // Two thirds of the screen wide and one third high.
    void SizeToScreen();
    // Carries out a command as the menus and accelerators do.
    void Command(int id);
    // Works the file list through: listDirection 1 encodes every file, 2 lets each one go by
    // the decode method (several are joined first when decodejoin is set).
    void PostNextFile(int listDirection);
    // Files handed over as one list, as a drop does.
    void DropFiles(const QStringList& paths);
    // Makes the file associations, then closes the window (the R switch); the exit code says
    // whether all was written.
    void PostMakeAssociations();
    // The desktop session is ending: allowed when idle; refused while a job runs, which is
    // then cancelled.
    bool QueryEndSession();
    // Where web addresses go (the browser, or a recorder in the tests).
    void SetUrlOpener(std::function<bool(const QUrl&)> opener) { openUrl_ = std::move(opener); }
    // Where "&Save as Default" writes a settings group; none: nothing is written.
    void SetSettingsStore(SettingsStore* store) { store_ = store; }
    // The mail system and the desktop's dialogs for it; none: the mail commands say so.
    void SetMail(MailSession* session, DesktopMailUi* mailUi);
    // 0 when every file of a command-line list succeeded, 1 otherwise.
    int ExitCode() const { return exitCode_; }

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void BuildMenus();
    void BindCommands();
    void EnterJobMode(bool busy);
    void EnableCommands(bool enable);
    void UpdateClipboardCommand(bool menuOpening);

    void FileCommand(int direction, bool toClipboard);
    // Asks for a job's input files, starting from the last input or the chosen directory.
    QStringList AskJobInputs(int direction);
    void DecodeFromClipboard();
    void NotYetAvailable(const char* what);
    int MakeAssociations();
    void EncodeToMail();
    void DecodeFromMail();
    void MailSettings();
    int MailLogonAndRecipients(std::vector<MailRecipient>& chosen);
    void ShowAbout();
    template <typename Dialog>
    void Configure();
    void StartList(const QStringList& files, int listDirection, bool toClipboard);
    void NextFile();
    void AfterJob();

    HelpDesk help_;
    DesktopUi ui_;
    AppState app_;
    JobPanel* panel_;
    std::map<int, QAction*> actions_;
    std::map<int, std::function<void()>> handlers_;
    QMenu* fileMenu_ = nullptr;
    QMenu* windowMenu_ = nullptr;
    OpenDialogMemory openMemory_;
    int listDirection_ = 0;
    bool listToClipboard_ = false;
    bool closing_ = false;
    int exitCode_ = 0;
    SettingsStore* store_ = nullptr;
    MailSession* mail_ = nullptr;
    DesktopMailUi* mailUi_ = nullptr;
    std::function<bool(const QUrl&)> openUrl_;
};

}  // namespace mandrel
