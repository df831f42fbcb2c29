// SPDX-License-Identifier: GPL-3.0-or-later
// Kills `sorvanel-cli organize` and `sorvanel-cli undo` (SIGKILL) at random
// moments while they move thousands of files, on one file system and across
// two, and checks after every kill that no file is lost, half-copied under a
// visible name or changed; then that a last run finishes the job with every
// file once.
#include "FileSystem.h"
#include "ReliabilitySupport.h"
#include "SettingsStore.h"
#include "Trash.h"

#include <QtTest>

#include <sys/wait.h>

using namespace sorvanel;
using namespace sorvanel::test;

class TestCrashSafety : public QObject
{
    Q_OBJECT

    static bool onlyDestinationLeft(const Path &source, const Path &destination)
    {
        for (const auto &entry : std::filesystem::directory_iterator(source)) {
            if (entry.path() != std::filesystem::path(destination))
                return false;
        }
        return true;
    }

    static int filesDirectlyIn(const Path &folder)
    {
        int count = 0;
        for (const auto &entry : std::filesystem::directory_iterator(folder))
            count += entry.is_regular_file() && !entry.is_symlink() && entry.path().filename().native()[0] != '.';
        return count;
    }

    // How many kills each case survives: a few dozen in the suite, more when asked.
    static int kills()
    {
        return qEnvironmentVariableIntValue("SORVANEL_CRASH_KILLS") > 0
            ? qEnvironmentVariableIntValue("SORVANEL_CRASH_KILLS")
            : 40;
    }

    // Starts the command and kills it after a random delay, if it still runs; 1 when it was killed.
    static int killAtRandom(const QString &command, QRandomGenerator &random, int maxDelayMs)
    {
        QProcess process;
        process.start(QString::fromLocal8Bit(qgetenv("SORVANEL_CLI")), {command});
        if (!process.waitForStarted())
            return 0;
        QTest::qSleep(int(random.bounded(maxDelayMs + 1)));
        const bool running = process.state() == QProcess::Running;
        if (running)
            ::kill(pid_t(process.processId()), SIGKILL);
        process.waitForFinished(60000);
        return running ? 1 : 0;
    }

    // No file lost or half-written under a visible name. Moves across
    // drives killed between publishing and removing their sources leave
    // those files twice until the next run: at most one run of them.
    static int checkNothingLost(const Originals &originals, const std::vector<Path> &trees)
    {
        const auto census = originals.census(trees);
        [&] {
            QCOMPARE(census.foreign, 0);
            QCOMPARE(census.empty, 0); // these file systems need no reservation
            QCOMPARE(census.missing, 0);
            QVERIFY2(census.duplicated <= int(PosixFileSystem::preparedCopyBatch),
                     qPrintable(QString::number(census.duplicated)));
        }();
        return census.duplicated;
    }

    void killRepeatedly(const Path &source, const Path &destination, int files, int maxDelayMs)
    {
        TemporaryHome home;
        const std::vector<Path> trees = useFolders(source, destination);
        const bool nested = trees.size() == 1;
        QRandomGenerator random(7);
        int killed = 0;
        int twice = 0;
        int rounds = 0;
        Originals originals;
        while (killed < kills()) {
            // A fresh batch whenever the last one is all moved.
            if (std::filesystem::is_empty(source) || (nested && onlyDestinationLeft(source, destination))) {
                originals = Originals();
                std::filesystem::remove_all(destination);
                originals.create(source, files, quint32(100 + rounds++));
            }
            killed += killAtRandom(u"organize"_qs, random, maxDelayMs);
            twice += checkNothingLost(originals, trees);
            if (QTest::currentTestFailed())
                return;
        }
        // The last run finishes the job, without copying anything again.
        QVERIFY(cli({u"organize"_qs}).status <= 1);
        const auto census = originals.census(trees);
        QCOMPARE(census.foreign, 0);
        QCOMPARE(census.missing, 0);
        QVERIFY2(census.duplicated == 0, qPrintable(census.twice.join(u", ")));
        QVERIFY(std::filesystem::is_empty(source) || onlyDestinationLeft(source, destination));
        // The journal accounts for every move, even of the runs that were
        // killed: undoing them all brings every file of the batch home.
        QVERIFY(undoEveryRun());
        const auto back = originals.census(trees);
        QCOMPARE(back.missing, 0);
        QCOMPARE(back.duplicated, 0);
        QCOMPARE(filesDirectlyIn(source), originals.size());
        qInfo("%d kills survived over %d batches of %d files; %d times a file stood twice between runs", killed, rounds,
              files, twice);
    }

    void killUndoRepeatedly(const Path &source, const Path &destination, int files, int maxDelayMs)
    {
        TemporaryHome home;
        const std::vector<Path> trees = useFolders(source, destination);
        Originals originals;
        originals.create(source, files, 900);
        QRandomGenerator random(11);
        int killed = 0;
        int runs = 0;
        while (killed < kills() / 2) {
            // Everything back in the source: file it all again, for the next undo to take back.
            if (filesDirectlyIn(source) == originals.size()) {
                QCOMPARE(cli({u"organize"_qs}).status, 0);
                ++runs;
            }
            killed += killAtRandom(u"undo"_qs, random, maxDelayMs);
            checkNothingLost(originals, trees);
            if (QTest::currentTestFailed())
                return;
        }
        // Running the undo again finishes the job: every file back, once.
        // (An undo killed after its last file went back leaves its run open;
        // once a later run has filed the same files again, undoing that run
        // finds them "moved since" and leaves them, as it should.)
        QVERIFY(undoEveryRun());
        const auto census = originals.census(trees);
        QCOMPARE(census.foreign, 0);
        QCOMPARE(census.missing, 0);
        QCOMPARE(census.duplicated, 0);
        QCOMPARE(filesDirectlyIn(source), originals.size());
        qInfo("%d kills of undo survived over %d runs of %d files", killed, runs, files);
    }

