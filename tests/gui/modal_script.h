// Answering the program's modal dialogs in window tests, as a user would: one scripted step
// for each dialog as it comes up, with what each one showed recorded.
#pragma once

#include <QElapsedTimer>
#include <QFileDialog>
#include <QMessageBox>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <deque>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace mandrel::test {

// What a modal box or dialog showed: its caption and its text.
struct Shown {
    QString title;
    QString text;
};

// The text of a message box, or of the text block of one of the program's dialogs.
QString TextOf(QWidget* widget);

// Answers the modal dialogs of a test as they come up, one step each, and records what each
// one showed. A dialog nobody answers is closed after a while and counted, so that a test
// fails instead of hanging.
class ModalScript {
public:
    using Step = std::function<void(QWidget*)>;

    ModalScript();
    void Add(Step step) { steps_.push_back(std::move(step)); }
    void Add(std::initializer_list<Step> steps);
    std::vector<Shown> shown;
    int unanswered = 0;
    std::size_t Pending() const { return steps_.size(); }

private:
    void Poll();

    QTimer timer_;
    std::deque<Step> steps_;
    QPointer<QWidget> last_;
    QElapsedTimer waiting_;
    QElapsedTimer handled_;
};

// Steps for the usual answers.
ModalScript::Step Press(QMessageBox::StandardButton which);
ModalScript::Step Click(int id);
ModalScript::Step Key(Qt::Key key);
ModalScript::Step ChooseFiles(const QStringList& paths);
// Accepts a save dialog with the name it proposes, after checking its title and that name.
ModalScript::Step AcceptProposed(const QString& title, const QString& path);
ModalScript::Step CancelDialog();
// Types names into a file dialog's name field, as a user does.
void TypeNames(QFileDialog& dialog, const QStringList& paths);

inline QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

}  // namespace mandrel::test
