// SPDX-License-Identifier: GPL-3.0-or-later
#include "Notifier.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QEventLoop>
#include <QProcess>
#include <QTimer>
#include <QUrl>
#include <QVariantMap>

namespace sorvanel {

namespace {

const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");

// No question whether a server is there: many (dunst, mako) are started by
// the bus when first called, and a call to none fails at once.

// Waits for the user's answer to one notification: an action, or its closing.
class Answer : public QObject
{
    Q_OBJECT

public:
    Answer(quint32 id, QEventLoop &loop)
        : m_id(id)
        , m_loop(loop)
    {
    }
    std::optional<QString> chosen;

public slots:
    void actionInvoked(quint32 id, const QString &key)
    {
        if (id != m_id)
            return;
        chosen = key;
        m_loop.quit();
    }
    void closed(quint32 id, quint32 reason)
    {
        (void)reason;
        if (id == m_id)
            m_loop.quit();
    }

private:
    quint32 m_id;
    QEventLoop &m_loop;
};

quint32 send(QDBusConnection &bus, const QString &title, const QString &body, const QStringList &actions)
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, service, QStringLiteral("Notify"));
    // The desktop entry groups the message under Sorvanel, with its icon.
    const QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("io.github.sorvanel.Sorvanel")}};
    message << QStringLiteral("Sorvanel") << quint32(0) << QStringLiteral("io.github.sorvanel.Sorvanel") << title
            << body << actions << hints << qint32(-1);
    const QDBusReply<quint32> reply = bus.call(message, QDBus::Block, 5000);
    return reply.isValid() ? reply.value() : 0;
}

} // namespace

void DesktopNotifier::notify(const QString &title, const QString &body)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected())
        send(bus, title, body, {});
}

std::optional<QString> DesktopNotifier::ask(const QString &title, const QString &body, const QList<Action> &actions,
                                            int waitMs)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return std::nullopt;
    const QDBusReply<QStringList> capabilities = bus.call(
        QDBusMessage::createMethodCall(service, path, service, QStringLiteral("GetCapabilities")), QDBus::Block, 5000);
    const bool withActions = capabilities.isValid() && capabilities.value().contains(QStringLiteral("actions"));
    QStringList list;
    for (const Action &action : actions)
        list << action.key << action.label;
    QEventLoop loop;
    const quint32 id = send(bus, title, body, withActions ? list : QStringList());
    if (!withActions || id == 0 || actions.isEmpty())
        return std::nullopt;
    // An action comes back to this connection only: stay for it, a while.
    Answer answer(id, loop);
    bus.connect(service, path, service, QStringLiteral("ActionInvoked"), &answer,
                SLOT(actionInvoked(quint32, QString)));
    bus.connect(service, path, service, QStringLiteral("NotificationClosed"), &answer, SLOT(closed(quint32, quint32)));
    QTimer::singleShot(waitMs, &loop, &QEventLoop::quit);
    loop.exec();
    return answer.chosen;
}

void DesktopNotifier::showFolder(const QString &folder)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    const QString fileManager = QStringLiteral("org.freedesktop.FileManager1");
    if (bus.isConnected()) { // a file manager, too, may be started on demand
        QDBusMessage message = QDBusMessage::createMethodCall(
            fileManager, QStringLiteral("/org/freedesktop/FileManager1"), fileManager, QStringLiteral("ShowFolders"));
        message << QStringList{QUrl::fromLocalFile(folder).toString()} << QString();
        if (bus.call(message, QDBus::Block, 5000).type() == QDBusMessage::ReplyMessage)
            return;
    }
    QProcess::startDetached(QStringLiteral("xdg-open"), {folder});
}

} // namespace sorvanel

#include "DesktopNotifier.moc"
