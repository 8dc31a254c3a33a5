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
    kMbQuestion = 35,                 // Yes, No, Cancel with the question icon
    kMbYesNoQuestion = 36,            // Yes and No with the question icon
    kMbYesNoQuestionDefaultNo = 292,  // the same, No the default button
    kMbExclamation = 48,
    kMbInformation = 64,
};
// True for the styles that ask a question (Yes/No/Cancel or Yes/No).
constexpr bool IsQuestionStyle(int style) {
    return (style & 0x0F) == 3 || (style & 0x0F) == 4;
}

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

    // The decoder's questions. "Decode Error" shows text and returns the button chosen: 602
    // skip this line, 603 decode this line, 604 decode all, 605 skip all, 200 abort (the
    // warning that confirms 602 to 605 is the decoder's own question, asked afterwards).
    virtual int DecodeErrorDialog(std::string_view text) = 0;
    // "Retry Decoding": 0 abort, 1 try all formats, or the chosen decodable format id 3..20.
    virtual int RetryDecodingDialog(std::string_view text) = 0;
    // "Encode or Decode?": 7 encode, 6 decode, 2 cancel.
    virtual int EncodeOrDecodeDialog(std::string_view text) = 0;
    // The checksum differences after a decode, one tab-separated line each.
    virtual void ChecksumDetailsDialog(std::string_view caption, std::string_view inputPath,
                                       const std::vector<std::string>& lines) = 0;
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
