// Web addresses and the help document go to the user's browser: through the desktop first, and
// when the desktop cannot open the address, through the program that opens HTML documents.
#pragma once

#include <QUrl>
#include <functional>

namespace mandrel {

// Hands an address to the user's browser; false when none could be started.
using UrlOpener = std::function<bool(const QUrl&)>;

// The desktop's way (shellOpen) first; when it fails, the HTML program's command followed by the
// address. False when neither started.
bool OpenUrl(const QUrl& url, const UrlOpener& shellOpen);

// OpenUrl with the desktop's own way (QDesktopServices).
UrlOpener DesktopUrlOpener();

}  // namespace mandrel
