// SPDX-License-Identifier: GPL-3.0-or-later
#include "FileSystem.h"
#include "Localization.h"
#include "TestSupport.h"

#include <QRegularExpression>
#include <QtTest>

#include <functional>

#include <csignal>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>

using namespace sorvanel;
using namespace sorvanel::test;

namespace {
// Opens the cross-drive path to tests on a machine with a single drive.
class CrossDeviceFileSystem : public PosixFileSystem
{
public:
    FileError linkThenUnlinkInto(const Path &source, const Path &target)
    {
        const int folder = ::open(target.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        const FileError error = linkThenUnlink(source, folder, target.filename().c_str(), {});
        ::close(folder);
        return error;
    }

    bool anonymousFiles = true; // false: a file system without O_TMPFILE (FAT, NFS)
    std::function<void()> duringCopy;

protected:
    FileError renameNoReplace(const Path &source, int folder, const char *name, const MoveContext &context) override
    {
        return copyAcrossDevices(source, folder, name, context);
    }
    int openAnonymousFile(int folder) override
    {
        if (anonymousFiles)
            return PosixFileSystem::openAnonymousFile(folder);
        errno = EOPNOTSUPP;
        return -1;
    }
    int copyContents(int from, int to, const CopyProgress *copied) override
    {
        if (duringCopy)
            duringCopy();
        return PosixFileSystem::copyContents(from, to, copied);
    }
};

// A drive with neither the no-replace rename nor hard links (older FUSE
// file systems): a name is taken by renaming over our own empty reservation.
class NoLinksFileSystem : public PosixFileSystem
{
protected:
    FileError renameNoReplace(const Path &source, int folder, const char *name, const MoveContext &context) override
    {
        rememberRefusal(folder, hardLinks);
        return linkThenUnlink(source, folder, name, context);
    }
};

std::vector<std::string> namesIn(const Path &folder)
{
    std::vector<std::string> names;
    for (const auto &item : std::filesystem::directory_iterator(folder))
        names.push_back(item.path().filename().native());
    std::sort(names.begin(), names.end());
    return names;
}

// A drive that fills up after the first few bytes of a copy.
class FullDiskFileSystem : public CrossDeviceFileSystem
{
protected:
    int copyContents(int from, int to, const CopyProgress *) override
    {
        char buffer[100];
        const ssize_t n = ::read(from, buffer, sizeof buffer);
        if (n > 0)
            (void)::write(to, buffer, size_t(n));
        return ENOSPC;
    }
};

} // namespace

class TestPosixFileSystem : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryFolder> m_dir;
    Path path(const char *name) const { return toPath(m_dir->path()) / name; }

private slots:
    void init() { m_dir = std::make_unique<TemporaryFolder>(); }

    void listingReadsPropertiesWithoutFollowingLinks()
    {
        const QDateTime modified(QDate(2023, 1, 2), QTime(3, 4, 5, 600), Qt::UTC);
        writeFile(path("file.txt"), "12345", modified);
        std::filesystem::create_directory(path("folder"));
        std::filesystem::create_symlink("file.txt", path("link"));
        writeFile(path(".hidden"));
        PosixFileSystem fs;
        auto entries = fs.contentsOfDirectory(toPath(m_dir->path()));
        QCOMPARE(entries.size(), std::size_t(4));
        std::map<std::string, DirectoryEntry> byName;
        for (auto &e : entries)
            byName[e.url.filename().native()] = e;
        const auto &file = byName["file.txt"].properties;
        QVERIFY(file.isRegularFile);
        QCOMPARE(*file.size, 5);
        QCOMPARE(*file.modificationDate, modified);
        QVERIFY(!byName["folder"].properties.isRegularFile);
        QVERIFY(byName["link"].properties.isSymbolicLink);
        QVERIFY(!byName["link"].properties.isRegularFile);
        QVERIFY(byName[".hidden"].properties.isHidden);
        QVERIFY_THROWS_EXCEPTION(OrganizerFailure, fs.contentsOfDirectory(path("missing")));
    }

