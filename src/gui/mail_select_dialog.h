// "Select E-mail Messages to Decode": logs on to the mailbox, lists every message (subject,
// sender, when it was received, size, type, and the hidden message id), and on "&Decode" saves
// the chosen messages' attachments and writes the text of the others into temporary files for
// the decoder. The session is logged off when the dialog ends.
#pragma once

#include <QDialog>
#include <string>
#include <vector>

class QPushButton;
class QTreeWidget;

namespace mandrel {

class DesktopMailUi;
class MailSession;
struct JobContext;
struct MessageSummary;

class MailSelectDialog : public QDialog {
public:
    // saveDirectory stands in for an input's own directory for attachments saved "Same as
    // Input File".
    MailSelectDialog(QWidget* owner, JobContext& app, MailSession& session, DesktopMailUi& mailUi,
                     std::string saveDirectory);

    // Logs on and shows the list until the user decodes or cancels; false when the logon
    // failed (and nothing was shown).
    bool Run();
    // The temporary inputs "&Decode" wrote, in list order.
    const std::vector<std::string>& Files() const { return files_; }

    void reject() override;

private:
    void List();
    void AddItem(const MessageSummary& summary);
    void Decode();

    JobContext& app_;
    MailSession& session_;
    DesktopMailUi& mailUi_;
    std::string saveDirectory_;
    QTreeWidget* list_;
    QPushButton* decode_;
    std::vector<std::string> files_;
    bool listing_ = false;
    bool closeWhenListed_ = false;
    bool loggedOn_ = false;
};

}  // namespace mandrel
