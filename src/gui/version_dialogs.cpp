#include "gui/version_dialogs.h"

#include <QLabel>
#include <QScreen>
#include <QVBoxLayout>

#include "core/config.h"
#include "core/format.h"
#include "core/user_port.h"
#include "gui/dialog_parts.h"
#include "gui/help_desk.h"
#include "gui/program_icon.h"

namespace mandrel {

namespace {

constexpr int kIdVersion = 192;
constexpr int kIdProduct = 195;
constexpr int kIdNotice = 194;
constexpr int kIdCompany = 197;
constexpr int kIdWeb = 253;
constexpr int kIdDone = 1;
constexpr int kIdVersionHelp = 9;
constexpr int kIconSize = 64;

QLabel* MakeLabel(QWidget* parent, int id, const QString& text) {
    auto* label = new QLabel(text, parent);
    label->setObjectName(ControlName(id));
    label->setAlignment(Qt::AlignCenter);
    return label;
}

// Room around short lines of text, so that the boxes do not look cramped.
QVBoxLayout* AiryColumn(QWidget* parent) {
    auto* column = new QVBoxLayout(parent);
    column->setContentsMargins(24, 18, 24, 18);
    column->setSpacing(10);
    return column;
}

QString VersionString(const char* name, const char* missing) {
    std::string text;
    return GetVersionString(name, text) ? QString::fromStdString(text)
                                        : QString::fromLatin1(missing);
}

}  // namespace

QString MakerSite() {
    return QStringLiteral("https://www.quorvane.example");
}

QString VersionCheckAddress() {
    return QString::fromStdString(
        Format("%s/%s?%s;%s", MakerSite().toStdString().c_str(), "cgi-bin/checkver",
               VersionString("ProductVersion", "NO VERSION!").toStdString().c_str(),
               VersionString("ReleaseDate", "NO DATE!").toStdString().c_str()));
}

QString VersionAndDate() {
    return VersionString("ProductVersion", "NO VERSION!") + QStringLiteral(" - ") +
           VersionString("ReleaseDate", "NO DATE!");
}

CheckVersionDialog::CheckVersionDialog(QWidget* owner, const HelpDesk& help, UserPort& ui,
                                       const UrlOpener& open)
    : QDialog(owner) {
    setWindowTitle(QStringLiteral("Program Version and Upgrade Information"));
    QVBoxLayout* column = AiryColumn(this);
    column->addWidget(
        MakeLabel(this, kIdVersion, QStringLiteral("Current Version ") + VersionAndDate()));
    column->addWidget(new QLabel(
        QStringLiteral("Note: an Internet connection and browser are needed for this capability."),
        this));
    QPushButton* check = MakeButton(this, kIdWeb, "Check On-line for Latest &Version");
    connect(check, &QPushButton::clicked, this, [&ui, open] {
        const QString address = VersionCheckAddress();
        if (!open(QUrl(address))) {
            ShowMessage(ui, kMbStop,
                        "Version Cannot be Verified. Cannot Access Web Site because\r\nno web "
                        "browser could be started for %s.",
                        address.toStdString().c_str());
        }
    });
    QPushButton* done = MakeAnswerButton(this, kIdDone, "DONE");
    done->setDefault(true);
    QPushButton* helpButton = MakeButton(this, kIdVersionHelp, "&Help");
    connect(helpButton, &QPushButton::clicked, this,
            [&help] { help.Keyword(QStringLiteral("Check Version")); });
    column->addSpacing(8);
    column->addLayout(MakeButtonRow({check, done, helpButton}));
}

AboutDialog::AboutDialog(QWidget* owner, const QString& internalName, const QString& productName,
                         const QString& companyName, const UrlOpener& open)
    : QDialog(owner) {
    setWindowTitle(QStringLiteral("About ") + internalName);
    QVBoxLayout* column = AiryColumn(this);
    auto* icon = new QLabel(this);
    icon->setPixmap(ProgramIcon().pixmap(kIconSize, kIconSize));
    icon->setAlignment(Qt::AlignCenter);
    column->addWidget(icon);
    QLabel* product = MakeLabel(this, kIdProduct, productName);
    QFont bigger = product->font();
    bigger.setBold(true);
    bigger.setPointSizeF(bigger.pointSizeF() * 1.3);
    product->setFont(bigger);
    column->addWidget(product);
    column->addWidget(MakeLabel(this, kIdVersion, QStringLiteral("Version ") + VersionAndDate()));
    column->addWidget(MakeLabel(
        this, kIdNotice,
        QStringLiteral(
            "Turns any file into text for mail and news, and such text back into the file.")));
    column->addWidget(MakeLabel(this, kIdCompany, companyName));
    QPushButton* web = MakeButton(this, kIdWeb, "&Web site");
    // Nothing is said when no browser starts.
    connect(web, &QPushButton::clicked, this, [open] { open(QUrl(MakerSite())); });
    QPushButton* ok = MakeAnswerButton(this, kIdDone, "OK");
    ok->setDefault(true);
    column->addSpacing(8);
    column->addLayout(MakeButtonRow({web, ok}));
}

// Centred across the screen, a third of the way down.
void AboutDialog::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (const QScreen* screen = this->screen()) {
        const QRect area = screen->geometry();
        move(area.x() + (area.width() - width()) / 2, area.y() + (area.height() - height()) / 3);
    }
}

}  // namespace mandrel
