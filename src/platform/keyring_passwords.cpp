#include "platform/keyring_passwords.h"

#include <qt6keychain/keychain.h>
#include <QCoreApplication>
#include <QEventLoop>
#include <clocale>

namespace mandrel {

namespace {

// The keyring answers asynchronously, through Qt's event loop, which wants an application
// object. The console program has none until it needs the keyring; the one made here keeps the
// C library's locale as it was, since the engines read text the same under any locale.
void EnsureApplication() {
    if (QCoreApplication::instance() != nullptr) {
        return;
    }
    static int argc = 1;
    static char name[] = "mandrel";
    static char* argv[] = {name, nullptr};
    const std::string locale = std::setlocale(LC_ALL, nullptr);
    static const QCoreApplication application(argc, argv);
    std::setlocale(LC_ALL, locale.c_str());
}

// Runs a keychain job to its end.
void RunJob(QKeychain::Job& job, const std::string& account) {
    EnsureApplication();
    job.setAutoDelete(false);
    job.setKey(QString::fromStdString(account));
    QEventLoop loop;
    QObject::connect(&job, &QKeychain::Job::finished, &loop, &QEventLoop::quit);
    job.start();
    loop.exec();
}

}  // namespace

std::optional<std::string> KeyringPasswords::Read(const std::string& account) {
    QKeychain::ReadPasswordJob job(QString::fromStdString(service_));
    RunJob(job, account);
    if (job.error() != QKeychain::NoError) {
        return std::nullopt;
    }
    return job.textData().toStdString();
}

bool KeyringPasswords::Write(const std::string& account, const std::string& password,
                             std::string& why) {
    QKeychain::WritePasswordJob job(QString::fromStdString(service_));
    job.setTextData(QString::fromStdString(password));
    RunJob(job, account);
    if (job.error() != QKeychain::NoError) {
        why = job.errorString().toStdString();
        return false;
    }
    return true;
}

void KeyringPasswords::Forget(const std::string& account) {
    QKeychain::DeletePasswordJob job(QString::fromStdString(service_));
    RunJob(job, account);
}

}  // namespace mandrel
