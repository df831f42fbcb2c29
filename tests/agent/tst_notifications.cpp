// SPDX-License-Identifier: GPL-3.0-or-later
// The agent's notification on a private session bus (the test runs under
// dbus-run-session), against a notification server played by this test.
#include "Localization.h"
#include "SettingsStore.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDir>
#include <QProcess>
#include <QTimer>
#include <QtTest>

using namespace sorvanel;
using namespace sorvanel::test;

// org.freedesktop.Notifications as a notification server offers it: it
// keeps what it is sent and, when told to, answers with an action.
class FakeNotificationServer : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Shown
    {
        QString summary;
        QString body;
        QStringList actions;
        QVariantMap hints;
    };
    QList<Shown> shown;
    QString answer; // the action to invoke on a notification with actions; empty: close it

public slots:
    QStringList GetCapabilities() { return {u"actions"_qs, u"body"_qs}; }
    quint32 Notify(const QString &, quint32, const QString &, const QString &summary, const QString &body,
                   const QStringList &actions, const QVariantMap &hints, qint32)
    {
        shown.append({summary, body, actions, hints});
        const quint32 id = quint32(shown.size());
        if (!actions.isEmpty()) {
            QTimer::singleShot(200, this, [this, id] {
                const QString path = u"/org/freedesktop/Notifications"_qs;
                const QString interface = u"org.freedesktop.Notifications"_qs;
                QDBusMessage signal = answer.isEmpty()
                    ? QDBusMessage::createSignal(path, interface, u"NotificationClosed"_qs) << id << quint32(2)
                    : QDBusMessage::createSignal(path, interface, u"ActionInvoked"_qs) << id << answer;
                QDBusConnection::sessionBus().send(signal);
            });
        }
        return id;
    }
    void CloseNotification(quint32) { }
    // Ends a server the bus started (it would hold the test's output open).
    void Quit() { QTimer::singleShot(0, QCoreApplication::instance(), &QCoreApplication::quit); }
    // What it has shown, for a test that did not start it.
    QStringList ShownSummaries()
    {
        QStringList summaries;
        for (const Shown &each : shown)
            summaries << each.summary;
        return summaries;
    }
};

namespace {

const QString serverName = u"org.freedesktop.Notifications"_qs;
const QString serverPath = u"/org/freedesktop/Notifications"_qs;

// The server as the bus starts it on demand: a process of its own, for a while.
int serveNotifications(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    FakeNotificationServer server;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.registerObject(serverPath, &server, QDBusConnection::ExportAllSlots) || !bus.registerService(serverName))
        return 1;
    QTimer::singleShot(15000, &app, &QCoreApplication::quit);
    return app.exec();
}

} // namespace

class TestNotifications : public QObject
{
    Q_OBJECT

    FakeNotificationServer m_server;

