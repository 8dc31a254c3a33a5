#include "core/output_files.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "core/format.h"
#include "core/job_context.h"
#include "core/job_status.h"
#include "core/text_util.h"

namespace mandrel {

namespace {

// The first row of each encoding is its output extension.
constexpr std::array<std::pair<std::string_view, int>, 9> kExtensionTable = {{
    {".uue", 1},
    {".uu", 1},
    {".xxe", 2},
    {".xx", 2},
    {".mme", 3},
    {".mm", 3},
    {".b64", 3},
    {".hqx", 4},
    {".hex", 4},
}};

bool EqualNoCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

// The name part of a local path.
std::string_view LocalFileName(std::string_view path) {
    const std::size_t cut = path.rfind('/');
    return cut == std::string_view::npos ? path : path.substr(cut + 1);
}

// Shows the save dialog until it gives a usable answer. Returns 0 with path set, or -3.
int AskOutputName(JobContext& app, std::string& path, int direction,
                  const std::string& initialDirectory) {
    SaveDialogRequest request;
    request.direction = direction;
    request.title = Format("%s Output To", std::string(DirectionVerb(direction)).c_str());
    request.proposedPath = path;
    request.initialDirectory = initialDirectory;
    for (;;) {
        const SaveDialogResult answer = app.ui.SaveFileDialog(request);
        switch (answer.outcome) {
            case SaveDialogResult::Outcome::Chosen:
                path = answer.path;
                return 0;
            case SaveDialogResult::Outcome::Cancelled:
                return kResultDialogCancelled;
            case SaveDialogResult::Outcome::InvalidName:
                ShowMessage(app.ui, kMbExclamation, "Invalid file name: %s", answer.path.c_str());
                request.proposedPath = "*.*";
                break;
            case SaveDialogResult::Outcome::Error:
                ShowMessage(app.ui, kMbStop, "MakeOutFile(): Common Dialog Error %ld!",
                            answer.errorCode);
                return kResultDialogCancelled;
        }
    }
}

}  // namespace

std::string_view ExtensionForEncoding(int index) {
    for (const auto& [extension, encoding] : kExtensionTable) {
        if (encoding == index) {
            return extension;
        }
    }
    return {};
}

int EncodingForExtension(std::string_view extension) {
    for (const auto& [known, encoding] : kExtensionTable) {
        if (EqualNoCase(known, extension)) {
            return encoding;
        }
    }
    return 0;
}

std::string ChosenDirectory(const Config& config, int direction) {
    if (direction == kDirectionDecode && config.decodedirselect == kDirUserSpecified) {
        return config.decodedir;
    }
    if (direction == kDirectionEncode && config.encodedirselect == kDirUserSpecified) {
        return config.encodedir;
    }
    return {};
}

BufFile MakeOutFile(JobContext& app, std::string& name, int direction, int ask) {
    const Config& config = app.config;
    const std::string initialDirectory =
        !app.job.outputDirectory.empty() && direction != kDirectionConcatenate
            ? app.job.outputDirectory
            : ChosenDirectory(config, direction);
    std::string path =
        initialDirectory.empty() ? name : JoinPath(initialDirectory, LocalFileName(name));
    if (ask == 1 && config.usedefaultnames == 0) {
        if (AskOutputName(app, path, direction, initialDirectory) != 0) {
            return kResultDialogCancelled;
        }
        name = path;
    } else {
        name = path;
    }
    std::error_code ec;
    const auto status = std::filesystem::symlink_status(path, ec);
    if (std::filesystem::exists(status)) {
        if (ask == 1 && config.overwriteexisting == 0 &&
            ShowMessage(app.ui, kMbQuestion, "Overwrite Existing %s", path.c_str()) != kIdYes) {
            return kResultDialogCancelled;
        }
        // A file or a link is replaced, never written through; a directory is left for the
        // create to refuse, and a device (/dev/null as output) is written to, never removed.
        RemoveOutputFile(path);
    }
    const BufFile output = app.files.BufFileOpen(path, BufOpenMode::CreateAlways, BF_TEXT);
    if (output < 0) {
        ShowSystemError(app.ui, app.files.LastError(), kMbStop, "Can't Write to %s because\r\n",
                        path.c_str());
        return kResultReported;
    }
    return output;
}

}  // namespace mandrel