    void moveNeverReplaces()
    {
        writeFile(path("a"), "source");
        writeFile(path("b"), "target");
        PosixFileSystem fs;
        QCOMPARE(fs.moveItem(path("a"), path("b")).code(), EEXIST);
        QCOMPARE(readFile(path("a")), QByteArray("source"));
        QCOMPARE(readFile(path("b")), QByteArray("target"));
        // A dangling link holds its name too.
        std::filesystem::create_symlink("nowhere", path("c"));
        QCOMPARE(fs.moveItem(path("a"), path("c")).code(), EEXIST);
        QVERIFY(!fs.moveItem(path("a"), path("d")));
        QCOMPARE(readFile(path("d")), QByteArray("source"));
    }

    void linkFallbackNeverReplaces()
    {
        writeFile(path("a"), "source");
        writeFile(path("b"), "target");
        CrossDeviceFileSystem fs;
        QCOMPARE(fs.linkThenUnlinkInto(path("a"), path("b")).code(), EEXIST);
        QVERIFY(!fs.linkThenUnlinkInto(path("a"), path("c")));
        QVERIFY(!std::filesystem::exists(path("a")));
        QCOMPARE(readFile(path("c")), QByteArray("source"));
    }

    void crossDeviceCopyKeepsContentModeAndTimes()
    {
        const QDateTime modified(QDate(2022, 6, 7), QTime(8, 9, 10, 110), Qt::UTC);
        QByteArray content(3 * 1024 * 1024 + 17, '\0');
        for (int i = 0; i < content.size(); ++i)
            content[i] = char(i * 31);
        writeFile(path("big.bin"), content, modified);
        ::chmod(path("big.bin").c_str(), 0640);
        const bool hasXattr = ::setxattr(path("big.bin").c_str(), "user.origin", "web", 3, 0) == 0;
        std::filesystem::create_directory(path("target"));
        CrossDeviceFileSystem fs;
        QVERIFY(!fs.moveItem(path("big.bin"), path("target") / "big.bin"));
        QVERIFY(!std::filesystem::exists(path("big.bin")));
        QCOMPARE(readFile(path("target") / "big.bin"), content);
        struct stat info;
        ::stat((path("target") / "big.bin").c_str(), &info);
        QCOMPARE(info.st_mode & 0777, 0640u);
        QCOMPARE(qint64(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1000000, modified.toMSecsSinceEpoch());
        if (hasXattr) {
            char value[8] = {};
            QCOMPARE(::getxattr((path("target") / "big.bin").c_str(), "user.origin", value, sizeof value), ssize_t(3));
            QCOMPARE(QByteArray(value), QByteArray("web"));
        }
        // Nothing but the file is left in the target folder.
        QCOMPARE(std::distance(std::filesystem::directory_iterator(path("target")), {}), 1);
    }

    void crossDeviceCopyNeverReplaces()
    {
        writeFile(path("a"), "source");
        std::filesystem::create_directory(path("t"));
        writeFile(path("t") / "a", "theirs");
        CrossDeviceFileSystem fs;
        QCOMPARE(fs.moveItem(path("a"), path("t") / "a").code(), EEXIST);
        QCOMPARE(readFile(path("a")), QByteArray("source"));
        QCOMPARE(readFile(path("t") / "a"), QByteArray("theirs"));
        QCOMPARE(std::distance(std::filesystem::directory_iterator(path("t")), {}), 1);
    }

    // Where a name can only be taken over an empty reservation of it, a file
    // another program puts in the reservation's place is never renamed
    // over nor taken away as ours, even an empty one: the move gives up (or
    // the journal refuses it) and the source stays.
    void aReservationReplacedByAnotherProgramIsNotRenamedOver_data()
    {
        QTest::addColumn<bool>("replaced");
        QTest::addColumn<bool>("refused"); // by whoever keeps account of the move
        QTest::addColumn<int>("error");
        QTest::newRow("reservation untouched") << false << false << 0;
        QTest::newRow("replaced by an empty file") << true << false << EEXIST;
        QTest::newRow("replaced, then the move refused") << true << true << EIO;
    }

    void aReservationReplacedByAnotherProgramIsNotRenamedOver()
    {
        QFETCH(bool, replaced);
        QFETCH(bool, refused);
        QFETCH(int, error);
        writeFile(path("a.txt"), "mine");
        std::filesystem::create_directory(path("t"));
        const Path target = path("t") / "a.txt";
        NoLinksFileSystem fs;
        FileIdentity theirs;
        const PublishCheck meddle = [&](const FileStamp &, const FileIdentity &reservation) {
            if (replaced && reservation.inode) {
                std::filesystem::remove(target);
                writeFile(target, "");
                theirs = fs.stampOf(target)->identity;
            }
            return !(refused && reservation.inode);
        };
        QCOMPARE(fs.moveItem(path("a.txt"), target, path("t"), nullptr, &meddle).code(), error);
        QCOMPARE(readFile(target), replaced ? QByteArray() : QByteArray("mine"));
        QCOMPARE(std::filesystem::exists(path("a.txt")), replaced);
        const auto there = fs.stampOf(target);
        QVERIFY(there && (!replaced || there->identity == theirs));
    }

    // A file copied ahead of its move to another drive is published with
    // that copy only while it is the very file that was copied, down to the
    // last change of its status; otherwise it is copied afresh. Copies not
    // taken leave nothing behind.
    void preparedCopiesServeOnlyTheUnchangedFile_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<QByteArray>("moved");
        QTest::addColumn<bool>("copiedAgain");
        QTest::newRow("unchanged") << "" << QByteArray("first") << false;
        QTest::newRow("rewritten, size and time kept") << "rewrite" << QByteArray("FIRST") << true;
        QTest::newRow("grown") << "grow" << QByteArray("first and more") << true;
        QTest::newRow("replaced") << "replace" << QByteArray("other") << true;
    }

