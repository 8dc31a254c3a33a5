// The program's version: "Program Version and Upgrade Information", which can send the browser
// to the maker's version check, and the About box with the maker's web site.
#pragma once

#include <QDialog>
#include <QString>

#include "gui/url_opener.h"

namespace mandrel {

class HelpDesk;
class UserPort;

// The maker's web site, and the version-check address for this build.
QString MakerSite();
QString VersionCheckAddress();
// "%s - %s" with the version and the release date, or the texts that stand in for them.
QString VersionAndDate();

class CheckVersionDialog : public QDialog {
public:
    CheckVersionDialog(QWidget* owner, const HelpDesk& help, UserPort& ui, const UrlOpener& open);
};

class AboutDialog : public QDialog {
public:
    AboutDialog(QWidget* owner, const QString& internalName, const QString& productName,
                const QString& companyName, const UrlOpener& open);

protected:
    void showEvent(QShowEvent* event) override;
};

}  // namespace mandrel
