#include "gui/url_opener.h"

#include <QDesktopServices>
#include <string>
#include <vector>

#include "platform/browser_command.h"

namespace mandrel {

bool OpenUrl(const QUrl& url, const UrlOpener& shellOpen) {
    if (shellOpen(url)) {
        return true;
    }
    std::optional<std::vector<std::string>> command = BrowserCommand();
    if (!command) {
        return false;
    }
    command->push_back(url.toString(QUrl::FullyEncoded).toStdString());
    return StartCommand(*command);
}

UrlOpener DesktopUrlOpener() {
    return [](const QUrl& url) {
        return OpenUrl(url, [](const QUrl& address) { return QDesktopServices::openUrl(address); });
    };
}

}  // namespace mandrel