    void preparedCopiesServeOnlyTheUnchangedFile()
    {
        QFETCH(QString, change);
        QFETCH(QByteArray, moved);
        QFETCH(bool, copiedAgain);
        const auto far = folderOnOtherFileSystem(m_dir->path());
        SKIP_WITHOUT_SECOND_FILE_SYSTEM(far);
        const Path root = toPath(far->path()) / "root";
        std::filesystem::create_directories(root / "day");
        writeFile(path("a.txt"), "first");
        writeFile(path("b.txt"), "not moved");
        CrossDeviceFileSystem fs;
        fs.anonymousFiles = false; // the copies wait under names that can be counted
        fs.prepareCopies(toPath(m_dir->path()), {"a.txt", "b.txt", "gone.txt"}, root);
        QCOMPARE(namesIn(root).size(), std::size_t(3)); // two copies and the day

        struct stat before;
        QCOMPARE(::stat(path("a.txt").c_str(), &before), 0);
        if (change == u"rewrite") {
            writeFile(path("a.txt"), "FIRST");
            const struct timespec times[2] = {before.st_atim, before.st_mtim};
            QCOMPARE(::utimensat(AT_FDCWD, path("a.txt").c_str(), times, 0), 0);
        } else if (change == u"grow") {
            writeFile(path("a.txt"), "first and more");
        } else if (change == u"replace") {
            writeFile(path("new.txt"), "other");
            std::filesystem::rename(path("new.txt"), path("a.txt"));
        }
        int copies = 0;
        fs.duringCopy = [&] { ++copies; };
        QVERIFY(!fs.moveItem(path("a.txt"), root / "day" / "a.txt", root));
        QCOMPARE(copies, copiedAgain ? 1 : 0);
        QCOMPARE(readFile(root / "day" / "a.txt"), moved);
        // A prepared copy's source goes with the others of its run.
        QCOMPARE(std::filesystem::exists(path("a.txt")), !copiedAgain);
        QVERIFY(fs.finishPreparedMoves().empty());
        QVERIFY(!std::filesystem::exists(path("a.txt")));
        fs.discardPreparedCopies();
        QCOMPARE(namesIn(root), std::vector<std::string>{"day"});
        QCOMPARE(readFile(path("b.txt")), QByteArray("not moved"));
    }

    // A copy the drive can't take whole: the disk fills up, or the file is
    // larger than the drive allows (4 GiB on FAT32; here a real limit on
    // file sizes, which the kernel enforces the same way).
    void aCopyTheDriveCannotTakeLeavesTheSourceAndNoPartialFile_data()
    {
        QTest::addColumn<bool>("sizeLimit");
        QTest::addColumn<QString>("message");
        QTest::newRow("disk full") << false << QString::fromLocal8Bit(strerror(ENOSPC));
        QTest::newRow("over the drive's size limit")
            << true << L10n::text("The file is larger than the destination drive allows.");
    }

