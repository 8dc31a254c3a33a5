// Drives a decode job over arbitrary text (the driver, and what the job does around it: putting
// message fragments together, the checksum comparison): every input must end in a result, never
// a crash, a hang or a file written outside the input's directory.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include "codec/group_kernels.h"
#include "platform/scripted_ui.h"
#include "shell/app_state.h"
#include "shell/job_runner.h"

namespace {

namespace fs = std::filesystem;

const fs::path& WorkDirectory() {
    static const fs::path directory = [] {
        fs::path made = fs::temp_directory_path() / ("mandrel-fuzz-" + std::to_string(::getpid()));
        fs::create_directories(made / "in");
        fs::create_directories(made / "tmp");
        // The decoder's temporary part files go here, so that a forgotten one is seen.
        ::setenv("TMPDIR", (made / "tmp").c_str(), 1);
        return made;
    }();
    return directory;
}

}  // namespace

// MANDREL_KERNEL_PATH (scalar, ssse3, avx2, avx512) holds the kernels to one path for the run, so
// that every path meets the same hostile inputs.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    if (const char* wanted = std::getenv("MANDREL_KERNEL_PATH"); wanted != nullptr) {
        for (const auto path : {mandrel::KernelPath::Scalar, mandrel::KernelPath::Ssse3,
                                mandrel::KernelPath::Avx2, mandrel::KernelPath::Avx512}) {
            if (mandrel::KernelPathName(path) == wanted) {
                mandrel::UseKernelPath(path);
            }
        }
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    WorkDirectory();
    const fs::path in = WorkDirectory() / "in";
    const fs::path input = in / "input.txt";
    {
        std::ofstream out(input, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    mandrel::ScriptedUi ui;
    mandrel::AppState app(ui, ui);
    app.files.BufFileInit(10, 16384);
    // The first byte picks how questions go: none at all, or answered from a short script.
    const int ask = size > 0 && (data[0] & 1U) != 0 ? 1 : 0;
    if (ask != 0) {
        ui.answers = {mandrel::kIdYes, mandrel::kIdYes};
        ui.decodeErrorAnswers = {mandrel::DecodeErrorChoice::DecodeAll};
        ui.retryAnswers = {mandrel::RetryChoice::TryAllFormats()};
    }
    app.config.decodemethod = 181;
    mandrel::JobRequest request;
    request.inputs = {input.string()};
    request.direction = mandrel::JobRequest::Direction::Decode;
    request.interactive = ask != 0;
    mandrel::RunJob(app, request);
    // Whatever the text named, nothing may appear beside the work directory's own folder.
    for (const auto& entry : fs::directory_iterator(WorkDirectory())) {
        if (entry.path().filename() != "in" && entry.path().filename() != "tmp") {
            std::abort();
        }
    }
    // Every temporary part file is gone once the decode has returned.
    if (!fs::is_empty(WorkDirectory() / "tmp")) {
        std::abort();
    }
    for (const auto& entry : fs::directory_iterator(in)) {
        if (entry.path() != input) {
            fs::remove_all(entry.path());
        }
    }
    return 0;
}
