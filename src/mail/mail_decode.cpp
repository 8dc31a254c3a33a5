#include "mail/mail_decode.h"

#include <cerrno>
#include <fstream>

#include "core/job_context.h"
#include "core/output_files.h"
#include "core/text_util.h"
#include "core/user_port.h"
#include "mail/mail_codes.h"
#include "mail/mail_session.h"

namespace mandrel {

namespace {

constexpr const char* kNamelessAttachment = "DontKnow.Yet";

void SaveAttachments(JobContext& app, const MessageContent& content,
                     const std::string& saveDirectory, bool interactive) {
    const int count = static_cast<int>(content.attachments.size());
    for (int i = 0; i < count; ++i) {
        const Attachment& attachment = content.attachments[static_cast<std::size_t>(i)];
        ShowStatus(app.ui, "Saving Attachment %d of %d", i + 1, count);
        std::string name = attachment.fileName;
        SanitizeFileName(name);
        if (name.empty()) {
            name = kNamelessAttachment;
        }
        std::string path = saveDirectory.empty() ? name : JoinPath(saveDirectory, name);
        const BufFile output = MakeOutFile(app, path, kDirectionDecode, interactive ? 1 : 0);
        if (output < 0) {
            continue;
        }
        const bool wrote = app.files.BufFileWrite(output, attachment.bytes) ==
                           static_cast<long>(attachment.bytes.size());
        const bool closed = app.files.BufFileClose(output);
        const bool written = wrote && closed;
        if (!written) {
            ShowSystemError(app.ui, app.files.LastError(), kMbExclamation,
                            "Saving Attachment %s Failed because\r\n", attachment.fileName.c_str());
        }
    }
}

// A new temporary file for the text of messages, on the list; false when it cannot be made
// (said, and nothing is on the list).
bool StartTextFile(JobContext& app, TakenMessages& taken, std::ofstream& out) {
    std::string path;
    if (MakeTempFileName(path) == 0) {
        ShowSystemError(app.ui, errno, kMbStop, "Can't Write to %s because\r\n", path.c_str());
        return false;
    }
    out.open(path, std::ios::binary | std::ios::trunc);
    if (!out) {
        ShowSystemError(app.ui, errno, kMbStop, "Can't Write to %s because\r\n", path.c_str());
        std::remove(path.c_str());
        return false;
    }
    taken.textFiles.push_back(path);
    return true;
}

}  // namespace

TakenMessages TakeMessages(JobContext& app, MailSession& session,
                           const std::vector<std::string>& ids, const std::string& saveDirectory,
                           bool interactive) {
    TakenMessages taken;
    const bool join = app.config.decodejoin != 0;
    const std::string eol(EndOfLineString(app.config));
    std::ofstream text;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        MessageContent content;
        if (session.ReadMessage(true, ids[i], content) != kMailSuccess) {
            continue;
        }
        taken.anythingDone = true;
        if (!content.attachments.empty()) {
            SaveAttachments(app, content, saveDirectory, interactive);
            continue;
        }
        if ((!text.is_open() || !join) && !StartTextFile(app, taken, text)) {
            continue;
        }
        if (!content.subject.empty()) {
            text << eol << eol << "Subject: " << content.subject;
        }
        text << eol << eol << eol << content.noteText;
        if (!join || i + 1 == ids.size()) {
            text.close();
        }
    }
    if (text.is_open()) {
        text.close();
    }
    return taken;
}

}  // namespace mandrel
