#include "gui/file_dialogs.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QTreeView>
#include <array>
#include <span>

#include "core/job_state.h"

namespace mandrel {

namespace {

struct Filter {
    const char* description;
    const char* patterns;  // separated by ";"
};

// clang-format off
constexpr std::array<Filter, 3> kEncodeOpenFilters = {{
    {"All Files (*.*)", "*.*"},
    {"Archive Files (*.zip, *.arc, *.lzh, *.zoo)", "*.arc;*.zip;*.zoo;*.lzh"},
    {"Executable Files (*.exe, *.dll, *.com)", "*.exe;*.com;*.dll"},
}};
constexpr std::array<Filter, 6> kDecodeOpenFilters = {{
    {"Encoded Files", "*.uue;*.xxe;*.mme;*.uu;*.xx;*.mm;*.b64;*.hqx;*.hex"},
    {"UU Encoded Files (*.uue, *.uu)", "*.uue;*.uu"},
    {"XX Encoded Files (*.xxe, *.xx)", "*.xxe;*.xx"},
    {"MIME Encoded Files (*.mme, *.b64, *.mm)", "*.mme;*.mm;*.b64"},
    {"BINHEX Encoded Files (*.hqx, *.hex)", "*.hqx;*.hex"},
    {"All Files (*.*)", "*.*"},
}};
constexpr std::array<Filter, 5> kEncodeSaveFilters = {{
    {"Encoded Files (*.UUE, *.XXE, *.MME, *.B64, *.HQX)", "*.UUE;*.XXE;*.MME;*.HQX;*.B64"},
    {"UU Encoded Files (*.UUE)", "*.UUE"},
    {"XX Encoded Files (*.XXE)", "*.XXE"},
    {"MIME Encoded Files (*.MME, *.B64)", "*.MME;*.B64"},
    {"BINHEX Encoded Files (*.HQX)", "*.HQX"},
}};
constexpr std::array<Filter, 1> kDecodeSaveFilters = {{{"All Files", "*.*"}}};
// clang-format on

// A filter as Qt reads it: the description, then the patterns in parentheses, which the
// dialogs keep out of sight (HideNameFilterDetails), so that the user sees the description as
// it stands. "*.*" becomes "*" so that names without a dot are listed too, as they are on the
// system the filters were written for; patterns are in lower case, as names here mostly are.
QString QtFilter(const Filter& filter) {
    QStringList patterns = QString::fromLatin1(filter.patterns).toLower().split(QLatin1Char(';'));
    for (QString& pattern : patterns) {
        if (pattern == QLatin1String("*.*")) {
            pattern = QStringLiteral("*");
        }
    }
    return QString::fromLatin1(filter.description) + QStringLiteral(" (") +
           patterns.join(QLatin1Char(' ')) + QLatin1Char(')');
}

QStringList QtFilters(std::span<const Filter> filters) {
    QStringList list;
    for (const Filter& filter : filters) {
        list.append(QtFilter(filter));
    }
    return list;
}

// The place, counted from 1, of the filter the dialog reports as chosen: with the details out of
// sight it reports the description alone.
int ChosenFilter(const QStringList& filters, const QString& chosen) {
    for (int i = 0; i < filters.size(); ++i) {
        const QString& filter = filters[i];
        if (filter == chosen || filter.startsWith(chosen + QStringLiteral(" ("))) {
            return i + 1;
        }
    }
    return 1;
}

// Roomy enough that the list's size, type and date columns show whole.
constexpr QSize kDialogSize(820, 480);

// Qt's own dialog gives its size, type and date columns a fixed width that cuts their text;
// they are sized to what they hold, and the names take the rest.
void FitColumns(QFileDialog& dialog) {
    auto* view = dialog.findChild<QTreeView*>(QStringLiteral("treeView"));
    if (view == nullptr) {
        return;
    }
    QHeaderView* header = view->header();
    header->setStretchLastSection(false);
    header->setSectionResizeMode(QHeaderView::ResizeToContents);
    header->setSectionResizeMode(0, QHeaderView::Stretch);
}

QString Verb(int direction) {
    return direction == kDirectionEncode ? QStringLiteral("Encode") : QStringLiteral("Decode");
}

}  // namespace

QStringList OpenFilters(int direction) {
    return direction == kDirectionEncode ? QtFilters(kEncodeOpenFilters)
                                         : QtFilters(kDecodeOpenFilters);
}

QStringList SaveFilters(int direction) {
    switch (direction) {
        case kDirectionEncode:
            return QtFilters(kEncodeSaveFilters);
        case kDirectionDecode:
            return QtFilters(kDecodeSaveFilters);
        default:
            return {};
    }
}

QStringList AskInputFiles(QWidget* owner, int direction, const QString& proposed,
                          const QString& initialDirectory, OpenDialogMemory& memory) {
    QFileDialog dialog(owner, Verb(direction));
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.resize(kDialogSize);
    FitColumns(dialog);
    dialog.setFileMode(QFileDialog::ExistingFiles);
    dialog.setOption(QFileDialog::ReadOnly, false);
    dialog.setOption(QFileDialog::HideNameFilterDetails, true);
    const QStringList filters = OpenFilters(direction);
    dialog.setNameFilters(filters);
    const int index = std::clamp(memory.filterIndex, 1, static_cast<int>(filters.size()));
    dialog.selectNameFilter(filters[index - 1]);
    if (!initialDirectory.isEmpty()) {
        dialog.setDirectory(initialDirectory);
    } else if (!proposed.isEmpty()) {
        dialog.setDirectory(QFileInfo(proposed).absolutePath());
    }
    if (!proposed.isEmpty()) {
        dialog.selectFile(QFileInfo(proposed).fileName());
    }
    if (dialog.exec() != QDialog::Accepted) {
        return {};
    }
    memory.filterIndex = ChosenFilter(filters, dialog.selectedNameFilter());
    return dialog.selectedFiles();
}

SaveDialogResult AskOutputFile(QWidget* owner, const SaveDialogRequest& request) {
    QFileDialog dialog(owner, QString::fromStdString(request.title));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.resize(kDialogSize);
    FitColumns(dialog);
    dialog.setFileMode(QFileDialog::AnyFile);
    // MakeOutFile asks "Overwrite Existing" itself.
    dialog.setOption(QFileDialog::DontConfirmOverwrite, true);
    dialog.setOption(QFileDialog::HideNameFilterDetails, true);
    const QStringList filters = SaveFilters(request.direction);
    if (!filters.isEmpty()) {
        dialog.setNameFilters(filters);
    }
    const QFileInfo proposed(QString::fromStdString(request.proposedPath));
    if (!request.initialDirectory.empty()) {
        dialog.setDirectory(QString::fromStdString(request.initialDirectory));
    } else if (!request.proposedPath.empty()) {
        dialog.setDirectory(proposed.absolutePath());
    }
    dialog.selectFile(proposed.fileName());
    SaveDialogResult result;
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
        result.outcome = SaveDialogResult::Outcome::Cancelled;
        return result;
    }
    result.outcome = SaveDialogResult::Outcome::Chosen;
    result.path = dialog.selectedFiles().constFirst().toStdString();
    return result;
}

}  // namespace mandrel
