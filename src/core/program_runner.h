// Starting another program (the mail layer's sendmail) belongs to the platform; the layers below
// it see only this interface, as they see the settings store's, and stay plain C++.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace mandrel {

// How a program fed its standard input ended. started is false when it could not be run;
// stopped is set when keepGoing said stop and the program was ended; status is the exit status,
// nothing when it did not exit normally.
struct FedRun {
    bool started = false;
    bool stopped = false;
    bool fed = false;  // all of the input was taken
    std::optional<int> status;
};

class ProgramRunner {
public:
    virtual ~ProgramRunner() = default;
    // Whether a program of that name can be found on PATH (or, with a slash, at that path) and
    // run.
    virtual bool OnPath(const std::string& program) const = 0;
    // Runs arguments[0] with the arguments and input on its standard input, its output dropped,
    // and waits for it while the caller's window is kept alive: keepGoing is asked every few
    // milliseconds, and a stop ends the program.
    virtual FedRun RunFeeding(std::span<const std::string> arguments, std::string_view input,
                              const std::function<bool()>& keepGoing) const = 0;
};

}  // namespace mandrel
