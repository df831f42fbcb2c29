// SPDX-License-Identifier: GPL-3.0-or-later
// Destinations on the drives users plug in: exFAT through exfat-fuse and NTFS
// through ntfs-3g, each on a loop device. FUSE file systems of this kind have
// neither a no-replace rename nor hard links, and exFAT ignores case and
// refuses some names. Needs root (loop devices, mounting); skips otherwise.
#include "FileSystem.h"
#include "Localization.h"
#include "ReliabilitySupport.h"
#include "SettingsStore.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QtTest>

#include <unistd.h>

using namespace sorvanel;
using namespace sorvanel::test;

namespace {

int run(const QString &program, const QStringList &arguments, QByteArray *output = nullptr)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(60000))
        return -1;
    if (output)
        *output = process.readAllStandardOutput().trimmed();
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

// A file system image on a loop device, mounted through FUSE for the test's life.
class Volume
{
public:
    Volume(const QString &kind, const QString &folder)
        : m_mountPoint(folder + u"/mnt"_qs)
    {
        const QString image = folder + u"/volume.img"_qs;
        const bool exfat = kind == u"exfat";
        const QString mkfs = exfat ? u"mkfs.exfat"_qs : u"mkfs.ntfs"_qs;
        const QString mount = exfat ? u"mount.exfat-fuse"_qs : u"ntfs-3g"_qs;
        if (::geteuid() != 0) {
            m_problem = u"loop devices and mounting need root"_qs;
            return;
        }
        for (const QString &tool : {mkfs, mount, u"losetup"_qs}) {
            if (QStandardPaths::findExecutable(tool).isEmpty()) {
                m_problem = tool + u" is not installed"_qs;
                return;
            }
        }
        QFile file(image);
        if (!file.open(QIODevice::WriteOnly) || !file.resize(96 * 1024 * 1024)) {
            m_problem = u"no room for the image"_qs;
            return;
        }
        file.close();
        QByteArray device;
        if (run(u"losetup"_qs, {u"-f"_qs, u"--show"_qs, image}, &device) != 0) {
            m_problem = u"no free loop device"_qs;
            return;
        }
        m_device = QString::fromLocal8Bit(device);
        QDir().mkpath(m_mountPoint);
        const QStringList format = exfat ? QStringList{m_device} : QStringList{u"-F"_qs, u"-Q"_qs, m_device};
        if (run(mkfs, format) != 0 || run(mount, {m_device, m_mountPoint}) != 0) {
            m_problem = u"the volume could not be made or mounted (FUSE missing?)"_qs;
            return;
        }
        m_mounted = true;
        m_mount = mount;
    }

    // As a stick that is pulled out (its mount point stays, empty), and plugged back in.
    bool unplug()
    {
        m_mounted = run(u"umount"_qs, {m_mountPoint}) != 0;
        return !m_mounted;
    }
    bool plugIn()
    {
        m_mounted = m_mounted || run(m_mount, {m_device, m_mountPoint}) == 0;
        return m_mounted;
    }
    bool remount() { return unplug() && plugIn(); }

    ~Volume()
    {
        if (m_mounted)
            run(u"umount"_qs, {m_mountPoint});
        if (!m_device.isEmpty())
            run(u"losetup"_qs, {u"-d"_qs, m_device});
    }

    QString problem() const { return m_problem; }
    Path root() const { return toPath(m_mountPoint) / "sorted"; }

private:
    QString m_mountPoint;
    QString m_device;
    QString m_mount; // the command that mounts it
    QString m_problem;
    bool m_mounted = false;
};

// Every visible file below `root` with its bytes, by path relative to it.
QMap<QString, QByteArray> filesBelow(const Path &root)
{
    QMap<QString, QByteArray> files;
    for (const QString &relative : regularFilesBelow(displayPath(root))) {
        if (!relative.section(u'/', -1).startsWith(u'.'))
            files.insert(relative.section(u'/', -1), readFile(root / relative.toStdString()));
    }
    return files;
}

} // namespace

class TestDrives : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;
    std::unique_ptr<TemporaryFolder> m_folder;
    std::unique_ptr<Volume> m_volume;

    Path downloads() const { return toPath(m_home->downloads()); }

    void mount(const QString &kind)
    {
        m_folder = std::make_unique<TemporaryFolder>();
        m_volume = std::make_unique<Volume>(kind, m_folder->path());
        if (!m_volume->problem().isEmpty())
            return;
        useFolders(downloads(), m_volume->root());
    }

    static void kinds()
    {
        QTest::addColumn<QString>("kind");
        QTest::newRow("exFAT (exfat-fuse)") << u"exfat"_qs;
        QTest::newRow("NTFS (ntfs-3g)") << u"ntfs"_qs;
    }

