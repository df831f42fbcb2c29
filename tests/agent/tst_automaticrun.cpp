// SPDX-License-Identifier: GPL-3.0-or-later
#include "AutomaticRun.h"
#include "Localization.h"
#include "Notifier.h"
#include "Organizer.h"
#include "RecordingNotifier.h"
#include "SettingsStore.h"
#include "TestSupport.h"

#include <QProcess>
#include <QtTest>

#include <csignal>

using namespace sorvanel;
using namespace sorvanel::test;

namespace {
const QTimeZone berlinZone("Europe/Berlin");
const Calendar berlin{QCalendar(), berlinZone};

QDateTime at(int day, int hour, int minute)
{
    return QDateTime(QDate(2024, 5, day), QTime(hour, minute), berlinZone).toUTC();
}

// Keeps what it was told; answers a question with `answer`.
} // namespace

class TestAutomaticRun : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;
    QDateTime m_now;

    AutomaticRun::Report perform(SettingsStore &store, RecordingNotifier &notifier, bool force = false,
                                 std::shared_ptr<FileSystem> fileSystem = std::make_shared<PosixFileSystem>())
    {
        auto organizer = std::make_shared<Organizer>(std::move(fileSystem));
        organizer->setCalendarProvider([] { return berlin; });
        return AutomaticRun(
                   store, organizer, notifier, [this] { return m_now; }, [] { return berlin; })
            .perform(force);
    }

    void addFile(const char *name) { writeFile(toPath(m_home->downloads()) / name, "x", m_now.addDays(-1)); }

