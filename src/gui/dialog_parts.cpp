#include "gui/dialog_parts.h"

#include <QFontMetrics>
#include <QPlainTextEdit>
#include <string_view>

namespace mandrel {

QString ControlName(int id) {
    return QString::number(id);
}

QPushButton* MakeButton(QWidget* parent, int id, const char* text) {
    auto* button = new QPushButton(QString::fromUtf8(text), parent);
    button->setObjectName(ControlName(id));
    button->setAutoDefault(false);
    return button;
}

QPlainTextEdit* MakeTextBlock(QWidget* parent, int id, const QString& text, int minimumLines) {
    auto* block = new QPlainTextEdit(text, parent);
    block->setObjectName(ControlName(id));
    block->setReadOnly(true);
    block->setFrameShape(QFrame::NoFrame);
    block->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    block->viewport()->setAutoFillBackground(false);
    block->setFocusPolicy(Qt::NoFocus);
    const QFontMetrics metrics(block->font());
    block->setMinimumWidth(metrics.averageCharWidth() * 64);
    block->setMinimumHeight(metrics.lineSpacing() * minimumLines + 8);
    return block;
}

QString DisplayText(std::string_view text) {
    QString shown = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    shown.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    return shown;
}

}  // namespace mandrel
