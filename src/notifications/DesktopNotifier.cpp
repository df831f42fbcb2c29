// SPDX-License-Identifier: GPL-3.0-or-later
#include "Notifier.h"

#include "FileManager.h"

#include "Localization.h"

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
// `done` hears the key of the action chosen, or nothing when the message closed.
class Answer : public QObject
{
    Q_OBJECT

public:
    Answer(quint32 id, std::function<void(std::optional<QString>)> done)
        : m_id(id)
        , m_done(std::move(done))
    {
    }

    void setDone(std::function<void(std::optional<QString>)> done) { m_done = std::move(done); }

public slots:
    void actionInvoked(quint32 id, const QString &key)
    {
        if (id == m_id)
            finish(key);
    }
    void closed(quint32 id, quint32 reason)
    {
        (void)reason;
        if (id == m_id)
            finish(std::nullopt);
    }
    void finish(std::optional<QString> key)
    {
        if (auto done = std::exchange(m_done, nullptr))
            done(std::move(key));
    }

private:
    quint32 m_id;
    std::function<void(std::optional<QString>)> m_done;
};

// Sends the message with its actions where the server shows them; the ID, or
// 0 when it has no actions to wait for.
quint32 sendWithActions(QDBusConnection &bus, const QString &title, const QString &body,
                        const QList<Notifier::Action> &actions);

void listen(QDBusConnection &bus, Answer *answer)
{
    bus.connect(service, path, service, QStringLiteral("ActionInvoked"), answer, SLOT(actionInvoked(quint32, QString)));
    bus.connect(service, path, service, QStringLiteral("NotificationClosed"), answer, SLOT(closed(quint32, quint32)));
}

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

namespace {

quint32 sendWithActions(QDBusConnection &bus, const QString &title, const QString &body,
                        const QList<Notifier::Action> &actions)
{
    const QDBusReply<QStringList> capabilities = bus.call(
        QDBusMessage::createMethodCall(service, path, service, QStringLiteral("GetCapabilities")), QDBus::Block, 5000);
    const bool withActions = capabilities.isValid() && capabilities.value().contains(QStringLiteral("actions"));
    QStringList list;
    for (const Notifier::Action &action : actions)
        list << action.key << action.label;
    const quint32 id = send(bus, title, body, withActions ? list : QStringList());
    return withActions && !actions.isEmpty() ? id : 0;
}

} // namespace

std::optional<QString> DesktopNotifier::ask(const QString &title, const QString &body, const QList<Action> &actions,
                                            int waitMs)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return std::nullopt;
    const quint32 id = sendWithActions(bus, title, body, actions);
    if (id == 0)
        return std::nullopt;
    // An action comes back to this connection only: stay for it, a while.
    QEventLoop loop;
    std::optional<QString> chosen;
    Answer answer(id, [&](std::optional<QString> key) {
        chosen = std::move(key);
        loop.quit();
    });
    listen(bus, &answer);
    QTimer::singleShot(waitMs, &loop, &QEventLoop::quit);
    loop.exec();
    return chosen;
}

void DesktopNotifier::offer(const QString &title, const QString &body, const QList<Action> &actions,
                            std::function<void(const QString &key)> chosen)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    const quint32 id = sendWithActions(bus, title, body, actions);
    if (id == 0)
        return;
    // Heard for as long as the message lasts (the program runs on meanwhile).
    auto *answer = new Answer(id, nullptr);
    answer->setDone([answer, chosen = std::move(chosen)](std::optional<QString> key) {
        answer->deleteLater();
        if (key)
            chosen(*key);
    });
    listen(bus, answer);
}

QString tidiedTitle(const OrganizationResult &result)
{
    if (result.moved == 0 && !result.alreadyFiled.empty())
        return L10n::format("Sorvanel sent %d files filed already to the Trash", {qint64(result.alreadyFiled.size())});
    return result.moved == 0 ? L10n::text("Sorvanel's cleanup had problems")
        : result.moved == 1  ? L10n::text("Sorvanel tidied 1 file")
                             : L10n::format("Sorvanel tidied %d files", {qint64(result.moved)});
}

QString problemsLine(const OrganizationResult &result)
{
    const qint64 problems = result.failed();
    return problems == 0 ? QString()
        : problems == 1  ? L10n::text("1 problem")
                         : L10n::format("%d problems", {problems});
}

void DesktopNotifier::showFolder(const QString &folder)
{
    DesktopFileManager().showFolder(folder);
}

} // namespace sorvanel

#include "DesktopNotifier.moc"
