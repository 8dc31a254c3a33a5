// The console program: the described command line and the same engines as the desktop program,
// with messages on standard error, questions on the terminal and a report line per file.
#include <unistd.h>
#include <algorithm>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "console_options.h"
#include "core/app_state.h"
#include "core/format.h"
#include "core/version_strings.h"
#include "platform/console_ui.h"
#include "platform/qsettings_store.h"
#include "shell/command_line.h"
#include "shell/file_list_runner.h"

namespace mandrel {
namespace {

constexpr int kExitSuccess = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitWarnings = 3;  // done, but the report says "Apparently"
constexpr std::size_t kMaxProgramPath = 255;

// Set by Ctrl-C, read by the console's pump; a signal handler can reach nothing else.
volatile std::sig_atomic_t interrupted = 0;

extern "C" void OnInterrupt(int /*signal*/) {
    if (interrupted != 0) {
        // A second Ctrl-C ends the program at once.
        std::signal(SIGINT, SIG_DFL);
        std::raise(SIGINT);
        return;
    }
    interrupted = 1;
}

void InstallInterruptHandler() {
    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    sigemptyset(&action.sa_mask);
    // No SA_RESTART: a question waiting on the terminal is cut short and cancelled.
    action.sa_flags = 0;
    sigaction(SIGINT, &action, nullptr);
}

std::string ProgramPath() {
    std::error_code ec;
    std::string path = std::filesystem::read_symlink("/proc/self/exe", ec).string();
    if (path.size() > kMaxProgramPath) {
        path.resize(kMaxProgramPath);
    }
    return path;
}

std::string ProgramName(const char* argv0) {
    const std::string name = argv0 != nullptr ? std::filesystem::path(argv0).filename() : "";
    return name.empty() ? "mandrel" : name;
}

void PrintOut(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

std::string VersionLine() {
    std::string product = version::kProductName;
    std::string number = version::kProductVersion;
    GetVersionString("ProductName", product);
    GetVersionString("ProductVersion", number);
    return product + " " + number + "\n";
}

// Writes the groups that the settings options changed. True when every value was written.
bool SaveChangedGroups(AppState& app, SettingsStore& store, const SettingChanges& changes) {
    int failures = 0;
    const std::string& key = app.identity.SettingsKey;
    if (changes.general) {
        failures += WriteSettingsGroup(app.config, GeneralGroup(), store, key, app.ui);
    }
    if (changes.encode) {
        failures += WriteSettingsGroup(app.config, EncodeGroup(), store, key, app.ui);
    }
    if (changes.decode) {
        failures += WriteSettingsGroup(app.config, DecodeGroup(), store, key, app.ui);
    }
    return failures == 0;
}

// The report of one finished file: successes and aborts on standard output, the failure
// sentence on standard error like any other message.
void ReportFile(AppState& app, const FileRunOutcome& outcome, bool quiet) {
    if (outcome.report.empty()) {
        return;
    }
    if (outcome.result == kResultDone || outcome.result == kResultAborted) {
        if (!quiet) {
            PrintOut(ConsoleText(outcome.report) + "\n");
        }
        return;
    }
    app.ui.Message(kMbExclamation, outcome.report);
}

int RunList(AppState& app, bool quiet) {
    const std::vector<FileRunOutcome> outcomes = RunFileList(
        app, [&app, quiet](const FileRunOutcome& outcome) { ReportFile(app, outcome, quiet); });
    // The list ran to its end (joined inputs make one outcome for all of them) and every file
    // succeeded.
    bool allDone = !outcomes.empty() && app.job.FileCount == 0;
    for (const FileRunOutcome& outcome : outcomes) {
        allDone = allDone && outcome.result == kResultDone && !outcome.checksumDifferences;
    }
    if (!allDone) {
        return kExitFailed;
    }
    const bool warned = std::any_of(outcomes.begin(), outcomes.end(),
                                    [](const FileRunOutcome& outcome) { return outcome.warnings; });
    return warned ? kExitWarnings : kExitSuccess;
}

int Run(const std::vector<std::string>& arguments, const std::string& programName) {
    ConsoleUi ui({.productName = version::kProductName,
                  .allowQuestions = ::isatty(STDIN_FILENO) != 0,
                  .verbose = false});
    ConsoleOptions options;
    if (const auto error = ReadConsoleOptions(arguments, options)) {
        ui.Message(kMbStop, *error);
        return kExitUsage;
    }
    if (options.help) {
        PrintOut(HelpText(programName));
        return kExitSuccess;
    }
    if (options.version) {
        PrintOut(VersionLine());
        return kExitSuccess;
    }

    AppState app(ui);
    app.files.BufFileInit(10, 32768);
    app.config.fullpath = ProgramPath();
    QSettingsStore store;
    LoadSettings(app.config, app.identity, store, ui);
    ui.SetProductName(app.identity.productName);
    ui.SetVerbose(options.verbose);

    SettingChanges changes;
    if (const auto error = ApplySettingOptions(options, app.config, changes)) {
        ui.Message(kMbStop, *error);
        app.files.BufFileShutdown();
        return kExitUsage;
    }
    ApplyEncodeCouplings(app.config, changes, ui);
    bool saved = true;
    if (options.save) {
        // Saved before the switches are read: they hold for this run only.
        saved = SaveChangedGroups(app, store, changes);
        if (!saved) {
            ShowMessage(ui, kMbExclamation, "Could not save the settings to %s",
                        store.FileForKey(app.identity.SettingsKey).c_str());
        }
    }

    ParseCommandLine(app, JoinArguments(options.rest));
    if (::isatty(STDIN_FILENO) == 0) {
        app.job.Interactive = 0;
    }
    ui.SetAllowQuestions(app.job.Interactive != 0 && ::isatty(STDIN_FILENO) != 0);

    int status = kExitSuccess;
    if (app.job.RunAssociations) {
        ShowMessage(ui, kMbStop,
                    "File associations are not available in the console program yet; "
                    "make them from the desktop program's General Configuration.");
        status = kExitFailed;
    } else if (app.job.FileCount == 0) {
        if (options.save && options.rest.empty()) {
            status = saved ? kExitSuccess : kExitFailed;
        } else {
            ShowMessage(ui, kMbStop,
                        "No files named.\r\nUsage: %s [OPTIONS] [SWITCHES] FILE...\r\n"
                        "Try %s --help for more.",
                        programName.c_str(), programName.c_str());
            status = kExitUsage;
        }
    } else {
        InstallInterruptHandler();
        ui.SetInterrupt(&interrupted, [&app] {
            // As Exit during a job: the job stops and no further file is started.
            app.job.CancelRequested = true;
            app.job.QuitRequested = true;
        });
        status = RunList(app, options.quiet);
    }
    app.files.BufFileShutdown();
    return status;
}

}  // namespace
}  // namespace mandrel

int main(int argc, char** argv) {
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i) {
        arguments.emplace_back(argv[i]);
    }
    return mandrel::Run(arguments, mandrel::ProgramName(argc > 0 ? argv[0] : nullptr));
}
