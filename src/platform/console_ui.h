// The console back end of the user-interface port: messages go to standard error behind the
// product name, questions and the save dialog are asked on the terminal when there is one, and
// an interrupt (Ctrl-C) reaches the running job through the pump.
#pragma once

#include <csignal>
#include <functional>
#include <optional>
#include <string>

#include "core/delivery_port.h"
#include "core/user_port.h"

namespace mandrel {

class ConsoleUi : public UserPort, public DeliveryPort {
public:
    struct Options {
        std::string productName;
        // Questions and the save dialog are put to the user only when this is set and the
        // process has a terminal; otherwise they are answered Cancel at once.
        bool allowQuestions = false;
        // Status lines and progress on standard error.
        bool verbose = false;
        // The terminal to ask on; tests may point it elsewhere.
        std::string terminalPath = "/dev/tty";
    };

    explicit ConsoleUi(Options options);

    // The flag set by the program's interrupt handler, and what to do when the pump finds it
    // set (cancel the running job).
    void SetInterrupt(const volatile std::sig_atomic_t* flag, std::function<void()> onInterrupt);
    void SetVerbose(bool verbose) { options_.verbose = verbose; }
    void SetAllowQuestions(bool allow) { options_.allowQuestions = allow; }
    void SetProductName(std::string name) { options_.productName = std::move(name); }

    int Message(int style, std::string_view text) override;
    void Status(std::string_view text) override;
    void Progress(int position) override;
    void Pump(int count) override;
    void BusyCursor(bool busy) override;
    SaveDialogResult SaveFileDialog(const SaveDialogRequest& request) override;
    ClipboardResult PutClipboardText(std::string text) override;
    DecodeErrorChoice DecodeErrorDialog(std::string_view text) override;
    RetryChoice RetryDecodingDialog(std::string_view text) override;
    EncodeOrDecodeChoice EncodeOrDecodeDialog(std::string_view text) override;
    void ChecksumDetailsDialog(std::string_view caption, std::string_view inputPath,
                               const std::vector<std::string>& lines) override;

    // A line typed on the terminal without echo (a password); nothing when questions may not
    // be asked, without a terminal, or on an interrupt.
    std::optional<std::string> AskSecret(std::string_view prompt) const;

private:
    void WriteError(std::string_view text) const;
    template <typename Answer>
    Answer Ask(std::string_view text, std::string_view list, std::string_view prompt,
               std::optional<Answer> (*parse)(std::string_view), Answer escape) const;
    int AskQuestion(std::string_view text) const;

    Options options_;
    const volatile std::sig_atomic_t* interruptFlag_ = nullptr;
    std::function<void()> onInterrupt_;
    int lastProgressStep_ = -1;
};

// The text as a terminal shows it: each CR LF becomes a plain line break.
std::string ConsoleText(std::string_view text);

}  // namespace mandrel
