// Other programs the program starts: the desktop's cache tools, xdg-mime, the user's browser
// and a sendmail. Each is found on PATH; its output is dropped unless it is asked for.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/program_runner.h"

namespace mandrel {

// Whether a program of that name can be found on PATH (or, with a slash, at that path) and run.
bool ProgramOnPath(const std::string& program);

// Runs arguments[0] with the arguments and waits for it: its exit status, or nothing when it
// could not be started or did not exit normally. Its output is dropped.
std::optional<int> RunAndWait(std::span<const std::string> arguments);

// Runs it and waits: what it wrote to standard output when it exited with status 0, else
// nothing.
std::optional<std::string> RunForOutput(std::span<const std::string> arguments);

// Starts it without waiting and without keeping it as our child, so that it outlives the
// program; false when it could not be started.
bool StartDetached(std::span<const std::string> arguments);

// Runs it with input on its standard input, as ProgramRunner::RunFeeding says.
FedRun RunFeeding(std::span<const std::string> arguments, std::string_view input,
                  const std::function<bool()>& keepGoing);

// The same, as the mail layer's port.
class SystemPrograms final : public ProgramRunner {
public:
    bool OnPath(const std::string& program) const override { return ProgramOnPath(program); }
    FedRun RunFeeding(std::span<const std::string> arguments, std::string_view input,
                      const std::function<bool()>& keepGoing) const override {
        return mandrel::RunFeeding(arguments, input, keepGoing);
    }
};

}  // namespace mandrel
