// The engines' only way to the user: messages, status, progress, pumping, the questions and
// file dialogs, and the clipboard and e-mail destinations. The desktop, the console and the
// tests each supply a back end.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace mandrel {

// Message-box styles.
enum MessageStyle : int {
    kMbPlain = 0,
    kMbStop = 16,
    kMbQuestion = 35,  // Yes, No, Cancel with the question icon
    kMbExclamation = 48,
    kMbInformation = 64,
};
// Buttons a message box returns.
enum MessageButton : int { kIdOk = 1, kIdCancel = 2, kIdYes = 6, kIdNo = 7 };

// The save-file dialog that MakeOutFile may show.
struct SaveDialogRequest {
    int direction = 0;  // 1 encode, 2 decode, 3 concatenate
    std::string title;  // "%s Output To" with the verb
    std::string proposedPath;
    std::string initialDirectory;  // empty: none
};
struct SaveDialogResult {
    enum class Outcome { Chosen, Cancelled, InvalidName, Error };
    Outcome outcome = Outcome::Cancelled;
    std::string path;    // the chosen path for Chosen, the typed one for InvalidName
    long errorCode = 0;  // for Error
};

// Outcome of handing a part's text to the clipboard.
struct ClipboardResult {
    bool ok = true;
    const char* failedAction =
        "";  // "Open", "Obtain Ownership of", "Write Encoded Data to", "Close"
    int errorCode = 0;
};

struct MailRecipient {
    std::string name;
    std::string address;  // "SMTP:" and the address as typed
};
struct MailMessage {
    std::string subject;
    std::string noteText;
    std::string messageType;  // the internal name
    std::string dateReceived = "(none)";
    int flags = 1;  // unread
    std::vector<MailRecipient> recipients;
};

class UiPort {
public:
    virtual ~UiPort() = default;
    // Shows text with the product name as caption; returns the button pressed.
    virtual int Message(int style, std::string_view text) = 0;
    virtual void Status(std::string_view text) = 0;
    virtual void Progress(int position) = 0;
    // Lets up to count pending window events through; a console does nothing.
    virtual void Pump(int count) = 0;
    virtual void BusyCursor(bool busy) = 0;
    virtual SaveDialogResult SaveFileDialog(const SaveDialogRequest& request) = 0;
    // Takes the text over as the clipboard's text.
    virtual ClipboardResult PutClipboardText(std::string text) = 0;
    // Sends one message; 0 on success, else a mail result code (reported when report is set).
    virtual int SendMail(const MailMessage& message, bool report) = 0;
};

// The described helpers over the port; templates are printf-style.
[[gnu::format(printf, 3, 4)]] int ShowMessage(UiPort& ui, int style, const char* format, ...);
[[gnu::format(printf, 4, 5)]] int ShowSystemError(UiPort& ui, int errorCode, int style,
                                                  const char* format, ...);
[[gnu::format(printf, 2, 3)]] void ShowStatus(UiPort& ui, const char* format, ...);
void SetProgress(UiPort& ui, int position);
void PumpMessages(UiPort& ui, int count);
void SetBusyCursor(UiPort& ui);
void RestoreCursor(UiPort& ui);

// The system's own description of an error code.
std::string SystemErrorText(int errorCode);

}  // namespace mandrel