private slots:
    // The program speaks the test's language; compare with the same translations.
    void initTestCase() { L10n::installTranslations(*QCoreApplication::instance()); }
    void init() { m_home = std::make_unique<TemporaryHome>(); }
    void cleanup()
    {
        m_volume.reset();
        m_folder.reset();
        m_home.reset();
    }

    void filesMoveAndComeBack_data() { kinds(); }
    // Every file the drive allows lands once, whole, with nothing replaced
    // (names that differ only in case included); a name the drive refuses
    // stays home with a plain reason and leaves nothing behind; undo brings
    // everything back, after the drive was mounted again.
    void filesMoveAndComeBack()
    {
        QFETCH(QString, kind);
        mount(kind);
        if (!m_volume->problem().isEmpty())
            QSKIP(qPrintable(m_volume->problem()));
        const bool exfat = kind == u"exfat";
        const QDateTime old = longAgo();
        QMap<QString, QByteArray> home;
        for (const char *name : {"a.pdf", "b.jpg", "notes", "Report.PDF", "report.pdf", "trailing. "})
            home.insert(QString::fromUtf8(name), QByteArray(name) + " contents");
        for (auto it = home.cbegin(); it != home.cend(); ++it)
            writeFile(downloads() / it.key().toStdString(), it.value(), old);
        writeFile(downloads() / "a:b?.txt", "refused on exFAT", old);
        writeFile(downloads() / "\xff.bin", "not UTF-8", old);

        // A drive in use: it holds a file already, which tells that it ignores case.
        std::filesystem::create_directories(m_volume->root());
        writeFile(m_volume->root() / "Existing.txt", "already there", old);
        // The preview names what execution will use: one report is numbered where case is ignored.
        QStringList planned;
        for (const auto &move : cli({u"preview"_qs, u"--json"_qs}).json().object().value(u"moves"_qs).toArray())
            planned << move.toObject().value(u"destination"_qs).toString().section(u'/', -1);
        QCOMPARE(planned.contains(u"report-2.pdf"_qs, Qt::CaseInsensitive), exfat);

        const Run organize = cli({u"organize"_qs, u"--json"_qs});
        const int status = organize.status;
        const QJsonObject result = organize.json().object();
        QMap<QString, QString> problems;
        for (const auto &issue : result.value(u"issues"_qs).toArray())
            problems.insert(issue.toObject().value(u"filename"_qs).toString(),
                            issue.toObject().value(u"message"_qs).toString());
        const QMap<QString, QByteArray> filed = filesBelow(m_volume->root());
        if (exfat) {
            QCOMPARE(status, 1);
            QCOMPARE(problems.value(u"a:b?.txt"_qs), L10n::text("The destination drive does not allow this name."));
            QCOMPARE(problems.value(u"\ufffd.bin"_qs), L10n::text("The destination drive does not allow this name."));
            QCOMPARE(readFile(downloads() / "a:b?.txt"), QByteArray("refused on exFAT"));
            // Both reports, one under a counter name, none over the other.
            QCOMPARE(QSet<QByteArray>({filed.value(u"report.pdf"_qs), filed.value(u"Report-2.PDF"_qs)}),
                     QSet<QByteArray>({home.value(u"report.pdf"_qs), home.value(u"Report.PDF"_qs)}));
        } else {
            // ntfs-3g takes any name but one that is not UTF-8.
            QCOMPARE(status, 1);
            QCOMPARE(problems.keys(), QStringList{u"\ufffd.bin"_qs});
            QCOMPARE(problems.value(u"\ufffd.bin"_qs), L10n::text("The destination drive does not allow this name."));
            QCOMPARE(filed.value(u"report.pdf"_qs), home.value(u"report.pdf"_qs));
        }
        for (const char *name : {"a.pdf", "b.jpg", "notes"})
            QCOMPARE(filed.value(QString::fromUtf8(name)), home.value(QString::fromUtf8(name)));
        // No staged copy or empty reservation is left on the drive.
        for (const QString &relative : regularFilesBelow(displayPath(m_volume->root())))
            QVERIFY2(relative.endsWith(u".sorvanel.lock"_qs)
                         || !readFile(m_volume->root() / relative.toStdString()).isEmpty(),
                     qPrintable(relative));
        QVERIFY(!regularFilesBelow(displayPath(m_volume->root())).join(u'|').contains(u".partial"_qs));

        // Undo waits for a drive that is not plugged in, and makes nothing below its mount point.
        QVERIFY(m_volume->unplug());
        QCOMPARE(cli({u"undo"_qs}).status, 2);
        QVERIFY(!std::filesystem::exists(m_volume->root()));
        // The drive numbers its files afresh when plugged in again: undo still knows them.
        QVERIFY(m_volume->plugIn());
        QCOMPARE(cli({u"undo"_qs}).status, 0);
        for (auto it = home.cbegin(); it != home.cend(); ++it)
            QCOMPARE(readFile(downloads() / it.key().toStdString()), it.value());
        QCOMPARE(filesBelow(m_volume->root()).keys(), QStringList{u"Existing.txt"_qs});
    }

    void killedAtTheWorstMoments_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("call");
        for (const auto &[kind, name] : {std::pair{u"exfat"_qs, "exFAT"}, std::pair{u"ntfs"_qs, "NTFS"}}) {
            // The third file's copy is about to take its reserved name (on
            // exFAT; NTFS links it instead); its source is about to go.
            QTest::addRow("%s, before the name is taken", name) << kind << u"renameat"_qs;
            QTest::addRow("%s, before the source goes", name) << kind << u"unlink"_qs;
        }
    }
    // Killed at the system call itself (strace stops the program there),
    // then the drive pulled and plugged back in, so that no file keeps its
    // number: the next run settles it all, with no file twice, no empty
    // reservation, no counter name and no problem to report; undo brings
    // every file home.
    void killedAtTheWorstMoments()
    {
        QFETCH(QString, kind);
        QFETCH(QString, call);
        if (QStandardPaths::findExecutable(u"strace"_qs).isEmpty())
            QSKIP("strace is not installed");
        mount(kind);
        if (!m_volume->problem().isEmpty())
            QSKIP(qPrintable(m_volume->problem()));
        Originals originals;
        originals.create(downloads(), 6, 17, 1000);
        run(u"strace"_qs,
            {u"-f"_qs, u"-o"_qs, u"/dev/null"_qs, u"-e"_qs, u"trace="_qs + call, u"-e"_qs,
             u"inject="_qs + call + u":signal=SIGKILL:when=3"_qs, QString::fromLocal8Bit(qgetenv("SORVANEL_CLI")),
             u"organize"_qs});
        QVERIFY(m_volume->remount());

        const Run last = cli({u"organize"_qs, u"--json"_qs});
        QCOMPARE(last.status, 0);
        QCOMPARE(last.json().object().value(u"issues"_qs).toArray().size(), 0);
        const auto filed = originals.census({downloads(), m_volume->root()});
        QCOMPARE(filed.found, originals.size());
        QCOMPARE(filed.duplicated, 0);
        QCOMPARE(filed.empty, 0);
        QCOMPARE(filed.foreign, 0);
        // The name the killed copy held is free again: no file took a counter name.
        const QStringList counted =
            regularFilesBelow(displayPath(m_volume->root())).filter(QRegularExpression(u"-\\d+(\\.[^/]*)?$"_qs));
        QVERIFY2(counted.isEmpty(), qPrintable(counted.join(u", "_qs)));

        QVERIFY(undoEveryRun(10));
        const auto home = originals.census({downloads()});
        QCOMPARE(home.found, originals.size());
        QCOMPARE(home.duplicated, 0);
    }

    void killedRunsLoseNothing_data() { kinds(); }
    // Organize killed at random moments into the drive, which is then pulled
    // and plugged back in (FAT and exFAT number their files afresh): no file
    // is lost or half-written under a visible name (an empty reservation may
    // stand until the next run), every file is found whole, once, after a
    // last run, and undoing the runs brings every file home.
    void killedRunsLoseNothing()
    {
        QFETCH(QString, kind);
        mount(kind);
        if (!m_volume->problem().isEmpty())
            QSKIP(qPrintable(m_volume->problem()));
        Originals originals;
        originals.create(downloads(), 150, 31, 30);
        const std::vector<Path> trees{downloads(), m_volume->root()};
        QRandomGenerator random(5);
        for (int kill = 0; kill < 15; ++kill) {
            QProcess organize;
            organize.start(QString::fromLocal8Bit(qgetenv("SORVANEL_CLI")), {u"organize"_qs});
            QVERIFY(organize.waitForStarted());
            QTest::qSleep(int(random.bounded(400)));
            ::kill(pid_t(organize.processId()), SIGKILL);
            organize.waitForFinished();
            QVERIFY(m_volume->remount());
            const auto census = originals.census(trees);
            QCOMPARE(census.foreign, 0);
            QCOMPARE(census.missing, 0);
            // Moves killed between publishing and removing their sources: one run of them at most.
            QVERIFY(census.duplicated <= int(PosixFileSystem::preparedCopyBatch));
        }
        QVERIFY(cli({u"organize"_qs}).status <= 1);
        const auto census = originals.census(trees);
        QCOMPARE(census.foreign, 0);
        QCOMPARE(census.missing, 0);
        QCOMPARE(census.duplicated, 0);
        QCOMPARE(census.empty, 0); // a reservation a kill left is gone
        // An empty reservation left by a kill is gone too.
        for (const QString &relative : regularFilesBelow(displayPath(m_volume->root())))
            QVERIFY2(relative.endsWith(u".sorvanel.lock"_qs)
                         || !readFile(m_volume->root() / relative.toStdString()).isEmpty(),
                     qPrintable(relative));

        QVERIFY(m_volume->remount());
        QVERIFY(undoEveryRun(100));
        const auto home = originals.census({downloads()});
        QCOMPARE(home.found, originals.size());
        QCOMPARE(home.duplicated, 0);
        QCOMPARE(home.foreign, 0);
    }
};

QTEST_GUILESS_MAIN(TestDrives)
#include "tst_drives.moc"
