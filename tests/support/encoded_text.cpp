#include "support/encoded_text.h"

#include <gtest/gtest.h>

#include "encode/encode_driver.h"
#include "platform/scripted_ui.h"
#include "shell/app_state.h"
#include "support/test_files.h"

namespace mandrel::test {

namespace fs = std::filesystem;

std::vector<std::string> EncodeParts(const fs::path& directory, const std::string& name,
                                     const std::string& bytes, const EncodeSettings& settings) {
    ScriptedUi ui;
    AppState app(ui, ui);
    app.files.BufFileInit(10, 16384);
    app.config.encodetype = settings.format;
    app.config.encodemethod = settings.method;
    app.config.encodecrlf = settings.eol;
    app.config.eollength = EolLengthFor(settings.eol);
    app.config.encodechecksum = settings.checksum;
    app.config.encodeoutputsize = settings.outputSize;
    fs::create_directories(directory);
    const std::string path = (directory / name).string();
    WriteFile(path, bytes);
    app.job.JobInputPath = path;
    app.job.JobDirection = kDirectionEncode;
    const BufFile input = app.files.BufFileOpen(path, BufOpenMode::Read, 0);
    EXPECT_GE(input, 0);
    EXPECT_EQ(EncodeFile(app, input, 0), kResultDone);
    std::vector<std::string> parts;
    for (int r = 0; r < app.parts.JobPartCount; ++r) {
        const std::string file = PartFilePath(app.parts.rows[static_cast<std::size_t>(r)]);
        parts.push_back(ReadFile(file));
        fs::remove(file);
    }
    fs::remove(path);
    return parts;
}

std::string Join(const std::vector<std::string>& parts) {
    std::string text;
    for (const auto& part : parts) {
        text += part;
    }
    return text;
}

}  // namespace mandrel::test
