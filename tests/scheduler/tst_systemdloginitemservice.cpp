// SPDX-License-Identifier: GPL-3.0-or-later
#include "Localization.h"
#include "SystemdLoginItemService.h"
#include "TestSupport.h"

#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QtTest>

using namespace sorvanel;
using namespace sorvanel::test;

class TestSystemdLoginItemService : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryFolder> m_dir;
    std::unique_ptr<FakeSystemctl> m_fake;
    QString m_agent;
    QString m_systemctl;

    QString units() const { return m_dir->path() + QStringLiteral("/units"); }

    static QString waitFor(const std::function<void(LoginItemService::Completion)> &call)
    {
        std::optional<QString> answer;
        call([&](const QString &error) { answer = error; });
        // No answer in time shows in the value the caller checks.
        (void)QTest::qWaitFor([&] { return answer.has_value(); }, 10000);
        return answer.value_or(u"(no answer)"_qs);
    }

    static LoginItemService::Status statusOf(SystemdLoginItemService &service)
    {
        std::optional<LoginItemService::Status> answer;
        service.fetchStatus([&](LoginItemService::Status status) { answer = status; });
        // No answer in time shows in the value the caller checks.
        (void)QTest::qWaitFor([&] { return answer.has_value(); }, 10000);
        return answer.value_or(LoginItemService::Status::notFound);
    }

