// SPDX-License-Identifier: GPL-3.0-or-later
// The agent's notification on a private session bus (the test runs under
// dbus-run-session), against a notification server played by this test.
#include "Localization.h"
#include "SettingsStore.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QDBusMessage>
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
};

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
        QVERIFY(bus.registerService(u"org.freedesktop.Notifications"_qs));
        QVERIFY(bus.registerObject(u"/org/freedesktop/Notifications"_qs, &m_server, QDBusConnection::ExportAllSlots));
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
};

QTEST_GUILESS_MAIN(TestNotifications)
#include "tst_notifications.moc"
