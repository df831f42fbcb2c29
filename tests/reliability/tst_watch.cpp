// SPDX-License-Identifier: GPL-3.0-or-later
// A real `sorvanel-agent --watch` against real downloaders, bursts, a folder
// that goes and comes back, an overflowing event queue, a held lock, an undo,
// and SIGTERM and SIGKILL mid-burst. Every case ends with each file whole in
// exactly one place, nothing unfinished filed, and every finished file filed.
#include "CleanupRun.h"
#include "FileSystem.h"
#include "OrganizerExecutionLock.h"
#include "PausingServer.h"
#include "ReliabilitySupport.h"
#include "SqliteRunJournal.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QStandardPaths>
#include <QtTest>

#include <fstream>

using namespace sorvanel;
using namespace sorvanel::test;

namespace {

// The watcher as systemd runs it: its own process, stopped with SIGTERM.
class Watcher
{
public:
    Watcher()
    {
        m_process.start(QString::fromLocal8Bit(qgetenv("SORVANEL_AGENT")), {u"--watch"_qs});
        m_process.waitForStarted(20000);
        // It says so once it watches (or waits for the folder).
        (void)QTest::qWaitFor([&] { return m_process.canReadLine() || m_process.state() != QProcess::Running; }, 20000);
    }
    ~Watcher()
    {
        if (m_process.state() == QProcess::Running) {
            m_process.terminate();
            m_process.waitForFinished(20000);
        }
    }
    bool running() const { return m_process.state() == QProcess::Running; }
    qint64 pid() const { return m_process.processId(); }
    void signal(int number) { ::kill(pid_t(pid()), number); }
    bool stopsCleanly()
    {
        m_process.waitForFinished(30000);
        return m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
    }
    QByteArray errors() { return m_process.readAllStandardError(); }

    // Processor time it has used, in clock ticks.
    qint64 processorTicks() const
    {
        std::ifstream stat("/proc/" + std::to_string(pid()) + "/stat");
        std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
        const QStringList fields = QString::fromStdString(text.substr(text.rfind(')') + 2)).split(u' ');
        return fields.size() > 12 ? fields[11].toLongLong() + fields[12].toLongLong() : -1;
    }

private:
    QProcess m_process;
};

qint64 sizeOf(const Path &path)
{
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 ? info.st_size : -1;
}

// The files of `staged`, packed and unpacked into `into` at once, as an
// archive lands in Downloads.
void extractBurst(const QString &into, const QString &staged)
{
    QProcess tar;
    tar.start(u"tar"_qs, {u"-cf"_qs, staged + u".tar"_qs, u"-C"_qs, staged, u"."_qs});
    tar.waitForFinished(60000);
    tar.start(u"tar"_qs, {u"-xf"_qs, staged + u".tar"_qs, u"-C"_qs, into});
    tar.waitForFinished(60000);
}

} // namespace

class TestWatch : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;
    std::unique_ptr<TemporaryFolder> m_far;

    Path source() const { return toPath(m_home->downloads()); }
    Path destination() const { return SettingsStore().load().destinationURL; }

    QStringList filed() const
    {
        QStringList files = regularFilesBelow(displayPath(destination()));
        files.removeAll(QLatin1String(OrganizerExecutionLock::fileName));
        return files;
    }
    QStringList loose() const { return QDir(m_home->downloads()).entryList(QDir::Files); }

    // A finished file lands in `folder` as a browser's does: written aside,
    // then renamed into place. (Written there by this process, which goes on
    // running, it would be a file whose writer may come back: 11 s of waiting.)
    void arrive(const Path &folder, const std::string &name, const QByteArray &content)
    {
        const Path aside = toPath(m_home->path()) / ".aside";
        std::filesystem::create_directories(aside);
        writeFile(aside / name, content, longAgo());
        std::filesystem::rename(aside / name, folder / name);
    }

    // A destination on another file system, where the machine has one.
    bool destinationFarAway()
    {
        m_far = folderOnOtherFileSystem(m_home->path());
        if (!m_far)
            return false;
        SettingsStore().saveFolder(toPath(m_far->path()) / "sorted", std::nullopt, false);
        return true;
    }

