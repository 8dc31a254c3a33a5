#include "gui/modal_script.h"

#include <QApplication>
#include <QDialog>
#include <QFileInfo>
#include <QLineEdit>
#include <QPushButton>
#include <QTextEdit>
#include <QtTest>

namespace mandrel::test {

QString TextOf(QWidget* widget) {
    if (auto* box = qobject_cast<QMessageBox*>(widget)) {
        return box->text();
    }
    for (const char* id : {"601", "240", "252"}) {
        if (auto* block = widget->findChild<QTextEdit*>(QString::fromLatin1(id))) {
            return block->toPlainText();
        }
    }
    return {};
}

ModalScript::ModalScript() {
    QObject::connect(&timer_, &QTimer::timeout, [this] { Poll(); });
    timer_.start(5);
}

void ModalScript::Add(std::initializer_list<Step> steps) {
    for (const Step& step : steps) {
        steps_.push_back(step);
    }
}

void ModalScript::Poll() {
    QWidget* modal = QApplication::activeModalWidget();
    if (modal != nullptr && modal == last_ && modal->isVisible()) {
        // A step that failed left its dialog up: close it, so the test ends.
        if (handled_.elapsed() > 3000) {
            ++unanswered;
            qobject_cast<QDialog*>(modal)->reject();
        }
        return;
    }
    if (modal == nullptr || !modal->isVisible()) {
        return;
    }
    if (steps_.empty()) {
        if (!waiting_.isValid()) {
            waiting_.start();
        } else if (waiting_.elapsed() > 3000) {
            ++unanswered;
            last_ = modal;
            waiting_.invalidate();
            shown.push_back({modal->windowTitle(), TextOf(modal)});
            qobject_cast<QDialog*>(modal)->reject();
        }
        return;
    }
    waiting_.invalidate();
    last_ = modal;
    handled_.start();
    shown.push_back({modal->windowTitle(), TextOf(modal)});
    const Step step = steps_.front();
    steps_.pop_front();
    step(modal);
}

ModalScript::Step Press(QMessageBox::StandardButton which) {
    return [which](QWidget* widget) {
        auto* box = qobject_cast<QMessageBox*>(widget);
        QVERIFY2(box != nullptr, qPrintable(widget->metaObject()->className() + QLatin1Char(' ') +
                                            widget->windowTitle()));
        box->button(which)->click();
    };
}
ModalScript::Step Click(int id) {
    return [id](QWidget* widget) {
        auto* button = widget->findChild<QPushButton*>(QString::number(id));
        QVERIFY2(button != nullptr, qPrintable(QString::number(id)));
        button->click();
    };
}
ModalScript::Step Key(Qt::Key key) {
    return [key](QWidget* widget) { QTest::keyClick(widget, key); };
}
// (selectFile would leave the name field alone while it has the focus and the dialog's list,
// filled by a thread of its own, does not hold the file yet.)
void TypeNames(QFileDialog& dialog, const QStringList& paths) {
    dialog.setDirectory(QFileInfo(paths.front()).absolutePath());
    QStringList names;
    for (const QString& path : paths) {
        const QString name = QFileInfo(path).fileName();
        names.append(paths.size() == 1 ? name : QLatin1Char('"') + name + QLatin1Char('"'));
    }
    dialog.findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))
        ->setText(names.join(QLatin1Char(' ')));
}
ModalScript::Step ChooseFiles(const QStringList& paths) {
    return [paths](QWidget* widget) {
        auto* dialog = qobject_cast<QFileDialog*>(widget);
        QVERIFY(dialog != nullptr);
        TypeNames(*dialog, paths);
        static_cast<QDialog*>(dialog)->accept();
    };
}
ModalScript::Step AcceptProposed(const QString& title, const QString& path) {
    return [title, path](QWidget* widget) {
        QCOMPARE(widget->windowTitle(), title);
        auto* dialog = qobject_cast<QFileDialog*>(widget);
        QCOMPARE(dialog->selectedFiles().value(0), path);
        static_cast<QDialog*>(dialog)->accept();
    };
}
ModalScript::Step CancelDialog() {
    return [](QWidget* widget) { qobject_cast<QDialog*>(widget)->reject(); };
}

}  // namespace mandrel::test
