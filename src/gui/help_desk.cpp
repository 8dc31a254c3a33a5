#include "gui/help_desk.h"

#include <array>

#include "gui/url_opener.h"

namespace mandrel {

namespace {

constexpr std::array<const char*, 15> kKeywords = {
    "Procedures",
    "Keyboard",
    "Commands",
    "support",
    "cannot encode",
    "cannot decode",
    "General Configuration",
    "Encoding Configuration",
    "Decoding Configuration",
    "Check Version",
    "E-mail Settings",
    "invalid checksum",
    "invalid data",
    "unknown multipart",
    "ask encode",
};

}  // namespace

std::span<const char* const> HelpKeywords() {
    return kKeywords;
}

QString HelpAnchor(const QString& keyword) {
    return keyword.toLower().replace(QLatin1Char(' '), QLatin1Char('-'));
}

HelpDesk::HelpDesk(QString documentPath)
    : documentPath_(std::move(documentPath)), opener_(DesktopUrlOpener()) {}

void HelpDesk::Contents() const {
    opener_(QUrl::fromLocalFile(documentPath_));
}

void HelpDesk::Keyword(const QString& keyword) const {
    opener_(UrlFor(keyword));
}

QUrl HelpDesk::UrlFor(const QString& keyword) const {
    QUrl url = QUrl::fromLocalFile(documentPath_);
    url.setFragment(HelpAnchor(keyword));
    return url;
}

}  // namespace mandrel