    void aCopyTheDriveCannotTakeLeavesTheSourceAndNoPartialFile()
    {
        QFETCH(bool, sizeLimit);
        QFETCH(QString, message);
        writeFile(path("a.iso"), QByteArray(5000, 'z'));
        std::filesystem::create_directory(path("t"));
        const auto fs = sizeLimit ? std::make_unique<CrossDeviceFileSystem>() : std::make_unique<FullDiskFileSystem>();
        struct rlimit unlimited;
        ::getrlimit(RLIMIT_FSIZE, &unlimited);
        if (sizeLimit) {
            ::signal(SIGXFSZ, SIG_IGN); // a write past the limit fails with EFBIG instead
            const struct rlimit limit
            {
                1000, unlimited.rlim_max
            };
            QCOMPARE(::setrlimit(RLIMIT_FSIZE, &limit), 0);
        }
        const FileError error = fs->moveItem(path("a.iso"), path("t") / "a.iso");
        ::setrlimit(RLIMIT_FSIZE, &unlimited);
        QVERIFY(error);
        QCOMPARE(error.localizedDescription(), message);
        QCOMPARE(readFile(path("a.iso")), QByteArray(5000, 'z'));
        QVERIFY(std::filesystem::is_empty(path("t")));
    }

    void withoutAnonymousFilesTheCopyIsStagedInTheRoot()
    {
        writeFile(path("a.iso"), QByteArray(5000, 'z'));
        const Path root = path("root");
        std::filesystem::create_directories(root / "day" / "big");
        CrossDeviceFileSystem fs;
        fs.anonymousFiles = false;
        std::vector<std::string> rootWhileCopying, targetWhileCopying;
        fs.duringCopy = [&] {
            rootWhileCopying = namesIn(root);
            targetWhileCopying = namesIn(root / "day" / "big");
        };
        QVERIFY(!fs.moveItem(path("a.iso"), root / "day" / "big" / "a.iso", root));
        QCOMPARE(rootWhileCopying.size(), std::size_t(2));
        QVERIFY(QRegularExpression(u"^\\.sorvanel-\\d+\\.partial$"_qs)
                    .match(QString::fromStdString(rootWhileCopying[0]))
                    .hasMatch());
        QVERIFY(targetWhileCopying.empty());
        QCOMPARE(namesIn(root), std::vector<std::string>{"day"});
        QCOMPARE(readFile(root / "day" / "big" / "a.iso"), QByteArray(5000, 'z'));
        QVERIFY(!std::filesystem::exists(path("a.iso")));

        // A full disk takes the staged copy away again and leaves the source.
        writeFile(path("b.iso"), QByteArray(5000, 'y'));
        FullDiskFileSystem full;
        full.anonymousFiles = false;
        QCOMPARE(full.moveItem(path("b.iso"), root / "day" / "big" / "b.iso", root).code(), ENOSPC);
        QCOMPARE(namesIn(root), std::vector<std::string>{"day"});
        QCOMPARE(namesIn(root / "day" / "big"), std::vector<std::string>{"a.iso"});
        QCOMPARE(readFile(path("b.iso")), QByteArray(5000, 'y'));
    }

    void leftoverCopiesAreRemovedAndNothingElse()
    {
        const Path root = path("root");
        std::filesystem::create_directories(root / ".sorvanel-9.partial"); // a folder: not ours
        writeFile(root / ".sorvanel-123.partial", "leftover");
        writeFile(root / ".sorvanel-.partial");
        writeFile(root / ".sorvanel-12a.partial");
        writeFile(root / "x.partial");
        writeFile(root / ".sorvanel.lock");
        std::filesystem::create_symlink("/etc/hostname", root / ".sorvanel-7.partial");
        PosixFileSystem().removeLeftoverCopies(root);
        QCOMPARE(namesIn(root),
                 (std::vector<std::string>{".sorvanel-.partial", ".sorvanel-12a.partial", ".sorvanel-7.partial",
                                           ".sorvanel-9.partial", ".sorvanel.lock", "x.partial"}));
        PosixFileSystem().removeLeftoverCopies(path("missing")); // nothing to do, no harm
    }

