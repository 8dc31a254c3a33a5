#include "platform/qsettings_store.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QString>

#include <vector>

namespace mandrel {

namespace {

QString ToQString(std::string_view text) {
    return QString::fromLocal8Bit(text.data(), static_cast<qsizetype>(text.size()));
}

std::vector<std::string_view> SplitKey(std::string_view key) {
    std::vector<std::string_view> parts;
    std::size_t start = 0;
    while (start <= key.size()) {
        const std::size_t cut = key.find('\\', start);
        const std::size_t end = cut == std::string_view::npos ? key.size() : cut;
        parts.push_back(key.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

}  // namespace

QSettingsStore::QSettingsStore(std::string configDirectory)
    : configDirectory_(std::move(configDirectory)) {}

QSettingsStore::~QSettingsStore() = default;

std::string QSettingsStore::FileForKey(std::string_view key) const {
    const auto parts = SplitKey(key);
    if (parts.size() != 4 || parts[0] != "Software") {
        return {};
    }
    QString base = ToQString(configDirectory_);
    if (base.isEmpty()) {
        base = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    }
    const QString path = base + '/' + ToQString(parts[1]) + '/' + ToQString(parts[2]) + ".conf";
    return path.toLocal8Bit().toStdString();
}

bool QSettingsStore::OpenKey(std::string_view key, bool create) {
    CloseKey();
    const std::string file = FileForKey(key);
    if (file.empty()) {
        return false;
    }
    const QString path = QString::fromLocal8Bit(file.c_str());
    if (!QFileInfo::exists(path)) {
        if (!create) {
            return false;
        }
        // Made on the first run, empty: values are written only by an explicit save.
        if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
            return false;
        }
        QFile made(path);
        if (!made.open(QIODevice::WriteOnly)) {
            return false;
        }
    }
    settings_ = std::make_unique<QSettings>(path, QSettings::IniFormat);
    damaged_ = settings_->status() != QSettings::NoError;
    settings_->beginGroup(ToQString(SplitKey(key)[3]));
    return true;
}

std::optional<std::string> QSettingsStore::ReadValue(std::string_view name) {
    if (!settings_ || damaged_) {
        return std::nullopt;
    }
    const QVariant value = settings_->value(ToQString(name));
    if (!value.isValid() || value.typeId() == QMetaType::QStringList) {
        return std::nullopt;
    }
    return value.toString().toLocal8Bit().toStdString();
}

bool QSettingsStore::WriteNumber(std::string_view name, int32_t value) {
    if (!settings_ || !settings_->isWritable()) {
        return false;
    }
    settings_->setValue(ToQString(name), static_cast<int>(value));
    return settings_->status() == QSettings::NoError;
}

bool QSettingsStore::WriteText(std::string_view name, std::string_view value) {
    if (!settings_ || !settings_->isWritable()) {
        return false;
    }
    settings_->setValue(ToQString(name), ToQString(value));
    return settings_->status() == QSettings::NoError;
}

void QSettingsStore::CloseKey() {
    if (settings_) {
        settings_->endGroup();
        settings_->sync();
        settings_.reset();
    }
}

}  // namespace mandrel
