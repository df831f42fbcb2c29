// SPDX-License-Identifier: GPL-3.0-or-later
// Files that another process is still writing, with real writer processes.
#include "Organizer.h"
#include "TestSupport.h"

#include <QtTest>

#include <QFileInfo>

#include <map>
#include <thread>

using namespace sorvanel;
using namespace sorvanel::test;

namespace {

// A writer opens the file while it is being copied to another drive: in
// its move, or ahead of it.
class WriterDuringCopy : public PosixFileSystem
{
public:
    TestWriter *writer = nullptr;
    Path file;
    bool started = false;

protected:
    int copyContents(int from, int to, const CopyProgress *copied) override
    {
        const int error = PosixFileSystem::copyContents(from, to, copied);
        if (writer && !started)
            started = writer->start(u"append"_qs, file);
        return error;
    }
};

FileIdentity identityOf(const Path &path)
{
    struct stat info;
    ::stat(path.c_str(), &info);
    return {std::uint64_t(info.st_dev), std::uint64_t(info.st_ino)};
}

} // namespace

class TestWriters : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryFolder> m_dir;
    std::unique_ptr<TemporaryFolder> m_far; // on another file system, where the machine has one
    Path m_source;

    Path destination(bool acrossDrives)
    {
        if (!acrossDrives)
            return m_source / "__filesDownloadedAt";
        if (!m_far)
            m_far = folderOnOtherFileSystem(m_dir->path());
        return m_far ? toPath(m_far->path()) / "sorted" : Path();
    }

    OrganizerConfiguration configuration(const Path &destination)
    {
        OrganizerConfiguration c;
        c.sourceURL = m_source;
        c.destinationURL = destination;
        c.largeFileThresholdBytes = 1 << 30;
        return c;
    }

    // Lets the files written just now pass the minimum age.
    static void ageAll(const Path &folder)
    {
        for (const auto &item : std::filesystem::directory_iterator(folder)) {
            const qint64 s = longAgo().toSecsSinceEpoch();
            const struct timespec times[2] = {{s, 0}, {s, 0}};
            ::utimensat(AT_FDCWD, item.path().c_str(), times, AT_SYMLINK_NOFOLLOW);
        }
    }

    // The files under the destination, not counting its lock file.
    static QStringList filed(const Path &destination)
    {
        QStringList files = regularFilesBelow(QFile::decodeName(QByteArray::fromStdString(destination.native())));
        files.removeAll(u".sorvanel.lock"_qs);
        return files;
    }