    void foldersBelowTheRootAreNeverFollowedThroughLinks()
    {
        const Path root = path("root");
        const Path outside = path("outside");
        std::filesystem::create_directories(root);
        std::filesystem::create_directories(outside / "docs");
        std::filesystem::create_directory_symlink(outside, root / "2024-01-01");
        writeFile(path("a.pdf"), "mine");
        PosixFileSystem fs;
        QCOMPARE(fs.createDirectory(root / "2024-01-01" / "docs", root).code(), ENOTDIR);
        QCOMPARE(fs.moveItem(path("a.pdf"), root / "2024-01-01" / "docs" / "a.pdf", root).code(), ENOTDIR);
        QCOMPARE(readFile(path("a.pdf")), QByteArray("mine"));
        QVERIFY(std::filesystem::is_empty(outside / "docs"));
        // A target outside the root is refused outright.
        QVERIFY(fs.moveItem(path("a.pdf"), outside / "a.pdf", root));
        // The root itself may be a link of the user's choosing.
        std::filesystem::create_directory_symlink(outside, path("linkedRoot"));
        QVERIFY(!fs.createDirectory(path("linkedRoot") / "2024-01-02", path("linkedRoot")));
        QVERIFY(!fs.moveItem(path("a.pdf"), path("linkedRoot") / "2024-01-02" / "a.pdf", path("linkedRoot")));
        QCOMPARE(readFile(outside / "2024-01-02" / "a.pdf"), QByteArray("mine"));
    }

    void filesAreRemovedAndFoundOnlyByTheirIdentity()
    {
        PosixFileSystem fs;
        writeFile(path("a.txt"), "mine");
        const FileStamp mine = *fs.stampOf(path("a.txt"));
        QVERIFY(mine.isRegularFile);
        QCOMPARE(mine.size, 4);
        // Someone put another file under the name: it stays. (The first one
        // is kept, so that its inode can't be handed to the second.)
        std::filesystem::rename(path("a.txt"), path("aside.txt"));
        writeFile(path("a.txt"), "theirs");
        QVERIFY(fs.stampOf(path("a.txt"))->identity != mine.identity);
        QVERIFY(fs.removeFile(path("a.txt"), mine.identity));
        QCOMPARE(readFile(path("a.txt")), QByteArray("theirs"));
        QVERIFY(!fs.removeFile(path("a.txt"), fs.stampOf(path("a.txt"))->identity));
        QVERIFY(!fs.stampOf(path("a.txt")));

        std::filesystem::create_directory(path("t"));
        writeFile(path("t") / "b-2.txt", "moved");
        writeFile(path("t") / "b.txt", "other");
        const FileIdentity moved = fs.stampOf(path("t") / "b-2.txt")->identity;
        QCOMPARE(*fs.findFile(path("t"), moved), path("t") / "b-2.txt");
        QVERIFY(!fs.findFile(path("t"), FileIdentity{moved.device, moved.inode + 1000003}));
        QVERIFY(!fs.findFile(path("missing"), moved));
    }

    void sameBytesComparesWholeRegularFiles_data()
    {
        QTest::addColumn<QByteArray>("first");
        QTest::addColumn<QByteArray>("second"); // "->" makes a link to the first
        QTest::addColumn<bool>("same");
        const QByteArray big(3 * 1024 * 1024 + 5, 'x'); // more than one read
        QByteArray lastDiffers = big;
        lastDiffers[lastDiffers.size() - 1] = 'y';
        QTest::newRow("equal, several reads") << big << big << true;
        QTest::newRow("last byte differs") << big << lastDiffers << false;
        QTest::newRow("one longer") << QByteArray("abc") << QByteArray("abcd") << false;
        QTest::newRow("both empty") << QByteArray() << QByteArray() << true;
        QTest::newRow("link to it") << QByteArray("abc") << QByteArray("->") << false;
    }

    void sameBytesComparesWholeRegularFiles()
    {
        QFETCH(QByteArray, first);
        QFETCH(QByteArray, second);
        QFETCH(bool, same);
        writeFile(path("a"), first);
        if (second == "->")
            std::filesystem::create_symlink("a", path("b"));
        else
            writeFile(path("b"), second);
        PosixFileSystem fs;
        QCOMPARE(fs.sameBytes(path("a"), path("b")), same);
        QCOMPARE(fs.sameBytes(path("b"), path("a")), same);
        QVERIFY(!fs.sameBytes(path("a"), path("missing")));
    }

