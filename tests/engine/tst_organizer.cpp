// SPDX-License-Identifier: GPL-3.0-or-later
#include "Localization.h"
#include "Organizer.h"
#include "TestSupport.h"

#include <QtTest>

#include <map>
#include <set>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace sorvanel;
using namespace sorvanel::test;

namespace {
const Calendar utc{QCalendar(), QTimeZone::utc()};

// Faults the machine can't produce for root: a read-only drive, a file we may not move.
class FaultyFileSystem : public PosixFileSystem
{
public:
    int moveFault = 0;
    int folderFault = 0;
    std::string faultyName; // only this file's move fails; empty: every move

    FileError createDirectory(const Path &directory, const Path &within, std::vector<Path> *created) override
    {
        // The lock makes the root itself (no `within`); the fault hits the folders below it.
        return folderFault && !within.empty() ? FileError(folderFault)
                                              : PosixFileSystem::createDirectory(directory, within, created);
    }

protected:
    FileError renameNoReplace(const Path &source, int folder, const char *name, const MoveContext &context) override
    {
        if (moveFault && (faultyName.empty() || source.filename().native() == faultyName))
            return FileError(moveFault);
        return PosixFileSystem::renameNoReplace(source, folder, name, context);
    }
};
const QDateTime fixedNow(QDate(2024, 5, 10), QTime(12, 0), Qt::UTC);

// Birth times can't be set; this one reports the file's number in days
// (plus its number in minutes) before fixedNow as its birth time.
class BackdatingFileSystem : public PosixFileSystem
{
public:
    std::vector<DirectoryEntry> contentsOfDirectory(const Path &directory) override
    {
        auto entries = PosixFileSystem::contentsOfDirectory(directory);
        for (auto &entry : entries) {
            const int n = std::stoi(entry.url.filename().native().substr(1));
            entry.properties.creationDate = fixedNow.addDays(-n).addSecs(-60 * n);
        }
        return entries;
    }
};
} // namespace

class TestOrganizer : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryFolder> m_dir;
    Path m_source;
    Path m_destination;

    Organizer organizer()
    {
        Organizer o;
        o.setCalendarProvider([] { return utc; });
        return o;
    }

    OrganizerConfiguration configuration(std::int64_t threshold = 1000)
    {
        OrganizerConfiguration c;
        c.sourceURL = m_source;
        c.destinationURL = m_destination;
        c.largeFileThresholdBytes = threshold;
        return c;
    }

    // Files written now are younger than the minimum age; date them in the past.
    void file(const std::string &name, const QByteArray &content = "x")
    {
        writeFile(m_source / name, content, fixedNow.addDays(-2));
    }

    enum class Gap { sparse, preallocated, smallSparse };