private slots:
    void init()
    {
        m_dir = std::make_unique<TemporaryFolder>();
        m_far.reset();
        m_source = toPath(m_dir->path()) / "Downloads";
        std::filesystem::create_directories(m_source);
    }

    void probeSeesWritersNotReaders_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<bool>("writes");
        QTest::newRow("append") << "append" << true;
        QTest::newRow("truncate") << "truncate" << true;
        QTest::newRow("read and write") << "readwrite" << true;
        QTest::newRow("read only (a thumbnailer)") << "read" << false;
    }

    void probeSeesWritersNotReaders()
    {
        QFETCH(QString, mode);
        QFETCH(bool, writes);
        const Path file = m_source / "movie.mkv";
        writeFile(file, "partial");
        TestWriter writer;
        QVERIFY(writer.start(mode, file));
        SystemWriterProbe probe;

        const WriterSnapshot snapshot = probe.openForWriting();
        const WriterTable &table = snapshot.byIdentity;
        const auto found = table.find(identityOf(file));
        QCOMPARE(found != table.end(), writes);
        const QByteArray real = QFile::encodeName(QFileInfo(QFile::decodeName(file.c_str())).canonicalFilePath());
        QCOMPARE(snapshot.byPath.count(real.toStdString()), writes ? 1u : 0u);
        const auto fresh = probe.writerOf(file, -1);
        QCOMPARE(fresh.has_value(), writes);
        if (writes) {
            QCOMPARE(found->second.pid, writer.pid());
            QCOMPARE(found->second.program, u"slowwriter"_qs);
            QCOMPARE(*fresh, found->second);
        }
        writer.stop();
        QVERIFY(!probe.writerOf(file, -1));
        QCOMPARE(probe.openForWriting().byIdentity.count(identityOf(file)), 0u);
    }

    // The kernel keeps 15 bytes of a program's name ("transmission-da"): the
    // writer is named as its user knows it.
    void aLongProgramNameIsShownWhole()
    {
        const QString program = m_dir->path() + u"/transmission-daemon"_qs;
        QVERIFY(QFile::copy(QString::fromLocal8Bit(qgetenv("SORVANEL_SLOWWRITER")), program));
        QVERIFY(QFile::setPermissions(program, QFile::ReadOwner | QFile::ExeOwner));
        const Path file = m_source / "linux.iso";
        writeFile(file, "partial");
        TestWriter writer;
        QVERIFY(writer.start(u"append"_qs, file, program));
        const auto found = SystemWriterProbe().writerOf(file, -1);
        QVERIFY(found);
        QCOMPARE(found->program, u"transmission-daemon"_qs);
    }

    // The check of one execution: its snapshot, and a fresh look at names
    // touched after it began.
    void checkSeesWritersBeforeAndAfterItBegan()
    {
        std::map<std::string, FileIdentity> planned;
        for (const char *name : {"before.iso", "after.iso", "quiet.iso", "read.iso", "replaced.iso", "swapped.iso"}) {
            writeFile(m_source / name, "data");
            planned[name] = identityOf(m_source / name);
        }
        SystemWriterProbe probe;
        TestWriter before;
        QVERIFY(before.start(u"append"_qs, m_source / "before.iso"));
        // Put in place of a planned file before the run began, and still written.
        TestWriter swapped;
        QVERIFY(swapped.start(u"truncate"_qs, m_source / "swapped.iso.new"));
        std::filesystem::rename(m_source / "swapped.iso.new", m_source / "swapped.iso");
        WriterCheck check(probe, m_source);
        const auto writerOf = [&](const char *name) {
            return check.writerOf(m_source / name, planned[name]).value_or(FileWriter{}).pid;
        };

        TestWriter after;
        QVERIFY(after.start(u"append"_qs, m_source / "after.iso"));
        TestWriter reader;
        QVERIFY(reader.start(u"read"_qs, m_source / "read.iso"));
        // A new file put in place of an old name, still being written.
        TestWriter replacement;
        QVERIFY(replacement.start(u"truncate"_qs, m_source / "replaced.iso.new"));
        std::filesystem::rename(m_source / "replaced.iso.new", m_source / "replaced.iso");

        QCOMPARE(writerOf("before.iso"), before.pid());
        QCOMPARE(writerOf("swapped.iso"), swapped.pid());
        QCOMPARE(writerOf("after.iso"), after.pid());
        QCOMPARE(writerOf("replaced.iso"), replacement.pid());
        QCOMPARE(writerOf("quiet.iso"), 0);
        QCOMPARE(writerOf("read.iso"), 0);
        QCOMPARE(writerOf("gone.iso"), 0);
    }

    // The whole file ends in exactly one place, and nothing partial or empty
    // appears under a visible name, whichever drive the destination is on.
    // Planned for a preview, the file's writer starts while the preview is
    // open; planned to be moved at once, it starts after the run has read the
    // process table (the watch that sees it was set up while planning).
    void writerStartingAfterPlanningKeepsTheFile_data()
    {
        QTest::addColumn<bool>("acrossDrives");
        QTest::addColumn<bool>("atOnce");
        QTest::newRow("same drive") << false << false;
        QTest::newRow("across drives") << true << false;
        QTest::newRow("same drive, at once") << false << true;
        QTest::newRow("across drives, at once") << true << true;
    }

    void writerStartingAfterPlanningKeepsTheFile()
    {
        QFETCH(bool, acrossDrives);
        QFETCH(bool, atOnce);
        const Path target = destination(acrossDrives);
        if (target.empty())
            QSKIP("no second file system here");
        const Path file = m_source / "talk.mp4";
        {
            TestWriter first;
            QVERIFY(first.start(u"truncate"_qs, file));
            QVERIFY(first.write(4000));
            QVERIFY(first.close());
        }
        ageAll(m_source);
        Organizer organizer;
        const auto plan = organizer.makePlan(configuration(target),
                                             atOnce ? Organizer::PlanUse::execution : Organizer::PlanUse::preview);
        QCOMPARE(plan.moves.size(), 1u);

        // The download resumes while the preview is open, or as the run begins.
        TestWriter resumed;
        struct ResumeAtStart : ExecutionObserver
        {
            TestWriter *writer = nullptr;
            Path file;
            bool resumed = false;
            void progressed(const ExecutionProgress &) override
            {
                if (writer && !resumed)
                    resumed = writer->start(u"append"_qs, file);
            }
            bool stopRequested() override { return false; }
        } atStart;
        atStart.file = file;
        if (atOnce)
            atStart.writer = &resumed;
        else
            QVERIFY(resumed.start(u"append"_qs, file));
        const auto result = organizer.execute(plan, &atStart);
        QVERIFY(!atOnce || atStart.resumed);
        QCOMPARE(result.moved, 0);
        QCOMPARE(result.issues.size(), 1);
        QCOMPARE(result.issues.front().filename, u"talk.mp4"_qs);
        QVERIFY2(result.issues.front().message.contains(QString::number(resumed.pid())),
                 qPrintable(result.issues.front().message));
        QCOMPARE(filed(target), QStringList());

        QVERIFY(resumed.write(6000));
        QVERIFY(resumed.close());
        resumed.stop();
        ageAll(m_source);
        const auto later = organizer.organize(configuration(target));
        QCOMPARE(later.moved, 1);
        QVERIFY(!std::filesystem::exists(file));
        const QStringList files = filed(target);
        QCOMPARE(files.size(), 1);
        QCOMPARE(readFile(target / files.front().toStdString()), TestWriter::content(10000));
    }

    // A download that pauses for longer than the minimum age looks finished by
    // its time; it is still open.
    void pausedDownloadOlderThanTheMinimumAgeStays()
    {
        const Path target = destination(true).empty() ? destination(false) : destination(true);
        const Path file = m_source / "slow.bin";
        TestWriter writer;
        QVERIFY(writer.start(u"truncate"_qs, file));
        QVERIFY(writer.write(3000));
        auto c = configuration(target);
        c.minimumFileAge = 0.2;
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
        Organizer organizer;
        auto result = organizer.organize(c);
        QCOMPARE(result.moved, 0);
        QCOMPARE(result.skipped, 1);
        QVERIFY(std::filesystem::exists(file));

        QVERIFY(writer.write(5000));
        QVERIFY(writer.close());
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
        result = organizer.organize(c);
        QCOMPARE(result.moved, 1);
        const QStringList files = filed(target);
        QCOMPARE(files.size(), 1);
        QCOMPARE(readFile(target / files.front().toStdString()), TestWriter::content(8000));
    }

    // Across drives the source is asked once more after the copy: a writer
    // that opened it meanwhile keeps it, and our copy goes. A small file is
    // copied ahead of its move, a big one in it.
    void writerOpeningDuringACrossDriveCopyKeepsTheSource_data()
    {
        QTest::addColumn<int>("size");
        QTest::newRow("copied ahead") << 50000;
        QTest::newRow("copied in its move") << int(PosixFileSystem::preparedCopyLimit + 1);
    }

    void writerOpeningDuringACrossDriveCopyKeepsTheSource()
    {
        QFETCH(int, size);
        const Path target = destination(true);
        if (target.empty())
            QSKIP("no second file system here");
        const Path file = m_source / "disc.iso";
        writeFile(file, TestWriter::content(size));
        ageAll(m_source);
        auto fileSystem = std::make_shared<WriterDuringCopy>();
        TestWriter writer;
        fileSystem->writer = &writer;
        fileSystem->file = file;
        Organizer organizer(fileSystem);
        const auto result = organizer.organize(configuration(target));
        QVERIFY(fileSystem->started);
        QCOMPARE(result.moved, 0);
        QCOMPARE(result.issues.size(), 1);
        QVERIFY(result.issues.front().message.contains(QString::number(writer.pid())));
        QCOMPARE(readFile(file), TestWriter::content(size));
        QCOMPARE(filed(target), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestWriters)
#include "tst_writers.moc"
