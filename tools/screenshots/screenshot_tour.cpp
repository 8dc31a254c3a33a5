// Photographs the desktop program under a real X server: the idle window, the window during a
// job with Cancel showing, each question the decoder asks, a report box, the configuration and
// version dialogs, and the e-mail dialogs. Run by
// tools/take-screenshots.sh under Xvfb with a window manager, so that frames and titles show.
//
//   mandrel32_screenshot_tour OUTPUT_DIRECTORY HELP_DOCUMENT
#include <QApplication>
#include <QDialog>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <QTreeWidget>
#include <QtTest>
#include <deque>
#include <functional>

#include "gui/commands.h"
#include "gui/desktop_mail_ui.h"
#include "gui/job_panel.h"
#include "gui/main_window.h"
#include "gui/program_icon.h"
#include "mail/mail_session.h"
#include "mail/message_text.h"
#include "platform/child_process.h"
#include "platform/qsettings_store.h"
#include "support/encoded_text.h"
#include "support/memory_passwords.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

constexpr int kMargin = 12;
constexpr int kSettleMs = 700;  // time for the window manager to frame and the dialog to paint

// Waits while the event loop runs, so that windows map and paint.
void Settle(int milliseconds = kSettleMs) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

class Tour {
public:
    Tour(QString outputDirectory, MainWindow& window)
        : outputDirectory_(std::move(outputDirectory)), window_(window) {
        QObject::connect(&poll_, &QTimer::timeout, [this] { Poll(); });
        poll_.start(20);
    }

    // The part of the screen that shows the main window and the widget on top of it.
    void Shoot(const QString& name, QWidget* top = nullptr) {
        QRect area = window_.frameGeometry();
        if (top != nullptr) {
            area = area.united(top->frameGeometry());
        }
        QScreen* screen = window_.screen();
        area = area.adjusted(-kMargin, -kMargin, kMargin, kMargin).intersected(screen->geometry());
        const QPixmap shot = screen->grabWindow(0, area.x(), area.y(), area.width(), area.height());
        const QString path = outputDirectory_ + QLatin1Char('/') + name + QStringLiteral(".png");
        if (!shot.save(path)) {
            qFatal("cannot write %s", qPrintable(path));
        }
        qInfo("%s", qPrintable(path));
    }

    // The next modal dialog: photographed under the name when one is given, then answered.
    void Expect(const QString& shot, std::function<void(QWidget*)> answer) {
        steps_.push_back({shot, std::move(answer)});
    }
    bool Done() const { return steps_.empty() && !busy_; }

private:
    struct Step {
        QString shot;
        std::function<void(QWidget*)> answer;
    };

    void Poll() {
        QWidget* modal = QApplication::activeModalWidget();
        if (busy_ || modal == nullptr || modal == last_ || steps_.empty()) {
            return;
        }
        busy_ = true;
        last_ = modal;
        qInfo("dialog: %s", qPrintable(modal->windowTitle()));
        const Step step = steps_.front();
        steps_.pop_front();
        if (!step.shot.isEmpty()) {
            Settle();
            Shoot(step.shot, modal);
        }
        step.answer(modal);
        busy_ = false;
    }

    QString outputDirectory_;
    MainWindow& window_;
    QTimer poll_;
    std::deque<Step> steps_;
    QPointer<QWidget> last_;
    bool busy_ = false;
};

// Typed into the name field: selectFile leaves the field alone while it has the focus and the
// dialog's list, filled by a thread of its own, does not hold the file yet.
void ChooseFile(QWidget* widget, const std::string& path) {
    auto* dialog = qobject_cast<QFileDialog*>(widget);
    const QFileInfo file(QString::fromStdString(path));
    dialog->setDirectory(file.absolutePath());
    dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(file.fileName());
    static_cast<QDialog*>(dialog)->accept();
}
void Click(QWidget* widget, int id) {
    widget->findChild<QPushButton*>(QString::number(id))->click();
}
void Reject(QWidget* widget) {
    qobject_cast<QDialog*>(widget)->reject();
}
void PressOk(QWidget* widget) {
    auto* box = qobject_cast<QMessageBox*>(widget);
    box->button(box->buttons().front() == box->button(QMessageBox::Ok) ? QMessageBox::Ok
                                                                       : QMessageBox::No)
        ->click();
}

void WaitFor(Tour& tour) {
    while (!tour.Done()) {
        Settle(50);
    }
    Settle(200);
}

// Two data lines of an encoded file lose their last characters.
std::string Damaged(const std::string& text) {
    std::string damaged;
    int line = 0;
    for (const auto piece : test::SplitLines(text)) {
        std::string kept(piece);
        if (++line == 5) {
            kept.resize(kept.size() - 5);
        }
        damaged += kept + "\n";
    }
    return damaged;
}

