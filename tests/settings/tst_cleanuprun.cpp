// SPDX-License-Identifier: GPL-3.0-or-later
// Runs, their journal and their undo, on real folders and the real database.
#include "CleanupRun.h"
#include "Localization.h"
#include "OrganizerExecutionLock.h"
#include "SqliteDatabase.h"
#include "TestSupport.h"

#include <QtTest>
#include <deque>

#include <unistd.h>

using namespace sorvanel;
using namespace sorvanel::test;

Q_DECLARE_METATYPE(std::function<void(const sorvanel::Path &)>)

namespace {
// Another program rewrites a file after its copy took its name on another
// drive, before the run of moves it belongs to removes the sources.
class RewriteBeforeSourcesGo : public PosixFileSystem
{
public:
    Path file;

    std::vector<std::pair<Path, FileError>> finishPreparedMoves() override
    {
        if (!file.empty() && std::filesystem::exists(file))
            writeFile(std::exchange(file, Path()), "rewritten");
        return PosixFileSystem::finishPreparedMoves();
    }
};
} // namespace

class TestCleanupRun : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;
    std::unique_ptr<TemporaryFolder> m_far;
    std::unique_ptr<CleanupRun> m_run;

    Path downloads() const { return toPath(m_home->downloads()); }
    Path destination() const { return downloads() / "__filesDownloadedAt"; }

    // A cleanup on the stored settings, into `root`.
    void useDestination(const Path &root)
    {
        m_run->store().saveFolder(downloads(), std::nullopt, true);
        m_run->store().saveFolder(root, std::nullopt, false);
    }

    // A destination on another drive, in use; nothing where the machine has none.
    std::optional<Path> farDestination()
    {
        m_far = folderOnOtherFileSystem(m_home->path());
        if (!m_far)
            return std::nullopt;
        useDestination(toPath(m_far->path()) / "sorted");
        return toPath(m_far->path()) / "sorted";
    }

    // The files and their bytes, as the source folder holds them.
    QMap<QString, QByteArray> sourceFiles() const
    {
        QMap<QString, QByteArray> files;
        for (const auto &entry : std::filesystem::directory_iterator(downloads())) {
            if (entry.is_regular_file())
                files.insert(QString::fromStdString(entry.path().filename().native()), readFile(Path(entry.path())));
        }
        return files;
    }

    // The path of the filed copy of `name` below `root`.
    static Path filed(const Path &root, const QString &name)
    {
        for (const QString &relative : regularFilesBelow(displayPath(root))) {
            if (relative.section(u'/', -1) == name)
                return root / relative.toStdString();
        }
        return {};
    }

    // The states of a run's moves, in sequence order.
    static constexpr int moved = int(JournalMove::State::moved);
    static constexpr int notMoved = int(JournalMove::State::notMoved);
    QList<int> statesOf(const QUuid &run)
    {
        QList<int> states;
        for (const JournalMove &move : m_run->journal().moves(run))
            states << int(move.state);
        return states;
    }

    // A run into `root` as execution writes it down before it tries its
    // moves (from, to); the journal's records view paths kept here.
    std::deque<Path> m_paths;
    QUuid begun(const Path &root, const std::vector<std::pair<Path, Path>> &moves)
    {
        std::vector<JournalIntent> intents;
        for (const auto &[from, to] : moves) {
            const FileStamp stamp = *PosixFileSystem().stampOf(from);
            const std::string &source = m_paths.emplace_back(from).native();
            intents.push_back({qint64(intents.size()), source, m_paths.emplace_back(to).native(), stamp.identity,
                               stamp.size, stamp.modifiedNs, stamp.bornNs});
        }
        const QUuid id = QUuid::createUuid();
        RunJournal &journal = m_run->journal();
        const bool written =
            journal.begin({id, QDateTime::currentDateTimeUtc(), OrganizationRunMode::manual, downloads(), root})
            && journal.intend(id, intents);
        return written ? id : QUuid();
    }

    // What the next run does first: settles the runs cut short, under the lock.
    void settle(const Path &root)
    {
        OrganizerExecutionLock lock(root, *std::make_shared<PosixFileSystem>());
        m_run->organizer().recoverInterruptedRuns(m_run->journal(), root);
    }

    static void oneDriveAndTwo()
    {
        QTest::addColumn<bool>("acrossDrives");
        QTest::newRow("one drive") << false;
        QTest::newRow("two drives") << true;
    }

