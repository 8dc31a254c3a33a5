#include "decode/join_parts.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>

#include "core/format.h"
#include "core/job_status.h"
#include "core/output_files.h"
#include "core/text_util.h"
#include "decode/decode_job.h"

namespace mandrel {

namespace {

// The missing-parts text may not grow past what the message box was sized for.
constexpr std::size_t kMaxMissingText = 510;
// Bigger blocks than the layer's own buffer save calls; the result is the same file.
constexpr long kAppendBlock = long{64} * 1024;

// The list of parts that never turned up, or "" when every part from 1 to total is there.
std::string MissingPartsText(const PartTable& parts, int total) {
    std::string text;
    bool first = true;
    for (int r = 0; r < total; ++r) {
        // A total beyond the table's rows can never be complete.
        if (r < MAX_PARTS && parts.rows[static_cast<std::size_t>(r)].partNumber != 0) {
            continue;
        }
        if (text.empty()) {
            text = Format("Total Parts Required: %d.\r\nMissing Parts: ", total);
        }
        const std::string number = Format(first ? "%d" : ", %d", r + 1);
        if (text.size() + number.size() > kMaxMissingText) {
            break;
        }
        text += number;
        first = false;
    }
    return text;
}

// The row holding part k among the first total rows, or -1.
int RowOfPart(const PartTable& parts, int k, int total) {
    for (int r = 0; r < total && r < MAX_PARTS; ++r) {
        if (parts.rows[static_cast<std::size_t>(r)].partNumber == k) {
            return r;
        }
    }
    return -1;
}

// A concatenation's rows name the user's own input files: once the join is over nothing may
// take them for part files to delete.
void ForgetInputFiles(PartTable& parts, int total) {
    for (int r = 0; r < total && r < MAX_PARTS; ++r) {
        parts.rows[static_cast<std::size_t>(r)].fileName.clear();
        parts.rows[static_cast<std::size_t>(r)].directory.clear();
    }
}

// Closes and removes the half-made output: a failed join leaves nothing behind.
void DiscardOutput(DecodeContext& app, BufFile output) {
    if (output >= 0) {
        app.files.BufFileClose(output);
        RemoveOutputFile(app.job.JobOutputPath);
    }
}

// Closes and removes the output just made (empty) and opens the assembly in its stead, to be
// renamed onto the free name at the end (over a file, ext4 would write the whole assembly out
// at once); false leaves the output open for copying into.
bool SwitchToAssembly(DecodeContext& app, BufFile& output) {
    const BufFile assembled =
        app.files.BufFileOpen(app.decode.assembly.Path(), BufOpenMode::Update, BF_TEXT);
    if (assembled < 0) {
        return false;
    }
    app.files.BufFileClose(output);
    RemoveOutputFile(app.job.JobOutputPath);
    output = assembled;
    return true;
}

// Part k onto the output: in place, a part the assembly lacks is written into its gap; else the
// part is appended from the assembly or its own file.
int AppendPart(DecodeContext& app, int k, const std::string& partPath, BufFile output,
               bool inPlace) {
    const PartAssembly& assembly = app.decode.assembly;
    if (inPlace) {
        if (assembly.Holds(k)) {
            return 0;
        }
        app.files.BufFileSeek(output, assembly.JoinedOffset(k), BufSeekOrigin::Begin);
        return AppendPartFile(app, partPath, output);
    }
    if (assembly.Holds(k)) {
        return AppendFileRange(app, assembly.Path(), assembly.OffsetOf(k), assembly.LengthOf(k),
                               output);
    }
    return AppendPartFile(app, partPath, output);
}

// When the assembly cannot be renamed into the output, it is copied there whole.
bool CopyAssembly(DecodeContext& app, int total) {
    const BufFile output =
        app.files.BufFileOpen(app.job.JobOutputPath, BufOpenMode::CreateAlways, BF_TEXT);
    if (output < 0) {
        return false;
    }
    const PartAssembly& assembly = app.decode.assembly;
    const bool copied =
        AppendFileRange(app, assembly.Path(), 0, assembly.JoinedOffset(total + 1), output) == 0;
    return app.files.BufFileClose(output) && copied;
}

}  // namespace

int AppendPartFile(DecodeContext& app, const std::string& name, BufFile output) {
    return AppendFileRange(app, name, 0, -1, output);
}

int AppendFileRange(DecodeContext& app, const std::string& name, int64_t offset, int64_t length,
                    BufFile output) {
    const BufFile input = app.files.BufFileOpen(name, BufOpenMode::Read, 0);
    if (input < 0) {
        ShowMessage(app.ui, kMbStop, "Can't Read Temporary File %s for Append Operation.",
                    name.c_str());
        return 1;
    }
    if (offset > 0) {
        app.files.BufFileSeek(input, offset, BufSeekOrigin::Begin);
    }
    const auto block = std::make_unique_for_overwrite<char[]>(kAppendBlock);
    for (int64_t left = length; left != 0;) {
        const long want =
            left < 0 ? kAppendBlock : static_cast<long>(std::min<int64_t>(left, kAppendBlock));
        const long got = app.files.BufFileRead(input, block.get(), want);
        if (got < 0 || (got == 0 && left > 0)) {
            app.files.BufFileClose(input);
            ShowMessage(app.ui, kMbStop, "Read Error During Append Operation.");
            return 1;
        }
        if (got == 0) {
            break;
        }
        if (left > 0) {
            left -= got;
        }
        const long put =
            app.files.BufFileWrite(output, std::string_view(block.get(), static_cast<size_t>(got)));
        if (put < got) {
            app.files.BufFileClose(input);
            ShowMessage(app.ui, kMbStop, "Write Error During Append:\r\nWanted %d, Got %d bytes.",
                        static_cast<int>(got), static_cast<int>(put));
            return 1;
        }
        PumpMessages(app.ui, 4);
        if (app.cancel.Requested()) {
            app.files.BufFileClose(input);
            return 1;
        }
    }
    app.files.BufFileClose(input);
    return 0;
}

int JoinParts(DecodeContext& app, int total, int interactive, int mode) {
    // A cancel left over from before must not stop this join; showing a Cancel control is the
    // shell's business, and the pump still delivers a new one.
    app.cancel.Reset();
    if (total <= 0) {
        ShowMessage(app.ui, kMbStop,
                    "Number of Parts Could Not be Determined;\r\nSomething is Missing.");
        return kResultReported;
    }
    PartTable& parts = app.parts;
    if (const std::string missing = MissingPartsText(parts, total); !missing.empty()) {
        ShowMessage(app.ui, kMbStop, "%s", missing.c_str());
        return kResultReported;
    }
    if (mode == kJoinDecode && app.job.CurrentFileFormat == kFormatSingleFile) {
        // The decode wrote straight into the output file.
        return kResultDone;
    }

    const bool concatenate = mode == kJoinConcatenate;
    // With every part of the assembly in its place, the others are written into their gaps and
    // the assembly becomes the output; `output` is then the assembly, open for that.
    bool inPlace = false;
    auto fail = [&](BufFile output, int result) {
        if (inPlace) {
            // The output was made empty and removed; the assembly goes with the driver's files.
            app.files.BufFileClose(output);
            output = kNoBufFile;
        }
        DiscardOutput(app, output);
        if (concatenate) {
            ForgetInputFiles(parts, total);
        }
        RestoreCursor(app.ui);
        return result;
    };

    PartAssembly& assembly = app.decode.assembly;
    std::error_code ec;
    const bool outputExisted =
        std::filesystem::exists(std::filesystem::symlink_status(app.job.JobOutputPath, ec));
    SetBusyCursor(app.ui);
    SetProgress(app.ui, 0);
    BufFile output = kNoBufFile;
    for (int k = 1; k <= total; ++k) {
        const int r = RowOfPart(parts, k, total);
        if (r < 0) {
            ShowMessage(app.ui, kMbStop, "Somehow Missing Part %d in Join Operation.", k);
            return fail(output, kResultReported);
        }
        parts.current = r;
        PartRecord& row = parts.rows[static_cast<std::size_t>(r)];
        if (k == 1) {
            const std::string asked = app.job.JobOutputPath;
            output = MakeOutFile(app, app.job.JobOutputPath, mode, interactive);
            if (output < 0) {
                if (concatenate) {
                    ForgetInputFiles(parts, total);
                }
                RestoreCursor(app.ui);
                return output;
            }
            // A file that was there keeps what it is (its links and rights), a device stays a
            // device: only a file made just now is replaced by the assembly.
            if (!concatenate && !outputExisted && app.job.JobOutputPath == asked &&
                assembly.InPlace(total)) {
                inPlace = SwitchToAssembly(app, output);
            }
        }
        const std::string partPath = PartFilePath(row);
        if (concatenate) {
            ShowJobStatus(app, kDirectionConcatenate, 0, partPath,
                          std::string_view(app.job.JobOutputPath), k, total);
        } else {
            ShowStatus(app.ui, "Joining Part %d of %d for %s", k, total,
                       std::string(FileNamePart(app.job.JobOutputPath)).c_str());
        }
        SetProgress(app.ui, k * 100 / total);
        if (AppendPart(app, k, partPath, output, inPlace) != 0) {
            const bool cancelled = app.cancel.Requested();
            if (!cancelled) {
                ShowMessage(app.ui, kMbStop, "Join Error for Part %d.", k);
            }
            return fail(output, cancelled ? kResultAborted : kResultReported);
        }
        if (concatenate) {
            const std::string_view eol = EndOfLineString(app.config);
            if (app.files.BufFileWrite(output, eol) < static_cast<long>(eol.size())) {
                ShowMessage(app.ui, kMbStop, "Join Error for Part %d.", k);
                return fail(output, kResultReported);
            }
        } else if (!assembly.Holds(k)) {
            std::remove(partPath.c_str());
        }
        row.fileName.clear();
        row.directory.clear();
    }
    // The last blocks reach the disk only now; losing them spoils the last part.
    if (!app.files.BufFileClose(output) ||
        (inPlace && !assembly.BecomeFile(app.job.JobOutputPath, assembly.JoinedOffset(total + 1)) &&
         !CopyAssembly(app, total))) {
        ShowMessage(app.ui, kMbStop, "Join Error for Part %d.", total);
        RemoveOutputFile(app.job.JobOutputPath);
        return fail(kNoBufFile, kResultReported);
    }
    RestoreCursor(app.ui);
    return kResultDone;
}

}  // namespace mandrel