// A mailbox as people have them: the three parts the program sent for a file, a message with
// an attachment and a plain one, as an mbox file.
std::string SampleMailbox(const std::filesystem::path& work) {
    test::EncodeSettings settings;
    settings.format = kSimTel;
    settings.outputSize = 20000;
    const std::vector<std::string> parts =
        test::EncodeParts(work, "holiday.jpg", test::RandomBytes(6, 40000), settings);
    std::string mbox;
    const auto add = [&mbox](const std::string& day, const std::string& message) {
        mbox += "From sender@example.org " + day + "\n" + message + "\n";
    };
    for (std::size_t i = 0; i < parts.size(); ++i) {
        MailMessage message;
        message.subject = "* Mandrel32 *; UU; holiday.jpg; " + std::to_string(i + 1) + " of " +
                          std::to_string(parts.size());
        message.noteText = parts[i];
        message.messageType = "Mandrel32";
        message.recipients = {{"anna@example.org", "SMTP:anna@example.org"}};
        add("Mon Nov 23 09:1" + std::to_string(i) + ":00 2026",
            BuildMessageText(message, {"Mandrel", "bob@example.org"}, 1795475400, "\n"));
    }
    add("Mon Nov 23 11:02:00 2026",
        "From: Bea Example <bea@example.org>\nSubject: Minutes of Friday\nMIME-Version: 1.0\n"
        "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/plain\n\n"
        "Here they are.\n--b\nContent-Type: application/pdf; name=minutes.pdf\n"
        "Content-Disposition: attachment; filename=minutes.pdf\nContent-Transfer-Encoding: "
        "base64\n\nJVBERi0xLjQK\n--b--\n");
    add("Mon Nov 23 12:30:00 2026",
        "From: Carl <carl@example.net>\nSubject: Lunch?\nContent-Type: text/plain\n\n"
        "One o'clock at the usual place?\n");
    return mbox;
}