private slots:
    void init() { m_home = std::make_unique<TemporaryHome>(); }
    void cleanup() { m_far.reset(); }

    void aDownloadIsFiledOnceFinishedAndNotBefore_data()
    {
        QTest::addColumn<QString>("downloader");
        for (const char *program : {"curl", "wget", "aria2c", "firefox-esr"})
            QTest::addRow("%s", program) << QString::fromLatin1(program);
    }

    // The download stalls for longer than any quiet time; it is filed only
    // once its downloader has finished, whole.
    void aDownloadIsFiledOnceFinishedAndNotBefore()
    {
        QFETCH(QString, downloader);
        const QString program = QStandardPaths::findExecutable(downloader);
        if (program.isEmpty())
            QSKIP("downloader not installed");
        Watcher watcher;
        QByteArray content(3 * 1024 * 1024, Qt::Uninitialized);
        for (qsizetype k = 0; k < content.size(); ++k)
            content[k] = char((k * 13 + k / 4096) % 251);
        PausingServer server(content);
        QProcess download;
        TemporaryFolder profile;
        startDownloader(download, program, server.url(u"image.iso"_qs), m_home->downloads(), u"image.iso"_qs,
                        profile.path());
        const bool firefox = downloader == u"firefox-esr";
        const auto partial = [&] {
            for (const QString &name : loose()) {
                if (name.endsWith(u".part"_qs) || name == u"image.iso")
                    if (sizeOf(source() / name.toStdString()) > 0)
                        return true;
            }
            return false;
        };
        QTRY_VERIFY_WITH_TIMEOUT(partial(), 60000);
        QTest::qWait(6000); // longer than every quiet time
        QVERIFY(filed().isEmpty());

        server.sendTheRest();
        if (firefox) {
            QTRY_VERIFY_WITH_TIMEOUT(!filed().isEmpty(), 30000);
            download.terminate();
            download.waitForFinished(20000);
        } else {
            QTRY_COMPARE_WITH_TIMEOUT(download.state(), QProcess::NotRunning, 20000);
            QCOMPARE(download.exitCode(), 0);
            QTRY_VERIFY_WITH_TIMEOUT(!filed().isEmpty(), 10000);
        }
        QCOMPARE(filed().size(), 1);
        QCOMPARE(readFile(destination() / filed().front().toStdString()), content);
        QCOMPARE(loose(), QStringList());
        QVERIFY(watcher.running());
    }

    // wget, after a dropped connection, closes the file and comes back to it
    // seconds later: while its writer runs, a closed file is not finished.
    void aWriterThatComesBackIsNotFiledInBetween()
    {
        Watcher watcher;
        QProcess writer;
        const Path file = source() / "resumed.bin";
        writer.start(QString::fromLocal8Bit(qgetenv("SORVANEL_SLOWWRITER")), {u"append"_qs, displayPath(file)});
        const auto say = [&](const char *line, const char *answer) {
            writer.write(line);
            return QTest::qWaitFor([&] { return writer.canReadLine() && writer.readLine().startsWith(answer); }, 10000);
        };
        QVERIFY(QTest::qWaitFor([&] { return writer.canReadLine(); }, 10000));
        writer.readLine();
        QVERIFY(say("write 100000\n", "ok"));
        QTest::qWait(500);
        QVERIFY(say("write 100000\n", "ok"));
        QVERIFY(say("close\n", "closed"));
        QTest::qWait(7000); // the short quiet time is long past
        QVERIFY(filed().isEmpty());
        QVERIFY(say("reopen\n", "open"));
        QVERIFY(say("write 100000\n", "ok"));
        QVERIFY(say("close\n", "closed"));
        writer.closeWriteChannel();
        QVERIFY(writer.waitForFinished(10000));
        QTRY_VERIFY_WITH_TIMEOUT(!filed().isEmpty(), 10000);
        QCOMPARE(sizeOf(destination() / filed().front().toStdString()), 300000);
    }

    // An archive unpacked into Downloads: a few batches, not one run per file.
    void aBurstIsFiledInAFewBatches()
    {
        Watcher watcher;
        TemporaryFolder staged;
        Originals originals;
        originals.create(toPath(staged.path()), 1000, 7);
        extractBurst(m_home->downloads(), staged.path());
        QTRY_COMPARE_WITH_TIMEOUT(loose(), QStringList(), 30000);
        const Originals::Census census = originals.census({source()});
        QCOMPARE(census.found, 1000);
        QCOMPARE(census.duplicated + census.missing + census.foreign + census.empty, 0);
        const QList<RunHistoryEntry> history = SettingsStore().loadHistory();
        QCOMPARE(history.size(), 1);
        QCOMPARE(history.front().mode, OrganizationRunMode::watch);
        QCOMPARE(history.front().moved, 1000);
        CleanupRun run(SettingsStore().suite());
        const auto batches = static_cast<SqliteRunJournal &>(run.journal()).runsOfGroup(history.front().id);
        QVERIFY2(batches.size() <= 5, qPrintable(QString::number(batches.size())));
    }

    // Removed, renamed away, made again: the watcher waits without spinning,
    // and files what lies in the new folder; what lies in the old one stays.
    void theFolderGoesAndComesBack()
    {
        const Path sorted = toPath(m_home->path()) / "Sorted";
        SettingsStore().saveFolder(sorted, std::nullopt, false);
        Watcher watcher;
        const Path away = toPath(m_home->path()) / "Downloads.old";
        QVERIFY(::rename(source().c_str(), away.c_str()) == 0);
        writeFile(away / "left.txt", "left", longAgo());
        const qint64 before = watcher.processorTicks();
        QTest::qWait(4000);
        QVERIFY(watcher.processorTicks() - before < 20); // under 0.2 s of 4
        QVERIFY(QDir().mkpath(m_home->downloads()));
        arrive(source(), "back.txt", "back");
        QTRY_VERIFY_WITH_TIMEOUT(loose().isEmpty(), 12000);
        QCOMPARE(regularFilesBelow(displayPath(sorted)).filter(u"back.txt"_qs).size(), 1);
        QVERIFY(QFile::exists(displayPath(away / "left.txt")));

        QVERIFY(QDir(m_home->downloads()).removeRecursively());
        QTest::qWait(3000);
        QVERIFY(QDir().mkpath(m_home->downloads()));
        arrive(source(), "again.txt", "again");
        QTRY_VERIFY_WITH_TIMEOUT(loose().isEmpty(), 12000);
        QVERIFY(watcher.running());
    }

    // With a queue of 16 events, a burst that lands while the watcher is
    // stopped overflows it: the watcher looks at the whole folder and files
    // everything all the same.
    void anOverflowedQueueLooksAtTheWholeFolder()
    {
        QFile limit(u"/proc/sys/fs/inotify/max_queued_events"_qs);
        if (!limit.open(QIODevice::ReadWrite))
            QSKIP("the kernel's event queue can't be made smaller here (not root)");
        const QByteArray previous = limit.readAll();
        limit.close();
        QVERIFY(limit.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        QCOMPARE(limit.write("16\n"), 3);
        limit.close();
        std::unique_ptr<Watcher> watcher = std::make_unique<Watcher>(); // its queue is made now
        QVERIFY(limit.open(QIODevice::WriteOnly));
        limit.write(previous);
        limit.close();
        TemporaryFolder staged;
        Originals originals;
        originals.create(toPath(staged.path()), 300, 11);
        watcher->signal(SIGSTOP); // it reads nothing while the burst lands
        extractBurst(m_home->downloads(), staged.path());
        watcher->signal(SIGCONT);
        QTRY_COMPARE_WITH_TIMEOUT(loose(), QStringList(), 30000);
        const Originals::Census census = originals.census({source()});
        QCOMPARE(census.found, 300);
        QCOMPARE(census.duplicated + census.missing + census.foreign + census.empty, 0);
        watcher->signal(SIGTERM);
        QVERIFY(watcher->stopsCleanly());
        const QByteArray said = watcher->errors();
        QVERIFY2(said.contains("looking at the whole folder"), said.constData());
    }

    void aStopMidBurstLosesNothing_data()
    {
        QTest::addColumn<int>("signal");
        QTest::addRow("SIGTERM") << int(SIGTERM);
        QTest::addRow("SIGKILL") << int(SIGKILL);
    }

    // Across drives, where each file is copied: stopped in the middle, then
    // started again, as systemd does.
    void aStopMidBurstLosesNothing()
    {
        QFETCH(int, signal);
        if (!destinationFarAway())
            QSKIP("no second file system here");
        TemporaryFolder staged;
        Originals originals;
        originals.create(toPath(staged.path()), 1500, 23, 10);
        auto watcher = std::make_unique<Watcher>();
        extractBurst(m_home->downloads(), staged.path());
        QTRY_VERIFY_WITH_TIMEOUT(!filed().isEmpty(), 30000);
        watcher->signal(signal);
        if (signal == SIGTERM)
            QVERIFY(watcher->stopsCleanly());
        watcher.reset();
        // A kill may leave the copies in hand beside their sources: the next start settles them.
        Originals::Census census = originals.census({source(), destination()});
        QCOMPARE(census.missing + census.foreign, 0);
        QVERIFY2(census.duplicated <= (signal == SIGKILL ? int(PosixFileSystem::preparedCopyBatch) : 0),
                 qPrintable(census.twice.join(u", ")));

        watcher = std::make_unique<Watcher>();
        QTRY_COMPARE_WITH_TIMEOUT(loose(), QStringList(), 60000);
        census = originals.census({source(), destination()});
        QCOMPARE(census.found, 1500);
        QCOMPARE(census.missing + census.duplicated + census.foreign + census.empty, 0);
    }

    // The lock of a manual run keeps the watcher out; what waited is filed
    // soon after it is released.
    void aRunOfAnotherProgramGoesFirst()
    {
        Watcher watcher;
        PosixFileSystem files;
        auto lock = std::make_unique<OrganizerExecutionLock>(destination(), files);
        arrive(source(), "waiting.pdf", "waiting");
        QTest::qWait(4000);
        QCOMPARE(loose(), QStringList{u"waiting.pdf"_qs});
        lock.reset();
        QTRY_VERIFY_WITH_TIMEOUT(loose().isEmpty(), 10000);
    }

    // The day's watched moves are one history entry; its undo puts them back,
    // and the watcher leaves them there until they change.
    void anUndoneFileStaysUntilItChanges()
    {
        Watcher watcher;
        arrive(source(), "a.pdf", "a");
        arrive(source(), "b.pdf", "b");
        QTRY_COMPARE_WITH_TIMEOUT(filed().size(), 2, 10000);
        arrive(source(), "c.pdf", "c");
        QTRY_COMPARE_WITH_TIMEOUT(filed().size(), 3, 10000);
        const QJsonArray history = cli({u"history"_qs, u"--json"_qs}).json().array();
        QCOMPARE(history.size(), 1);
        QCOMPARE(history[0][u"mode"_qs].toString(), u"watch"_qs);
        QCOMPARE(history[0][u"moved"_qs].toInt(), 3);

        QCOMPARE(cli({u"undo"_qs}).status, 0);
        QCOMPARE(loose(), (QStringList{u"a.pdf"_qs, u"b.pdf"_qs, u"c.pdf"_qs}));
        QTest::qWait(4000);
        QCOMPARE(loose().size(), 3);
        arrive(source(), "b.pdf", "b, changed");
        QTRY_COMPARE_WITH_TIMEOUT(loose(), (QStringList{u"a.pdf"_qs, u"c.pdf"_qs}), 10000);
    }

    // Another source chosen with the command line: followed without a restart.
    void anotherSourceIsFollowed()
    {
        Watcher watcher;
        const QString other = m_home->path() + u"/Elsewhere"_qs;
        QVERIFY(QDir().mkpath(other));
        QCOMPARE(cli({u"settings"_qs, u"set"_qs, u"sourcePath"_qs, other}).status, 0);
        arrive(toPath(other), "moved.txt", "moved");
        QTRY_VERIFY_WITH_TIMEOUT(QDir(other).entryList(QDir::Files).isEmpty(), 15000);
        QCOMPARE(filed().filter(u"moved.txt"_qs).size(), 1);
    }
};

QTEST_MAIN(TestWatch)
#include "tst_watch.moc"