    void aCopyAcrossDrivesIsAnnouncedBeforeItIsPublished()
    {
        const auto other = otherFileSystem(m_dir->path());
        SKIP_WITHOUT_SECOND_FILE_SYSTEM(other);
        TemporaryFolder far(*other + QStringLiteral("/sorvanel-test-XXXXXX"));
        const Path root = toPath(far.path());
        PosixFileSystem fs;
        writeFile(path("kept.bin"), "payload");
        writeFile(path("moved.bin"), "payload");
        // Refused: nothing takes the name and the source stays.
        const PublishCheck refuse = [](const FileStamp &, const FileIdentity &) { return false; };
        QVERIFY(fs.moveItem(path("kept.bin"), root / "kept.bin", root, nullptr, &refuse));
        QVERIFY(std::filesystem::exists(path("kept.bin")));
        QVERIFY(!std::filesystem::exists(root / "kept.bin"));
        // Allowed: the announced identity is the published file's.
        FileIdentity announced;
        const PublishCheck record = [&](const FileStamp &copy, const FileIdentity &) {
            announced = copy.identity;
            return !std::filesystem::exists(root / "moved.bin");
        };
        QVERIFY(!fs.moveItem(path("moved.bin"), root / "moved.bin", root, nullptr, &record));
        QCOMPARE(fs.stampOf(root / "moved.bin")->identity, announced);
        QVERIFY(!std::filesystem::exists(path("moved.bin")));
    }

    void aFolderOnADriveThatIsNotMountedIsKnown_data()
    {
        QTest::addColumn<QByteArray>("fstab"); // ROOT: the test's folder; nothing: no table at all
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QString>("missing"); // the drive's mount point; empty: none
        const auto row = [](const char *name, const QByteArray &fstab, const QString &folder, const QString &missing) {
            QTest::newRow(name) << fstab << folder << missing;
        };
        const QByteArray stick = "/dev/sdb1 ROOT/usb exfat noauto,user 0 0\n";
        row("below a drive not mounted", stick, "ROOT/usb/sorted", "ROOT/usb");
        row("a name that only begins the same", stick, "ROOT/usb2/sorted", QString());
        row("mounted", QByteArray("proc /proc proc defaults 0 0\n"), "/proc/sys", QString());
        row("missing below a mounted drive",
            QByteArray("proc /proc proc defaults 0 0\n/dev/sdc1 /proc/stick vfat noauto 0 0\n"), "/proc/stick/sorted",
            "/proc/stick");
        row("the outermost of two", QByteArray("a ROOT/a ext4 noauto 0 0\nb ROOT/a/b ext4 noauto 0 0\n"), "ROOT/a/b/c",
            "ROOT/a");
        row("escaped space", QByteArray("LABEL=x ROOT/my\\040disk vfat noauto 0 0\n"), "ROOT/my disk/x",
            "ROOT/my disk");
        row("root, swap and comments",
            QByteArray("UUID=1 / ext4 defaults 0 1\n/swapfile none swap sw 0 "
                       "0\n# /dev/sdb1 ROOT/usb exfat noauto 0 0\n"),
            "ROOT/usb/sorted", QString());
        row("no table", QByteArray(), "ROOT/usb", QString());
        row("removable drive not mounted", QByteArray("\n"), "ROOT/media/STICK/sorted", "ROOT/media/STICK");
        row("the removable-media folder itself", QByteArray("\n"), "ROOT/media", QString());
    }

    // A drive not plugged in leaves its mount point an empty folder: the
    // system's table says a drive belongs there, or it lies where the
    // desktop mounts removable drives, and the kernel has nothing mounted there.
    void aFolderOnADriveThatIsNotMountedIsKnown()
    {
        QFETCH(QByteArray, fstab);
        QFETCH(QString, folder);
        QFETCH(QString, missing);
        const QByteArray root = QFile::encodeName(m_dir->path());
        std::filesystem::create_directories(path("usb"));
        if (!fstab.isEmpty())
            writeFile(path("fstab"), fstab.replace("ROOT", root));
        PosixFileSystem fs;
        fs.setDriveTable(DriveTable(path("fstab").native(), "/proc/self/mounts", {path("media")}));
        const Path tidy = normalizedPath(toPath(folder.replace(u"ROOT"_qs, m_dir->path())));
        const auto found = fs.missingDrive(tidy);
        QCOMPARE(found ? displayPath(*found) : QString(), missing.replace(u"ROOT"_qs, m_dir->path()));
    }
};

QTEST_GUILESS_MAIN(TestPosixFileSystem)
#include "tst_posixfilesystem.moc"