    // Where each second download is: in the source, or in the Trash with
    // the info file that names it; never neither, never both. An info file
    // without its file (a kill right after it was written) waits for the
    // next run to take it away.
    static void checkEachOnceInSourceOrTrash(const Path &source, const Path &trash,
                                             const std::vector<std::string> &names, bool orphansAllowed)
    {
        QHash<QString, int> inTrash;
        int orphans = 0;
        if (std::filesystem::exists(trash / "info")) {
            for (const auto &entry : std::filesystem::directory_iterator(trash / "info")) {
                const std::string info = entry.path().filename().native();
                const Path file = trash / "files" / info.substr(0, info.size() - std::string(".trashinfo").size());
                if (!std::filesystem::exists(file))
                    ++orphans;
                else if (const auto original = Trash::originalOf(file))
                    ++inTrash[QString::fromStdString(original->native())];
            }
        }
        for (const std::string &name : names) {
            const bool inSource = std::filesystem::exists(source / name);
            const int trashed = inTrash.value(QString::fromStdString((source / name).native()));
            QVERIFY2(trashed + int(inSource) == 1, name.c_str());
        }
        QVERIFY(orphansAllowed || orphans == 0);
    }

    // Where a case runs: a source folder, and a destination inside it or on another drive.
    struct Folders
    {
        TemporaryFolder near;
        std::unique_ptr<TemporaryFolder> far;
        Path source;
        Path destination;
    };

    static bool prepare(Folders &folders, bool acrossDrives)
    {
        folders.source = toPath(folders.near.path()) / "Downloads";
        std::filesystem::create_directories(folders.source);
        if (!acrossDrives) {
            folders.destination = folders.source / "__filesDownloadedAt";
            return true;
        }
        folders.far = folderOnOtherFileSystem(folders.near.path());
        if (folders.far)
            folders.destination = toPath(folders.far->path()) / "sorted";
        return folders.far != nullptr;
    }

private slots:
    // Organize or undo killed again and again, on one drive and across two.
    void aKillLosesNothing_data()
    {
        QTest::addColumn<bool>("undo"); // the program killed: organize, or undo
        QTest::addColumn<bool>("acrossDrives");
        QTest::addColumn<int>("files");
        QTest::addColumn<int>("maxDelayMs");
        // Copies across drives are slower: fewer files, later kills.
        for (const bool undo : {false, true}) {
            const char *killed = undo ? "undo" : "organize";
            QTest::addRow("%s, one file system", killed) << undo << false << 2000 << 50;
            QTest::addRow("%s, two file systems", killed) << undo << true << 500 << 250;
        }
    }

    void aKillLosesNothing()
    {
        QFETCH(bool, undo);
        QFETCH(bool, acrossDrives);
        QFETCH(int, files);
        QFETCH(int, maxDelayMs);
        Folders folders;
        SKIP_WITHOUT_SECOND_FILE_SYSTEM(prepare(folders, acrossDrives));
        if (undo)
            killUndoRepeatedly(folders.source, folders.destination, files, maxDelayMs);
        else
            killRepeatedly(folders.source, folders.destination, files, maxDelayMs);
    }

    // Second downloads of filed files go to the Trash, killed again and again on their way.
    void aKillOnTheWayToTheTrashLosesNothing()
    {
        TemporaryHome home;
        const Path source = toPath(home.downloads());
        const Path trash = toPath(home.trash());
        useFolders(source, source / "__filesDownloadedAt");
        Originals originals;
        originals.create(source, 600, 31, 600);
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(source))
            names.push_back(entry.path().filename().native());
        QCOMPARE(cli({u"organize"_qs}).status, 0);
        const QStringList filed = regularFilesBelow(home.downloads());
        QRandomGenerator random(5);
        int killed = 0;
        while (killed < kills() / 2) {
            // All in the Trash: empty it and download them all again.
            if (filesDirectlyIn(source) == 0) {
                std::filesystem::remove_all(trash);
                for (const QString &file : filed)
                    std::filesystem::copy_file(source / file.toStdString(),
                                               source / file.section(u'/', -1).toStdString());
                for (const std::string &name : names)
                    writeFile(source / name, readFile(source / name), QDateTime::currentDateTimeUtc().addDays(-3));
            }
            killed += killAtRandom(u"organize"_qs, random, 40);
            checkEachOnceInSourceOrTrash(source, trash, names, true);
            if (QTest::currentTestFailed())
                return;
        }
        QCOMPARE(cli({u"organize"_qs}).status, 0);
        checkEachOnceInSourceOrTrash(source, trash, names, false);
        QCOMPARE(filesDirectlyIn(source), 0);
        qInfo("%d kills on the way to the Trash survived", killed);
    }
};

QTEST_GUILESS_MAIN(TestCrashSafety)
#include "tst_crashsafety.moc"
