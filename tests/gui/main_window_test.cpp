// The desktop program's window driven as a user drives it, on the offscreen platform: menu
// commands and accelerators, the file dialogs, drops, the clipboard, Cancel and Exit during a
// job, every question answered each way, and the exact texts of the boxes and the files made.
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDropEvent>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QTextEdit>
#include <QTimer>
#include <QTreeWidget>
#include <QtTest>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>

#include "gui/checksum_details_dialog.h"
#include "gui/commands.h"
#include "gui/config_dialogs.h"
#include "gui/decode_error_dialog.h"
#include "gui/help_desk.h"
#include "gui/job_panel.h"
#include "gui/main_window.h"
#include "gui/modal_script.h"
#include "gui/program_start.h"
#include "gui/url_opener.h"
#include "platform/qsettings_store.h"
#include "support/encoded_text.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;
using test::AcceptProposed;
using test::CancelDialog;
using test::ChooseFiles;
using test::Click;
using test::Key;
using test::ModalScript;
using test::Press;
using test::Q;
using test::Shown;
using test::TypeNames;

class MainWindowTest : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void startsAsDescribedAndPlacesItsControlsAgainOnResize();
    void acceleratorsReachTheirCommands();
    void encodesAndDecodesThroughTheFileDialogs();
    void severalChosenOrDroppedFilesBecomeAList();
    void clipboardCommands();
    void cancelExitAndSessionEndStopAJob_data();
    void cancelExitAndSessionEndStopAJob();
    void decodeErrorAnswers_data();
    void decodeErrorAnswers();
    void aFileWithNothingToDecodeAsksWhatToDo();
    void checksumDifferencesAreListed();
    void everyHelpButtonOpensItsKeyword();
    void commandLineListsRunWithoutReports();
    void refusesToStartWithoutItsHelpDocument();
    void encodeConfigurationCouplesMethodAndFormat();
    void decodeConfigurationAndSavingAsDefault();
    void versionCheckAndAbout();
    void versionCheckFallsBackToTheHtmlProgram();
    void fileAssociationsFromTheDialogAndTheCommandLine();

    // Not slots: Qt Test would run these as tests.
private:  // NOLINT(readability-redundant-access-specifiers)
    std::string Write(const std::string& name, const std::string& bytes) {
        std::string path = dir_->File(name);
        test::WriteFile(path, bytes);
        return path;
    }
    std::string EncodedFile(const std::string& name, const std::string& bytes,
                            const test::EncodeSettings& settings = {}) {
        return Write(name + ".uue",
                     test::Join(test::EncodeParts(dir_->path(), name, bytes, settings)));
    }
    QString StatusText() const { return window_->Panel()->StatusLine()->text(); }
    void Trigger(int id) { window_->Action(id)->trigger(); }
    // Presses a key on the main window as the user would, the window active again after any
    // dialog that was shown before.
    void PressKey(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        window_->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window_.get()));
        QTest::keyClick(window_.get(), key, modifiers);
    }
    void Drop(const QStringList& paths);
    std::string Files() const { return test::ListDirectory(dir_->path(), false); }

    std::unique_ptr<test::TempDir> dir_;
    std::unique_ptr<test::ScopedEnv> tmpdir_;
    std::unique_ptr<MainWindow> window_;
    std::unique_ptr<ModalScript> script_;
    QList<QUrl> helpOpened_;
};

void MainWindowTest::init() {
    dir_ = std::make_unique<test::TempDir>();
    fs::create_directory(dir_->path() / ".tmp");
    tmpdir_ = std::make_unique<test::ScopedEnv>("TMPDIR", (dir_->path() / ".tmp").string());
    window_ = std::make_unique<MainWindow>(QStringLiteral(MANDREL_HELP_DOCUMENT));
    window_->State().files.BufFileInit(10, 16384);
    helpOpened_.clear();
    window_->Help().SetOpener([this](const QUrl& url) {
        helpOpened_.append(url);
        return true;
    });
    window_->SizeToScreen();
    window_->show();
    window_->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window_.get()));
    script_ = std::make_unique<ModalScript>();
    QGuiApplication::clipboard()->clear();
}

void MainWindowTest::cleanup() {
    const int unanswered = script_->unanswered;
    script_.reset();
    window_.reset();
    tmpdir_.reset();
    dir_.reset();
    QCOMPARE(unanswered, 0);
}

