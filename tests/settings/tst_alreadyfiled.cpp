// SPDX-License-Identifier: GPL-3.0-or-later
// Second downloads of files filed already: recognised by their bytes, sent to
// a real Trash folder under a temporary home, and taken back by undo.
#include "AlreadyFiled.h"
#include "CleanupRun.h"
#include "OrganizerExecutionLock.h"
#include "TestSupport.h"
#include "Trash.h"

#include <QtTest>

#include <sys/resource.h>

using namespace sorvanel;
using namespace sorvanel::test;

class TestAlreadyFiled : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;
    std::unique_ptr<TemporaryFolder> m_far;
    std::unique_ptr<CleanupRun> m_run;
    Path m_source;

    Path destination() const { return m_source / "__filesDownloadedAt"; }
    Path trash() const { return toPath(m_home->trash()); }

    void useSource(const Path &source, const Path &root)
    {
        m_source = source;
        std::filesystem::create_directories(source);
        m_run->store().saveFolder(source, std::nullopt, true);
        m_run->store().saveFolder(root, std::nullopt, false);
    }

    CleanupRun::Outcome organize() { return m_run->organize(OrganizationRunMode::manual); }

    // Files `name` in a run of its own; where it was filed.
    Path fileOnce(const std::string &name, const QByteArray &content)
    {
        writeFile(m_source / name, content, longAgo());
        const auto outcome = organize();
        const auto moves = m_run->journal().moves(outcome.id);
        return moves.size() == 1 && outcome.result.moved == 1 ? moves.front().destination : Path();
    }

    // An old file of `megabytes`, written a mebibyte at a time, every byte
    // set (a file with holes would wait as a download), ending in `last`.
    static void writeBig(const Path &path, int megabytes, char last)
    {
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        QVERIFY(fd >= 0);
        QByteArray block(1 << 20, 'z');
        for (int i = 0; i < megabytes; ++i) {
            if (i + 1 == megabytes)
                block.back() = last;
            QCOMPARE(::write(fd, block.constData(), std::size_t(block.size())), ssize_t(block.size()));
        }
        ::close(fd);
        const qint64 seconds = longAgo().toSecsSinceEpoch();
        const struct timespec times[2] = {{seconds, 0}, {seconds, 0}};
        QCOMPARE(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }

    static qint64 peakResidentKB()
    {
        struct rusage usage;
        ::getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss;
    }

    static QByteArray run(const QString &program, const QStringList &arguments, const QByteArray &input = {})
    {
        QProcess process;
        process.start(program, arguments);
        process.write(input);
        process.closeWriteChannel();
        process.waitForFinished(30000);
        return process.readAllStandardOutput();
    }

private slots:
    void init()
    {
        m_home = std::make_unique<TemporaryHome>();
        m_run = std::make_unique<CleanupRun>(DefaultsSuite::open(SettingsStore::suiteName()));
        useSource(toPath(m_home->downloads()), toPath(m_home->downloads()) / "__filesDownloadedAt");
    }
    void cleanup()
    {
        m_run.reset();
        m_far.reset();
        m_home.reset();
    }

    void copyNamesLeadToTheirOriginal_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("original");
        QTest::newRow("Firefox") << u"report(1).pdf"_qs << u"report.pdf"_qs;
        QTest::newRow("Chromium") << u"report (1).pdf"_qs << u"report.pdf"_qs;
        QTest::newRow("wget") << u"report.pdf.1"_qs << u"report.pdf"_qs;
        QTest::newRow("any number") << u"report (12).pdf"_qs << u"report.pdf"_qs;
        QTest::newRow("wget, any number") << u"report.pdf.23"_qs << u"report.pdf"_qs;
        QTest::newRow("two extensions") << u"archive (2).tar.gz"_qs << u"archive.tar.gz"_qs;
        QTest::newRow("no extension") << u"README(3)"_qs << u"README"_qs;
        QTest::newRow("one layer at a time") << u"a (1).pdf.1"_qs << u"a (1).pdf"_qs;
        QTest::newRow("an original") << u"report.pdf"_qs << u"report.pdf"_qs;
        QTest::newRow("a manual page") << u"ls.1"_qs << u"ls.1"_qs;
        QTest::newRow("nothing before the number") << u"(1).pdf"_qs << u"(1).pdf"_qs;
        QTest::newRow("words, not a number") << u"photo (x).jpg"_qs << u"photo (x).jpg"_qs;
        QTest::newRow("in the middle") << u"a (1) b.pdf"_qs << u"a (1) b.pdf"_qs;
    }

    void copyNamesLeadToTheirOriginal()
    {
        QFETCH(QString, name);
        QFETCH(QString, original);
        QCOMPARE(QString::fromStdString(originalName(name.toStdString())), original);
    }

    // The second download goes to the Trash, where a file manager finds its
    // way back; the history counts it; undo takes it out again.
    void aReDownloadGoesToTheTrash_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("Firefox's name") << u"report(1).pdf"_qs;
        QTest::newRow("Chromium's name") << u"report (1).pdf"_qs;
        QTest::newRow("wget's name, filed into another folder") << u"report.pdf.1"_qs;
        QTest::newRow("the same name") << u"report.pdf"_qs;
    }

    void aReDownloadGoesToTheTrash()
    {
        QFETCH(QString, name);
        const QByteArray content = "%PDF the report\n";
        const Path filed = fileOnce("report.pdf", content);
        QVERIFY(!filed.empty());
        const Path again = m_source / name.toStdString();
        writeFile(again, content, longAgo());

        const auto outcome = organize();
        QCOMPARE(outcome.result.moved, 0);
        QCOMPARE(outcome.result.alreadyFiled, (std::vector<AlreadyFiledFile>{{again, filed}}));
        const Path trashed = trash() / "files" / name.toStdString();
        QCOMPARE(readFile(trashed), content);
        QVERIFY(!std::filesystem::exists(again));
        QCOMPARE(Trash::originalOf(trashed), std::optional<Path>(again));
        QCOMPARE(readFile(filed), content);
        QCOMPARE(m_run->store().loadHistory().front().alreadyFiled, 1);

        const UndoResult undone = m_run->undo(outcome.id, false);
        QCOMPARE(undone.restored, 1);
        QVERIFY(undone.issues.isEmpty());
        QCOMPARE(readFile(again), content);
        QVERIFY(!std::filesystem::exists(trashed));
        QVERIFY(!std::filesystem::exists(Trash::infoOf(trashed)));
        QCOMPARE(readFile(filed), content);
    }

    // Only the very bytes, under the name or a copy's, of a file still as it was filed.
    void otherwiseItIsFiled_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("touchFiled"); // the filed file was changed since (same bytes, new time)
        QTest::addColumn<QString>("filedAs");
        const QByteArray report = "%PDF the report\n";
        QTest::newRow("the last byte differs")
            << u"report (1).pdf"_qs << QByteArray("%PDF the report!") << false << u"report (1).pdf"_qs;
        QTest::newRow("the same name, other bytes")
            << u"report.pdf"_qs << QByteArray("%PDF another one") << false << u"report-2.pdf"_qs;
        QTest::newRow("the same bytes, another name") << u"invoice.pdf"_qs << report << false << u"invoice.pdf"_qs;
        QTest::newRow("the filed file changed since") << u"report.pdf.1"_qs << report << true << u"report.pdf.1"_qs;
    }

    void otherwiseItIsFiled()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, content);
        QFETCH(bool, touchFiled);
        QFETCH(QString, filedAs);
        const Path filed = fileOnce("report.pdf", "%PDF the report\n");
        if (touchFiled)
            writeFile(filed, "%PDF the report\n", QDateTime::currentDateTimeUtc().addDays(-1));
        writeFile(m_source / name.toStdString(), content, longAgo());
        const auto outcome = organize();
        QCOMPARE(outcome.result.moved, 1);
        QVERIFY(outcome.result.alreadyFiled.empty());
        const auto moves = m_run->journal().moves(outcome.id);
        QCOMPARE(QString::fromStdString(moves.front().destination.filename().native()), filedAs);
        QVERIFY(!std::filesystem::exists(trash() / "files"));
    }

    // Browsers make a download's name empty before they write it elsewhere.
    void anEmptyFileIsNeverFiledAlready()
    {
        QVERIFY(!fileOnce("empty.txt", {}).empty());
        writeFile(m_source / "empty (1).txt", {}, longAgo());
        const auto outcome = organize();
        QCOMPARE(outcome.result.moved, 1);
        QVERIFY(outcome.result.alreadyFiled.empty());
    }

    // Of identical files side by side, the one under the original name is filed.
    void ofIdenticalFilesOneIsFiled()
    {
        for (const char *name : {"report (1).pdf", "report(1).pdf", "report.pdf"})
            writeFile(m_source / name, "same", longAgo());
        const auto outcome = organize();
        QCOMPARE(outcome.result.moved, 1);
        QCOMPARE(outcome.result.alreadyFiled.size(), std::size_t(2));
        const Path filed = destination()
            / outcome.result.runDate.toLocalTime().date().toString(Qt::ISODate).toStdString() / "docs" / "report.pdf";
        QCOMPARE(readFile(filed), QByteArray("same"));
        for (const AlreadyFiledFile &file : outcome.result.alreadyFiled)
            QCOMPARE(file.filedAs, filed);
        QCOMPARE(regularFilesBelow(m_home->trash() + u"/files"_qs),
                 (QStringList{u"report (1).pdf"_qs, u"report(1).pdf"_qs}));
    }

    // "doc (2).pdf" is a copy name of "doc.pdf", not of "doc (1).pdf": without
    // their original, two identical copies are two files to file.
    void copiesOfAnOriginalThatIsNotThereAreFiled()
    {
        for (const char *name : {"doc (1).pdf", "doc (2).pdf"})
            writeFile(m_source / name, "same", longAgo());
        const auto outcome = organize();
        QCOMPARE(outcome.result.moved, 2);
        QVERIFY(outcome.result.alreadyFiled.empty());
    }

    // Compared in blocks up to the first difference, never whole in memory.
    void aBigFileIsComparedInBlocks()
    {
        constexpr int megabytes = 128;
        writeBig(m_source / "disk.iso", megabytes, 'z');
        QCOMPARE(organize().result.moved, 1);
        writeBig(m_source / "disk (1).iso", megabytes, 'y');
        writeBig(m_source / "disk (2).iso", megabytes, 'z');
        const qint64 before = peakResidentKB();
        const auto outcome = organize();
        QVERIFY2(peakResidentKB() - before < 32 * 1024, qPrintable(QString::number(peakResidentKB() - before)));
        QCOMPARE(outcome.result.moved, 1);
        QCOMPARE(outcome.result.alreadyFiled.size(), std::size_t(1));
        QCOMPARE(outcome.result.alreadyFiled.front().source, m_source / "disk (2).iso");
    }

    // What the user did in the Trash since is told, not guessed: a file
    // restored by a real Trash client counts as back, one emptied away is reported.
    void whatTheUserDidInTheTrashIsTold_data()
    {
        QTest::addColumn<bool>("restore");
        QTest::newRow("restored with trash-restore") << true;
        QTest::newRow("emptied from the Trash") << false;
    }

    void whatTheUserDidInTheTrashIsTold()
    {
        QFETCH(bool, restore);
        if (QStandardPaths::findExecutable(u"trash-list"_qs).isEmpty())
            QSKIP("trash-cli is not installed");
        QVERIFY(!fileOnce("notes.txt", "my notes").empty());
        const Path again = m_source / "notes (1).txt";
        writeFile(again, "my notes", longAgo());
        const auto outcome = organize();
        QCOMPARE(outcome.result.alreadyFiled.size(), std::size_t(1));
        const QByteArray listed = run(u"trash-list"_qs, {});
        QVERIFY2(listed.contains(QByteArray::fromStdString(" " + again.native() + "\n")), listed.constData());
        if (restore) {
            run(u"trash-restore"_qs, {displayPath(m_source)}, "0\n");
            QCOMPARE(readFile(again), QByteArray("my notes"));
        } else {
            run(u"trash-empty"_qs, {});
            QVERIFY(regularFilesBelow(m_home->trash()).isEmpty());
        }
        const UndoResult undone = m_run->undo(outcome.id, false);
        QCOMPARE(undone.restored, restore ? 1 : 0);
        QCOMPARE(undone.issues.size(), restore ? 0 : 1);
        if (!restore)
            QVERIFY(undone.issues.front().message.contains(u"no longer in the Trash"_qs));
    }

    void switchedOffTheNameIsCountedUp()
    {
        m_run->store().saveTrashDuplicates(false);
        QVERIFY(!fileOnce("report.pdf", "same").empty());
        writeFile(m_source / "report.pdf", "same", longAgo());
        const auto outcome = organize();
        QCOMPARE(outcome.result.moved, 1);
        QCOMPARE(m_run->journal().moves(outcome.id).front().destination.filename().native(),
                 std::string("report-2.pdf"));
        QVERIFY(!std::filesystem::exists(trash()));
    }

    // A kill between the info file and the move: the next run finds the file
    // in the source and takes the info file away; a kill after the move:
    // it counts as moved, and undo brings it back.
    void aRunKilledOnItsWayToTheTrashIsSettled_data()
    {
        QTest::addColumn<bool>("fileMoved");
        QTest::newRow("killed before the file went") << false;
        QTest::newRow("killed after the file went") << true;
    }

    void aRunKilledOnItsWayToTheTrashIsSettled()
    {
        QFETCH(bool, fileMoved);
        const Path source = m_source / "a (1).pdf";
        const Path trashed = trash() / "files" / "a (1).pdf";
        writeFile(source, "bytes", longAgo());
        const FileStamp stamp = *PosixFileSystem().stampOf(source);
        const QUuid id = QUuid::createUuid();
        RunJournal &journal = m_run->journal();
        const std::string from = source.native();
        const std::string to = trashed.native();
        QVERIFY(
            journal.begin({id, QDateTime::currentDateTimeUtc(), OrganizationRunMode::manual, m_source, destination()})
            && journal.intend(id, {{0, from, to, stamp.identity, stamp.size, stamp.modifiedNs, stamp.bornNs}}));
        QVERIFY(!Trash::prepare(trash()));
        QVERIFY(!Trash::writeInfo(trashed, source, QDateTime::currentDateTime()));
        if (fileMoved)
            std::filesystem::rename(source, trashed);
        {
            OrganizerExecutionLock lock(destination(), *std::make_shared<PosixFileSystem>());
            m_run->organizer().recoverInterruptedRuns(journal, destination());
        }
        QCOMPARE(journal.moves(id).front().state, fileMoved ? JournalMove::State::moved : JournalMove::State::notMoved);
        QCOMPARE(std::filesystem::exists(Trash::infoOf(trashed)), fileMoved);
        if (fileMoved) {
            QCOMPARE(m_run->undo(id, false).restored, 1);
            QVERIFY(!std::filesystem::exists(Trash::infoOf(trashed)));
        }
        QCOMPARE(readFile(source), QByteArray("bytes"));
    }

    // A source on a drive of its own has that drive's trash, named relative
    // to the drive's top; a destination on another drive changes nothing.
    void eachDriveItsTrash_data()
    {
        QTest::addColumn<bool>("sourceFar");
        QTest::newRow("destination on another drive") << false;
        QTest::newRow("source on another drive") << true;
    }

    void eachDriveItsTrash()
    {
        QFETCH(bool, sourceFar);
        m_far = folderOnOtherFileSystem(m_home->path());
        SKIP_WITHOUT_SECOND_FILE_SYSTEM(m_far);
        const Path far = toPath(m_far->path());
        if (sourceFar)
            useSource(far / "Downloads", far / "Downloads" / "__filesDownloadedAt");
        else
            useSource(m_source, far / "sorted");
        QVERIFY(!fileOnce("photo.jpg", "pixels").empty());
        writeFile(m_source / "photo (1).jpg", "pixels", longAgo());
        const Path expectedTrash = sourceFar ? Trash::forFolder(m_source, Trash::homeTrash()) : trash();
        const bool trashExisted = std::filesystem::exists(expectedTrash);
        const auto outcome = organize();
        QCOMPARE(outcome.result.alreadyFiled.size(), std::size_t(1));
        const Path trashed = expectedTrash / "files" / "photo (1).jpg";
        QCOMPARE(readFile(trashed), QByteArray("pixels"));
        QCOMPARE(Trash::originalOf(trashed), std::optional<Path>(m_source / "photo (1).jpg"));
        if (sourceFar) {
            QVERIFY(expectedTrash.native().starts_with(std::string(otherFileSystem(m_home->path())->toStdString())));
            QVERIFY(!readFile(Trash::infoOf(trashed)).contains("Path=/"));
        }
        QCOMPARE(m_run->undo(outcome.id, false).restored, 1);
        QCOMPARE(readFile(m_source / "photo (1).jpg"), QByteArray("pixels"));
        if (!trashExisted)
            std::filesystem::remove_all(expectedTrash);
    }
};

QTEST_GUILESS_MAIN(TestAlreadyFiled)
#include "tst_alreadyfiled.moc"