private slots:
    void init() { m_home = std::make_unique<TemporaryHome>(); }

    // After a run that moved something the user may open the destination
    // from the notification (the message, its actions and Undo are tried on
    // a real bus in tst_notifications); a run that did nothing says nothing,
    // and the setting silences it.
    void notificationAfterARun()
    {
        SettingsStore store;
        store.saveAutomaticEnabled(true);
        RecordingNotifier notifier;
        notifier.answer = u"open"_qs;
        m_now = at(3, 22, 5);
        QCOMPARE(perform(store, notifier).outcome, AutomaticRun::Outcome::ran);
        QVERIFY(notifier.messages.isEmpty());
        addFile("a.pdf");
        QCOMPARE(perform(store, notifier, true).outcome, AutomaticRun::Outcome::ran);
        // It says where the file went, and Open Folder opens that day's folder.
        const QString day = QDir(m_home->downloads() + u"/__filesDownloadedAt"_qs)
                                .entryList(QDir::Dirs | QDir::NoDotAndDotDot)
                                .value(0);
        QCOMPARE(notifier.messages,
                 QStringList{L10n::text("Sorvanel tidied 1 file") + u": "_qs + L10n::format("Into %@", {day})});
        QCOMPARE(notifier.shown, QStringList{m_home->downloads() + u"/__filesDownloadedAt/"_qs + day});
        QCOMPARE(notifier.keys, (QStringList{u"open"_qs, u"undo"_qs}));
        // A file that can't go: the problems are offered to be shown.
        const Path blocker = toPath(m_home->downloads()) / "__filesDownloadedAt" / day.toStdString() / "graphic";
        QVERIFY(QDir().mkpath(displayPath(blocker.parent_path())));
        writeFile(blocker, "in the way");
        addFile("b.png");
        notifier.answer.reset();
        QCOMPARE(perform(store, notifier, true).outcome, AutomaticRun::Outcome::ran);
        QCOMPARE(notifier.messages.size(), 2);
        QCOMPARE(notifier.messages.back(),
                 L10n::text("Sorvanel's cleanup had problems") + u": "_qs + L10n::text("1 problem"));
        QVERIFY(notifier.keys.endsWith(u"problems"_qs));
        store.saveNotifyAfterAutomatic(false);
        addFile("c.txt");
        QCOMPARE(perform(store, notifier, true).outcome, AutomaticRun::Outcome::ran);
        QCOMPARE(notifier.messages.size(), 2);
    }

    // When a run is due is the schedule's to say (tst_schedulepolicy); the
    // agent keeps to it, and marks the moment it ran for as done: after a
    // week away that is yesterday's, and today's moment still comes.
    void onceADayAfterTheTime()
    {
        SettingsStore store;
        RecordingNotifier notifier;
        store.saveAutomaticTime(at(1, 9, 30));
        store.saveLastAutomaticDay(u"2024-05-02"_qs);
        m_now = at(11, 8, 0);
        addFile("a.txt");
        QCOMPARE(perform(store, notifier).outcome, AutomaticRun::Outcome::disabled);
        QVERIFY(store.loadHistory().isEmpty());

        store.saveAutomaticEnabled(true);
        const auto report = perform(store, notifier);
        QCOMPARE(report.outcome, AutomaticRun::Outcome::ran);
        QCOMPARE(report.result->moved, 1);
        QCOMPARE(*store.load().lastAutomaticDay, u"2024-05-10"_qs);
        QCOMPARE(store.loadHistory().value(0).mode, OrganizationRunMode::automatic);
        QCOMPARE(store.loadLastResult()->runDate, m_now);
        QCOMPARE(perform(store, notifier).outcome, AutomaticRun::Outcome::notDue);
        m_now = at(11, 9, 30);
        QCOMPARE(perform(store, notifier).outcome, AutomaticRun::Outcome::ran);
        QCOMPARE(*store.load().lastAutomaticDay, u"2024-05-11"_qs);
        QCOMPARE(store.loadHistory().size(), 2);
    }

    // The destination's drive is not plugged in: the scheduled run waits,
    // says nothing and records nothing, and happens once the drive is back.
    // A forced run goes ahead and reports why it moved nothing.
    void aRunWaitsForItsDrive()
    {
        SettingsStore store;
        RecordingNotifier notifier;
        store.saveAutomaticEnabled(true);
        store.saveAutomaticTime(at(1, 8, 0));
        const Path stick = toPath(m_home->path()) / "stick";
        std::filesystem::create_directories(stick);
        store.saveFolder(stick / "sorted", std::nullopt, false);
        writeFile(toPath(m_home->path()) / "fstab",
                  "/dev/sdb1 " + QByteArray::fromStdString(stick.native()) + " vfat noauto 0 0\n");
        auto unplugged = std::make_shared<PosixFileSystem>();
        unplugged->setDriveTable(DriveTable((toPath(m_home->path()) / "fstab").native(), "/proc/self/mounts", {}));
        m_now = at(5, 8, 5);
        addFile("a.pdf");

        QCOMPARE(perform(store, notifier, false, unplugged).outcome, AutomaticRun::Outcome::waitingForDrive);
        QVERIFY(!store.load().lastAutomaticDay);
        QVERIFY(store.loadHistory().isEmpty());
        QVERIFY(notifier.messages.isEmpty());
        const auto forced = perform(store, notifier, true, unplugged);
        QCOMPARE(forced.outcome, AutomaticRun::Outcome::ran);
        QCOMPARE(forced.result->moved, 0);
        QCOMPARE(forced.result->issues.size(), 1);
        QVERIFY(std::filesystem::is_empty(stick));

        m_now = at(5, 11, 0); // plugged in
        const auto report = perform(store, notifier);
        QCOMPARE(report.outcome, AutomaticRun::Outcome::ran);
        QCOMPARE(report.result->moved, 1);
        QCOMPARE(*store.load().lastAutomaticDay, u"2024-05-05"_qs);
    }

    void theRealAgentProgram()
    {
        const QString agent = QString::fromLocal8Bit(qgetenv("SORVANEL_AGENT"));
        writeFile(toPath(m_home->downloads()) / "d.txt", "x", QDateTime::currentDateTimeUtc().addDays(-1));
        // No session bus: a notification is skipped, never waited for.
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_qs, u"unix:path=/nonexistent/bus"_qs);
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(agent, {});
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), 0); // switched off: exits at once
        QVERIFY(std::filesystem::exists(toPath(m_home->downloads()) / "d.txt"));

        process.start(agent, {u"--force"_qs});
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), 0);
        QVERIFY(!std::filesystem::exists(toPath(m_home->downloads()) / "d.txt"));
        SettingsStore store;
        QCOMPARE(store.loadHistory().size(), 1);
        QCOMPARE(store.loadHistory()[0].mode, OrganizationRunMode::automatic);
        QVERIFY(!store.load().lastAutomaticDay); // forced: the day's own run is still to come

        // A failing run exits 2, reports on standard error, and is not retried today.
        store.saveAutomaticEnabled(true);
        store.saveAutomaticTime(QDateTime::currentDateTimeUtc().addSecs(-60));
        store.defaults().remove(u"lastAutomaticDay"_qs);
        store.saveFolder("/no/such/folder", std::nullopt, true);
        process.start(agent, {});
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), 2);
        QVERIFY(!process.readAllStandardError().isEmpty());
        process.start(agent, {});
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), 0);
    }

    // systemd stops the agent with SIGTERM (logout, shutdown): the run stops
    // after the file in hand and is recorded with what it moved; the moment
    // stays due, and the next start files the rest. The files cross to
    // another drive, so the run lasts a while.
    void terminationStopsTheRunCleanly()
    {
        const auto far = folderOnOtherFileSystem(m_home->path());
        SKIP_WITHOUT_SECOND_FILE_SYSTEM(far);
        const Path source = toPath(far->path());
        const Path destination = toPath(m_home->downloads()) / "sorted";
        constexpr int files = 3000;
        writeOldFiles(source, files);
        SettingsStore store;
        store.saveFolder(source, std::nullopt, true);
        store.saveFolder(destination, std::nullopt, false);
        store.saveAutomaticEnabled(true);
        store.saveAutomaticTime(QDateTime(QDate::currentDate(), QTime(0, 0)));

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_qs, u"unix:path=/nonexistent/bus"_qs);
        QProcess agent;
        agent.setProcessEnvironment(environment);
        agent.start(QString::fromLocal8Bit(qgetenv("SORVANEL_AGENT")), QStringList());
        QVERIFY(agent.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(regularFilesBelow(displayPath(destination)).size() > 10, 20000);
        QCOMPARE(::kill(pid_t(agent.processId()), SIGTERM), 0);
        QVERIFY(agent.waitForFinished(60000));
        QCOMPARE(agent.exitStatus(), QProcess::NormalExit);
        QCOMPARE(agent.exitCode(), 0);

        const auto [left, moved] = whereTheFilesAre(source, destination);
        QVERIFY2(left > 0 && moved > 0, qPrintable(QStringLiteral("%1 left, %2 moved").arg(left).arg(moved)));
        QCOMPARE(left + moved, files);
        auto history = store.loadHistory();
        QCOMPARE(history.size(), 1);
        QCOMPARE(history[0].mode, OrganizationRunMode::automatic);
        QCOMPARE(history[0].moved, moved);
        QVERIFY(!store.load().lastAutomaticDay);

        agent.start(QString::fromLocal8Bit(qgetenv("SORVANEL_AGENT")), QStringList());
        QVERIFY(agent.waitForFinished(60000));
        QCOMPARE(agent.exitCode(), 0);
        QCOMPARE(whereTheFilesAre(source, destination).moved, files);
        history = store.loadHistory();
        QCOMPARE(history.size(), 2);
        QCOMPARE(history[0].moved, left);
        QCOMPARE(store.load().lastAutomaticDay, QDate::currentDate().toString(Qt::ISODate));
    }
};

QTEST_GUILESS_MAIN(TestAutomaticRun)
#include "tst_automaticrun.moc"