private slots:
    void init()
    {
        m_home = std::make_unique<TemporaryHome>();
        m_run = std::make_unique<CleanupRun>(DefaultsSuite::open(SettingsStore::suiteName()));
        useDestination(destination());
    }
    void cleanup()
    {
        m_run.reset();
        m_far.reset();
        m_home.reset();
    }

    void undoPutsEveryFileBack_data() { oneDriveAndTwo(); }

    // Every file goes home byte for byte with its time; the folders the run
    // made go, a folder that was there before stays; a name the run had to
    // count up returns to its own.
    void undoPutsEveryFileBack()
    {
        QFETCH(bool, acrossDrives);
        Path root = destination();
        if (acrossDrives) {
            const auto far = farDestination();
            SKIP_WITHOUT_SECOND_FILE_SYSTEM(far);
            root = *far;
        }
        const QDateTime old = longAgo();
        writeFile(downloads() / "report.pdf", "the report", old);
        writeFile(downloads() / "photo.JPG", QByteArray(70000, 'p'), old);
        writeFile(downloads() / "notes", "no extension", old);
        writeFile(downloads() / "name with\nnewline.txt", "odd", old);
        const auto before = sourceFiles();

        const CleanupRun::Outcome first = m_run->organize(OrganizationRunMode::manual);
        QCOMPARE(first.result.moved, 4);
        // A second run that has to number its file, into the folders the first one made.
        writeFile(downloads() / "report.pdf", "another report", old);
        const CleanupRun::Outcome second = m_run->organize(OrganizationRunMode::manual);
        QCOMPARE(second.result.moved, 1);
        QVERIFY(!filed(root, u"report-2.pdf"_qs).empty());

        UndoResult undone = m_run->undo(std::nullopt, false);
        QVERIFY(!undone.refusal);
        QCOMPARE(undone.run, second.id);
        QCOMPARE(undone.restored, 1);
        QCOMPARE(readFile(downloads() / "report.pdf"), QByteArray("another report"));
        // The first run's folders hold its files still: they stay.
        QVERIFY(!filed(root, u"report.pdf"_qs).empty());
        std::filesystem::rename(downloads() / "report.pdf", toPath(m_home->path()) / "aside.pdf");

        undone = m_run->undo(std::nullopt, false);
        QCOMPARE(undone.run, first.id);
        QCOMPARE(undone.restored, 4);
        QVERIFY2(undone.issues.isEmpty(), qPrintable(undone.issues.value(0).message));
        QCOMPARE(sourceFiles(), before);
        QCOMPARE(QFileInfo(m_home->downloads() + u"/notes"_qs).lastModified().toSecsSinceEpoch(),
                 old.toSecsSinceEpoch());
        // Only the root with its lock file is left of the destination.
        QVERIFY(regularFilesBelow(displayPath(root)) == QStringList{u".sorvanel.lock"_qs});
        QCOMPARE(QDir(displayPath(root)).entryList(QDir::Dirs | QDir::NoDotAndDotDot), QStringList());
        QVERIFY(m_run->isUndone(first.id) && m_run->isUndone(second.id));

        // Nothing is left to undo, by default or by name.
        QCOMPARE(*m_run->undo(std::nullopt, false).refusal, L10n::text("There is no cleanup to undo."));
        QCOMPARE(*m_run->undo(first.id, false).refusal, L10n::text("This cleanup has nothing left to undo."));
        QCOMPARE(*m_run->undo(QUuid::createUuid(), false).refusal, L10n::text("No cleanup with this ID is on record."));
    }

    void whatAnUndoPutBackStaysUntilItChanges_data() { oneDriveAndTwo(); }

    // The daily run and the watcher leave a file an undo put back, with its
    // reason, until it changes; a manual run files it as usual.
    void whatAnUndoPutBackStaysUntilItChanges()
    {
        QFETCH(bool, acrossDrives);
        if (acrossDrives) {
            const auto far = farDestination();
            SKIP_WITHOUT_SECOND_FILE_SYSTEM(far);
        }
        writeFile(downloads() / "a.pdf", "a", longAgo());
        writeFile(downloads() / "b.pdf", "b", longAgo());
        QCOMPARE(m_run->organize(OrganizationRunMode::manual).result.moved, 2);
        QCOMPARE(m_run->undo(std::nullopt, false).restored, 2);

        for (const auto mode : {OrganizationRunMode::automatic, OrganizationRunMode::watch}) {
            const CleanupRun::Outcome left = m_run->organize(mode);
            QCOMPARE(left.result.moved, 0);
            QStringList reasons;
            for (const SkippedFile &file : left.skippedFiles) {
                if (file.reason != SkipReason::folder) // the destination's root, on one drive
                    reasons << displayName(file.url) + u": "_qs + localizedReason(file);
            }
            const QString putBack = L10n::text("put back by an undo");
            QCOMPARE(reasons, (QStringList{u"a.pdf: "_qs + putBack, u"b.pdf: "_qs + putBack}));
        }
        writeFile(downloads() / "b.pdf", "b, changed", longAgo());
        const auto onlyB =
            std::make_shared<const std::unordered_set<std::string>>(std::unordered_set<std::string>{"b.pdf"});
        QCOMPARE(m_run->organize(OrganizationRunMode::watch, {}, nullptr, onlyB).result.moved, 1);
        QCOMPARE(m_run->organize(OrganizationRunMode::manual).result.moved, 1);
        QVERIFY(sourceFiles().isEmpty());
    }

    void undoLeavesWhatChangedSince_data()
    {
        QTest::addColumn<std::function<void(const Path &)>>("meddle");
        QTest::addColumn<QString>("message");
        const QString changed =
            L10n::text("It was changed, moved or deleted since the cleanup, so it stays where it is.");
        const QString taken = L10n::text("Its original name is taken in the source folder, so it stays where it is.");
        QTest::newRow("changed") << std::function<void(const Path &)>([](const Path &filed) {
            writeFile(filed, "edited after the run", longAgo());
        }) << changed;
        QTest::newRow("deleted") << std::function<void(const Path &)>([](const Path &filed) {
            std::filesystem::remove(filed);
        }) << changed;
        QTest::newRow("moved on") << std::function<void(const Path &)>([](const Path &filed) {
            std::filesystem::rename(filed, filed.parent_path() / "renamed.pdf");
        }) << changed;
        QTest::newRow("replaced by an equal file") << std::function<void(const Path &)>([](const Path &filed) {
            const QByteArray bytes = readFile(filed);
            std::filesystem::rename(filed, filed.parent_path() / ".kept");
            writeFile(filed, bytes, longAgo());
        }) << changed;
        QTest::newRow("name taken at home") << std::function<void(const Path &)>([this](const Path &) {
            writeFile(downloads() / "meddled.pdf", "a new download", longAgo());
        }) << taken;
    }

    // Whatever happened to a file since the run, it stays, and is reported;
    // the other files of the run still go back.
    void undoLeavesWhatChangedSince()
    {
        QFETCH(std::function<void(const Path &)>, meddle);
        QFETCH(QString, message);
        writeFile(downloads() / "meddled.pdf", "original bytes", longAgo());
        writeFile(downloads() / "kept.pdf", "untouched", longAgo());
        const CleanupRun::Outcome run = m_run->organize(OrganizationRunMode::automatic);
        QCOMPARE(run.result.moved, 2);
        const Path filedPath = filed(destination(), u"meddled.pdf"_qs);
        meddle(filedPath);
        const QStringList filesBefore = regularFilesBelow(displayPath(destination()));

        // A dry run says what would happen and changes nothing.
        const UndoResult dry = m_run->undo(run.id, true);
        QCOMPARE(dry.restored, 1);
        QCOMPARE(dry.issues.size(), 1);
        QCOMPARE(dry.issues.first().message, message);
        QCOMPARE(regularFilesBelow(displayPath(destination())), filesBefore);
        QVERIFY(!m_run->isUndone(run.id));

        const UndoResult undone = m_run->undo(run.id, false);
        QCOMPARE(undone.restored, 1);
        QCOMPARE(undone.issues.size(), 1);
        QCOMPARE(undone.issues.first().filename, u"meddled.pdf"_qs);
        QCOMPARE(undone.issues.first().message, message);
        QCOMPARE(readFile(downloads() / "kept.pdf"), QByteArray("untouched"));
        QVERIFY(!regularFilesBelow(displayPath(destination())).join(u'|').contains(u"kept.pdf"_qs));
    }

    // A run killed mid-way is settled from what lies on disk, by the
    // journal's identities: each file is found where it went, no move is
    // claimed that did not happen, and the run joins the history.
    void aRunCutShortIsSettledFromDisk()
    {
        RunJournal &journal = m_run->journal();
        const Path root = destination();
        const Path day = root / "2024-01-01";
        std::filesystem::create_directories(day);
        std::vector<std::pair<Path, Path>> moves;
        for (const char *name : {"renamed.txt", "untouched.txt", "counted.txt", "linked.txt", "gone.txt"}) {
            writeFile(downloads() / name, name, longAgo());
            moves.emplace_back(downloads() / name, day / name);
        }
        const QUuid id = begun(root, moves);
        // What the killed process got done: one rename, one rename to a
        // counter name, one link without its unlink; one file someone else took away.
        std::filesystem::rename(downloads() / "renamed.txt", day / "renamed.txt");
        writeFile(day / "counted.txt", "someone else's");
        std::filesystem::rename(downloads() / "counted.txt", day / "counted-2.txt");
        QCOMPARE(::link((downloads() / "linked.txt").c_str(), (day / "linked.txt").c_str()), 0);
        std::filesystem::rename(downloads() / "gone.txt", toPath(m_home->path()) / "gone.txt");

        // A run planned before (a preview) settles it first, and leaves out
        // the file whose move the settling finished.
        const OrganizationPlan preview = m_run->plan();
        QCOMPARE(preview.moves.size(), 2u);
        QElapsedTimer started;
        started.start();
        const CleanupRun::Outcome next = m_run->execute(preview, OrganizationRunMode::manual, started);
        QCOMPARE(next.result.moved, 1); // untouched.txt
        QCOMPARE(journal.run(next.id)->moved, 1);
        QCOMPARE(statesOf(id), (QList<int>{moved, notMoved, moved, moved, notMoved}));
        QCOMPARE(journal.moves(id)[2].destination, day / "counted-2.txt");
        QVERIFY(!std::filesystem::exists(downloads() / "linked.txt"));
        QVERIFY(journal.run(id)->finished);
        const auto history = m_run->store().loadHistory();
        QVERIFY(std::any_of(history.begin(), history.end(),
                            [&](const RunHistoryEntry &entry) { return entry.id == id && entry.moved == 3; }));
    }

    // A copy on another drive counts as made only where the journal
    // announced it: a byte-equal file that was there already is not ours.
    // An empty file whose copy took its name is the file, not a reservation,
    // and stays moved when a new download takes its old name.
    void aCopyAcrossDrivesIsFinishedOnlyWhenTheJournalNamesIt()
    {
        m_far = folderOnOtherFileSystem(m_home->path());
        SKIP_WITHOUT_SECOND_FILE_SYSTEM(m_far);
        RunJournal &journal = m_run->journal();
        const Path root = toPath(m_far->path());
        const QDateTime stamp(QDate(2024, 1, 1), QTime(1, 2, 3, 456), Qt::UTC);
        for (const char *name : {"ours.bin", "equal.bin"}) {
            writeFile(downloads() / name, "payload", stamp);
            writeFile(root / name, "payload", stamp); // a byte-equal file with the same time
        }
        writeFile(downloads() / "empty.bin", "", stamp);
        const QUuid id = begun(root,
                               {{downloads() / "ours.bin", root / "ours.bin"},
                                {downloads() / "equal.bin", root / "equal.bin"},
                                {downloads() / "empty.bin", root / "empty.bin"}});
        // Only the first copy and the empty one were announced as ours
        // before they took their names; the empty file's source went.
        writeFile(root / "empty.bin", "");
        for (const char *name : {"ours.bin", "empty.bin"}) {
            QVERIFY(journal.publishing(id, name == std::string("ours.bin") ? 0 : 2,
                                       *PosixFileSystem().stampOf(root / name), root / name, false));
        }
        writeFile(downloads() / "next.bin", "a new download"); // made while the old file was there: another file
        std::filesystem::rename(downloads() / "next.bin", downloads() / "empty.bin");

        QVERIFY(m_run->organizer().leftoverReservations(journal, root).empty()); // what a preview frees
        settle(root);
        QCOMPARE(readFile(downloads() / "empty.bin"), QByteArray("a new download"));
        QVERIFY(!std::filesystem::exists(downloads() / "ours.bin"));
        QCOMPARE(readFile(downloads() / "equal.bin"), QByteArray("payload"));
        QCOMPARE(readFile(root / "equal.bin"), QByteArray("payload"));
        QVERIFY(std::filesystem::exists(root / "empty.bin"));
        QCOMPARE(statesOf(id), (QList<int>{moved, notMoved, moved}));
    }

    // A run across drives killed after it removed a source, before it wrote
    // that down: a new download under the old name may get the freed inode
    // number (ext4 hands it out again at once). Its birth time shows it is
    // not the source, so the move counts as made and the download stays.
    void aNewDownloadOnTheFreedInodeIsNotTheSource()
    {
        const auto far = farDestination();
        SKIP_WITHOUT_SECOND_FILE_SYSTEM(far);
        RunJournal &journal = m_run->journal();
        const Path root = *far;
        const Path source = downloads() / "report.pdf";
        const Path copy = root / "report.pdf";
        writeFile(source, "the report", longAgo());
        const FileStamp original = *PosixFileSystem().stampOf(source);
        if (original.bornNs == 0)
            QSKIP("this file system keeps no birth times");
        const QUuid id = begun(root, {{source, copy}});
        std::filesystem::create_directories(root);
        writeFile(copy, "the report", longAgo());
        QVERIFY(journal.publishing(id, 0, *PosixFileSystem().stampOf(copy), copy, false));
        const auto download = [&] {
            std::filesystem::remove(source);
            writeFile(source, "a new download");
            return PosixFileSystem().stampOf(source)->identity == original.identity;
        };
        bool reused = download();
        for (int attempt = 0; attempt < 20 && !reused; ++attempt)
            reused = download();
        if (!reused)
            QSKIP("this file system did not give the freed inode number to the next file");

        settle(root);
        QCOMPARE(statesOf(id), QList<int>{moved});
        QCOMPARE(journal.run(id)->moved, 1);
        QCOMPARE(readFile(source), QByteArray("a new download"));
        QCOMPARE(readFile(copy), QByteArray("the report"));
    }

    // A copy killed while it held an empty reservation of its name: the
    // next run frees the name before it plans, and the file takes it. A
    // preview shows that name and leaves the reservation to its execution.
    void aNameAKilledRunReservedIsFreeForTheNextRun_data()
    {
        QTest::addColumn<bool>("previewFirst");
        QTest::newRow("organize") << false;
        QTest::newRow("preview, then carried out") << true;
    }

    void aNameAKilledRunReservedIsFreeForTheNextRun()
    {
        QFETCH(bool, previewFirst);
        writeFile(downloads() / "report.txt", "report", longAgo());
        const Path target = m_run->plan().moves.at(0).destinationURL;
        const Path staged = destination() / ".sorvanel-1.partial";
        std::filesystem::create_directories(target.parent_path());
        writeFile(staged, "report");
        writeFile(target, "");
        const QUuid id = begun(destination(), {{downloads() / "report.txt", target}});
        QVERIFY(m_run->journal().publishing(id, 0, *PosixFileSystem().stampOf(staged), target, false,
                                            PosixFileSystem().stampOf(target)->identity));

        if (previewFirst) {
            const OrganizationPlan preview = m_run->plan();
            QCOMPARE(preview.moves.at(0).destinationURL, target);
            QCOMPARE(readFile(target), QByteArray()); // still the reservation
            QElapsedTimer started;
            started.start();
            QCOMPARE(m_run->execute(preview, OrganizationRunMode::manual, started).result.moved, 1);
        } else {
            QCOMPARE(m_run->organize(OrganizationRunMode::manual).result.moved, 1);
        }
        QCOMPARE(readFile(target), QByteArray("report"));
        QCOMPARE(regularFilesBelow(displayPath(destination())).size(), 2); // the file and the lock
        QCOMPARE(m_run->store().loadHistory().size(), 1); // the killed run moved nothing
    }

    // A run cut short whose root is not there (its drive unplugged) is not
    // settled against the empty root a later run makes, which would take
    // its moves for never made: it waits, and is settled once its root is back.
    void aRunCutShortWaitsForItsRoot()
    {
        RunJournal &journal = m_run->journal();
        const Path root = destination();
        const Path day = root / "2024-01-01";
        std::filesystem::create_directories(day);
        writeFile(downloads() / "moved.txt", "moved", longAgo());
        const QUuid id = begun(root, {{downloads() / "moved.txt", day / "moved.txt"}});
        std::filesystem::rename(downloads() / "moved.txt", day / "moved.txt");
        const std::filesystem::path away(toPath(m_home->path()) / "unplugged");
        std::filesystem::rename(root, away);

        QCOMPARE(m_run->organize(OrganizationRunMode::manual).result.moved, 0); // makes the root afresh
        QVERIFY(journal.run(id) && !journal.run(id)->finished);
        QCOMPARE(journal.run(id)->moved, 1); // perhaps moved, until it is settled

        std::filesystem::remove_all(root);
        std::filesystem::rename(away, root);
        m_run->organize(OrganizationRunMode::manual);
        QVERIFY(journal.run(id) && journal.run(id)->finished);
        QCOMPARE(journal.run(id)->moved, 1);
        QCOMPARE(m_run->undo(id, false).restored, 1);
        QCOMPARE(readFile(downloads() / "moved.txt"), QByteArray("moved"));
    }

    void aFileRewrittenBeforeItsRunEndsStays_data()
    {
        QTest::addColumn<bool>("onTheWayBack");
        QTest::newRow("organize") << false;
        QTest::newRow("undo") << true;
    }

    // Across drives, small files are moved in runs, there and back: copies
    // published, their names flushed, then the sources removed. A source
    // rewritten in between stays, and the run and its journal count that
    // move as not made.
    void aFileRewrittenBeforeItsRunEndsStays()
    {
        QFETCH(bool, onTheWayBack);
        const auto far = farDestination();
        SKIP_WITHOUT_SECOND_FILE_SYSTEM(far);
        const Path root = *far;
        for (const char *name : {"a.txt", "b.txt", "c.txt"})
            writeFile(downloads() / name, name, longAgo());
        auto fileSystem = std::make_shared<RewriteBeforeSourcesGo>();
        if (!onTheWayBack)
            fileSystem->file = downloads() / "b.txt";
        m_run = std::make_unique<CleanupRun>(DefaultsSuite::open(SettingsStore::suiteName()),
                                             std::make_shared<Organizer>(fileSystem));

        const CleanupRun::Outcome outcome = m_run->organize(OrganizationRunMode::manual);
        QCOMPARE(outcome.result.moved, onTheWayBack ? 3 : 2);
        QCOMPARE(m_run->journal().run(outcome.id)->moved, outcome.result.moved);
        if (!onTheWayBack) {
            QCOMPARE(outcome.result.issues.size(), 1);
            QCOMPARE(outcome.result.issues[0].filename, u"b.txt"_qs);
            QVERIFY(filed(root, u"b.txt"_qs).empty());
        } else {
            fileSystem->file = filed(root, u"b.txt"_qs);
        }
        const UndoResult undone = m_run->undo(outcome.id, false);
        QCOMPARE(undone.restored, 2);
        QCOMPARE(undone.issues.size(), onTheWayBack ? 1 : 0);
        if (onTheWayBack) {
            QCOMPARE(undone.issues[0].filename, u"b.txt"_qs);
            QCOMPARE(readFile(filed(root, u"b.txt"_qs)), QByteArray("rewritten"));
            QCOMPARE(m_run->undo(outcome.id, false).issues.size(), 1); // changed since: it stays for good
        }
        const auto home = sourceFiles();
        QCOMPARE(home.value(u"a.txt"_qs), QByteArray("a.txt"));
        QCOMPARE(home.value(u"b.txt"_qs), onTheWayBack ? QByteArray() : QByteArray("rewritten"));
        QCOMPARE(home.value(u"c.txt"_qs), QByteArray("c.txt"));
        QCOMPARE(home.size(), onTheWayBack ? 2 : 3);
    }

    void anUndoCutShortIsFinishedByTheNextRun_data()
    {
        QTest::addColumn<bool>("copyWentBack");
        QTest::newRow("killed after the copy went back") << true;
        QTest::newRow("killed before") << false;
    }

    // An undo across drives killed between putting a copy back and removing
    // the filed file: the next run finishes that return before it plans, so
    // the file is not filed a second time beside what was left of it.
    void anUndoCutShortIsFinishedByTheNextRun()
    {
        QFETCH(bool, copyWentBack);
        const auto far = farDestination();
        SKIP_WITHOUT_SECOND_FILE_SYSTEM(far);
        const Path root = *far;
        writeFile(downloads() / "a.txt", "a", longAgo());
        writeFile(downloads() / "b.txt", "b", longAgo());
        const CleanupRun::Outcome first = m_run->organize(OrganizationRunMode::manual);
        QCOMPARE(first.result.moved, 2);
        const auto moves = m_run->journal().moves(first.id);
        const auto a = std::find_if(moves.begin(), moves.end(),
                                    [](const JournalMove &move) { return move.source.filename() == "a.txt"; });
        QVERIFY(a != moves.end());
        // What the killed undo got done.
        writeFile(downloads() / "a.txt", "a", longAgo());
        const FileStamp copy = *PosixFileSystem().stampOf(downloads() / "a.txt");
        if (!copyWentBack)
            std::filesystem::remove(downloads() / "a.txt");
        QVERIFY(m_run->journal().publishing(first.id, a->sequence, copy, a->source, true));

        const CleanupRun::Outcome next = m_run->organize(OrganizationRunMode::manual);
        QCOMPARE(next.result.moved, copyWentBack ? 1 : 0);
        QVERIFY(next.result.issues.isEmpty());
        QStringList filed = regularFilesBelow(displayPath(root));
        filed.removeAll(u".sorvanel.lock"_qs);
        QCOMPARE(filed.size(), 2);
        QVERIFY2(
            std::none_of(filed.begin(), filed.end(), [](const QString &file) { return file.endsWith(u"-2.txt"_qs); }),
            qPrintable(filed.join(u", "_qs)));
        QCOMPARE(statesOf(first.id)[a->sequence], copyWentBack ? int(JournalMove::State::restored) : moved);
        // Taking every run back brings both files home, once each.
        while (!m_run->undo(std::nullopt, false).refusal) { }
        QCOMPARE(sourceFiles(), (QMap<QString, QByteArray>{{u"a.txt"_qs, "a"}, {u"b.txt"_qs, "b"}}));
        QVERIFY(regularFilesBelow(displayPath(root)) == QStringList{u".sorvanel.lock"_qs});
    }

    // A destination on a drive that is not plugged in: its mount point is
    // an empty folder on the disk below. A run makes nothing there and says
    // why; undo waits for the drive, and once it is back the files come home.
    // The destination is reached through a link to the drive's folder.
    void aDriveThatIsNotPluggedInGetsNothing()
    {
        const Path stick = toPath(m_home->path()) / "stick";
        const Path root = toPath(m_home->path()) / "to-stick" / "sorted";
        std::filesystem::create_directories(stick);
        std::filesystem::create_directory_symlink(stick, root.parent_path());
        writeFile(toPath(m_home->path()) / "fstab",
                  "/dev/sdb1 " + QFile::encodeName(displayPath(stick)) + " exfat noauto 0 0\n");
        auto fileSystem = std::make_shared<PosixFileSystem>();
        const auto plug = [&](bool in) {
            fileSystem->setDriveTable(
                DriveTable(in ? std::string() : (toPath(m_home->path()) / "fstab").native(), "/proc/self/mounts", {}));
        };
        m_run = std::make_unique<CleanupRun>(DefaultsSuite::open(SettingsStore::suiteName()),
                                             std::make_shared<Organizer>(fileSystem));
        useDestination(root);
        writeFile(downloads() / "report.pdf", "the report", longAgo());

        plug(false);
        const OrganizationPlan preview = m_run->plan();
        QCOMPARE(preview.missingDrive, stick);
        const CleanupRun::Outcome refused = m_run->organize(OrganizationRunMode::automatic);
        QCOMPARE(refused.result.moved, 0);
        QCOMPARE(refused.result.issues.size(), 1);
        QCOMPARE(refused.result.issues[0].filename, L10n::text("Cleanup"));
        QVERIFY(refused.result.issues[0].message.contains(displayPath(stick)));
        // The preview said what the run then reported.
        QCOMPARE(preview.previewIssues().size(), 1);
        QCOMPARE(preview.previewIssues()[0].message, refused.result.issues[0].message);
        QVERIFY(std::filesystem::is_empty(stick));
        QCOMPARE(readFile(downloads() / "report.pdf"), QByteArray("the report"));

        plug(true);
        QVERIFY(!m_run->plan().missingDrive);
        const CleanupRun::Outcome run = m_run->organize(OrganizationRunMode::manual);
        QCOMPARE(run.result.moved, 1);
        plug(false);
        const UndoResult waiting = m_run->undo(std::nullopt, false);
        QVERIFY(waiting.refusal && waiting.refusal->contains(displayPath(root)));
        QVERIFY(!m_run->isUndone(run.id));
        plug(true);
        QCOMPARE(m_run->undo(std::nullopt, false).restored, 1);
        QCOMPARE(readFile(downloads() / "report.pdf"), QByteArray("the report"));
    }

    // A name another program takes once the run has begun sends the file to
    // the next free name; the journal follows it there, and undo brings the
    // file home from it and leaves the other program's file alone.
    void aNameTakenDuringTheRunIsTakenBackFromItsCounterName_data() { oneDriveAndTwo(); }
    void aNameTakenDuringTheRunIsTakenBackFromItsCounterName()
    {
        QFETCH(bool, acrossDrives);
        if (acrossDrives) {
            SKIP_WITHOUT_SECOND_FILE_SYSTEM(farDestination());
        }
        writeFile(downloads() / "report.pdf", "mine", longAgo());
        const Path planned = m_run->plan().moves.at(0).destinationURL;
        // Takes the planned name when the run reports its start.
        struct TakeTheName : ExecutionObserver
        {
            Path name;
            void progressed(const ExecutionProgress &) override
            {
                if (name.empty())
                    return;
                std::filesystem::create_directories(name.parent_path());
                writeFile(std::exchange(name, Path()), "theirs");
            }
            bool stopRequested() override { return false; }
        } taker;
        taker.name = planned;
        const CleanupRun::Outcome run = m_run->organize(OrganizationRunMode::manual, {}, &taker);
        QCOMPARE(run.result.moved, 1);
        QCOMPARE(m_run->journal().moves(run.id).at(0).destination, planned.parent_path() / "report-2.pdf");
        QCOMPARE(m_run->undo(run.id, false).restored, 1);
        QCOMPARE(readFile(downloads() / "report.pdf"), QByteArray("mine"));
        QCOMPARE(readFile(planned), QByteArray("theirs"));
        QVERIFY(!std::filesystem::exists(planned.parent_path() / "report-2.pdf"));
    }

    void aStoppedRunKeepsAnExactAccount_data() { oneDriveAndTwo(); }

    // A run stopped between files is recorded with what it did; the files
    // not tried stay; its undo, stopped too, resumes where it stopped.
    void aStoppedRunKeepsAnExactAccount()
    {
        QFETCH(bool, acrossDrives);
        if (acrossDrives) {
            SKIP_WITHOUT_SECOND_FILE_SYSTEM(farDestination());
        }
        // Stops once `limit` files are done, and keeps what it heard.
        struct StopAfter : ExecutionObserver
        {
            std::int64_t limit;
            std::vector<ExecutionProgress> heard;
            explicit StopAfter(std::int64_t limit)
                : limit(limit)
            {
            }
            void progressed(const ExecutionProgress &progress) override { heard.push_back(progress); }
            bool stopRequested() override { return !heard.empty() && heard.back().filesDone >= limit; }
        };
        qint64 bytes = 0;
        for (int i = 0; i < 6; ++i) {
            const QByteArray content(1000 * (i + 1), char('a' + i));
            writeFile(downloads() / ("file" + std::to_string(i) + ".txt"), content, longAgo());
            bytes += content.size();
        }
        const auto before = sourceFiles();

        StopAfter stopAfterTwo(2);
        const CleanupRun::Outcome run = m_run->organize(OrganizationRunMode::manual, {}, &stopAfterTwo);
        QCOMPARE(run.result.moved, 2);
        QCOMPARE(run.result.remaining, 4);
        QVERIFY(run.result.issues.isEmpty());
        QCOMPARE(sourceFiles().size(), 4);
        QCOMPARE(stopAfterTwo.heard.front(), (ExecutionProgress{0, 6, 0, bytes}));
        QCOMPARE(stopAfterTwo.heard.back().filesDone, 2);
        QVERIFY(stopAfterTwo.heard.back().bytesDone > 0 && stopAfterTwo.heard.back().bytesDone < bytes);
        QCOMPARE(m_run->store().loadHistory().value(0).moved, 2);
        QCOMPARE(m_run->journal().run(run.id)->moved, 2);

        StopAfter stopAfterOne(1);
        UndoResult undone = m_run->undo(run.id, false, &stopAfterOne);
        QCOMPARE(undone.restored, 1);
        QCOMPARE(undone.remaining, 1);
        QVERIFY(!m_run->isUndone(run.id));
        QCOMPARE(stopAfterOne.heard.front(), (ExecutionProgress{0, 2, 0, stopAfterTwo.heard.back().bytesDone}));
        undone = m_run->undo(run.id, false);
        QCOMPARE(undone.restored, 1);
        QCOMPARE(undone.remaining, 0);
        QVERIFY(m_run->isUndone(run.id));
        QCOMPARE(sourceFiles(), before);
    }

    // A stop asked while a file moves on one drive (no copy to stop within)
    // takes effect after it: the file counts as moved, or as put back.
    void aStopAskedWhileAFileMovesTakesEffectAfterIt()
    {
        struct StopOnSecondQuestion : ExecutionObserver
        {
            int asked = 0;
            void progressed(const ExecutionProgress &) override { }
            bool stopRequested() override { return ++asked > 1; }
        };
        writeFile(downloads() / "a.txt", "a", longAgo());
        writeFile(downloads() / "b.txt", "b", longAgo());
        StopOnSecondQuestion duringTheRun;
        const CleanupRun::Outcome run = m_run->organize(OrganizationRunMode::manual, {}, &duringTheRun);
        QCOMPARE(run.result.moved, 1);
        QCOMPARE(run.result.remaining, 1);
        QCOMPARE(sourceFiles().size(), 1);
        StopOnSecondQuestion duringTheUndo;
        const UndoResult undone = m_run->undo(run.id, false, &duringTheUndo);
        QCOMPARE(undone.restored, 1);
        QCOMPARE(undone.remaining, 0);
        QCOMPARE(sourceFiles().size(), 2);
        QVERIFY(m_run->isUndone(run.id));
    }

    // Across drives a big file's progress shows while it is copied, on the
    // way there and on the way back, and only ever grows. A stop takes
    // effect within the file: nothing of the copy stays, the file stays
    // where it was, and the run or undo can simply be started again.
    void progressAndStopWithinABigCopy()
    {
        const auto far = farDestination();
        SKIP_WITHOUT_SECOND_FILE_SYSTEM(far);
        const Path root = *far;
        constexpr qint64 size = 40 << 20;
        writeFile(downloads() / "big.iso", QByteArray(size, 'b'), longAgo());
        struct Heard : ExecutionObserver
        {
            bool stopWithin = false; // asks to stop once the copy has begun
            std::vector<ExecutionProgress> all;
            void progressed(const ExecutionProgress &progress) override { all.push_back(progress); }
            bool stopRequested() override { return stopWithin && all.back().bytesDone > 0; }
        };
        const auto onlyTheLockIn = [&](const Path &folder) {
            return regularFilesBelow(displayPath(folder)) == QStringList{u".sorvanel.lock"_qs};
        };
        const auto showsWithinTheFile = [](const std::vector<ExecutionProgress> &heard) {
            const bool within = std::any_of(heard.begin(), heard.end(), [](const ExecutionProgress &p) {
                return p.filesDone == 0 && p.bytesDone > 0 && p.bytesDone < size;
            });
            const bool grows = std::is_sorted(heard.begin(), heard.end(),
                                              [](const auto &a, const auto &b) { return a.bytesDone < b.bytesDone; });
            return within && grows && heard.back() == ExecutionProgress{1, 1, size, size};
        };
        Heard stopped;
        stopped.stopWithin = true;
        const CleanupRun::Outcome cut = m_run->organize(OrganizationRunMode::manual, {}, &stopped);
        QCOMPARE(cut.result.moved, 0);
        QCOMPARE(cut.result.remaining, 1);
        QVERIFY(cut.result.issues.isEmpty());
        QVERIFY(stopped.all.back().bytesDone < size);
        QCOMPARE(QFileInfo(m_home->downloads() + u"/big.iso"_qs).size(), size);
        QVERIFY(onlyTheLockIn(root));

        Heard there;
        const CleanupRun::Outcome run = m_run->organize(OrganizationRunMode::manual, {}, &there);
        QCOMPARE(run.result.moved, 1);
        QVERIFY(showsWithinTheFile(there.all));
        Heard stoppedBack;
        stoppedBack.stopWithin = true;
        const UndoResult cutBack = m_run->undo(run.id, false, &stoppedBack);
        QCOMPARE(cutBack.restored, 0);
        QCOMPARE(cutBack.remaining, 1);
        QVERIFY(cutBack.issues.isEmpty());
        QVERIFY(!std::filesystem::exists(downloads() / "big.iso"));
        QVERIFY(!m_run->isUndone(run.id));
        Heard back;
        QCOMPARE(m_run->undo(run.id, false, &back).restored, 1);
        QVERIFY(showsWithinTheFile(back.all));
        QCOMPARE(readFile(downloads() / "big.iso"), QByteArray(size, 'b'));
        QVERIFY(onlyTheLockIn(root));
    }

    // Where the settings can only be kept in memory (a full or read-only
    // disk), a run's record would end with the program: no file moves.
    void noFileMovesWithoutALastingRecord()
    {
        writeFile(downloads() / "a.txt", "a", longAgo());
        m_run = std::make_unique<CleanupRun>(DefaultsSuite::inMemory());
        const CleanupRun::Outcome run = m_run->organize(OrganizationRunMode::manual);
        QCOMPARE(run.result.moved, 0);
        QCOMPARE(run.result.issues.size(), 1);
        QCOMPARE(run.result.issues[0].message,
                 L10n::text("The record of this cleanup could not be written, so no file was moved."));
        QCOMPARE(readFile(downloads() / "a.txt"), QByteArray("a"));
    }

    void aHistoryThisVersionCantFullyReadKeepsEveryRun_data()
    {
        QTest::addColumn<QByteArray>("entry"); // %1 is the earlier run's ID
        QTest::addColumn<bool>("readable");
        QTest::newRow("a newer mode and field")
            << QByteArray(R"({"id":"%1","date":1e9,"mode":"watch","moved":1,"skipped":0,"failed":0,"duration":0.5,)"
                          R"("group":{"day":"2032-09-09"}})")
            << true;
        QTest::newRow("a record without its counts")
            << QByteArray(R"({"id":"%1","date":1e9,"mode":"manual","duration":0.5})") << false;
    }

    // A history written by a newer version, or one that can't be read at all,
    // loses nothing to the next run: neither its entries nor the journal's
    // record of their runs, which undo needs.
    void aHistoryThisVersionCantFullyReadKeepsEveryRun()
    {
        QFETCH(QByteArray, entry);
        QFETCH(bool, readable);
        writeFile(downloads() / "a.txt", "a", longAgo());
        const QUuid earlier = m_run->organize(OrganizationRunMode::manual).id;
        const QByteArray history = "[" + QString::fromLatin1(entry).arg(Json::uuidString(earlier)).toLatin1() + "]";
        m_run->store().defaults().set(u"runHistory"_qs, DefaultsValue::data(history));

        writeFile(downloads() / "b.txt", "b", longAgo());
        const QUuid later = m_run->organize(OrganizationRunMode::manual).id;
        const QList<RunHistoryEntry> kept = m_run->store().loadHistory();
        if (readable) {
            QCOMPARE(kept.size(), 2);
            QCOMPARE(kept[0].id, later);
            QCOMPARE(rawMode(kept[1]), u"watch"_qs);
            QCOMPARE(QJsonDocument::fromJson(Json::encodeHistory({kept[1]})), QJsonDocument::fromJson(history));
        } else {
            QCOMPARE(m_run->store().defaults().data(u"runHistory"_qs), history);
        }
        QCOMPARE(m_run->undo(earlier, false).restored, 1);
        QCOMPARE(readFile(downloads() / "a.txt"), QByteArray("a"));
    }

    // A journal written before it kept birth times still takes its runs back.
    void aJournalWithoutBirthTimesStillServesUndo()
    {
        writeFile(downloads() / "a.txt", "a", longAgo());
        const CleanupRun::Outcome run = m_run->organize(OrganizationRunMode::manual);
        QCOMPARE(run.result.moved, 1);
        const QString path = m_run->store().defaults().path();
        m_run.reset();
        {
            SqliteDatabase db;
            QCOMPARE(db.open(path, SQLITE_OPEN_READWRITE), SQLITE_OK);
            QCOMPARE(db.execute("ALTER TABLE journalBatches DROP COLUMN births"), SQLITE_OK);
        }
        m_run = std::make_unique<CleanupRun>(DefaultsSuite::open(SettingsStore::suiteName()));
        QCOMPARE(m_run->journal().moves(run.id).at(0).bornNs, 0);
        QCOMPARE(m_run->undo(run.id, false).restored, 1);
        QCOMPARE(readFile(downloads() / "a.txt"), QByteArray("a"));
    }
};

QTEST_GUILESS_MAIN(TestCleanupRun)
#include "tst_cleanuprun.moc"
