// The engines' only way to the user: messages, status, progress, pumping, the questions and
// the file dialog. The desktop, the console and the tests each supply a back end.
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

// The decoder's questions, answered by name.
enum class DecodeErrorChoice { SkipLine, DecodeLine, DecodeAll, SkipAll, Abort };
enum class EncodeOrDecodeChoice { Encode, Decode, Cancel };
struct RetryChoice {
    enum class Kind { Abort, TryAllFormats, Format };
    Kind kind = Kind::Abort;
    int format = 0;  // a decodable format id (3..20) for Format
    static RetryChoice Abort() { return {}; }
    static RetryChoice TryAllFormats() { return {Kind::TryAllFormats, 0}; }
    static RetryChoice Format(int id) { return {Kind::Format, id}; }
};

class UserPort {
public:
    virtual ~UserPort() = default;
    // Shows text with the product name as caption; returns the button pressed.
    virtual int Message(int style, std::string_view text) = 0;
    virtual void Status(std::string_view text) = 0;
    virtual void Progress(int position) = 0;
    // Lets up to count pending window events through; a console does nothing.
    virtual void Pump(int count) = 0;
    virtual void BusyCursor(bool busy) = 0;
    // A job starts (busy) or has returned (idle): the window greys its commands and shows
    // Cancel. Back ends without a window have nothing to switch.
    virtual void JobMode(bool /*busy*/) {}
    virtual SaveDialogResult SaveFileDialog(const SaveDialogRequest& request) = 0;
    // The decoder's questions. "Decode Error" shows text; Enter is Skip This Line and Escape
    // is Abort (the warning that confirms a way of going on is the decoder's own question,
    // asked afterwards).
    virtual DecodeErrorChoice DecodeErrorDialog(std::string_view text) = 0;
    // "Retry Decoding": abort, try all formats, or one decodable format.
    virtual RetryChoice RetryDecodingDialog(std::string_view text) = 0;
    // "Encode or Decode?".
    virtual EncodeOrDecodeChoice EncodeOrDecodeDialog(std::string_view text) = 0;
    // The checksum differences after a decode, one tab-separated line each.
    virtual void ChecksumDetailsDialog(std::string_view caption, std::string_view inputPath,
                                       const std::vector<std::string>& lines) = 0;
};

// The described helpers over the port; templates are printf-style.
[[gnu::format(printf, 3, 4)]] int ShowMessage(UserPort& ui, int style, const char* format, ...);
[[gnu::format(printf, 4, 5)]] int ShowSystemError(UserPort& ui, int errorCode, int style,
                                                  const char* format, ...);
[[gnu::format(printf, 2, 3)]] void ShowStatus(UserPort& ui, const char* format, ...);
void SetProgress(UserPort& ui, int position);
void PumpMessages(UserPort& ui, int count);
void SetBusyCursor(UserPort& ui);
void RestoreCursor(UserPort& ui);

// The system's own description of an error code.
std::string SystemErrorText(int errorCode);

}  // namespace mandrel
