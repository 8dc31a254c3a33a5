// The console program: the described command line and the same engines as the desktop program,
// with messages on standard error, questions on the terminal and a report line per file.
#include <unistd.h>
#include <algorithm>
#include <optional>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "console_mail.h"
#include "console_options.h"
#include "core/format.h"
#include "core/output_files.h"
#include "core/text_util.h"
#include "core/version_strings.h"
#include "json_report.h"
#include "platform/console_ui.h"
#include "platform/data_directories.h"
#include "platform/file_associations.h"
#include "platform/program_path.h"
#include "platform/qsettings_store.h"
#include "shell/app_state.h"
#include "shell/command_line.h"
#include "shell/file_list_runner.h"
#include "standard_streams.h"

namespace mandrel {
namespace {

constexpr int kExitSuccess = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitWarnings = 3;  // done, but the report says "Apparently"

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

std::string ProgramName(const char* argv0) {
    const std::string name = argv0 != nullptr ? std::filesystem::path(argv0).filename() : "";
    return name.empty() ? "mandrel" : name;
}

// A message of several lines as one line.
std::string OneLine(std::string_view text) {
    std::string line = ConsoleText(text);
    std::replace(line.begin(), line.end(), '\n', ' ');
    return line;
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

// Where standard input and output stand in the run: "-" as an input, "-O -" as the output.
struct StandardStreams {
    PrivateDirectory inputDirectory;
    std::string inputPath;  // the copy of standard input, "" when none was named
    PrivateDirectory outputDirectory;
    bool toStdout = false;
    std::string currentDirectory;
};

// The name an encoded standard input carries: the -O name less its encoding's extension, else
// "stdin".
std::string StdinName(const AppState& app) {
    const std::string& given = app.options.CommandLineOutputName;
    if (app.options.CmdLineEncode == 0 || given.empty() || given == "-") {
        return "stdin";
    }
    std::string name = std::filesystem::path(given).filename().string();
    const std::size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot > 0 && EncodingForExtension(name.substr(dot)) != 0) {
        name.resize(dot);
    }
    return name.empty() ? "stdin" : name;
}

// Puts standard input and output in place of "-"; an error text when that cannot be done.
std::optional<std::string> SetUpStandardStreams(AppState& app, StandardStreams& streams) {
    std::error_code ec;
    streams.currentDirectory = std::filesystem::current_path(ec).string();
    std::vector<std::string>& files = app.list.FileList;
    const auto dashes = std::count(files.begin(), files.end(), "-");
    if (dashes > 1) {
        return std::string("Standard input (-) can be named only once.");
    }
    if (dashes == 1) {
        if (!streams.inputDirectory.Make()) {
            return Format("Can't Create Temporary File for standard input because\r\n%s",
                          SystemErrorText(errno).c_str());
        }
        streams.inputPath = JoinPath(streams.inputDirectory.Path(), StdinName(app));
        if (!CopyStreamToFile(stdin, streams.inputPath)) {
            return Format("Read Failure on standard input because\r\n%s",
                          SystemErrorText(errno).c_str());
        }
        *std::find(files.begin(), files.end(), "-") = streams.inputPath;
    }
    if (app.options.CommandLineOutputName == "-") {
        if (!streams.outputDirectory.Make()) {
            return Format("Can't Create Temporary File for standard output because\r\n%s",
                          SystemErrorText(errno).c_str());
        }
        streams.toStdout = true;
        app.options.CommandLineOutputName.clear();
        // The output has no name of its own to ask for.
        app.config.usedefaultnames = 1;
    }
    return std::nullopt;
}

// The job's request, with standard input's outputs beside the user rather than beside the
// temporary copy, and every output collected for standard output.
void AdjustRequest(const StandardStreams& streams, JobRequest& request) {
    if (!streams.inputPath.empty() && std::find(request.inputs.begin(), request.inputs.end(),
                                                streams.inputPath) != request.inputs.end()) {
        request.inputDirectory = streams.currentDirectory;
    }
    if (streams.toStdout) {
        request.outputDirectory = streams.outputDirectory.Path();
    }
}

// Streams the one file the run made to standard output. False, with the reason shown, when the
// run made none or several.
bool DeliverToStdout(AppState& app, const StandardStreams& streams) {
    std::vector<std::string> made;
    std::error_code ec;
    for (const auto& entry :
         std::filesystem::directory_iterator(streams.outputDirectory.Path(), ec)) {
        made.push_back(entry.path().string());
    }
    if (made.size() != 1) {
        if (!made.empty()) {
            ShowMessage(app.ui, kMbStop,
                        "The output is %zu files; -O - writes only one file to standard output.",
                        made.size());
        }
        return false;
    }
    if (!CopyFileToStream(made.front(), stdout)) {
        ShowSystemError(app.ui, errno, kMbStop, "Can't Write to standard output because\r\n");
        return false;
    }
    return true;
}

// Each file's report: successes on standard output (one sentence for every file a decode
// made), everything else on standard error with the reason in one line.
void ReportJob(AppState& app, const JobOutcome& outcome, bool quiet, bool json) {
    if (json) {
        std::string report = outcome.report.empty() ? outcome.failure : outcome.report;
        if (!outcome.reports.empty()) {
            report.clear();
            for (const std::string& sentence : outcome.reports) {
                report += (report.empty() ? "" : "\r\n") + sentence;
            }
        }
        PrintOut(JobJson(outcome, report) + "\n");
        return;
    }
    if (outcome.result == kResultDone) {
        if (quiet) {
            return;
        }
        for (const std::string& sentence :
             outcome.reports.empty() ? std::vector<std::string>{outcome.report} : outcome.reports) {
            if (!sentence.empty()) {
                PrintOut(ConsoleText(sentence) + "\n");
            }
        }
        return;
    }
    if (quiet) {
        return;
    }
    if (!outcome.report.empty()) {
        app.ui.Message(kMbExclamation, outcome.report);
    } else if (!outcome.failure.empty()) {
        app.ui.Message(kMbStop, OneLine(outcome.failure));
    } else if (outcome.result == kResultDialogCancelled) {
        ShowMessage(app.ui, kMbStop, "Nothing was written for %s: cancelled.",
                    std::string(FileNamePart(outcome.path)).c_str());
    }
}

int RunList(AppState& app, bool quiet, bool json, const StandardStreams& streams) {
    const std::vector<JobOutcome> outcomes = RunFileList(
        app,
        [&app, quiet, json](const JobOutcome& outcome) { ReportJob(app, outcome, quiet, json); },
        [&streams](JobRequest& request) { AdjustRequest(streams, request); });
    // The list ran to its end (joined inputs make one outcome for all of them) and every file
    // succeeded.
    bool allDone = !outcomes.empty() && app.list.FileCount == 0;
    for (const JobOutcome& outcome : outcomes) {
        allDone = allDone && outcome.result == kResultDone && !outcome.checksumDifferences;
    }
    if (streams.toStdout && allDone) {
        allDone = DeliverToStdout(app, streams);
    }
    if (!allDone) {
        return kExitFailed;
    }
    const bool warned = std::any_of(outcomes.begin(), outcomes.end(),
                                    [](const JobOutcome& outcome) { return outcome.warnings; });
    return warned ? kExitWarnings : kExitSuccess;
}

// Where the console's modules lie: the installation's lib/mandrel, found from the program's own
// directory (the build tree is laid out the same way).
std::string ModuleDirectory() {
    return (std::filesystem::path(ProgramPath(nullptr)).parent_path() / MANDREL_MODULE_DIRECTORY)
        .lexically_normal()
        .string();
}

// The R switch: the desktop program beside this one becomes the handler of encoded files, since
// opening a file from the desktop wants a window; fullpath in the settings names it too.
int MakeAssociations(AppState& app, QSettingsStore& store, UserPort& ui) {
    const std::filesystem::path desktop =
        std::filesystem::path(app.config.fullpath).parent_path() / "mandrel32";
    if (::access(desktop.c_str(), X_OK) != 0) {
        ShowMessage(ui, kMbStop,
                    "File Associations Registry Error.\r\nThe desktop program %s, which is to "
                    "open the encoded files, is missing.",
                    desktop.c_str());
        return kExitFailed;
    }
    app.config.fullpath = desktop.string();
    if (MakeFileAssociations(app.config, app.identity, &store, ui) > 0) {
        ShowMessage(ui, kMbStop,
                    "File Associations Registry Error.\r\nNot everything could be written under "
                    "%s.",
                    UserDataDirectory().c_str());
        return kExitFailed;
    }
    return kExitSuccess;
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

    AppState app(ui, ui);
    app.files.BufFileInit(10, 32768);
    app.config.fullpath = ProgramPath(nullptr);
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

    ParseCommandLine(app, JoinArguments(options.rest, options.namesFrom));
    if (::isatty(STDIN_FILENO) == 0) {
        app.options.Interactive = 0;
    }
    ui.SetAllowQuestions(app.options.Interactive != 0 && ::isatty(STDIN_FILENO) != 0);

    // Mail for the M switch, from its module: the profile the desktop program saved, the
    // desktop's keyring.
    LoadedConsoleMail mail;
    if (app.options.EncodeToMail) {
        const ConsoleMailSetup setup{&ui, &store, app.identity.SettingsKey,
                                     app.identity.internalName,
                                     [&app] { return !app.cancel.Requested(); }};
        std::string why;
        if (mail.Load(ModuleDirectory(), setup, why)) {
            ui.SetMail(mail.Port());
        } else {
            ShowMessage(ui, kMbStop, "E-mail cannot be sent: %s", why.c_str());
        }
    }

    int status = kExitSuccess;
    StandardStreams streams;
    if (app.options.RunAssociations) {
        status = MakeAssociations(app, store, ui);
    } else if (app.list.FileCount == 0) {
        if (options.save && options.rest.empty()) {
            status = saved ? kExitSuccess : kExitFailed;
        } else {
            ShowMessage(ui, kMbStop,
                        "No files named.\r\nUsage: %s [OPTIONS] [SWITCHES] FILE...\r\n"
                        "Try %s --help for more.",
                        programName.c_str(), programName.c_str());
            status = kExitUsage;
        }
    } else if (const auto error = SetUpStandardStreams(app, streams)) {
        ui.Message(kMbStop, *error);
        status = kExitFailed;
    } else {
        InstallInterruptHandler();
        ui.SetInterrupt(&interrupted, [&app] {
            // As Exit during a job: the job stops and no further file is started.
            app.cancel.Request();
            app.QuitRequested = true;
        });
        // Reports would mix with the data on standard output.
        status = RunList(app, options.quiet || streams.toStdout,
                         options.jsonReport && !streams.toStdout, streams);
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
