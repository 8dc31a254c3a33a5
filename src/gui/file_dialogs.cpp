#include "gui/file_dialogs.h"

#include <QFileDialog>
#include <QFileInfo>
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

// A filter as Qt reads it: the description with the patterns in parentheses at its end. The
// patterns replace a list the description already shows, since Qt reads blank-separated
// patterns only; "*.*" becomes "*" so that names without a dot are listed too, as they are
// on the system the filters were written for; matching ignores letter case.
QString QtFilter(const Filter& filter) {
    QString description = QString::fromLatin1(filter.description);
    if (description.endsWith(QLatin1Char(')'))) {
        description.truncate(description.lastIndexOf(QLatin1Char('(')));
        description = description.trimmed();
    }
    QStringList patterns = QString::fromLatin1(filter.patterns).toLower().split(QLatin1Char(';'));
    for (QString& pattern : patterns) {
        if (pattern == QLatin1String("*.*")) {
            pattern = QStringLiteral("*");
        }
    }
    return description + QStringLiteral(" (") + patterns.join(QLatin1Char(' ')) + QLatin1Char(')');
}

QStringList QtFilters(std::span<const Filter> filters) {
    QStringList list;
    for (const Filter& filter : filters) {
        list.append(QtFilter(filter));
    }
    return list;
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
    dialog.setFileMode(QFileDialog::ExistingFiles);
    dialog.setOption(QFileDialog::ReadOnly, false);
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
    memory.filterIndex = static_cast<int>(filters.indexOf(dialog.selectedNameFilter())) + 1;
    if (memory.filterIndex < 1) {
        memory.filterIndex = 1;
    }
    return dialog.selectedFiles();
}

SaveDialogResult AskOutputFile(QWidget* owner, const SaveDialogRequest& request) {
    QFileDialog dialog(owner, QString::fromStdString(request.title));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    // MakeOutFile asks "Overwrite Existing" itself.
    dialog.setOption(QFileDialog::DontConfirmOverwrite, true);
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