void MainWindowTest::Drop(const QStringList& paths) {
    const auto data = std::make_unique<QMimeData>();  // the drop events only look at it
    QList<QUrl> urls;
    for (const QString& path : paths) {
        urls.append(QUrl::fromLocalFile(path));
    }
    data->setUrls(urls);
    const QPoint centre = window_->rect().center();
    QDragEnterEvent enter(centre, Qt::CopyAction, data.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(window_.get(), &enter);
    QVERIFY(enter.isAccepted());
    QDropEvent drop(QPointF(centre), Qt::CopyAction, data.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(window_.get(), &drop);
}

void MainWindowTest::startsAsDescribedAndPlacesItsControlsAgainOnResize() {
    MainWindow& window = *window_;
    QCOMPARE(window.windowTitle(), QStringLiteral("Mandrel Desktop 32"));
    const QSize screen = window.screen()->size();
    QCOMPARE(window.size(), QSize(screen.width() * 2 / 3, screen.height() / 3));
    QStringList menus;
    for (QAction* menu : window.menuBar()->actions()) {
        menus.append(menu->text());
    }
    QCOMPARE(menus, QStringList({"&File", "C&onfigure", "&Help"}));
    auto* cancel = window.findChild<QPushButton*>(QStringLiteral("200"));
    QVERIFY(cancel != nullptr && cancel->isHidden() && !cancel->isEnabled());
    for (const QSize size : {QSize(900, 400), QSize(641, 333)}) {
        window.resize(size);
        QTRY_COMPARE(window.centralWidget()->size().width(), size.width());
        const QRect client = window.centralWidget()->rect();
        const int w = client.width();
        const int h = client.height();
        QCOMPARE(window.findChild<QLabel*>(QStringLiteral("201"))->geometry(),
                 QRect(0, 0, w, h / 3));
        QCOMPARE(window.findChild<QProgressBar*>(QStringLiteral("202"))->geometry(),
                 QRect(0, h - h / 4, w, h / 4));
        QCOMPARE(cancel->geometry(), QRect(3 * (w / 8), 3 * (h / 8), 2 * (w / 8), 2 * (h / 8)));
    }
}

void MainWindowTest::acceleratorsReachTheirCommands() {
    struct Case {
        QKeyCombination key;
        QString title;  // of the dialog or box the key brings up; "" for none
        QString text;   // what it says, or the help anchor opened
    };
    const QString notYet = QStringLiteral("%1 is not available in this version yet.");
    const QString product = QStringLiteral("Mandrel Desktop 32");
    const Case cases[] = {
        {Qt::Key_F2, "Encode", ""},
        {Qt::CTRL | Qt::Key_C, "Encode", ""},
        {Qt::Key_F3, "Decode", ""},
        {Qt::CTRL | Qt::Key_V, product, "No Text on Clipboard."},
        {Qt::SHIFT | Qt::Key_F2, product, notYet.arg("Encoding to e-mail")},
        {Qt::SHIFT | Qt::Key_F3, product, notYet.arg("Decoding from e-mail")},
        {Qt::Key_F5, "General Configuration", ""},
        {Qt::Key_F6, "Encode Configuration", ""},
        {Qt::Key_F7, "Decode Configuration", ""},
        {Qt::SHIFT | Qt::Key_F1, "About Mandrel32", ""},
        {Qt::Key_F1, "", ""},
        {Qt::Key_F9, "", "support"},
    };
    for (const Case& c : cases) {
        script_->shown.clear();
        helpOpened_.clear();
        if (!c.title.isEmpty()) {
            script_->Add(CancelDialog());
        }
        PressKey(c.key.key(), c.key.keyboardModifiers());
        if (c.title.isEmpty()) {
            QCOMPARE(helpOpened_.size(), 1);
            QCOMPARE(helpOpened_.front().fragment(), c.text);
            QCOMPARE(helpOpened_.front().toLocalFile(), QStringLiteral(MANDREL_HELP_DOCUMENT));
            continue;
        }
        QTRY_VERIFY2(script_->shown.size() == 1, qPrintable(QKeySequence(c.key).toString()));
        QCOMPARE(script_->shown.front().title, c.title);
        if (!c.text.isEmpty()) {
            QCOMPARE(script_->shown.front().text, c.text);
        }
    }
    // The help menu's keyword commands.
    const std::pair<int, const char*> topics[] = {
        {kCmdHelpKeyboard, "keyboard"},        {kCmdHelpCommands, "commands"},
        {kCmdHelpProcedures, "procedures"},    {kCmdHelpCantDecode, "cannot-decode"},
        {kCmdHelpCantEncode, "cannot-encode"},
    };
    for (const auto& [id, anchor] : topics) {
        helpOpened_.clear();
        Trigger(id);
        QCOMPARE(helpOpened_.size(), 1);
        QCOMPARE(helpOpened_.front().fragment(), QString::fromLatin1(anchor));
    }
    // The window menu's two items, offered by a right click on the window.
    for (const auto& [id, title] :
         {std::pair{kCmdSystemEncode, "Encode"}, {kCmdSystemDecode, "Decode"}}) {
        script_->shown.clear();
        script_->Add(CancelDialog());
        Trigger(id);
        QTRY_COMPARE(script_->shown.size(), std::size_t{1});
        QCOMPARE(script_->shown.front().title, QString::fromLatin1(title));
    }
    // F10 closes the idle window.
    PressKey(Qt::Key_F10);
    QVERIFY(!window_->isVisible());
}

void MainWindowTest::encodesAndDecodesThroughTheFileDialogs() {
    const std::string bytes = test::RandomBytes(7, 5000);
    const std::string photo = Write("photo.jpg", bytes);
    const std::string chosen = dir_->File("chosen.uue");
    test::WriteFile(chosen, "old");
    // Default names off: the save dialog names the output, and the existing file is asked about.
    script_->Add({ChooseFiles({Q(photo)}),
                  [&](QWidget* widget) {
                      QCOMPARE(widget->windowTitle(), QStringLiteral("Encode Output To"));
                      auto* dialog = qobject_cast<QFileDialog*>(widget);
                      QCOMPARE(dialog->selectedFiles().front(), Q(dir_->File("photo.uue")));
                      TypeNames(*dialog, {Q(chosen)});
                      static_cast<QDialog*>(dialog)->accept();
                  },
                  Press(QMessageBox::Yes), Press(QMessageBox::Ok)});
    PressKey(Qt::Key_F2);
    QTRY_COMPARE(script_->Pending(), std::size_t{0});
    QTRY_COMPARE(script_->shown.size(), std::size_t{4});
    QCOMPARE(script_->shown[2].text, "Overwrite Existing " + Q(chosen));
    QCOMPARE(script_->shown[3].text, "photo.jpg Successfully UU Encoded to\n" + Q(chosen));
    QVERIFY(test::ReadFile(chosen).starts_with("begin 644 photo.jpg\r\n"));

    // Decoded beside the input under the name the text carries, after the same question.
    script_->shown.clear();
    script_->Add({ChooseFiles({Q(chosen)}), AcceptProposed("Decode Output To", Q(photo)),
                  Press(QMessageBox::Yes), Press(QMessageBox::Ok)});
    PressKey(Qt::Key_F3);
    QTRY_COMPARE(script_->shown.size(), std::size_t{4});
    QCOMPARE(script_->shown[0].title, QStringLiteral("Decode"));
    QCOMPARE(script_->shown[2].text, "Overwrite Existing " + Q(photo));
    QCOMPARE(script_->shown[3].text, "chosen.uue Successfully UU Decoded as\n" + Q(photo));
    QCOMPARE(test::ReadFile(photo), bytes);

    // No to the question leaves the file alone and reports nothing.
    script_->shown.clear();
    test::WriteFile(photo, "kept");
    window_->State().config.usedefaultnames = 1;
    script_->Add({ChooseFiles({Q(chosen)}), Press(QMessageBox::No)});
    PressKey(Qt::Key_F3);
    QTRY_COMPARE(script_->shown.size(), std::size_t{2});
    QTest::qWait(50);
    QCOMPARE(script_->shown.size(), std::size_t{2});
    QCOMPARE(test::ReadFile(photo), "kept");
    // The filter the user ended with is offered next time, in either direction.
    script_->Add({[&](QWidget* widget) {
                      auto* dialog = qobject_cast<QFileDialog*>(widget);
                      QCOMPARE(dialog->selectedNameFilter(), QStringLiteral("Encoded Files"));
                      dialog->selectNameFilter(dialog->nameFilters().at(1));
                      ChooseFiles({Q(chosen)})(widget);
                  },
                  Press(QMessageBox::No)});
    PressKey(Qt::Key_F3);
    script_->Add([](QWidget* widget) {
        // The user sees the filters' descriptions as they stand.
        auto* filters = widget->findChild<QComboBox*>(QStringLiteral("fileTypeCombo"));
        QStringList shown;
        for (int i = 0; i < filters->count(); ++i) {
            shown.append(filters->itemText(i));
        }
        QCOMPARE(shown,
                 QStringList({"All Files (*.*)", "Archive Files (*.zip, *.arc, *.lzh, *.zoo)",
                              "Executable Files (*.exe, *.dll, *.com)"}));
        QCOMPARE(filters->currentIndex(), 1);
        qobject_cast<QDialog*>(widget)->reject();
    });
    PressKey(Qt::Key_F2);
    QTRY_COMPARE(script_->Pending(), std::size_t{0});
}

void MainWindowTest::severalChosenOrDroppedFilesBecomeAList() {
    const std::string bytes = test::RandomBytes(11, 12000);
    test::EncodeSettings settings;
    settings.format = kCompBinaries;
    const std::vector<std::string> parts =
        test::EncodeParts(dir_->path(), "data.bin", bytes, settings);
    QCOMPARE(parts.size(), std::size_t{4});
    QStringList partFiles;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        // Named so that the dialog's order is not the parts' order.
        partFiles.append(Q(Write("p" + std::to_string(4 - i) + ".uue", parts[i])));
    }
    window_->State().config.usedefaultnames = 1;
    const QString output = Q(dir_->File("data.bin"));

    // Chosen at once in the decode dialog: joined, decoded, one report, no temporary file left.
    script_->Add({ChooseFiles(partFiles), Press(QMessageBox::Ok)});
    PressKey(Qt::Key_F3);
    QTRY_COMPARE(script_->shown.size(), std::size_t{2});
    QTest::qWait(50);
    // The joined input is what was decoded.
    QVERIFY(script_->shown[1].text.startsWith(QStringLiteral("mdr")));
    QVERIFY(script_->shown[1].text.contains("Successfully UU Decoded 4 Parts\nas " + output));
    QCOMPARE(test::ReadFile(output.toStdString()), bytes);
    QCOMPARE(test::ListDirectory(dir_->path() / ".tmp"), std::string());

    // Dropped: the same, and with joining off three drops give one report each.
    fs::remove(output.toStdString());
    script_->shown.clear();
    script_->Add(Press(QMessageBox::Ok));
    Drop(partFiles);
    QTRY_COMPARE(script_->shown.size(), std::size_t{1});
    QCOMPARE(test::ReadFile(output.toStdString()), bytes);

    const std::string one = EncodedFile("one.txt", "first");
    const std::string two = EncodedFile("two.txt", "second");
    const std::string three = EncodedFile("three.txt", "third");
    window_->State().config.decodejoin = 0;
    script_->shown.clear();
    script_->Add({Press(QMessageBox::Ok), Press(QMessageBox::Ok), Press(QMessageBox::Ok)});
    Drop({Q(one), Q(two), Q(three)});
    QTRY_COMPARE(script_->shown.size(), std::size_t{3});
    QCOMPARE(script_->shown[2].text,
             "three.txt.uue Successfully UU Decoded as\n" + Q(dir_->File("three.txt")));
    QCOMPARE(test::ReadFile(dir_->File("two.txt")), "second");

    // One dropped file is decoded without joining, and a file that is no encoded text by its
    // name is encoded (decode method by file name).
    window_->State().config.decodejoin = 1;
    window_->State().config.decodemethod = kDecodeByFileName;
    script_->shown.clear();
    script_->Add(Press(QMessageBox::Ok));
    Drop({Q(dir_->File("two.txt"))});
    QTRY_COMPARE(script_->shown.size(), std::size_t{1});
    QCOMPARE(script_->shown[0].text,
             "two.txt Successfully UU Encoded to\n" + Q(dir_->File("two.uue")));
}

void MainWindowTest::clipboardCommands() {
    const std::string bytes = test::RandomBytes(3, 3000);
    const std::string photo = Write("photo.jpg", bytes);
    // Encode to Clipboard: one part on the clipboard, no file.
    script_->Add({ChooseFiles({Q(photo)}), Press(QMessageBox::Ok)});
    PressKey(Qt::Key_C, Qt::ControlModifier);
    QTRY_COMPARE(script_->shown.size(), std::size_t{2});
    QCOMPARE(script_->shown[1].text,
             QStringLiteral("photo.jpg Successfully UU Encoded to\nthe Clipboard"));
    const QString text = QGuiApplication::clipboard()->text();
    QVERIFY(text.startsWith(QStringLiteral("begin 644 photo.jpg\r\n")));
    QCOMPARE(Files(), std::string("photo.jpg"));

    // The menu offers Decode from Clipboard now; the decode goes through a temporary file that
    // is gone afterwards.
    auto* file = qobject_cast<QMenu*>(window_->menuBar()->actions().front()->menu());
    emit file->aboutToShow();
    QVERIFY(window_->Action(kCmdDecodeFromClipboard)->isEnabled());
    emit file->aboutToHide();
    fs::remove(photo);
    window_->State().config.decodedirselect = kDirUserSpecified;
    window_->State().config.decodedir = dir_->path().string();
    window_->State().config.usedefaultnames = 1;
    script_->shown.clear();
    script_->Add(Press(QMessageBox::Ok));
    PressKey(Qt::Key_V, Qt::ControlModifier);
    QTRY_COMPARE(script_->shown.size(), std::size_t{1});
    QVERIFY(script_->shown[0].text.startsWith(QStringLiteral("mdr")));
    QVERIFY(script_->shown[0].text.endsWith(" Successfully UU Decoded as\n" + Q(photo)));
    QCOMPARE(test::ReadFile(photo), bytes);
    QCOMPARE(test::ListDirectory(dir_->path() / ".tmp"), std::string());

    // An empty clipboard greys the item while the menu shows, and its key says so.
    QGuiApplication::clipboard()->clear();
    emit file->aboutToShow();
    QVERIFY(!window_->Action(kCmdDecodeFromClipboard)->isEnabled());
    emit file->aboutToHide();
    QVERIFY(window_->Action(kCmdDecodeFromClipboard)->isEnabled());
    script_->shown.clear();
    script_->Add(Press(QMessageBox::Ok));
    PressKey(Qt::Key_V, Qt::ControlModifier);
    QTRY_COMPARE(script_->shown.size(), std::size_t{1});
    QCOMPARE(script_->shown[0].text, QStringLiteral("No Text on Clipboard."));
}

void MainWindowTest::cancelExitAndSessionEndStopAJob_data() {
    QTest::addColumn<QString>("how");
    QTest::addColumn<bool>("closes");
    QTest::newRow("Cancel button") << "cancel" << false;
    QTest::newRow("Exit") << "exit" << true;
    QTest::newRow("closing the window") << "close" << true;
    QTest::newRow("session end") << "session" << true;
}

void MainWindowTest::cancelExitAndSessionEndStopAJob() {
    QFETCH(QString, how);
    QFETCH(bool, closes);
    // Enough parts that the job is still running at part 3.
    const std::string photo = Write("photo.jpg", test::RandomBytes(5, 3'000'000));
    AppState& app = window_->State();
    app.config.usedefaultnames = 1;
    app.config.encodetype = kCompBinaries;
    window_->Ui().SetPumpInterval(0);
    bool sawBusyWindow = false;
    QTimer stopper;
    connect(&stopper, &QTimer::timeout, [&] {
        if (!app.JobBusy || !StatusText().contains(QStringLiteral("Part 3 of"))) {
            return;
        }
        stopper.stop();
        auto* cancel = window_->findChild<QPushButton*>(QStringLiteral("200"));
        sawBusyWindow = cancel->isVisible() && cancel->isEnabled() &&
                        !window_->Action(kCmdEncodeToFile)->isEnabled() &&
                        !window_->Action(kCmdDecodeFromClipboard)->isEnabled() &&
                        !window_->Action(kCmdSystemDecode)->isEnabled() && !window_->acceptDrops();
        if (how == "cancel") {
            cancel->click();
        } else if (how == "exit") {
            Trigger(kCmdExit);
        } else if (how == "close") {
            window_->close();
        } else {
            QVERIFY(!window_->QueryEndSession());
        }
        // The window stays until the job has returned.
        QVERIFY(window_->isVisible());
    });
    // At every look the job takes at its events.
    stopper.start(0);
    script_->Add(ChooseFiles({Q(photo)}));
    if (!closes) {
        script_->Add(Press(QMessageBox::Ok));
    }
    PressKey(Qt::Key_F2);
    QTRY_VERIFY(!app.JobBusy && script_->Pending() == 0);
    QVERIFY(sawBusyWindow);
    QCOMPARE(Files(), std::string("photo.jpg"));
    if (closes) {
        QTRY_VERIFY(!window_->isVisible());
        QCOMPARE(script_->shown.size(), std::size_t{1});
    } else {
        QTRY_COMPARE(script_->shown.size(), std::size_t{2});
        QCOMPARE(script_->shown[1].text, QStringLiteral("UU Encode of photo.jpg Aborted"));
        QVERIFY(window_->isVisible());
        QVERIFY(window_->Action(kCmdEncodeToFile)->isEnabled());
        QVERIFY(window_->findChild<QPushButton*>(QStringLiteral("200"))->isHidden());
        QCOMPARE(StatusText(), QString());
    }
}

void MainWindowTest::decodeErrorAnswers_data() {
    QTest::addColumn<QList<int>>("answers");  // a button id, or a key
    QTest::addColumn<int>("warning");         // the answer to the warning, 0 for none
    QTest::addColumn<QString>("report");
    QTest::addColumn<int>("questions");  // Decode Error dialogs shown
    const QString skipped = QStringLiteral(
        "bad.uue Apparently UU Decoded as\n%1\n\nPossibly not all data included in decoding.");
    const QString attempted = QStringLiteral(
        "bad.uue Apparently UU Decoded as\n%1\n\nDecode attempted in spite of integrity errors.");
    QTest::newRow("Enter skips the line")
        << QList<int>{Qt::Key_Return, Qt::Key_Return} << int(QMessageBox::Yes) << skipped << 2;
    QTest::newRow("skip all") << QList<int>{605} << int(QMessageBox::Yes) << skipped << 1;
    QTest::newRow("decode all") << QList<int>{604} << int(QMessageBox::Yes) << attempted << 1;
    QTest::newRow("decode this line")
        << QList<int>{603, 603} << int(QMessageBox::Yes) << attempted << 2;
    QTest::newRow("No to the warning aborts")
        << QList<int>{605} << int(QMessageBox::No) << QStringLiteral("UU Decode of bad.uue Aborted")
        << 1;
    QTest::newRow("Escape aborts")
        << QList<int>{Qt::Key_Escape} << 0 << QStringLiteral("UU Decode of bad.uue Aborted") << 1;
}

void MainWindowTest::decodeErrorAnswers() {
    QFETCH(QList<int>, answers);
    QFETCH(int, warning);
    QFETCH(QString, report);
    QFETCH(int, questions);
    // Two lines in the middle lose their last characters.
    std::string text =
        test::Join(test::EncodeParts(dir_->path(), "out.bin", test::RandomBytes(1, 900), {}));
    std::vector<std::string> lines;
    for (const auto line : test::SplitLines(text)) {
        lines.emplace_back(line);
    }
    lines[4].resize(lines[4].size() - 5);
    lines[9].resize(lines[9].size() - 5);
    std::string damaged;
    for (const std::string& line : lines) {
        damaged += line + "\n";
    }
    const std::string input = Write("bad.uue", damaged);
    window_->State().config.usedefaultnames = 1;
    script_->Add(ChooseFiles({Q(input)}));
    for (const int answer : answers) {
        script_->Add(answer < Qt::Key_Escape ? Click(answer) : Key(static_cast<Qt::Key>(answer)));
        if (warning != 0) {
            script_->Add(Press(static_cast<QMessageBox::StandardButton>(warning)));
        }
    }
    script_->Add(Press(QMessageBox::Ok));
    PressKey(Qt::Key_F3);
    QTRY_COMPARE(script_->Pending(), std::size_t{0});
    QTRY_VERIFY(!window_->State().JobBusy);
    QTest::qWait(50);
    int asked = 0;
    for (const Shown& shown : script_->shown) {
        if (shown.title == QStringLiteral("Decode Error")) {
            ++asked;
            QVERIFY2(shown.text.startsWith(QStringLiteral("Input File: bad.uue\nLine ")),
                     qPrintable(shown.text));
            QVERIFY(shown.text.contains(QStringLiteral(": Invalid UU Encoded Data!\n")));
            QVERIFY(shown.text.contains(
                QStringLiteral("\nOffending Line Follows within Curly Brackets:\n\n{ ")));
        }
        if (shown.text.startsWith(QStringLiteral("*** Warning ***"))) {
            QVERIFY(shown.text.endsWith(QStringLiteral("\n\nProceed as indicated?")));
        }
    }
    QCOMPARE(asked, questions);
    QCOMPARE(script_->shown.back().text, report.arg(Q(dir_->File("out.bin"))));
    if (report.contains(QStringLiteral("Aborted"))) {
        QVERIFY(!fs::exists(dir_->File("out.bin")));
    }
}

void MainWindowTest::aFileWithNothingToDecodeAsksWhatToDo() {
    const std::string notes = Write("notes.txt", "just some words\nand more words\n");
    window_->State().config.usedefaultnames = 1;
    // Encode: the dropped file is encoded instead.
    script_->Add({Click(250), Press(QMessageBox::Ok)});
    Drop({Q(notes)});
    QTRY_COMPARE(script_->shown.size(), std::size_t{2});
    QCOMPARE(script_->shown[0].title, QStringLiteral("Encode or Decode?"));
    QCOMPARE(script_->shown[0].text,
             Q(notes) +
                 " apparently cannot be decoded.\nYou may instead encode the file (choose "
                 "Encode),\ncontinue trying to decode the file (choose Decode),\nor cancel "
                 "the operation on this file (choose Cancel).");
    QCOMPARE(script_->shown[1].text,
             "notes.txt Successfully UU Encoded to\n" + Q(dir_->File("notes.uue")));
    fs::remove(dir_->File("notes.uue"));

    // Cancel leaves it; Decode goes on to Retry Decoding, whose Abort gives the file up.
    script_->shown.clear();
    script_->Add({Click(2), Press(QMessageBox::Ok)});
    Drop({Q(notes)});
    QTRY_COMPARE(script_->shown.size(), std::size_t{2});
    QCOMPARE(script_->shown[1].text, QStringLiteral("Auto Decode of notes.txt Aborted"));
    script_->shown.clear();
    script_->Add({Click(251), [](QWidget* widget) {
                      auto* formats = widget->findChild<QComboBox*>(QStringLiteral("188"));
                      QCOMPARE(formats->currentText(), QStringLiteral("Single File"));
                      QCOMPARE(formats->count(), 18);
                      qobject_cast<QDialog*>(widget)->reject();
                  }});
    Drop({Q(notes)});
    QTRY_COMPARE(script_->shown.size(), std::size_t{2});
    QTest::qWait(50);
    QCOMPARE(script_->shown[1].title, QStringLiteral("Retry Decoding"));
    QVERIFY(script_->shown[1].text.startsWith("Unable to Determine File Format for " + Q(notes)));
    QCOMPARE(Files(), std::string("notes.txt"));

    // Chosen alone in the decode dialog there is no list: Retry Decoding comes at once, and
    // Try All Formats walks every format before it gives up.
    script_->shown.clear();
    script_->Add({ChooseFiles({Q(notes)}), Click(210), Press(QMessageBox::Ok)});
    PressKey(Qt::Key_F3);
    QTRY_COMPARE(script_->shown.size(), std::size_t{3});
    QCOMPARE(script_->shown[1].title, QStringLiteral("Retry Decoding"));
    QVERIFY(script_->shown[2].text.startsWith("Unable to Determine File Format for " + Q(notes) +
                                              ".\nYou must manually piece together"));

    // A binary file asks whether to try anyway; No gives it up.
    const std::string binary = Write("blob.uue", test::RandomBytes(9, 4000));
    script_->shown.clear();
    script_->Add({ChooseFiles({Q(binary)}), Press(QMessageBox::No)});
    PressKey(Qt::Key_F3);
    QTRY_VERIFY(script_->shown.size() >= 2);
    QTest::qWait(100);
    QCOMPARE(script_->shown[1].text, QStringLiteral("File blob.uue contains binary data and very "
                                                    "likely cannot be decoded. Do you wish to try "
                                                    "anyway?"));
}

void MainWindowTest::checksumDifferencesAreListed() {
    test::EncodeSettings settings;
    settings.checksum = 1;
    settings.format = kCompBinaries;
    std::string text = test::Join(
        test::EncodeParts(dir_->path(), "sums.bin", test::RandomBytes(2, 5000), settings));
    // The first part's checksum line is made to claim another sum.
    const std::size_t at = text.find("sum -r/size ") + 12;
    text.replace(at, text.find('/', at) - at, "12345");
    const std::string input = Write("sums.uue", text);
    window_->State().config.usedefaultnames = 1;
    script_->Add({ChooseFiles({Q(input)}), [&](QWidget* widget) {
                      QCOMPARE(widget->windowTitle(),
                               QStringLiteral("Mandrel32 Checksum Error Details"));
                      QCOMPARE(widget->findChild<QLabel*>(QStringLiteral("221"))->text(), Q(input));
                      auto* list = widget->findChild<QTreeWidget*>(QStringLiteral("220"));
                      QCOMPARE(list->topLevelItemCount(), 1);
                      QTreeWidgetItem* row = list->topLevelItem(0);
                      QCOMPARE(row->text(0), QStringLiteral("Part 1 Checksum:"));
                      QCOMPARE(row->text(1), QStringLiteral("Expected 12345"));
                      QVERIFY(row->text(2).startsWith(QStringLiteral("Calculated ")));
                      Click(1)(widget);
                  }});
    PressKey(Qt::Key_F3);
    QTRY_COMPARE(script_->Pending(), std::size_t{0});
    QTest::qWait(50);
    // The list stands instead of the report, and the file is kept as decoded.
    QCOMPARE(script_->shown.size(), std::size_t{2});
    QCOMPARE(test::ReadFile(dir_->File("sums.bin")).size(), std::size_t{5000});
}

void MainWindowTest::everyHelpButtonOpensItsKeyword() {
    // Each question's Help button opens its topic and leaves the dialog up.
    const std::string notes = Write("notes.txt", "nothing encoded here\n");
    QStringList anchors;
    const auto pressHelp = [&](QWidget* widget) {
        widget->findChild<QPushButton*>(QStringLiteral("525"))->click();
        QVERIFY(widget->isVisible());
        anchors.append(helpOpened_.isEmpty() ? QString() : helpOpened_.back().fragment());
    };
    window_->State().config.usedefaultnames = 1;
    script_->Add({[&](QWidget* widget) {
                      pressHelp(widget);
                      Click(251)(widget);
                  },
                  [&](QWidget* widget) {
                      pressHelp(widget);
                      qobject_cast<QDialog*>(widget)->reject();
                  }});
    Drop({Q(notes)});
    QTRY_COMPARE(script_->Pending(), std::size_t{0});
    QCOMPARE(anchors, QStringList({"ask-encode", "unknown-multipart"}));
    // The other two questions, shown on their own.
    const HelpDesk& help = window_->Help();
    DecodeErrorDialog decodeError(window_.get(), QStringLiteral("Line 1: Invalid"), help);
    ChecksumDetailsDialog details(window_.get(), QStringLiteral("Details"), QStringLiteral("in"),
                                  {"Part 1 Size:\tExpected 1\tCalculated 2"}, help);
    for (QDialog* dialog : {static_cast<QDialog*>(&decodeError), static_cast<QDialog*>(&details)}) {
        dialog->show();
        pressHelp(dialog);
        dialog->hide();
    }
    QCOMPARE(anchors,
             QStringList({"ask-encode", "unknown-multipart", "invalid-data", "invalid-checksum"}));
    // Every keyword the program asks for has its topic in the help document.
    const QString document = QString::fromStdString(test::ReadFile(MANDREL_HELP_DOCUMENT));
    for (const char* keyword : HelpKeywords()) {
        const QString anchor = HelpAnchor(QString::fromLatin1(keyword));
        QVERIFY2(document.contains("id=\"" + anchor + "\""), qPrintable(anchor));
    }
}

void MainWindowTest::commandLineListsRunWithoutReports() {
    const std::string photo = Write("photo.jpg", test::RandomBytes(4, 2000));
    const std::string given = dir_->File("given name.uue");
    QVERIFY(StartProgram(*window_, {"-N", "-Eu", "-O", given, photo}));
    QTRY_VERIFY(!window_->isVisible());
    QCOMPARE(script_->shown.size(), std::size_t{0});
    QCOMPARE(window_->ExitCode(), 0);
    QVERIFY(test::ReadFile(given).starts_with("begin 644 photo.jpg"));

    // With -N a missing file is said, and the program ends.
    window_ = std::make_unique<MainWindow>(QStringLiteral(MANDREL_HELP_DOCUMENT));
    window_->State().files.BufFileInit(10, 16384);
    window_->show();
    script_->Add(Press(QMessageBox::Ok));
    const std::string missing = dir_->File("missing.uue");
    QVERIFY(StartProgram(*window_, {"-N", missing, photo}));
    QTRY_VERIFY(!window_->isVisible());
    QCOMPARE(script_->shown.size(), std::size_t{1});
    QCOMPARE(script_->shown[0].text, "Can't read " + Q(missing));
    QCOMPARE(window_->ExitCode(), 1);
}

void MainWindowTest::refusesToStartWithoutItsHelpDocument() {
    window_ = std::make_unique<MainWindow>(Q(dir_->File("mandrel32.html")));
    window_->show();
    script_->Add(Press(QMessageBox::Ok));
    QVERIFY(!StartProgram(*window_, {"-N", "-Eu", "photo.jpg"}));
    QCOMPARE(script_->shown.size(), std::size_t{1});
    QCOMPARE(script_->shown[0].title, QStringLiteral("Mandrel Desktop 32"));
    QVERIFY(script_->shown[0].text.startsWith("File " + Q(dir_->File("mandrel32.html")) +
                                              " is missing.\nPlease re-install Mandrel Desktop "
                                              "32\n"));
}

// The state of a dialog's controls, as the user sees them.
bool Enabled(const QWidget& dialog, int id) {
    return dialog.findChild<QWidget*>(QString::number(id))->isEnabled();
}
bool Checked(const QWidget& dialog, int id) {
    return dialog.findChild<QAbstractButton*>(QString::number(id))->isChecked();
}
void ChooseFormat(QWidget& dialog, const QString& name) {
    auto* formats = dialog.findChild<QComboBox*>(QStringLiteral("188"));
    const int index = formats->findText(name);
    QVERIFY(index >= 0);
    formats->setCurrentIndex(index);
    emit formats->activated(index);
}

void MainWindowTest::encodeConfigurationCouplesMethodAndFormat() {
    Config config;
    const ConfigDialogServices services{window_->Help(), window_->Ui(), {}, {}};
    {
        // Opened with UNIX line ends and a format that is no shell archive: CR LF at once, and
        // Cancel keeps that.
        config.encodecrlf = kEolLf;
        EncodeConfigDialog dialog(window_.get(), config, services);
        QCOMPARE(config.encodecrlf, kEolCrLf);
        QVERIFY(Checked(dialog, 175));
        auto* formats = dialog.findChild<QComboBox*>(QStringLiteral("188"));
        QCOMPARE(formats->count(), 15);
        QCOMPARE(formats->findText(QStringLiteral("AOL")), -1);
        QVERIFY(!Enabled(dialog, 166) && !Enabled(dialog, 168));  // Single File: no size
        ChooseFormat(dialog, QStringLiteral("UNIX shell (shar)"));
        QVERIFY(Checked(dialog, 176) && !Checked(dialog, 174) && !Enabled(dialog, 174));
        QVERIFY(Enabled(dialog, 166));
        QCOMPARE(config.encodecrlf, kEolLf);
        ChooseFormat(dialog, QStringLiteral("Comp.binaries"));
        QVERIFY(Checked(dialog, 175) && Enabled(dialog, 174));
        // MIME: Single File, list, size and checksums grey; UU gives the list back.
        dialog.findChild<QAbstractButton*>(QStringLiteral("184"))->click();
        QCOMPARE(formats->currentText(), QStringLiteral("Single File"));
        QVERIFY(!Enabled(dialog, 188) && !Enabled(dialog, 187) && !Enabled(dialog, 166) &&
                !Enabled(dialog, 174) && !Checked(dialog, 174));
        dialog.findChild<QAbstractButton*>(QStringLiteral("182"))->click();
        QVERIFY(Enabled(dialog, 188) && Enabled(dialog, 174) && !Enabled(dialog, 166));
        dialog.findChild<QPushButton*>(QStringLiteral("2"))->click();
        QCOMPARE(config.encodemethod, kMethodUU);
        QCOMPARE(config.encodetype, kFormatSingleFile);
        QCOMPARE(config.encodecrlf, kEolCrLf);
    }
    {
        // Opened with BinHex: the list grey at Single File, the checksum box unchecked but
        // enabled (the last step of opening enables it).
        config.encodemethod = kMethodBinHex;
        config.encodechecksum = 1;
        EncodeConfigDialog dialog(window_.get(), config, services);
        QVERIFY(!Enabled(dialog, 188) && Enabled(dialog, 174) && !Checked(dialog, 174));
    }
    // The size on OK: held to its range, with the message, and stored.
    struct SizeCase {
        const char* typed;
        int32_t stored;
        bool warned;
    };
    const SizeCase sizes[] = {
        {"100", 60000, true},     {"4500", 4500, false}, {"1048576", 1048576, false},
        {"1048577", 60000, true}, {"abc", 60000, true},  {"20000 bytes", 20000, false},
    };
    config.encodemethod = kMethodUU;
    config.encodetype = kCompBinaries;
    for (const SizeCase& size : sizes) {
        script_->shown.clear();
        if (size.warned) {
            script_->Add(Press(QMessageBox::Ok));
        }
        EncodeConfigDialog dialog(window_.get(), config, services);
        dialog.findChild<QLineEdit*>(QStringLiteral("166"))
            ->setText(QString::fromLatin1(size.typed));
        dialog.findChild<QPushButton*>(QStringLiteral("1"))->click();
        QCOMPARE(config.encodeoutputsize, size.stored);
        QCOMPARE(script_->shown.size(), std::size_t{size.warned ? 1U : 0U});
        if (size.warned) {
            QCOMPARE(script_->shown[0].text,
                     QStringLiteral("Output Size Must be between 4500 and 1048576."));
        }
    }
}

void MainWindowTest::decodeConfigurationAndSavingAsDefault() {
    const test::ScopedEnv config("XDG_CONFIG_HOME", (dir_->path() / "config").string());
    QSettingsStore store;
    AppState& app = window_->State();
    LoadSettings(app.config, app.identity, store, window_->Ui());
    window_->SetSettingsStore(&store);
    const std::string settings = dir_->File("config/Quorvane, Inc./Mandrel32.conf");
    const std::string before = fs::exists(settings) ? test::ReadFile(settings) : std::string();
    // Automatic detection greys the list and its label; the list's choice is still stored.
    script_->Add([](QWidget* widget) {
        QWidget& dialog = *widget;
        QVERIFY(Checked(dialog, 177) && !Enabled(dialog, 188) && !Enabled(dialog, 187));
        QCOMPARE(dialog.findChild<QComboBox*>(QStringLiteral("188"))->count(), 18);
        dialog.findChild<QComboBox*>(QStringLiteral("188"))->setCurrentText(QStringLiteral("AOL"));
        dialog.findChild<QAbstractButton*>(QStringLiteral("184"))->click();
        dialog.findChild<QAbstractButton*>(QStringLiteral("173"))->click();
        QVERIFY(!Enabled(dialog, 150));
        dialog.findChild<QAbstractButton*>(QStringLiteral("152"))->click();
        QVERIFY(Enabled(dialog, 150));
        dialog.findChild<QLineEdit*>(QStringLiteral("150"))->setText(QStringLiteral("/srv/in"));
        dialog.findChild<QPushButton*>(QStringLiteral("1"))->click();
    });
    Trigger(kCmdConfigDecode);
    const Config& stored = window_->State().config;
    QCOMPARE(stored.decodetype, int32_t{kAol});
    QCOMPARE(stored.decodemethod, kMethodMIME);
    QCOMPARE(stored.decodejoin, 0);
    QCOMPARE(stored.decodedirselect, kDirUserSpecified);
    QCOMPARE(stored.decodedir, std::string("/srv/in"));
    // OK is for this run only; Save as Default writes the group.
    QCOMPARE(fs::exists(settings) ? test::ReadFile(settings) : std::string(), before);
    script_->Add([](QWidget* widget) {
        widget->findChild<QAbstractButton*>(QStringLiteral("171"))->click();
        widget->findChild<QPushButton*>(QStringLiteral("189"))->click();
    });
    Trigger(kCmdConfigGeneral);
    QCOMPARE(stored.overwriteexisting, 1);
    const std::string written = test::ReadFile(settings);
    QVERIFY2(written.find("overwriteexisting=1") != std::string::npos, written.c_str());
    QCOMPARE(written.find("decodemethod"), std::string::npos);
}

void MainWindowTest::versionCheckAndAbout() {
    QList<QUrl> opened;
    bool browser = true;
    window_->SetUrlOpener([&](const QUrl& url) {
        opened.append(url);
        return browser;
    });
    const auto label = [](QWidget* widget, const char* id) {
        return widget->findChild<QLabel*>(QString::fromLatin1(id))->text();
    };
    script_->Add({[&](QWidget* widget) {
                      QCOMPARE(widget->windowTitle(),
                               QStringLiteral("Program Version and Upgrade Information"));
                      QCOMPARE(label(widget, "192"),
                               QStringLiteral("Current Version 2.0.0 - 31-Jan-97"));
                      Click(253)(widget);
                      browser = false;
                      // Its message is a dialog of its own: clicked from the event loop.
                      auto* button = widget->findChild<QPushButton*>(QStringLiteral("253"));
                      QTimer::singleShot(0, button, &QPushButton::click);
                  },
                  Press(QMessageBox::Ok), Click(1)});
    Trigger(kCmdCheckVersion);
    QTRY_COMPARE(script_->shown.size(), std::size_t{3});
    const QString check =
        QStringLiteral("https://www.quorvane.example/cgi-bin/checkver?2.0.0;31-Jan-97");
    QCOMPARE(opened, QList<QUrl>({QUrl(check), QUrl(check)}));
    QCOMPARE(script_->shown[1].text,
             "Version Cannot be Verified. Cannot Access Web Site because\nno web browser could "
             "be started for " +
                 check + ".");
    opened.clear();
    script_->Add([&](QWidget* widget) {
        QCOMPARE(label(widget, "195"), QStringLiteral("Mandrel Desktop 32"));
        QCOMPARE(label(widget, "192"), QStringLiteral("Version 2.0.0 - 31-Jan-97"));
        QCOMPARE(label(widget, "197"), QStringLiteral("Quorvane, Inc."));
        const QRect screen = widget->screen()->geometry();
        QCOMPARE(widget->x(), (screen.width() - widget->width()) / 2);
        QCOMPARE(widget->y(), (screen.height() - widget->height()) / 3);
        Click(253)(widget);
        Click(1)(widget);
    });
    Trigger(kCmdAbout);
    QCOMPARE(opened, QList<QUrl>({QUrl(QStringLiteral("https://www.quorvane.example"))}));
}

void MainWindowTest::versionCheckFallsBackToTheHtmlProgram() {
    // The desktop cannot open the address; the program xdg-mime names for HTML documents is
    // started with its Exec line and the address. It records its arguments.
    const fs::path home = dir_->path();
    const std::string opened = dir_->File("opened.txt");
    const std::string browser = dir_->File("browser.sh");
    test::WriteFile(browser, "#!/bin/sh\nprintf '%s\\n' \"$@\" > '" + opened + "'\n");
    fs::permissions(browser, fs::perms::owner_all);
    fs::create_directories(home / "data/applications");
    fs::create_directories(home / "config");
    const std::string entry = dir_->File("data/applications/browser.desktop");
    test::WriteFile(entry, "[Desktop Entry]\nType=Application\nName=Browser\nExec=" + browser +
                               " --new-window %u\nMimeType=text/html;\n");
    test::WriteFile(dir_->File("config/mimeapps.list"),
                    "[Default Applications]\ntext/html=browser.desktop\n");
    const test::ScopedEnv data("XDG_DATA_HOME", (home / "data").string());
    const test::ScopedEnv config("XDG_CONFIG_HOME", (home / "config").string());
    const test::ScopedEnv dataDirs("XDG_DATA_DIRS", (home / "none").string());
    const test::ScopedEnv configDirs("XDG_CONFIG_DIRS", (home / "none").string());
    const test::ScopedEnv desktop("XDG_CURRENT_DESKTOP", "");
    window_->SetUrlOpener(
        [](const QUrl& url) { return OpenUrl(url, [](const QUrl&) { return false; }); });
    script_->Add([](QWidget* widget) {
        Click(253)(widget);
        Click(1)(widget);
    });
    Trigger(kCmdCheckVersion);
    QTRY_VERIFY(fs::exists(opened));
    QTRY_COMPARE(test::ReadFile(opened),
                 std::string("--new-window\n"
                             "https://www.quorvane.example/cgi-bin/checkver?2.0.0;31-Jan-97\n"));

    // No program for HTML documents: the version cannot be checked, and that is said.
    fs::remove(entry);
    script_->shown.clear();
    script_->Add({[](QWidget* widget) {
                      auto* button = widget->findChild<QPushButton*>(QStringLiteral("253"));
                      QTimer::singleShot(0, button, &QPushButton::click);
                  },
                  Press(QMessageBox::Ok), Click(1)});
    Trigger(kCmdCheckVersion);
    QTRY_COMPARE(script_->shown.size(), std::size_t{3});
    QVERIFY(script_->shown[1].text.startsWith(
        QStringLiteral("Version Cannot be Verified. Cannot Access Web Site because\n")));
}

void MainWindowTest::fileAssociationsFromTheDialogAndTheCommandLine() {
    const fs::path home = dir_->path();
    const test::ScopedEnv config("XDG_CONFIG_HOME", (home / "config").string());
    const test::ScopedEnv data("XDG_DATA_HOME", (home / "data").string());
    QSettingsStore store;
    AppState& app = window_->State();
    LoadSettings(app.config, app.identity, store, window_->Ui());
    window_->SetSettingsStore(&store);
    app.config.fullpath = "/opt/Mandrel Apps/mandrel32";
    const std::string entry = dir_->File("data/applications/mandrel32.desktop");
    const std::string blocked = dir_->File("blocker/share");
    test::WriteFile(dir_->File("blocker"), "");

    // From the General dialog, which stays open; a failure is said, with the stop icon.
    script_->Add(
        {[&](QWidget* widget) {
             Click(193)(widget);
             QVERIFY(widget->isVisible());
             QVERIFY(test::ReadFile(entry).find("\nExec=\"/opt/Mandrel Apps/mandrel32\" %f\n") !=
                     std::string::npos);
             ::setenv("XDG_DATA_HOME", blocked.c_str(), 1);
             auto* button = widget->findChild<QPushButton*>(QStringLiteral("193"));
             QTimer::singleShot(0, button, &QPushButton::click);
         },
         [](QWidget* widget) {
             QCOMPARE(qobject_cast<QMessageBox*>(widget)->icon(), QMessageBox::Critical);
             Press(QMessageBox::Ok)(widget);
         },
         [](QWidget* widget) {
             QVERIFY(widget->isVisible());
             Click(2)(widget);
         }});
    Trigger(kCmdConfigGeneral);
    QTRY_COMPARE(script_->shown.size(), std::size_t{3});
    QCOMPARE(script_->shown[1].text, QStringLiteral("File Associations Registry Error."));
    QCOMPARE(script_->shown[2].title, QStringLiteral("General Configuration"));
    const std::string settings = dir_->File("config/Quorvane, Inc./Mandrel32.conf");
    QVERIFY(test::ReadFile(settings).find("fullpath=/opt/Mandrel Apps/mandrel32\n") !=
            std::string::npos);

    // With R the associations are made, the files named are left alone and the window closes
    // without a word; the exit code says whether all was written.
    const std::string encoded = EncodedFile("photo.jpg", test::RandomBytes(5, 900));
    for (const bool fails : {false, true}) {
        ::setenv("XDG_DATA_HOME", fails ? blocked.c_str() : dir_->File("data2").c_str(), 1);
        window_ = std::make_unique<MainWindow>(QStringLiteral(MANDREL_HELP_DOCUMENT));
        window_->State().files.BufFileInit(10, 16384);
        window_->State().config.fullpath = "/usr/bin/mandrel32";
        window_->show();
        script_->shown.clear();
        QVERIFY(StartProgram(*window_, {"-N", "-R", encoded}));
        QTRY_VERIFY(!window_->isVisible());
        QCOMPARE(window_->ExitCode(), fails ? 1 : 0);
        QCOMPARE(script_->shown.size(), std::size_t{0});
        QCOMPARE(Files(), std::string("blocker config data data2 photo.jpg.uue"));
    }
    QVERIFY(test::ReadFile(dir_->File("data2/applications/mandrel32.desktop"))
                .find("\nExec=/usr/bin/mandrel32 %f\n") != std::string::npos);
}

}  // namespace
}  // namespace mandrel

QTEST_MAIN(mandrel::MainWindowTest)
#include "main_window_test.moc"