    int runAgent()
    {
        QProcess agent;
        agent.start(QString::fromLocal8Bit(qgetenv("SORVANEL_AGENT")), {u"--force"_qs});
        if (!agent.waitForStarted())
            return -1;
        // The agent's calls are answered from this test's event loop.
        QElapsedTimer waited;
        waited.start();
        while (agent.state() != QProcess::NotRunning && waited.elapsed() < 60000)
            QTest::qWait(50);
        return agent.exitStatus() == QProcess::NormalExit ? agent.exitCode() : -1;
    }

private slots:
    void initTestCase()
    {
        L10n::installTranslations(*QCoreApplication::instance());
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected())
            QSKIP("no session bus: run under dbus-run-session");
        QVERIFY(bus.registerService(serverName));
        QVERIFY(bus.registerObject(serverPath, &m_server, QDBusConnection::ExportAllSlots));
    }

    void init() { m_server.shown.clear(); }

    void undoFromTheNotification_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::newRow("closed") << QString();
        QTest::newRow("undo") << u"undo"_qs;
    }

    // A real agent on a real (private) bus: the notification names the run,
    // offers Open Folder and Undo, is grouped under the desktop entry, and
    // Undo puts the files back although the agent is a short-lived program.
    void undoFromTheNotification()
    {
        QFETCH(QString, answer);
        TemporaryHome home;
        const Path downloads = toPath(home.downloads());
        writeFile(downloads / "a.pdf", "a", longAgo());
        writeFile(downloads / "b.png", "b", longAgo());
        m_server.answer = answer;
        QCOMPARE(runAgent(), 0);
        QVERIFY(!m_server.shown.isEmpty());
        const auto &first = m_server.shown.first();
        QCOMPARE(first.summary, L10n::format("Sorvanel tidied %d files", {2}));
        QCOMPARE(first.actions, (QStringList{u"open"_qs, L10n::text("Open Folder"), u"undo"_qs, L10n::text("Undo")}));
        QCOMPARE(first.hints.value(u"desktop-entry"_qs).toString(), u"io.github.sorvanel.Sorvanel"_qs);
        if (answer == u"undo") {
            QCOMPARE(m_server.shown.size(), 2);
            QCOMPARE(m_server.shown[1].summary, L10n::format("Sorvanel put %d files back", {2}));
            QCOMPARE(readFile(downloads / "a.pdf"), QByteArray("a"));
            QCOMPARE(readFile(downloads / "b.png"), QByteArray("b"));
        } else {
            QCOMPARE(m_server.shown.size(), 1);
            QVERIFY(!std::filesystem::exists(downloads / "a.pdf"));
        }
        // Nothing (left) to move: nothing to say.
        if (answer.isEmpty()) {
            QCOMPARE(runAgent(), 0);
            QCOMPARE(m_server.shown.size(), 1);
        }
    }

    // Where the notification server is started by the bus when first called
    // (dunst, mako and others), the agent's call starts it. Last: this test
    // hands the server's name to the bus.
    void aServerStartedOnDemandShowsTheNotification()
    {
        const QString services = qEnvironmentVariable("XDG_DATA_HOME") + u"/dbus-1/services"_qs;
        if (qEnvironmentVariableIsEmpty("XDG_DATA_HOME") || !QDir(services).exists())
            QSKIP("no folder of services for the private bus");
        QFile service(services + u"/org.freedesktop.Notifications.service"_qs);
        QVERIFY(service.open(QIODevice::WriteOnly));
        service.write("[D-BUS Service]\nName=org.freedesktop.Notifications\nExec="
                      + QFile::encodeName(QCoreApplication::applicationFilePath()) + " --serve\n");
        service.close();
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.unregisterObject(serverPath);
        QVERIFY(bus.unregisterService(serverName));
        bus.call(QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_qs, u"/org/freedesktop/DBus"_qs,
                                                u"org.freedesktop.DBus"_qs, u"ReloadConfig"_qs));

        TemporaryHome home;
        writeFile(toPath(home.downloads()) / "a.pdf", "a", longAgo());
        writeFile(toPath(home.downloads()) / "b.png", "b", longAgo());
        QCOMPARE(runAgent(), 0);
        const QDBusReply<QStringList> shown =
            bus.call(QDBusMessage::createMethodCall(serverName, serverPath, serverName, u"ShownSummaries"_qs),
                     QDBus::Block, 5000);
        bus.call(QDBusMessage::createMethodCall(serverName, serverPath, serverName, u"Quit"_qs), QDBus::Block, 5000);
        QVERIFY2(shown.isValid(), qPrintable(shown.error().message()));
        QCOMPARE(shown.value(), QStringList{L10n::format("Sorvanel tidied %d files", {2})});
    }
};

int main(int argc, char *argv[])
{
    if (argc == 2 && qstrcmp(argv[1], "--serve") == 0)
        return serveNotifications(argc, argv);
    QCoreApplication app(argc, argv);
    TestNotifications test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_notifications.moc"
