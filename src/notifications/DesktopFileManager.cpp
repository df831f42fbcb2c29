// SPDX-License-Identifier: GPL-3.0-or-later
#include "FileManager.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QFileInfo>
#include <QProcess>
#include <QUrl>

namespace sorvanel {

namespace {

const QString service = QStringLiteral("org.freedesktop.FileManager1");

QDBusMessage call(const QString &method, const QString &path)
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(service, QStringLiteral("/org/freedesktop/FileManager1"), service, method);
    message << QStringList{QUrl::fromLocalFile(path).toString()} << QString();
    return message;
}

void openWithDesktop(const QString &folder)
{
    QProcess::startDetached(QStringLiteral("xdg-open"), {folder});
}

} // namespace

void DesktopFileManager::showFolder(const QString &folder)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()
        && bus.call(call(QStringLiteral("ShowFolders"), folder), QDBus::Block, 5000).type()
            == QDBusMessage::ReplyMessage)
        return;
    openWithDesktop(folder);
}

void DesktopFileManager::showItem(const QString &file)
{
    const QString folder = QFileInfo(file).absolutePath();
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openWithDesktop(folder);
        return;
    }
    auto *answer = new QDBusPendingCallWatcher(bus.asyncCall(call(QStringLiteral("ShowItems"), file), 5000));
    QObject::connect(answer, &QDBusPendingCallWatcher::finished, [folder](QDBusPendingCallWatcher *done) {
        if (done->isError())
            openWithDesktop(folder);
        done->deleteLater();
    });
}

} // namespace sorvanel
