// The desktop back end of the user's port and the delivery port: message boxes with the
// product name as caption, the main window's status line and progress bar, pumping that lets
// the window repaint and take Cancel during a job, the busy cursor, the file dialogs, the
// decoder's questions as dialogs, and the desktop clipboard.
#pragma once

#include <QElapsedTimer>
#include <QPointer>
#include <QString>
#include <functional>

#include "core/delivery_port.h"
#include "core/user_port.h"

class QLabel;
class QProgressBar;
class QWidget;

namespace mandrel {

class HelpDesk;

class DesktopUi : public UserPort, public DeliveryPort {
public:
    explicit DesktopUi(const HelpDesk& help);

    // The window the boxes belong to and the controls a job shows itself in.
    void Attach(QWidget* owner, QLabel* status, QProgressBar* progress);
    void SetProductName(QString name) { productName_ = std::move(name); }
    // What the window does when a job starts and when it has returned.
    void SetJobModeHandler(std::function<void(bool)> handler) { onJobMode_ = std::move(handler); }
    // The least time between two looks at the event queue during a job.
    void SetPumpInterval(int milliseconds) { pumpIntervalMs_ = milliseconds; }

    int Message(int style, std::string_view text) override;
    void Status(std::string_view text) override;
    void Progress(int position) override;
    void Pump(int count) override;
    void BusyCursor(bool busy) override;
    void JobMode(bool busy) override;
    SaveDialogResult SaveFileDialog(const SaveDialogRequest& request) override;
    DecodeErrorChoice DecodeErrorDialog(std::string_view text) override;
    RetryChoice RetryDecodingDialog(std::string_view text) override;
    EncodeOrDecodeChoice EncodeOrDecodeDialog(std::string_view text) override;
    void ChecksumDetailsDialog(std::string_view caption, std::string_view inputPath,
                               const std::vector<std::string>& lines) override;
    ClipboardResult PutClipboardText(std::string text) override;

private:
    // The window a box or dialog belongs to: the open dialog, else the main window. The
    // progress bar is brought up to date first, as the dialog's own event loop will paint it.
    QWidget* Owner();
    void ShowPendingProgress();

    const HelpDesk& help_;
    QPointer<QWidget> owner_;
    QPointer<QLabel> status_;
    QPointer<QProgressBar> progress_;
    QString productName_;
    std::function<void(bool)> onJobMode_;
    int pumpIntervalMs_ = 16;  // a frame at 60 Hz
    int pumpCalls_ = 0;
    QElapsedTimer sincePump_;
    bool busyCursor_ = false;
    bool inJob_ = false;
    int pendingProgress_ = 0;
};

}  // namespace mandrel
