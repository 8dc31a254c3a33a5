// The help document: one HTML file installed with the program, with an anchor for every help
// keyword, opened in the user's browser at the keyword a command or a dialog's Help button names.
#pragma once

#include <QString>
#include <QUrl>
#include <functional>
#include <span>

namespace mandrel {

// Every keyword the program asks the help document for.
std::span<const char* const> HelpKeywords();
// The document's anchor for a keyword: lower case, blanks as hyphens ("cannot-decode").
QString HelpAnchor(const QString& keyword);

class HelpDesk {
public:
    explicit HelpDesk(QString documentPath);

    const QString& DocumentPath() const { return documentPath_; }
    // The document at its table of contents.
    void Contents() const;
    // The document at the keyword's topic.
    void Keyword(const QString& keyword) const;
    QUrl UrlFor(const QString& keyword) const;
    // Where the address goes; the browser by default, a recorder in the tests.
    void SetOpener(std::function<bool(const QUrl&)> opener) { opener_ = std::move(opener); }

private:
    QString documentPath_;
    std::function<bool(const QUrl&)> opener_;
};

}  // namespace mandrel
