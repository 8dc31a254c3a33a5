// "Checksum Error Details": the figures the text carried that the decoded file does not match,
// one row each.
#pragma once

#include <QDialog>
#include <string>
#include <vector>

namespace mandrel {

class HelpDesk;

class ChecksumDetailsDialog : public QDialog {
public:
    ChecksumDetailsDialog(QWidget* owner, const QString& caption, const QString& inputPath,
                          const std::vector<std::string>& lines, const HelpDesk& help);
};

}  // namespace mandrel
