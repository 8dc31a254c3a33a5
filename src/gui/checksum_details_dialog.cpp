#include "gui/checksum_details_dialog.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "gui/dialog_parts.h"

namespace mandrel {

namespace {

constexpr int kIdInputPath = 221;
constexpr int kIdDifferences = 220;
constexpr int kIdClose = 1;

// The list box's tab-separated columns as the columns of a list view: what differs, the
// expected and the calculated figure.
QTreeWidget* MakeDifferenceList(QWidget* parent, const std::vector<std::string>& lines) {
    auto* list = new QTreeWidget(parent);
    list->setObjectName(ControlName(kIdDifferences));
    list->setRootIsDecorated(false);
    list->setColumnCount(3);
    list->setHeaderHidden(true);
    list->setSelectionMode(QAbstractItemView::NoSelection);
    list->setFocusPolicy(Qt::NoFocus);
    for (const std::string& line : lines) {
        list->addTopLevelItem(new QTreeWidgetItem(DisplayText(line).split(QLatin1Char('\t'))));
    }
    for (int column = 0; column < 3; ++column) {
        list->resizeColumnToContents(column);
    }
    list->header()->setStretchLastSection(true);
    return list;
}

}  // namespace

ChecksumDetailsDialog::ChecksumDetailsDialog(QWidget* owner, const QString& caption,
                                             const QString& inputPath,
                                             const std::vector<std::string>& lines,
                                             const HelpDesk& help)
    : QDialog(owner) {
    setWindowTitle(caption);
    auto* layout = new QVBoxLayout(this);
    auto* inputRow = new QHBoxLayout;
    inputRow->addWidget(new QLabel(QStringLiteral("Input File:"), this));
    auto* input = new QLabel(inputPath, this);
    input->setObjectName(ControlName(kIdInputPath));
    input->setTextInteractionFlags(Qt::TextSelectableByMouse);
    inputRow->addWidget(input, 1);
    layout->addLayout(inputRow);
    QTreeWidget* list = MakeDifferenceList(this, lines);
    list->setMinimumSize(540, 120);
    layout->addWidget(list);
    QPushButton* close = MakeAnswerButton(this, kIdClose, "Close");
    close->setDefault(true);
    QHBoxLayout* buttons = MakeButtonRow({close, MakeHelpButton(this, help, "invalid checksum")});
    buttons->insertStretch(0, 1);
    layout->addLayout(buttons);
}

}  // namespace mandrel