int RunTour(const QString& outputDirectory, const QString& helpDocument) {
    test::TempDir work;
    const auto file = [&work](const std::string& name, const std::string& bytes) {
        std::string path = work.File(name);
        test::WriteFile(path, bytes);
        return path;
    };
    MainWindow window(helpDocument);
    AppState& app = window.State();
    app.files.BufFileInit(10, 16384);
    app.config.usedefaultnames = 1;
    app.config.overwriteexisting = 1;
    window.SizeToScreen();
    const QRect screen = window.screen()->geometry();
    window.move((screen.width() - window.width()) / 2, (screen.height() - window.height()) / 3);
    window.show();
    Settle();
    Tour tour(outputDirectory, window);
    tour.Shoot(QStringLiteral("main-window-idle"));

    // A long encode, photographed at its fifth part with Cancel showing, then cancelled.
    const std::string big = file("holiday-photos.tar", test::RandomBytes(1, 4'000'000));
    app.config.encodetype = kCompBinaries;
    window.Ui().SetPumpInterval(0);
    QTimer during;
    QObject::connect(&during, &QTimer::timeout, [&] {
        if (app.JobBusy && window.Panel()->StatusLine()->text().contains("Part 5 of")) {
            during.stop();
            Settle();
            tour.Shoot(QStringLiteral("main-window-during-a-job"));
            window.Panel()->CancelButton()->click();
        }
    });
    during.start(0);
    tour.Expect({}, [&](QWidget* w) { ChooseFile(w, big); });
    tour.Expect(QStringLiteral("report-aborted"), PressOk);
    window.Command(kCmdEncodeToFile);
    WaitFor(tour);
    app.config.encodetype = kFormatSingleFile;
    window.Ui().SetPumpInterval(8);

    // A report box after a successful encode.
    const std::string notes = file("meeting-notes.pdf", test::RandomBytes(2, 20000));
    tour.Expect({}, [&](QWidget* w) { ChooseFile(w, notes); });
    tour.Expect(QStringLiteral("report-encoded"), PressOk);
    window.Command(kCmdEncodeToFile);
    WaitFor(tour);

    // Decode Error, its warning, and the report that says "Apparently".
    const std::string bad =
        file("damaged.uue", Damaged(test::Join(test::EncodeParts(work.path(), "figures.xls",
                                                                 test::RandomBytes(3, 2000), {}))));
    tour.Expect({}, [&](QWidget* w) { ChooseFile(w, bad); });
    tour.Expect(QStringLiteral("question-decode-error"), [](QWidget* w) { Click(w, 602); });
    tour.Expect(QStringLiteral("question-decode-error-warning"), [](QWidget* w) {
        qobject_cast<QMessageBox*>(w)->button(QMessageBox::Yes)->click();
    });
    tour.Expect(QStringLiteral("report-apparently"), PressOk);
    window.Command(kCmdDecodeFromFile);
    WaitFor(tour);

    // Encode or Decode? for a dropped file with nothing to decode, then Retry Decoding.
    const std::string plain = file("readme.txt", "Nothing encoded here.\nJust words.\n");
    tour.Expect(QStringLiteral("question-encode-or-decode"), [](QWidget* w) { Click(w, 251); });
    tour.Expect(QStringLiteral("question-retry-decoding"), Reject);
    window.DropFiles({QString::fromStdString(plain)});
    WaitFor(tour);

    // A binary file.
    const std::string blob = file("archive.uue", test::RandomBytes(4, 3000));
    tour.Expect({}, [&](QWidget* w) { ChooseFile(w, blob); });
    tour.Expect(QStringLiteral("question-binary-data"), PressOk);
    window.Command(kCmdDecodeFromFile);
    WaitFor(tour);

    // Checksum Error Details for a part whose checksum line disagrees.
    test::EncodeSettings sums;
    sums.checksum = 1;
    sums.format = kCompBinaries;
    std::string text =
        test::Join(test::EncodeParts(work.path(), "budget.ods", test::RandomBytes(5, 9000), sums));
    const std::size_t at = text.find("sum -r/size ") + 12;
    text.replace(at, text.find('/', at) - at, "12345");
    const std::string summed = file("budget.uue", text);
    tour.Expect({}, [&](QWidget* w) { ChooseFile(w, summed); });
    tour.Expect(QStringLiteral("checksum-error-details"), [](QWidget* w) { Click(w, 1); });
    window.Command(kCmdDecodeFromFile);
    WaitFor(tour);

    // The configuration dialogs, the version and the About box.
    app.config.encodetype = kCompBinaries;
    app.config.encodechecksum = 1;
    const std::pair<int, const char*> dialogs[] = {{kCmdConfigGeneral, "config-general"},
                                                   {kCmdConfigEncode, "config-encode"},
                                                   {kCmdConfigDecode, "config-decode"},
                                                   {kCmdCheckVersion, "version"},
                                                   {kCmdAbout, "about"}};
    for (const auto& [command, shot] : dialogs) {
        tour.Expect(QString::fromLatin1(shot), Reject);
        window.Command(command);
        WaitFor(tour);
    }

    // The General dialog's associations, where the data directory cannot be written.
    const std::string blocked = file("not-a-directory", "");
    const test::ScopedEnv data("XDG_DATA_HOME", blocked + "/share");
    tour.Expect({}, [](QWidget* w) {
        auto* button = w->findChild<QPushButton*>(QStringLiteral("193"));
        QTimer::singleShot(0, button, &QPushButton::click);
    });
    tour.Expect(QStringLiteral("report-associations-error"), PressOk);
    tour.Expect({}, Reject);
    window.Command(kCmdConfigGeneral);
    WaitFor(tour);

    // E-mail: the settings, the recipients and the message list.
    QSettingsStore store;
    test::MemoryPasswords passwords;
    DesktopMailUi mailUi(&window, passwords, window.Ui(), window.Help());
    const SystemPrograms programs;
    MailSession mail(window.Ui(), mailUi, store, R"(Software\Quorvane, Inc.\Mandrel32\Mail)",
                     passwords, programs);
    window.SetMail(&mail, &mailUi);
    MailProfile profile = DefaultMailProfile();
    profile.sender = "anna@example.org";
    profile.transport = MailTransport::Smtp;
    profile.smtp = {"mail.example.org", 587, MailSecurity::StartTls, "anna"};
    profile.mailbox = MailboxKind::Imap;
    profile.imap = {"mail.example.org", 993, MailSecurity::Tls, "anna"};
    profile.recent = {"bob@example.org", "bea@example.org", "carl@example.net"};
    mail.StoreProfile(profile);
    tour.Expect(QStringLiteral("mail-settings"), Reject);
    window.Command(kCmdMailSettings);
    WaitFor(tour);

    profile.transport = MailTransport::Sendmail;
    profile.sendmailCommand = "/bin/true";
    profile.mailbox = MailboxKind::Mbox;
    profile.mbox = file("inbox.mbox", SampleMailbox(work.path()));
    mail.StoreProfile(profile);
    tour.Expect({}, [&tour](QWidget* w) {
        w->findChild<QLineEdit*>(QStringLiteral("to"))
            ->setText(QStringLiteral("bob@example.org, carl@example.net"));
        Settle();
        tour.Shoot(QStringLiteral("mail-recipients"), w);
        Reject(w);
    });
    window.Command(kCmdEncodeToMail);
    WaitFor(tour);
    tour.Expect({}, [&tour](QWidget* w) {
        auto* list = w->findChild<QTreeWidget*>(QStringLiteral("261"));
        // The list fills once the dialog shows.
        while (list->topLevelItemCount() < 5) {
            Settle(50);
        }
        for (int i = 0; i < 3; ++i) {
            list->topLevelItem(i)->setSelected(true);
        }
        Settle();
        tour.Shoot(QStringLiteral("mail-messages"), w);
        Click(w, 2);
    });
    window.Command(kCmdDecodeFromMail);
    WaitFor(tour);

    // The open dialog, its filter showing the encoded files only.
    tour.Expect(QStringLiteral("open-dialog-decode"), Reject);
    window.Command(kCmdDecodeFromFile);
    WaitFor(tour);
    return 0;
}

}  // namespace
}  // namespace mandrel

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setWindowIcon(mandrel::ProgramIcon());
    if (argc != 3) {
        qCritical("usage: mandrel32_screenshot_tour OUTPUT_DIRECTORY HELP_DOCUMENT");
        return 2;
    }
    return mandrel::RunTour(QString::fromLocal8Bit(argv[1]), QString::fromLocal8Bit(argv[2]));
}
