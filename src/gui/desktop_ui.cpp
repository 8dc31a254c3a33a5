#include "gui/desktop_ui.h"

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QProgressBar>

#include "gui/checksum_details_dialog.h"
#include "gui/decode_error_dialog.h"
#include "gui/dialog_parts.h"
#include "gui/encode_or_decode_dialog.h"
#include "gui/file_dialogs.h"
#include "gui/message_box.h"
#include "gui/retry_decoding_dialog.h"

namespace mandrel {

namespace {

// The clock is read only every so many calls: the decoder pumps once a line.
constexpr int kCallsPerClockLook = 32;

}  // namespace

DesktopUi::DesktopUi(const HelpDesk& help) : help_(help) {}

void DesktopUi::Attach(QWidget* owner, QLabel* status, QProgressBar* progress) {
    owner_ = owner;
    status_ = status;
    progress_ = progress;
}

QWidget* DesktopUi::Owner() {
    ShowPendingProgress();
    if (QWidget* modal = QApplication::activeModalWidget()) {
        return modal;
    }
    return owner_;
}

int DesktopUi::Message(int style, std::string_view text) {
    return ShowMessageBox(Owner(), productName_, style, DisplayText(text));
}

void DesktopUi::Status(std::string_view text) {
    if (status_ != nullptr) {
        status_->setText(DisplayText(text));
    }
}

void DesktopUi::Progress(int position) {
    // A progress bar repaints at once on every new value, which would cost a job a paint per
    // percent; during a job the value is shown when the events are let through.
    pendingProgress_ = position;
    if (!inJob_) {
        ShowPendingProgress();
    }
}

void DesktopUi::ShowPendingProgress() {
    if (progress_ != nullptr && progress_->value() != pendingProgress_) {
        progress_->setValue(pendingProgress_);
    }
}

void DesktopUi::Pump(int /*count*/) {
    // Pumping is throttled by time, so that it never dominates a job: the window still
    // repaints and takes Cancel many times a second.
    if (++pumpCalls_ < kCallsPerClockLook && sincePump_.isValid()) {
        return;
    }
    pumpCalls_ = 0;
    if (sincePump_.isValid() && sincePump_.elapsed() < pumpIntervalMs_) {
        return;
    }
    ShowPendingProgress();
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    sincePump_.start();
}

void DesktopUi::BusyCursor(bool busy) {
    // One level only: the cursor that was there before comes back.
    if (busy && !busyCursor_) {
        QApplication::setOverrideCursor(Qt::WaitCursor);
        busyCursor_ = true;
    } else if (!busy && busyCursor_) {
        QApplication::restoreOverrideCursor();
        busyCursor_ = false;
    }
}

void DesktopUi::JobMode(bool busy) {
    inJob_ = busy;
    if (!busy) {
        ShowPendingProgress();
    }
    if (onJobMode_) {
        onJobMode_(busy);
    }
    // A job looks at the queue at once, so Cancel shows before the work starts.
    sincePump_.invalidate();
}

SaveDialogResult DesktopUi::SaveFileDialog(const SaveDialogRequest& request) {
    return AskOutputFile(Owner(), request);
}

DecodeErrorChoice DesktopUi::DecodeErrorDialog(std::string_view text) {
    return AskDialog<mandrel::DecodeErrorDialog>(Owner(), DisplayText(text), help_);
}

RetryChoice DesktopUi::RetryDecodingDialog(std::string_view text) {
    return AskDialog<mandrel::RetryDecodingDialog>(Owner(), DisplayText(text), help_);
}

EncodeOrDecodeChoice DesktopUi::EncodeOrDecodeDialog(std::string_view text) {
    return AskDialog<mandrel::EncodeOrDecodeDialog>(Owner(), DisplayText(text), help_);
}

void DesktopUi::ChecksumDetailsDialog(std::string_view caption, std::string_view inputPath,
                                      const std::vector<std::string>& lines) {
    mandrel::ChecksumDetailsDialog dialog(Owner(), DisplayText(caption), DisplayText(inputPath),
                                          lines, help_);
    dialog.exec();
}

ClipboardResult DesktopUi::PutClipboardText(std::string text) {
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (clipboard == nullptr) {
        return {.ok = false,
                .failedAction = "Open",
                .errorCode = 0,
                .reason = "The desktop offers no clipboard."};
    }
    clipboard->setText(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
    return {};
}

}  // namespace mandrel
