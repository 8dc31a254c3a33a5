#include "gui/main_window.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QContextMenuEvent>
#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QSessionManager>
#include <QStandardPaths>

#include "core/format.h"
#include "core/output_files.h"
#include "gui/commands.h"
#include "gui/config_dialogs.h"
#include "gui/desktop_mail_ui.h"
#include "gui/job_panel.h"
#include "gui/mail_select_dialog.h"
#include "gui/version_dialogs.h"
#include "mail/mail_session.h"
#include "platform/file_associations.h"
#include "shell/clipboard_input.h"
#include "shell/file_list_runner.h"
#include "shell/input_selection.h"
#include "shell/job_runner.h"

namespace mandrel {

namespace {

// The commands a running job greys: every one that would start another job, and the settings
// a job reads.
constexpr std::array<int, 12> kJobCommands = {
    kCmdEncodeToFile,        kCmdDecodeFromFile, kCmdConfigGeneral,  kCmdConfigEncode,
    kCmdConfigDecode,        kCmdSystemEncode,   kCmdSystemDecode,   kCmdEncodeToClipboard,
    kCmdDecodeFromClipboard, kCmdEncodeToMail,   kCmdDecodeFromMail, kCmdMailSettings,
};

// Where attachments and the files decoded from mail go "Same as Input File": mail has no
// directory of its own, and downloads are where received files are looked for.
std::string DownloadDirectory() {
    QString directory = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
    if (directory.isEmpty()) {
        directory = QDir::homePath();
    }
    QDir().mkpath(directory);
    return directory.toStdString();
}

QStringList LocalFiles(const QMimeData* data) {
    QStringList files;
    if (data == nullptr || !data->hasUrls()) {
        return files;
    }
    for (const QUrl& url : data->urls()) {
        if (!url.isLocalFile()) {
            return {};
        }
        files.append(url.toLocalFile());
    }
    return files;
}

}  // namespace

MainWindow::MainWindow(const QString& helpFilePath, QWidget* parent)
    : QMainWindow(parent),
      help_(helpFilePath),
      ui_(help_),
      app_(ui_, ui_),
      panel_(new JobPanel(this)),
      openUrl_(DesktopUrlOpener()) {
    setWindowTitle(QString::fromStdString(app_.identity.productName));
    setCentralWidget(panel_);
    ui_.Attach(this, panel_->StatusLine(), panel_->ProgressBar());
    ui_.SetProductName(QString::fromStdString(app_.identity.productName));
    ui_.SetJobModeHandler([this](bool busy) { EnterJobMode(busy); });
    BuildMenus();
    BindCommands();
    connect(panel_->CancelButton(), &QPushButton::clicked, this, [this] { Command(kCmdCancel); });
    connect(qApp, &QGuiApplication::commitDataRequest, this, [this](QSessionManager& manager) {
        if (!QueryEndSession()) {
            manager.cancel();
        }
    });
    EnterJobMode(false);
}

MainWindow::~MainWindow() = default;

void MainWindow::BuildMenus() {
    std::map<Popup, QMenu*> menus;
    windowMenu_ = new QMenu(this);
    menus[Popup::Window] = windowMenu_;
    for (const CommandRow& row : CommandTable()) {
        QMenu*& menu = menus[row.popup];
        if (menu == nullptr) {
            menu = menuBar()->addMenu(QString::fromLatin1(PopupTitle(row.popup)));
        }
        if (row.id == 0) {
            menu->addSeparator();
            continue;
        }
        QAction* action = menu->addAction(QString::fromLatin1(row.text));
        action->setObjectName(QString::number(row.id));
        if (*row.shortcut != '\0') {
            action->setShortcut(QKeySequence(QString::fromLatin1(row.shortcut)));
        }
        const int id = row.id;
        connect(action, &QAction::triggered, this, [this, id] { Command(id); });
        actions_[row.id] = action;
    }
    fileMenu_ = menus[Popup::File];
    // The clipboard command is greyed while the menu shows and the clipboard holds no text;
    // its accelerator stays live, so that an empty clipboard is said as such.
    connect(fileMenu_, &QMenu::aboutToShow, this, [this] { UpdateClipboardCommand(true); });
    connect(fileMenu_, &QMenu::aboutToHide, this, [this] { UpdateClipboardCommand(false); });
}

void MainWindow::BindCommands() {
    handlers_ = {
        {kCmdDecodeFromFile, [this] { FileCommand(kDirectionDecode, false); }},
        {kCmdSystemDecode, [this] { FileCommand(kDirectionDecode, false); }},
        {kCmdEncodeToFile, [this] { FileCommand(kDirectionEncode, false); }},
        {kCmdSystemEncode, [this] { FileCommand(kDirectionEncode, false); }},
        {kCmdEncodeToClipboard, [this] { FileCommand(kDirectionEncode, true); }},
        {kCmdDecodeFromClipboard, [this] { DecodeFromClipboard(); }},
        {kCmdEncodeToMail, [this] { EncodeToMail(); }},
        {kCmdDecodeFromMail, [this] { DecodeFromMail(); }},
        {kCmdMailSettings, [this] { MailSettings(); }},
        {kCmdConfigGeneral, [this] { Configure<GeneralConfigDialog>(); }},
        {kCmdConfigEncode, [this] { Configure<EncodeConfigDialog>(); }},
        {kCmdConfigDecode, [this] { Configure<DecodeConfigDialog>(); }},
        {kCmdCheckVersion,
         [this] {
             CheckVersionDialog dialog(this, help_, ui_, openUrl_);
             dialog.exec();
         }},
        {kCmdAbout, [this] { ShowAbout(); }},
        {kCmdHelpIndex, [this] { help_.Contents(); }},
        {kCmdExit,
         [this] {
             if (app_.JobBusy) {
                 // The job stops, and the window closes once it has returned.
                 app_.QuitRequested = true;
                 app_.cancel.Request();
             } else {
                 close();
             }
         }},
        {kCmdCancel, [this] { app_.cancel.Request(); }},
    };
    for (const CommandRow& row : CommandTable()) {
        if (row.helpKeyword != nullptr) {
            const QString keyword = QString::fromLatin1(row.helpKeyword);
            handlers_[row.id] = [this, keyword] { help_.Keyword(keyword); };
        }
    }
}

QAction* MainWindow::Action(int id) const {
    const auto found = actions_.find(id);
    return found != actions_.end() ? found->second : nullptr;
}

void MainWindow::SizeToScreen() {
    const QScreen* screen = this->screen();
    if (screen == nullptr) {
        return;
    }
    const QSize size = screen->size();
    resize(size.width() * 2 / 3, size.height() / 3);
}

void MainWindow::Command(int id) {
    const auto handler = handlers_.find(id);
    if (handler != handlers_.end()) {
        handler->second();
    }
}

void MainWindow::EnterJobMode(bool busy) {
    setAcceptDrops(!busy);
    EnableCommands(!busy);
    QPushButton* cancel = panel_->CancelButton();
    cancel->setEnabled(busy);
    cancel->setVisible(busy);
    cancel->repaint();
    const Config& config = app_.config;
    if (busy && config.minimizewhenrun != 0) {
        showMinimized();
    } else if (!busy && config.minimizewhenrun != 0 && config.stayiconwhendone == 0) {
        showNormal();
    }
}

void MainWindow::EnableCommands(bool enable) {
    for (const int id : kJobCommands) {
        if (QAction* action = Action(id)) {
            action->setEnabled(enable);
        }
    }
}

void MainWindow::UpdateClipboardCommand(bool menuOpening) {
    QAction* action = Action(kCmdDecodeFromClipboard);
    if (action == nullptr) {
        return;
    }
    bool enable = !app_.JobBusy;
    if (menuOpening) {
        const QMimeData* data = QGuiApplication::clipboard()->mimeData();
        enable = enable && data != nullptr && data->hasText();
    }
    action->setEnabled(enable);
}

QStringList MainWindow::AskJobInputs(int direction) {
    app_.job.JobDirection = direction;
    return AskInputFiles(this, direction, QString::fromStdString(app_.job.JobInputPath),
                         QString::fromStdString(ChosenDirectory(app_.config, direction)),
                         openMemory_);
}

void MainWindow::FileCommand(int direction, bool toClipboard) {
    if (app_.JobBusy) {
        return;
    }
    const QStringList files = AskJobInputs(direction);
    if (files.isEmpty()) {
        return;
    }
    if (files.size() > 1) {
        StartList(files, direction, toClipboard);
        return;
    }
    const std::string path = files.constFirst().toStdString();
    if (!InputReadable(app_, path)) {
        ShowMessage(ui_, kMbStop, "Can't Read %s.", path.c_str());
        return;
    }
    JobRequest request;
    request.direction = direction == kDirectionEncode ? JobRequest::Direction::Encode
                                                      : JobRequest::Direction::Decode;
    request.inputs = {path};
    request.toClipboard = toClipboard;
    RunJob(app_, request);
    AfterJob();
}

void MainWindow::DecodeFromClipboard() {
    if (app_.JobBusy) {
        return;
    }
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    const QString text = data != nullptr && data->hasText() ? data->text() : QString();
    if (text.isEmpty()) {
        ShowMessage(ui_, kMbExclamation, "No Text on Clipboard.");
        return;
    }
    std::string path;
    if (ClipboardToTempFile(app_, text.toStdString(), path) != 0) {
        return;
    }
    JobRequest request;
    request.direction = JobRequest::Direction::Decode;
    request.inputs = {path};
    request.inputIsTemporary = true;
    RunJob(app_, request);
    AfterJob();
}

void MainWindow::NotYetAvailable(const char* what) {
    ShowMessage(ui_, kMbInformation, "%s is not available in this version yet.", what);
}

template <typename Dialog>
void MainWindow::Configure() {
    if (app_.JobBusy) {
        return;
    }
    ConfigDialogServices services{
        .help = help_,
        .ui = ui_,
        .saveGroup =
            [this](std::span<const SettingDesc> group) {
                if (store_ != nullptr) {
                    WriteSettingsGroup(app_.config, group, *store_, app_.identity.SettingsKey, ui_);
                }
            },
        .makeAssociations = [this] { return MakeAssociations(); },
    };
    Dialog dialog(this, app_.config, std::move(services));
    dialog.exec();
}

int MainWindow::MakeAssociations() {
    SetBusyCursor(ui_);
    const int failures = MakeFileAssociations(app_.config, app_.identity, store_, ui_);
    RestoreCursor(ui_);
    return failures;
}

void MainWindow::PostMakeAssociations() {
    QMetaObject::invokeMethod(
        this,
        [this] {
            // Nothing is said either way; the exit code tells a script.
            exitCode_ = MakeAssociations() > 0 ? 1 : 0;
            close();
        },
        Qt::QueuedConnection);
}

void MainWindow::SetMail(MailSession* session, DesktopMailUi* mailUi) {
    mail_ = session;
    mailUi_ = mailUi;
    ui_.SetMail(session);
    if (mailUi_ != nullptr) {
        mailUi_->SetStopCheck([this] { return app_.cancel.Requested(); });
    }
}

// Logon and the recipients, with the commands greyed and Cancel live while the mail system
// works. A mail code.
int MainWindow::MailLogonAndRecipients(std::vector<MailRecipient>& chosen) {
    app_.JobBusy = true;
    app_.cancel.Reset();
    EnterJobMode(true);
    int code = mail_->Logon(true, kMailLogonInteractive);
    if (code == kMailSuccess) {
        code = mail_->ChooseRecipients(true, {}, chosen);
    }
    EnterJobMode(false);
    app_.cancel.Reset();
    app_.JobBusy = false;
    return code;
}

void MainWindow::EncodeToMail() {
    if (app_.JobBusy) {
        return;
    }
    if (mail_ == nullptr) {
        NotYetAvailable("Encoding to e-mail");
        return;
    }
    RunOptions& options = app_.options;
    options.Recipients.clear();
    options.EncodeToMail = true;
    std::vector<MailRecipient> chosen;
    QStringList files;
    if (MailLogonAndRecipients(chosen) == kMailSuccess) {
        files = AskJobInputs(kDirectionEncode);
    }
    if (files.isEmpty()) {
        mail_->Logoff(false);
        options.EncodeToMail = false;
        return;
    }
    // Worked as a list, so that its end logs off the session.
    options.Recipients = std::move(chosen);
    StartList(files, kDirectionEncode, false);
}

void MainWindow::DecodeFromMail() {
    if (app_.JobBusy) {
        return;
    }
    if (mail_ == nullptr || mailUi_ == nullptr) {
        NotYetAvailable("Decoding from e-mail");
        return;
    }
    const std::string downloads = DownloadDirectory();
    MailSelectDialog dialog(this, app_, *mail_, *mailUi_, downloads);
    if (!dialog.Run() || dialog.Files().empty()) {
        return;
    }
    // The temporary files go to the decoder one after another, each removed when decoded.
    FileListState& list = app_.list;
    list = FileListState{};
    list.FileList = dialog.Files();
    list.FileCount = static_cast<int>(list.FileList.size());
    list.ListFromUser = true;
    list.ListFromMail = true;
    list.TemporaryFiles = true;
    list.InputDirectory = downloads;
    listToClipboard_ = false;
    PostNextFile(kDirectionDecode);
}

void MainWindow::MailSettings() {
    if (app_.JobBusy || mail_ == nullptr || mailUi_ == nullptr) {
        return;
    }
    MailProfile profile = mail_->StoredProfile();
    if (mailUi_->EditMailSettings(profile) && !mail_->StoreProfile(profile)) {
        ShowMessage(ui_, kMbExclamation, "The e-mail settings could not be saved.");
    }
}

void MainWindow::ShowAbout() {
    const Identity& identity = app_.identity;
    AboutDialog dialog(this, QString::fromStdString(identity.internalName),
                       QString::fromStdString(identity.productName),
                       QString::fromStdString(identity.companyName), openUrl_);
    dialog.exec();
}

void MainWindow::StartList(const QStringList& files, int listDirection, bool toClipboard) {
    FileListState& list = app_.list;
    list = FileListState{};
    for (const QString& file : files) {
        if (static_cast<int>(list.FileList.size()) >= kMaxFileList) {
            break;
        }
        list.FileList.push_back(file.toStdString());
    }
    list.FileCount = static_cast<int>(list.FileList.size());
    list.ListFromUser = true;
    listToClipboard_ = toClipboard;
    PostNextFile(listDirection);
}

void MainWindow::PostNextFile(int listDirection) {
    listDirection_ = listDirection;
    QMetaObject::invokeMethod(
        this, [this] { NextFile(); }, Qt::QueuedConnection);
}

void MainWindow::NextFile() {
    FileListState& list = app_.list;
    if (closing_ || app_.JobBusy || list.FileCount == 0 || list.FileIndex >= list.FileCount) {
        return;
    }
    const bool fromCommandLine = !list.ListFromUser;
    const bool toClipboard = listToClipboard_;
    const JobOutcome outcome =
        RunNextFile(app_, listDirection_, [toClipboard](JobRequest& request) {
            request.toClipboard = request.toClipboard || toClipboard;
        });
    if (fromCommandLine) {
        if (outcome.result != kResultDone || outcome.checksumDifferences) {
            exitCode_ = 1;
        }
        // A batch run never waits: an input it cannot read ends the program.
        if (outcome.stopsList && app_.options.Interactive == 0) {
            app_.QuitRequested = true;
        }
    }
    AfterJob();
    if (list.FileCount > 0) {
        PostNextFile(listDirection_);
    } else {
        listToClipboard_ = false;
    }
}

void MainWindow::AfterJob() {
    if (app_.QuitRequested) {
        close();
    }
}

bool MainWindow::QueryEndSession() {
    if (!app_.JobBusy) {
        return true;
    }
    // Refused once: the job is cancelled and the window closes when it has returned.
    app_.QuitRequested = true;
    app_.cancel.Request();
    return false;
}

void MainWindow::DropFiles(const QStringList& paths) {
    if (app_.JobBusy || paths.isEmpty()) {
        return;
    }
    StartList(paths, kDirectionDecode, false);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (app_.JobBusy) {
        // Closing waits for the job, which is told to stop.
        app_.QuitRequested = true;
        app_.cancel.Request();
        event->ignore();
        return;
    }
    closing_ = true;
    event->accept();
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (!app_.JobBusy && !LocalFiles(event->mimeData()).isEmpty()) {
        event->acceptProposedAction();
    }
}

void MainWindow::dropEvent(QDropEvent* event) {
    const QStringList files = LocalFiles(event->mimeData());
    if (app_.JobBusy || files.isEmpty()) {
        event->ignore();
        return;
    }
    event->acceptProposedAction();
    DropFiles(files);
}

void MainWindow::contextMenuEvent(QContextMenuEvent* event) {
    windowMenu_->exec(event->globalPos());
}

}  // namespace mandrel
