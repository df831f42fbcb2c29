// SPDX-License-Identifier: GPL-3.0-or-later
#include "Notifier.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QVariantMap>

namespace sorvanel {

void DesktopNotifier::notify(const QString &title, const QString &body)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    const QString service = QStringLiteral("org.freedesktop.Notifications");
    if (!bus.interface() || !bus.interface()->isServiceRegistered(service).value())
        return;
    QDBusMessage message = QDBusMessage::createMethodCall(service, QStringLiteral("/org/freedesktop/Notifications"),
                                                          service, QStringLiteral("Notify"));
    message << QStringLiteral("Sorvanel") << quint32(0) << QStringLiteral("io.github.sorvanel.Sorvanel") << title << body
            << QStringList() << QVariantMap() << qint32(-1);
    bus.call(message, QDBus::Block, 5000);
}

} // namespace sorvanel
