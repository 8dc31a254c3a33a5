#include "gui/dialog_parts.h"

#include "gui/help_desk.h"

#include <QCheckBox>
#include <QFileDialog>
#include <QFontMetrics>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QTextDocument>
#include <QTextEdit>
#include <QToolButton>
#include <QVBoxLayout>
#include <QtMath>
#include <algorithm>
#include <string_view>

namespace mandrel {

namespace {

constexpr int kBlockColumns = 66;
constexpr int kMostLines = 16;

}  // namespace

QString ControlName(int id) {
    return QString::number(id);
}

QPushButton* MakeButton(QWidget* parent, int id, const char* text) {
    auto* button = new QPushButton(QString::fromUtf8(text), parent);
    button->setObjectName(ControlName(id));
    button->setAutoDefault(false);
    return button;
}

QPushButton* MakeAnswerButton(QDialog* dialog, int id, const char* text) {
    QPushButton* button = MakeButton(dialog, id, text);
    QObject::connect(button, &QPushButton::clicked, dialog, [dialog, id] { dialog->done(id); });
    return button;
}

QPushButton* MakeHelpButton(QWidget* parent, const HelpDesk& help, const char* keyword) {
    QPushButton* button = MakeButton(parent, kIdHelpButton, "&Help");
    const QString topic = QString::fromLatin1(keyword);
    QObject::connect(button, &QPushButton::clicked, parent,
                     [&help, topic] { help.Keyword(topic); });
    return button;
}

QCheckBox* MakeCheckBox(QWidget* parent, int id, const char* text, bool checked) {
    auto* box = new QCheckBox(QString::fromLatin1(text), parent);
    box->setObjectName(ControlName(id));
    box->setChecked(checked);
    return box;
}

QGroupBox* MakeRadioGroup(QWidget* parent, const char* title, std::span<const RadioChoice> choices,
                          int checkedId) {
    auto* group = new QGroupBox(QString::fromLatin1(title), parent);
    auto* column = new QVBoxLayout(group);
    for (const RadioChoice& choice : choices) {
        auto* radio = new QRadioButton(QString::fromLatin1(choice.text), group);
        radio->setObjectName(ControlName(choice.id));
        radio->setChecked(choice.id == checkedId);
        column->addWidget(radio);
    }
    // Beside a taller group the buttons stay together at the top.
    column->addStretch(1);
    return group;
}

QHBoxLayout* LabelledRow(QLabel* label, QWidget* control) {
    label->setBuddy(control);
    auto* row = new QHBoxLayout;
    row->addWidget(label);
    row->addWidget(control, 1);
    return row;
}

QHBoxLayout* MakeButtonRow(std::initializer_list<QPushButton*> buttons) {
    auto* row = new QHBoxLayout;
    for (QPushButton* button : buttons) {
        row->addWidget(button);
    }
    return row;
}

QTextEdit* MakeTextBlock(QWidget* parent, int id, const QString& text) {
    auto* block = new QTextEdit(parent);
    block->setObjectName(ControlName(id));
    block->setPlainText(text);
    block->setReadOnly(true);
    block->setFrameShape(QFrame::NoFrame);
    block->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    block->viewport()->setAutoFillBackground(false);
    block->setFocusPolicy(Qt::NoFocus);
    block->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // As wide as a line of the longest message, as high as the text it holds (a very long one
    // scrolls).
    const QFontMetrics metrics(block->font());
    const int width = metrics.averageCharWidth() * kBlockColumns;
    // Measured on a document of its own: the block's own one is laid out for the widget's
    // present width, which it does not have yet.
    QTextDocument measure;
    measure.setDefaultFont(block->font());
    measure.setDefaultTextOption(block->document()->defaultTextOption());
    measure.setPlainText(text);
    measure.setTextWidth(width);
    const int height = qCeil(measure.size().height());
    const int most = metrics.lineSpacing() * kMostLines;
    block->setFixedSize(width, std::min(height, most));
    block->setVerticalScrollBarPolicy(height > most ? Qt::ScrollBarAsNeeded
                                                    : Qt::ScrollBarAlwaysOff);
    return block;
}

QString DisplayText(std::string_view text) {
    QString shown = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    shown.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    return shown;
}

QWidget* PathField(QWidget* parent, QLineEdit* edit, PathKind kind) {
    auto* field = new QWidget(parent);
    edit->setParent(field);
    auto* browse = new QToolButton(field);
    browse->setObjectName(QStringLiteral("browse"));
    browse->setText(QStringLiteral("..."));
    browse->setToolTip(kind == PathKind::Directory ? QStringLiteral("Choose the directory")
                                                   : QStringLiteral("Choose the file"));
    QObject::connect(browse, &QToolButton::clicked, field, [field, edit, kind] {
        const QString title = field->window()->windowTitle();
        const QString chosen = kind == PathKind::Directory
                                   ? QFileDialog::getExistingDirectory(field, title, edit->text())
                                   : QFileDialog::getOpenFileName(field, title, edit->text());
        if (!chosen.isEmpty()) {
            edit->setText(chosen);
        }
    });
    auto* row = new QHBoxLayout(field);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(edit, 1);
    row->addWidget(browse);
    return field;
}

}  // namespace mandrel
