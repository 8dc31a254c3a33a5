#include "gui/mail_select_dialog.h"

#include <QHeaderView>
#include <QStyle>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <array>

#include "core/job_context.h"
#include "core/user_port.h"
#include "gui/desktop_mail_ui.h"
#include "gui/dialog_parts.h"
#include "gui/program_icon.h"
#include "mail/mail_codes.h"
#include "mail/mail_decode.h"
#include "mail/mail_session.h"

namespace mandrel {

namespace {

constexpr int kIdList = 261;
constexpr int kIdDecode = 1;
constexpr int kIdCancelButton = 2;
constexpr int kIdSwitchView = 253;
constexpr int kIdColumn = 5;
constexpr int kColumnRoom = 8;

struct Column {
    const char* title;  // the first five end with two blanks, which widen the measured title
    Qt::Alignment alignment;
};
constexpr std::array<Column, 6> kColumns = {{
    {"Subject  ", Qt::AlignLeft},
    {"From  ", Qt::AlignLeft},
    {"Received  ", Qt::AlignLeft},
    {"Size  ", Qt::AlignRight},
    {"Type  ", Qt::AlignLeft},
    {"Message ID", Qt::AlignLeft},
}};

QString OrElse(const std::string& text, const char* instead) {
    return QString::fromStdString(text.empty() ? std::string(instead) : text);
}

// The program's own messages show its icon; others a message, or a message with attachments.
QIcon IconFor(const MessageSummary& summary, const QStyle* style) {
    const QString type = QString::fromStdString(summary.type);
    if (type.compare(QLatin1String("Mandrel32"), Qt::CaseInsensitive) == 0 ||
        type.compare(QLatin1String("Lathe32"), Qt::CaseInsensitive) == 0) {
        return ProgramIcon();
    }
    if (summary.hasAttachments) {
        return QIcon::fromTheme(QStringLiteral("mail-attachment"),
                                style->standardIcon(QStyle::SP_FileLinkIcon));
    }
    return QIcon::fromTheme(QStringLiteral("mail-message"),
                            style->standardIcon(QStyle::SP_FileIcon));
}

}  // namespace

MailSelectDialog::MailSelectDialog(QWidget* owner, JobContext& app, MailSession& session,
                                   DesktopMailUi& mailUi, std::string saveDirectory)
    : QDialog(owner),
      app_(app),
      session_(session),
      mailUi_(mailUi),
      saveDirectory_(std::move(saveDirectory)) {
    setWindowTitle(QStringLiteral("Select E-mail Messages to Decode"));
    list_ = new QTreeWidget(this);
    list_->setObjectName(ControlName(kIdList));
    list_->setRootIsDecorated(false);
    list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    list_->setColumnCount(static_cast<int>(kColumns.size()));
    QStringList titles;
    for (const Column& column : kColumns) {
        titles.append(QString::fromLatin1(column.title));
    }
    list_->setHeaderLabels(titles);
    list_->headerItem()->setTextAlignment(3, Qt::AlignRight | Qt::AlignVCenter);
    list_->setColumnHidden(kIdColumn, true);
    list_->setMinimumSize(720, 320);
    connect(list_, &QTreeWidget::itemSelectionChanged, this,
            [this] { decode_->setEnabled(!listing_ && !list_->selectedItems().isEmpty()); });

    decode_ = MakeButton(this, kIdDecode, "&Decode");
    decode_->setDefault(true);
    decode_->setEnabled(false);
    connect(decode_, &QPushButton::clicked, this, [this] { Decode(); });
    QPushButton* cancel = MakeButton(this, kIdCancelButton, "&Cancel");
    connect(cancel, &QPushButton::clicked, this, &MailSelectDialog::reject);
    QPushButton* switchView = MakeButton(this, kIdSwitchView, "&Switch View");
    switchView->setEnabled(false);
    auto* column = new QVBoxLayout(this);
    column->addWidget(list_, 1);
    column->addLayout(MakeButtonRow({decode_, cancel, switchView}));
}

bool MailSelectDialog::Run() {
    mailUi_.ResetStop();
    if (session_.LogonToMailbox(true, kMailLogonInteractive) != kMailSuccess) {
        return false;
    }
    loggedOn_ = true;
    // The list fills while the dialog shows, so that Cancel can stop a long one.
    QTimer::singleShot(0, this, [this] { List(); });
    exec();
    return true;
}

void MailSelectDialog::List() {
    listing_ = true;
    std::string id;
    unsigned count = 0;
    for (bool first = true; session_.FindNextMessage(false, first, id, id) == kMailSuccess;
         first = false) {
        MessageSummary summary;
        if (session_.ReadMessage(true, id, summary) == kMailSuccess) {
            ShowStatus(app_.ui, "Retrieving E-mail Message %u", ++count);
            AddItem(summary);
        }
        if (!mailUi_.KeepWaiting()) {
            break;
        }
    }
    listing_ = false;
    for (int i = 0; i < kIdColumn; ++i) {
        list_->resizeColumnToContents(i);
        list_->setColumnWidth(i, list_->columnWidth(i) + kColumnRoom);
    }
    app_.ui.Status("");
    if (closeWhenListed_) {
        reject();
        return;
    }
    decode_->setEnabled(!list_->selectedItems().isEmpty());
}

void MailSelectDialog::AddItem(const MessageSummary& summary) {
    auto* item = new QTreeWidgetItem(list_);
    item->setIcon(0, IconFor(summary, style()));
    item->setText(0, OrElse(summary.subject, "(No Subject)"));
    item->setText(1, OrElse(summary.from, "(Unknown)"));
    item->setText(2, OrElse(summary.received, "(Unknown)"));
    item->setText(3, summary.size == 0 ? QStringLiteral("empty") : QString::number(summary.size));
    item->setTextAlignment(3, Qt::AlignRight | Qt::AlignVCenter);
    item->setText(4, OrElse(summary.type, "(Unknown)"));
    item->setText(kIdColumn, QString::fromStdString(summary.id));
}

void MailSelectDialog::Decode() {
    if (listing_) {
        return;
    }
    // The hidden column says which message each selected item is, in list order.
    std::vector<std::string> ids;
    for (int i = 0; i < list_->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* item = list_->topLevelItem(i);
        if (item->isSelected()) {
            ids.push_back(item->text(kIdColumn).toStdString());
        }
    }
    const TakenMessages taken = TakeMessages(app_, session_, ids, saveDirectory_, true);
    if (!taken.anythingDone) {
        ShowMessage(app_.ui, kMbExclamation, "Nothing to Decode.");
        return;
    }
    files_ = taken.textFiles;
    session_.Logoff(true);
    loggedOn_ = false;
    accept();
}

void MailSelectDialog::reject() {
    if (listing_) {
        // Cancel came while the list fills (its events are let through): the listing stops
        // first, and the dialog closes when it has, never under it.
        mailUi_.RequestStop();
        closeWhenListed_ = true;
        return;
    }
    if (loggedOn_) {
        session_.Logoff(true);
        loggedOn_ = false;
    }
    QDialog::reject();
}

}  // namespace mandrel