private slots:
    void init()
    {
        m_dir = std::make_unique<TemporaryFolder>();
        m_source = toPath(m_dir->path()) / "Downloads";
        m_destination = m_source / "__filesDownloadedAt";
        std::filesystem::create_directories(m_source);
    }

    // Downloads in progress hold back the files that belong to them.
    void unfinishedDownloadsHoldBackTheirFiles_data()
    {
        QTest::addColumn<QStringList>("names"); // "=name" is an empty file
        QTest::addColumn<QStringList>("moved");
        QTest::addColumn<QStringList>("reasons"); // skipped name: reason, in name order
        QTest::newRow("aria2 fills the final name")
            << QStringList{"disc.iso", "disc.iso.aria2", "notes.txt"} << QStringList{"notes.txt"}
            << QStringList{"disc.iso: download in progress (disc.iso.aria2 lies beside it)",
                           "disc.iso.aria2: unfinished download"};
        QTest::newRow("part beside") << QStringList{"movie.mp4", "movie.mp4.part"} << QStringList{}
                                     << QStringList{"movie.mp4: download in progress (movie.mp4.part lies beside it)",
                                                    "movie.mp4.part: unfinished download"};
        QTest::newRow("Firefox: empty final name")
            << QStringList{"=paper.pdf", "paper.a1B2c.pdf.part", "=other.txt", "full.txt"} << QStringList{"full.txt"}
            << QStringList{"other.txt: empty while a download in this folder is unfinished",
                           "paper.a1B2c.pdf.part: unfinished download",
                           "paper.pdf: empty while a download in this folder is unfinished"};
        QTest::newRow("empty file, no download")
            << QStringList{"=empty.txt", "movie.mp4"} << QStringList{"empty.txt", "movie.mp4"} << QStringList{};
        QTest::newRow("control file for another name")
            << QStringList{"a.iso", "b.iso.crdownload"} << QStringList{"a.iso"}
            << QStringList{"b.iso.crdownload: unfinished download"};
        QTest::newRow("yt-dlp: a stream while the other downloads")
            << QStringList{"Clip.f251-drc.webm", "Clip.f399.mp4.part-Frag3", "Other.f137.mp4"}
            << QStringList{"Other.f137.mp4"}
            << QStringList{"Clip.f251-drc.webm: waiting for its other stream to be merged",
                           "Clip.f399.mp4.part-Frag3: unfinished download"};
        QTest::newRow("yt-dlp: both streams while they merge")
            << QStringList{"S.f137.mp4", "S.f140.m4a", "S.temp.mp4"} << QStringList{"S.temp.mp4"}
            << QStringList{"S.f137.mp4: waiting for its other stream to be merged",
                           "S.f140.m4a: waiting for its other stream to be merged"};
        QTest::newRow("stream names with nothing unfinished")
            << QStringList{"S.f137.mp4", "S.f140.m4a", "T.f1.mp4.part.txt"}
            << QStringList{"S.f137.mp4", "S.f140.m4a", "T.f1.mp4.part.txt"} << QStringList{};
    }

    void unfinishedDownloadsHoldBackTheirFiles()
    {
        QFETCH(QStringList, names);
        QFETCH(QStringList, moved);
        QFETCH(QStringList, reasons);
        for (const QString &name : names)
            file(name.startsWith(u'=') ? name.mid(1).toStdString() : name.toStdString(),
                 name.startsWith(u'=') ? "" : "x");
        auto c = configuration();
        c.now = [] { return fixedNow; };
        const auto plan = organizer().makePlan(c);
        QStringList plannedNames;
        for (const auto &move : plan.moves)
            plannedNames << displayName(move.sourceURL);
        QCOMPARE(plannedNames, moved);
        QCOMPARE(plan.skipped, qint64(reasons.size()));
        QStringList shown;
        for (const auto &skipped : plan.skippedFiles)
            shown << displayName(skipped.url) + u": "_qs + localizedReason(skipped);
        if (QLocale().language() == QLocale::English || QLocale().language() == QLocale::C)
            QCOMPARE(shown, reasons);
        else
            QCOMPARE(shown.size(), reasons.size());
    }

    void aFileWithGapsStaysUntilItIsWhole_data()
    {
        QTest::addColumn<bool>("otherDrive"); // /dev/shm rather than the build folder's drive
        QTest::addColumn<int>("kind"); // how the unwritten part came about
        for (const bool other : {false, true}) {
            const char *drive = other ? "tmpfs" : "build folder's drive";
            QTest::addRow("%s: written piece by piece", drive) << other << int(Gap::sparse);
            QTest::addRow("%s: pre-allocated", drive) << other << int(Gap::preallocated);
            QTest::addRow("%s: small and sparse", drive) << other << int(Gap::smallSparse);
        }
    }

    // A paused torrent is closed, full size and old: only the holes in its
    // data tell it from a finished file.
    void aFileWithGapsStaysUntilItIsWhole()
    {
        QFETCH(bool, otherDrive);
        QFETCH(int, kind);
        std::unique_ptr<TemporaryFolder> far;
        if (otherDrive) {
            far = folderOnOtherFileSystem(m_dir->path());
            SKIP_WITHOUT_SECOND_FILE_SYSTEM(far);
            m_source = toPath(far->path());
        }
        const Path file = m_source / "movie.mkv";
        const std::int64_t size = kind == int(Gap::smallSparse) ? 300000 : 6 << 20;
        const QByteArray data(int(size), 'm');
        {
            const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            QVERIFY(fd >= 0);
            if (kind == int(Gap::preallocated))
                QCOMPARE(::fallocate(fd, 0, 0, size), 0);
            else
                QCOMPARE(::ftruncate(fd, size), 0);
            QCOMPARE(::pwrite(fd, data.constData(), 4096, 0), ssize_t(4096)); // the first piece
            ::close(fd);
        }
        const qint64 old = fixedNow.addDays(-2).toSecsSinceEpoch();
        const struct timespec times[2] = {{old, 0}, {old, 0}};
        QCOMPARE(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
        auto c = configuration();
        c.now = [] { return fixedNow; };
        OrganizationPlan plan = organizer().makePlan(c);
        QVERIFY(plan.moves.empty());
        QCOMPARE(plan.skippedFiles.size(), std::size_t(1));
        QCOMPARE(plan.skippedFiles[0].reason, SkipReason::unwrittenGaps);

        writeFile(file, data, fixedNow.addDays(-2)); // every piece is in
        plan = organizer().makePlan(c);
        QCOMPARE(plan.moves.size(), std::size_t(1));
        QVERIFY(organizer().execute(plan).issues.isEmpty());
        QCOMPARE(readFile(plan.moves[0].destinationURL), data);
        QVERIFY(!std::filesystem::exists(file));
    }

    void everySkippedFileHasItsReason()
    {
        std::filesystem::create_directory(m_source / "folder");
        file(".hidden");
        file("x.crdownload");
        ::mkfifo((m_source / "pipe").c_str(), 0600);
        std::filesystem::create_symlink("/etc/hostname", m_source / "link.txt");
        writeFile(m_source / "fresh.txt", "x", fixedNow.addSecs(-1));
        auto c = configuration();
        c.now = [] { return fixedNow; };
        const auto plan = organizer().makePlan(c);
        std::map<std::string, SkipReason> reasons;
        for (const auto &skipped : plan.skippedFiles)
            reasons[skipped.url.filename().native()] = skipped.reason;
        const std::map<std::string, SkipReason> expected{
            {".hidden", SkipReason::hidden},      {"folder", SkipReason::folder},
            {"fresh.txt", SkipReason::tooRecent}, {"link.txt", SkipReason::symbolicLink},
            {"pipe", SkipReason::notRegularFile}, {"x.crdownload", SkipReason::unfinishedDownload}};
        QVERIFY(reasons == expected);
        QCOMPARE(plan.skipped, 6);
        QVERIFY(plan.moves.empty());
        QVERIFY(plan.issues.isEmpty());
    }

    void ageTest()
    {
        writeFile(m_source / "future.txt", "x", fixedNow.addSecs(3600));
        writeFile(m_source / "exact.txt", "x", fixedNow.addSecs(-2));
        auto c = configuration();
        c.now = [] { return fixedNow; };
        auto plan = organizer().makePlan(c);
        QCOMPARE(plan.moves.size(), std::size_t(1));
        QCOMPARE(plan.moves[0].sourceURL.filename().native(), std::string("exact.txt"));
        QCOMPARE(plan.skipped, 1);
        // No minimum age: nothing is skipped for age, not even a future file.
        c.minimumFileAge = 0;
        plan = organizer().makePlan(c);
        QCOMPARE(plan.moves.size(), std::size_t(2));
        QCOMPARE(plan.skipped, 0);
    }

    void plansInNameOrderIntoCategoryFolders()
    {
        file("a10.txt");
        file("a9.txt");
        file("Photo.PNG");
        file("big.pdf", QByteArray(2000, 'b'));
        file("notes");
        auto c = configuration();
        c.now = [] { return fixedNow; };
        const auto plan = organizer().makePlan(c);
        QCOMPARE(plan.generatedAt, fixedNow);
        QStringList names;
        for (const auto &m : plan.moves)
            names << QString::fromStdString(std::filesystem::path(m.destinationURL)
                                                .lexically_relative(std::filesystem::path(m_destination))
                                                .native());
        // Creation dates are birth times (now), so the folder is today's in UTC.
        const QString day = Organizer::dateFolderName(plan.moves[0].fileDate, utc);
        QCOMPARE(names,
                 (QStringList{day + QStringLiteral("/docs/a9.txt"), day + QStringLiteral("/docs/a10.txt"),
                              day + QStringLiteral("/big/big.pdf"), day + QStringLiteral("/notes"),
                              day + QStringLiteral("/graphic/Photo.PNG")}));
        QCOMPARE(plan.moves[2].category, FileCategory::big);
        QCOMPARE(plan.moves[3].category, FileCategory::other);
        QVERIFY(!std::filesystem::exists(m_destination)); // planning touches nothing
    }

    void planAvoidsNamesOnDiskAndWithinThePlan()
    {
        file("notes");
        file("notes-2");
        const auto first = organizer().makePlan(configuration());
        const Path folder = first.moves[0].destinationURL.parent_path();
        std::filesystem::create_directories(folder / "notes"); // a folder takes the name too
        const auto plan = organizer().makePlan(configuration());
        QCOMPARE(plan.moves.size(), std::size_t(2));
        QVERIFY(plan.moves[0].destinationURL != plan.moves[1].destinationURL);
        // "notes" is taken on disk; its counter skips "notes-2", which another file of the plan keeps.
        QCOMPARE(plan.moves[0].destinationURL.filename().native(), std::string("notes-3"));
        QCOMPARE(plan.moves[1].destinationURL.filename().native(), std::string("notes-2"));
    }

    // Where the destination ignores case, names that differ only in case
    // clash, on disk and within the plan: each file gets a name of its own
    // however it is spelt, the one execution will use.
    void namesThatDifferOnlyInCaseGetNamesOfTheirOwn()
    {
        struct IgnoringCase : PosixFileSystem
        {
            bool ignoresCase(const Path &) override { return true; }
        };
        for (const char *name : {"Report.pdf", "report.pdf", "REPORT.PDF"})
            file(name, name);
        Organizer ignoring(std::make_shared<IgnoringCase>());
        ignoring.setCalendarProvider([] { return utc; });
        const Path folder = ignoring.makePlan(configuration()).moves[0].destinationURL.parent_path();
        std::filesystem::create_directories(folder);
        writeFile(folder / "report.PDF", "already there");
        const auto plan = ignoring.makePlan(configuration());
        QSet<QString> names;
        for (const auto &move : plan.moves)
            names.insert(displayName(move.destinationURL).toLower());
        QCOMPARE(names, (QSet<QString>{u"report-2.pdf"_qs, u"report-3.pdf"_qs, u"report-4.pdf"_qs}));
    }

    void bigFolderPlansLikeASmallOne()
    {
        // Enough files for planning to be shared out over the cores. Odd
        // numbers are already taken in the target folder; every third file
        // also has a "-2" sibling in the source, which keeps its own name, so
        // the clashing file gets "-3".
        constexpr int count = 6000;
        for (int i = 0; i < count; ++i) {
            file("f" + std::to_string(i) + ".txt");
            if (i % 3 == 0)
                file("f" + std::to_string(i) + "-2.txt");
        }
        const Path folder = organizer().makePlan(configuration()).moves[0].destinationURL.parent_path();
        std::filesystem::create_directories(folder);
        for (int i = 1; i < count; i += 2)
            writeFile(folder / ("f" + std::to_string(i) + ".txt"));

        const auto plan = organizer().makePlan(configuration());
        QCOMPARE(plan.moves.size(), std::size_t(count + count / 3));
        std::set<std::string> destinations;
        for (const auto &move : plan.moves) {
            QCOMPARE(move.destinationURL.parent_path(), folder);
            QVERIFY(destinations.insert(move.destinationURL.filename().native()).second);
            const std::string name = move.sourceURL.filename().native();
            const int i = std::stoi(name.substr(1));
            std::string expected = name;
            if (i % 2 == 1 && name.find('-') == std::string::npos)
                expected = "f" + std::to_string(i) + (i % 3 == 0 ? "-3.txt" : "-2.txt");
            QCOMPARE(move.destinationURL.filename().native(), expected);
        }
    }

    void bigFolderOverManyDaysGoesToEachFilesDay()
    {
        // Each planning thread names days on its own; the folders must agree.
        for (int i = 0; i < 6000; ++i)
            file("f" + std::to_string(i) + (i % 2 ? ".png" : ".bin"));
        Organizer o(std::make_shared<BackdatingFileSystem>());
        const Calendar berlin{QCalendar(), QTimeZone("Europe/Berlin")};
        o.setCalendarProvider([&] { return berlin; });
        const auto plan = o.makePlan(configuration());
        QCOMPARE(plan.moves.size(), std::size_t(6000));
        std::set<std::string> folders;
        for (const auto &move : plan.moves) {
            const int i = std::stoi(move.sourceURL.filename().native().substr(1));
            QCOMPARE(move.fileDate, fixedNow.addDays(-i).addSecs(-60 * i));
            const Path day = m_destination / Organizer::dateFolderName(move.fileDate, berlin).toStdString();
            QCOMPARE(move.destinationURL.parent_path(), i % 2 ? day / "graphic" : day);
            folders.insert(move.destinationURL.parent_path().native());
        }
        QCOMPARE(folders.size(), std::size_t(6000)); // one day each
    }

    void validation_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("destination");
        QTest::addColumn<qint64>("threshold");
        QTest::addColumn<int>("expected"); // -1: valid
        const auto row = [](const char *name, const QString &source, const QString &destination, qint64 threshold,
                            int expected) { QTest::newRow(name) << source << destination << threshold << expected; };
        row("zero threshold beats missing source", "missing", "dest", 0LL, int(OrganizerError::invalidThreshold));
        row("missing source", "missing", "dest", 1LL, int(OrganizerError::sourceDoesNotExist));
        row("source is a file", "file.txt", "dest", 1LL, int(OrganizerError::sourceIsNotDirectory));
        row("same folder", "src", "src", 1LL, int(OrganizerError::unsafeFolderRelationship));
        row("trailing separator", "src", "src/", 1LL, int(OrganizerError::unsafeFolderRelationship));
        row("current-folder component", "src", "./src/.", 1LL, int(OrganizerError::unsafeFolderRelationship));
        row("through a link", "link", "src", 1LL, int(OrganizerError::unsafeFolderRelationship));
        row("source inside destination", "src/inner", "src", 1LL, int(OrganizerError::unsafeFolderRelationship));
        row("destination inside source", "src", "src/inner/organized", 1LL, -1);
        row("sibling with common prefix", "srcx", "src", 1LL, -1);
        row("missing destination", "src", "nowhere/deep", 1LL, -1);
        row("link to a folder as source", "link", "dest", 1LL, -1);
    }

    void validation()
    {
        QFETCH(QString, source);
        QFETCH(QString, destination);
        QFETCH(qint64, threshold);
        QFETCH(int, expected);
        const Path root = toPath(m_dir->path());
        std::filesystem::create_directories(root / "src" / "inner");
        std::filesystem::create_directories(root / "srcx");
        writeFile(root / "file.txt");
        std::filesystem::create_symlink(root / "src", root / "link");
        OrganizerConfiguration c;
        c.sourceURL = root / source.toStdString();
        c.destinationURL = destination.startsWith(u"./") ? Path(root.native() + "/" + destination.toStdString())
                                                         : root / destination.toStdString();
        c.largeFileThresholdBytes = threshold;
        try {
            organizer().validate(c);
            QCOMPARE(-1, expected);
        } catch (const OrganizerFailure &failure) {
            QVERIFY(failure.organizerError());
            QCOMPARE(int(*failure.organizerError()), expected);
        }
    }

    // Shell completion adds a trailing slash; a path may carry "." and "..".
    void foldersWrittenAnyWayNameTheSameFolder_data()
    {
        QTest::addColumn<QString>("sourceSuffix");
        QTest::addColumn<QString>("destinationSuffix");
        QTest::addColumn<bool>("acrossDrives");
        for (const bool across : {false, true}) {
            const char *drive = across ? "across drives" : "same drive";
            QTest::addRow("trailing slash, %s", drive) << "/"
                                                       << "/" << across;
            QTest::addRow("dot and double slash, %s", drive) << "/./"
                                                             << "//." << across;
            QTest::addRow("dot-dot, %s", drive) << "/../Downloads"
                                                << "/../Sorted/" << across;
        }
    }

    void foldersWrittenAnyWayNameTheSameFolder()
    {
        QFETCH(QString, sourceSuffix);
        QFETCH(QString, destinationSuffix);
        QFETCH(bool, acrossDrives);
        std::unique_ptr<TemporaryFolder> far;
        Path sorted = toPath(m_dir->path()) / "Sorted";
        if (acrossDrives) {
            far = folderOnOtherFileSystem(m_dir->path());
            if (!far)
                QSKIP("no second file system here");
            sorted = toPath(far->path()) / "Sorted";
        }
        std::filesystem::create_directories(sorted);
        file("a.pdf", "document");
        file("b.bin", "other");
        auto c = configuration();
        c.now = [] { return fixedNow; };
        c.sourceURL = Path(m_source.native() + sourceSuffix.toStdString());
        c.destinationURL = Path(sorted.native() + destinationSuffix.toStdString());
        const auto plan = organizer().makePlan(c);
        QCOMPARE(plan.destinationRoot, sorted);
        const auto result = organizer().execute(plan);
        QCOMPARE(result.moved, 2);
        QVERIFY(result.issues.isEmpty());
        QCOMPARE(plan.moves.size(), 2u);
        for (const auto &move : plan.moves)
            QVERIFY(move.destinationURL.native().starts_with(sorted.native() + "/"));
        QCOMPARE(readFile(plan.moves[0].destinationURL), QByteArray("document"));
        QCOMPARE(readFile(plan.moves[1].destinationURL), QByteArray("other"));
    }

    // Moves are tried in the plan's execution order (the planner's is the
    // listing's); an order that is not a whole permutation falls back to plan
    // order. Either way each file is tried once, a vanished source is an issue
    // and the run goes on, and the problems follow the planning issues in plan order.
    void problemsComeInPlanOrderWhateverTheExecutionOrder_data()
    {
        QTest::addColumn<QList<int>>("order"); // empty: the planner's own
        QTest::newRow("planner's") << QList<int>{};
        QTest::newRow("reversed") << QList<int>{3, 2, 1, 0};
        QTest::newRow("out of range") << QList<int>{0, 1, 2, 7};
        QTest::newRow("repeated") << QList<int>{0, 0, 1, 2};
        QTest::newRow("too short") << QList<int>{1};
    }

    void problemsComeInPlanOrderWhateverTheExecutionOrder()
    {
        QFETCH(QList<int>, order);
        for (const char *name : {"a.txt", "b.txt", "c.txt", "d.txt"})
            file(name);
        auto plan = organizer().makePlan(configuration());
        QCOMPARE(plan.executionOrder.size(), std::size_t(4));
        if (!order.isEmpty())
            plan.executionOrder.assign(order.begin(), order.end());
        plan.issues.append(OrganizationIssue(u"planned"_qs, u"problem"_qs));
        std::filesystem::remove(m_source / "a.txt");
        std::filesystem::remove(m_source / "c.txt");
        const auto result = organizer().execute(plan);
        QCOMPARE(result.moved, 2);
        QStringList names;
        for (const OrganizationIssue &issue : result.issues)
            names << issue.filename;
        QCOMPARE(names, (QStringList{u"planned"_qs, u"a.txt"_qs, u"c.txt"_qs}));
        QVERIFY(!result.issues[1].message.isEmpty());
        for (const PlannedMove &move : plan.moves) {
            const bool gone = move.sourceURL.filename() == "a.txt" || move.sourceURL.filename() == "c.txt";
            QCOMPARE(std::filesystem::exists(move.destinationURL), !gone);
            QVERIFY(!std::filesystem::exists(move.sourceURL));
        }
    }

    void oddNamesMoveByteForByte()
    {
        const std::string invalidUtf8 = "bad\xff\xfename.txt";
        const std::string newline = "two\nlines.pdf";
        const std::string dash = "-rf.png";
        const std::string longName = std::string(251, 'n') + ".txt"; // 255 bytes
        for (const auto &name : {invalidUtf8, newline, dash, longName})
            file(name, QByteArray::fromStdString(name));
        const auto result = organizer().organize(configuration());
        QCOMPARE(result.moved, 4);
        QVERIFY(result.issues.isEmpty());
        std::size_t found = 0;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(m_destination)) {
            const std::string name = entry.path().filename().native();
            if (name == invalidUtf8 || name == newline || name == dash || name == longName) {
                QCOMPARE(readFile(entry.path()), QByteArray::fromStdString(name));
                ++found;
            }
        }
        QCOMPARE(found, std::size_t(4));
    }

    void longNameThatCannotTakeACounterStaysPut()
    {
        const std::string longName = std::string(251, 'n') + ".txt";
        file(longName, "second");
        const auto plan = organizer().makePlan(configuration());
        QVERIFY(plan.previewIssues().isEmpty());
        std::filesystem::create_directories(plan.moves[0].destinationURL.parent_path());
        writeFile(plan.moves[0].destinationURL, "first");
        // The preview tells of the problem the run will meet.
        const QList<OrganizationIssue> foreseen = organizer().makePlan(configuration()).previewIssues();
        QCOMPARE(foreseen.size(), 1);
        QCOMPARE(foreseen[0].message,
                 L10n::text("Its name is too long for the destination folder, so it stays where it is."));
        const auto result = organizer().execute(plan);
        QCOMPARE(result.moved, 0);
        QCOMPARE(result.issues.size(), 1);
        QCOMPARE(result.issues[0].message,
                 L10n::text("Its name is too long for the destination folder, so it stays where it is."));
        QCOMPARE(readFile(m_source / longName), QByteArray("second"));
        QCOMPARE(readFile(plan.moves[0].destinationURL), QByteArray("first"));
    }

    void injectedFaultsBecomeIssuesAndMoveNothing_data()
    {
        QTest::addColumn<int>("moveFault");
        QTest::addColumn<int>("folderFault");
        QTest::addColumn<QString>("faultyName");
        QTest::newRow("read-only destination") << EROFS << 0 << "";
        QTest::newRow("folder can't be made") << 0 << EROFS << "";
        QTest::newRow("permission denied on one file") << EACCES << 0 << "b.txt";
        QTest::newRow("disk full") << ENOSPC << 0 << "";
    }

    void injectedFaultsBecomeIssuesAndMoveNothing()
    {
        QFETCH(int, moveFault);
        QFETCH(int, folderFault);
        QFETCH(QString, faultyName);
        file("a.txt", "a");
        file("b.txt", "b");
        file("c.txt", "c");
        auto fs = std::make_shared<FaultyFileSystem>();
        fs->moveFault = moveFault;
        fs->folderFault = folderFault;
        fs->faultyName = faultyName.toStdString();
        Organizer faulty(fs);
        faulty.setCalendarProvider([] { return utc; });
        const auto plan = faulty.makePlan(configuration());
        // The root is made before any fault applies (the lock needs it).
        std::filesystem::create_directories(m_destination);
        const auto result = faulty.execute(plan);
        const int error = moveFault ? moveFault : folderFault;
        const int failing = faultyName.isEmpty() ? 3 : 1;
        QCOMPARE(result.issues.size(), failing);
        QCOMPARE(result.moved, 3 - failing);
        for (const auto &issue : result.issues)
            QCOMPARE(issue.message, QString::fromLocal8Bit(strerror(error)));
        if (!faultyName.isEmpty())
            QCOMPARE(result.issues[0].filename, faultyName);
        for (const auto &move : plan.moves) {
            const bool failed = faultyName.isEmpty() || move.sourceURL.filename().native() == faultyName.toStdString();
            QCOMPARE(std::filesystem::exists(move.sourceURL), failed);
            QCOMPARE(std::filesystem::exists(move.destinationURL), !failed);
        }
    }
};

QTEST_GUILESS_MAIN(TestOrganizer)
#include "tst_organizer.moc"
