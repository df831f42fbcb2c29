// SPDX-License-Identifier: GPL-3.0-or-later
#include "FileSystem.h"
#include "TestSupport.h"

#include <QtTest>

#include <sys/stat.h>
#include <sys/xattr.h>

using namespace sorvanel;
using namespace sorvanel::test;

namespace {
// Opens the cross-drive path to tests on a machine with a single drive.
class CrossDeviceFileSystem : public PosixFileSystem
{
public:
    FileError moveItem(const Path &source, const Path &target) override { return copyAcrossDevices(source, target); }
    using PosixFileSystem::linkThenUnlink;
};

// A folder on another file system than the temporary folder, where the machine has one.
std::optional<QString> otherFileSystemFolder(const QString &near)
{
    struct stat here;
    ::stat(QFile::encodeName(near).constData(), &here);
    for (const char *candidate : {"/dev/shm", "/run/user", "/var/tmp"}) {
        struct stat there;
        if (::stat(candidate, &there) == 0 && there.st_dev != here.st_dev && ::access(candidate, W_OK) == 0)
            return QString::fromLatin1(candidate);
    }
    return std::nullopt;
}
} // namespace

class TestPosixFileSystem : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    Path path(const char *name) const { return toPath(m_dir->path()) / name; }

private slots:
    void init() { m_dir = std::make_unique<QTemporaryDir>(); }

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
        QCOMPARE(fs.linkThenUnlink(path("a"), path("b")).code(), EEXIST);
        QVERIFY(!fs.linkThenUnlink(path("a"), path("c")));
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

    void crossDeviceVanishedSourceFails()
    {
        std::filesystem::create_directory(path("t"));
        CrossDeviceFileSystem fs;
        QCOMPARE(fs.moveItem(path("gone"), path("t") / "gone").code(), ENOENT);
        QVERIFY(std::filesystem::is_empty(path("t")));
    }

    void realSecondFileSystem()
    {
        const auto other = otherFileSystemFolder(m_dir->path());
        if (!other)
            QSKIP("no second writable file system on this machine");
        QTemporaryDir far(*other + QStringLiteral("/sorvanel-test-XXXXXX"));
        QVERIFY(far.isValid());
        writeFile(path("x.txt"), "across");
        PosixFileSystem fs;
        const Path target = toPath(far.path()) / "x.txt";
        QVERIFY(!fs.moveItem(path("x.txt"), target));
        QCOMPARE(readFile(target), QByteArray("across"));
        QVERIFY(!std::filesystem::exists(path("x.txt")));
    }

    void createDirectoryReportsWhatBlocksIt()
    {
        PosixFileSystem fs;
        QVERIFY(!fs.createDirectory(path("a") / "b" / "c"));
        QVERIFY(!fs.createDirectory(path("a") / "b" / "c"));
        writeFile(path("file"));
        QCOMPARE(fs.createDirectory(path("file") / "sub").code(), ENOTDIR);
        QCOMPARE(fs.createDirectory(path("file")).code(), EEXIST);
    }

    void errorTextsAreTheSystems()
    {
        QCOMPARE(FileError(ENOENT).localizedDescription(), QString::fromLocal8Bit(strerror(ENOENT)));
        QCOMPARE(FileError(FileError::unknownRead).localizedDescription(), u"The file couldn’t be opened."_qs);
    }
};

QTEST_GUILESS_MAIN(TestPosixFileSystem)
#include "tst_posixfilesystem.moc"