private slots:
    void init()
    {
        m_dir = std::make_unique<TemporaryFolder>(QDir::tempPath() + QStringLiteral("/sorvanel $odd%dir-XXXXXX"));
        m_agent = m_dir->path() + QStringLiteral("/sorvanel-agent");
        QFile agent(m_agent);
        QVERIFY(agent.open(QIODevice::WriteOnly));
        agent.write("#!/bin/sh\n");
        agent.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        m_fake = std::make_unique<FakeSystemctl>(m_dir->path());
        m_systemctl = m_fake->program();
    }

    void registerWritesUnitsAndEnablesTheTimer()
    {
        SystemdLoginItemService service(m_agent, units(), m_systemctl);
        QCOMPARE(waitFor([&](auto done) { service.registerAgent(done); }), QString());
        QCOMPARE(m_fake->calls(),
                 (QStringList{u"--user daemon-reload"_qs,
                              u"--user enable --now io.github.sorvanel.Sorvanel.agent.timer"_qs}));
        QFile unit(units() + QStringLiteral("/io.github.sorvanel.Sorvanel.agent.service"));
        QVERIFY(unit.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(unit.readAll());
        QVERIFY(text.contains(QStringLiteral("ExecStart=") + SystemdLoginItemService::quotedForExec(m_agent)));
        QVERIFY(text.contains(u"Type=oneshot"_qs));
        QVERIFY(text.contains(u"Slice=background.slice"_qs) && text.contains(u"IOSchedulingClass=idle"_qs));
        QFile timer(units() + QStringLiteral("/io.github.sorvanel.Sorvanel.agent.timer"));
        QVERIFY(timer.open(QIODevice::ReadOnly));
        QVERIFY(timer.readAll().contains("Persistent=true"));
    }

    void statusNeedsTheAgentToStillBeThere()
    {
        SystemdLoginItemService service(m_agent, units(), m_systemctl);
        QCOMPARE(statusOf(service), LoginItemService::Status::notRegistered);
        waitFor([&](auto done) { service.registerAgent(done); });
        m_fake->setState("enabled");
        QCOMPARE(statusOf(service), LoginItemService::Status::enabled);
        // The units start this agent, not one installed elsewhere.
        const QString elsewhere = m_agent + u"-elsewhere"_qs;
        QVERIFY(QFile::copy(m_agent, elsewhere));
        SystemdLoginItemService moved(elsewhere, units(), m_systemctl);
        QCOMPARE(statusOf(moved), LoginItemService::Status::notFound);
        QFile::remove(m_agent);
        QCOMPARE(statusOf(service), LoginItemService::Status::notFound);
    }

    void failuresCarryAClearReason()
    {
        m_fake->failWith("Failed to connect to bus: No medium found");
        SystemdLoginItemService service(m_agent, units(), m_systemctl);
        QCOMPARE(waitFor([&](auto done) { service.unregisterAgent(done); }),
                 u"Failed to connect to bus: No medium found"_qs);
        // Switching on says why in the user's language and leaves no unit behind.
        QCOMPARE(waitFor([&](auto done) { service.registerAgent(done); }),
                 L10n::text("Automatic cleanup needs the user service manager (systemd), which is not running in this "
                            "session. Sorvanel can still be run by hand."));
        QVERIFY(QDir(units()).entryList(QDir::Files).isEmpty());
        // The timer refused after its units were loaded.
        m_fake->failWith({});
        m_fake->failWith("Failed to enable unit: Unit file is masked.", u"enable"_qs);
        m_fake->clearCalls();
        QCOMPARE(waitFor([&](auto done) { service.registerAgent(done); }),
                 L10n::text("systemd did not accept Sorvanel's timer, so automatic cleanup stays off."));
        QCOMPARE(m_fake->calls().size(), 2); // daemon-reload, then enable
        QVERIFY(QDir(units()).entryList(QDir::Files).isEmpty());
    }

    // The watcher is one service that stays: started now and at login,
    // restarted after a failure, ready when it says so; switched off, it is
    // stopped and its unit removed.
    void theWatcherIsOneServiceThatGoesWhenSwitchedOff()
    {
        using Job = SystemdLoginItemService::Job;
        SystemdLoginItemService service(m_agent, units(), m_systemctl, nullptr, Job::watcher);
        QCOMPARE(waitFor([&](auto done) { service.registerAgent(done); }), QString());
        const QString path = units() + u'/' + QLatin1String(SystemdLoginItemService::watchServiceName);
        QCOMPARE(QDir(units()).entryList(QDir::Files), QStringList{QFileInfo(path).fileName()});
        QFile unit(path);
        QVERIFY(unit.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(unit.readAll());
        for (const QString &line : {u"ExecStart="_qs + SystemdLoginItemService::quotedForExec(m_agent) + u" --watch"_qs,
                                    u"Type=notify"_qs, u"Restart=on-failure"_qs, u"Slice=background.slice"_qs,
                                    u"IOSchedulingClass=idle"_qs, u"PartOf=graphical-session.target"_qs})
            QVERIFY2(text.contains(line + u'\n'), qPrintable(line));
        if (const QString analyze = QStandardPaths::findExecutable(u"systemd-analyze"_qs); !analyze.isEmpty()) {
            QProcess verify;
            verify.start(analyze, {u"verify"_qs, u"--man=no"_qs, path});
            QVERIFY(verify.waitForFinished(30000));
            QVERIFY2(verify.exitCode() == 0, verify.readAllStandardError().constData());
        }
        m_fake->clearCalls();
        QCOMPARE(waitFor([&](auto done) { service.unregisterAgent(done); }), QString());
        QCOMPARE(m_fake->calls(),
                 (QStringList{u"--user disable --now io.github.sorvanel.Sorvanel.watch.service"_qs,
                              u"--user daemon-reload"_qs}));
        QVERIFY(QDir(units()).entryList(QDir::Files).isEmpty());

        m_fake->failWith("Failed to enable unit: Unit file is masked.", u"enable"_qs);
        QCOMPARE(waitFor([&](auto done) { service.registerAgent(done); }),
                 L10n::text("systemd did not accept Sorvanel's watcher, so the folder is not watched."));
        QVERIFY(QDir(units()).entryList(QDir::Files).isEmpty());
    }

    // The units pass systemd's own check of unit files (syntax, the quoted
    // path of an agent in an odd folder, that it exists), where systemd's
    // tools are installed.
    void unitsPassSystemdsOwnCheck()
    {
        const QString analyze = QStandardPaths::findExecutable(u"systemd-analyze"_qs);
        if (analyze.isEmpty())
            QSKIP("systemd-analyze is not installed");
        SystemdLoginItemService service(m_agent, units(), m_systemctl);
        QCOMPARE(waitFor([&](auto done) { service.registerAgent(done); }), QString());
        const QString timer = units() + u'/' + QLatin1String(SystemdLoginItemService::timerName);
        const QString unit = units() + u'/' + QLatin1String(SystemdLoginItemService::serviceName);
        QProcess verify;
        verify.start(analyze, {u"verify"_qs, u"--man=no"_qs, timer, unit});
        QVERIFY(verify.waitForFinished(30000));
        const QByteArray complaints = verify.readAllStandardError();
        QVERIFY2(verify.exitCode() == 0, complaints.constData());
        // A unit that names a missing agent is caught by the same check.
        QFile::remove(m_agent);
        verify.start(analyze, {u"verify"_qs, u"--man=no"_qs, unit});
        QVERIFY(verify.waitForFinished(30000));
        QVERIFY(verify.exitCode() != 0);
    }
};

QTEST_GUILESS_MAIN(TestSystemdLoginItemService)
#include "tst_systemdloginitemservice.moc"
