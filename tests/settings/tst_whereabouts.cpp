// SPDX-License-Identifier: GPL-3.0-or-later
// "Where did my file go?": names matched as a user types them, and the state
// of each filed file told from the real journal and what lies on disk.
#include "CleanupRun.h"
#include "OrganizerExecutionLock.h"
#include "TestSupport.h"
#include "Whereabouts.h"

#include <QtTest>

using namespace sorvanel;
using namespace sorvanel::test;

class TestWhereabouts : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;
    std::unique_ptr<CleanupRun> m_run;

    Path downloads() const { return toPath(m_home->downloads()); }
    Path root() const { return downloads() / "__filesDownloadedAt"; }

    std::vector<FiledFile> find(const QString &text)
    {
        PosixFileSystem files;
        return findFiled(m_run->journal(), files, NameMatch(text));
    }

private slots:
    void init()
    {
        m_home = std::make_unique<TemporaryHome>();
        m_run = std::make_unique<CleanupRun>(DefaultsSuite::open(SettingsStore::suiteName()));
        m_run->store().saveFolder(downloads(), std::nullopt, true);
        m_run->store().saveFolder(root(), std::nullopt, false);
    }
    void cleanup()
    {
        m_run.reset();
        m_home.reset();
    }

    void namesMatchAsTheUserTypesThem_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<bool>("matches");
        const QByteArray composed = "R\xc3\xa9sum\xc3\xa9.pdf"; // é as one character
        const QByteArray decomposed = "Re\xcc\x81sume\xcc\x81.pdf"; // e and a combining accent
        QTest::newRow("a part, another case") << u"MARCH"_qs << QByteArray("invoice-march.pdf") << true;
        QTest::newRow("without accents") << u"resume"_qs << composed << true;
        QTest::newRow("with them, against a decomposed name") << u"Résumé"_qs << decomposed << true;
        QTest::newRow("decomposed, against a composed name")
            << QString::fromUtf8(decomposed.left(10)) << composed << true;
        QTest::newRow("not a part") << u"april"_qs << QByteArray("invoice-march.pdf") << false;
        QTest::newRow("a name that is not UTF-8") << u"caf"_qs << QByteArray("caf\xe9.txt") << true;
        QTest::newRow("a pattern takes the whole name") << u"*.PDF"_qs << QByteArray("invoice-march.pdf") << true;
        QTest::newRow("a pattern is no part") << u"invoice*"_qs << QByteArray("old-invoice.pdf") << false;
        QTest::newRow("? is one character") << u"report?.pdf"_qs << QByteArray("report2.pdf") << true;
        QTest::newRow("? is not two") << u"report?.pdf"_qs << QByteArray("report12.pdf") << false;
        QTest::newRow("a pattern, with accents") << u"resume*"_qs << composed << true;
    }

    void namesMatchAsTheUserTypesThem()
    {
        QFETCH(QString, text);
        QFETCH(QByteArray, name);
        QFETCH(bool, matches);
        QCOMPARE(NameMatch(text).matches(std::string_view(name.constData(), std::size_t(name.size()))), matches);
    }

    // Each state, newest run first: there, changed since, gone from there,
    // put back by an undo; a file the run left is no filed file.
    void eachFileWithWhereItIsNow()
    {
        for (const char *name : {"a-there.txt", "a-changed.txt", "a-gone.txt"})
            writeFile(downloads() / name, name, longAgo());
        const auto first = m_run->organize(OrganizationRunMode::manual);
        QCOMPARE(first.result.moved, 3);
        writeFile(downloads() / "a-undone.txt", "undone", longAgo());
        const auto second = m_run->organize(OrganizationRunMode::manual);
        QCOMPARE(m_run->undo(second.id, false).restored, 1);
        QMap<QString, Path> filed;
        for (const FiledFile &file : find(u"A-"_qs))
            filed.insert(QString::fromStdString(file.source.filename().native()), file.destination);
        QCOMPARE(filed.size(), 4);
        std::filesystem::remove(filed.value(u"a-gone.txt"_qs));
        writeFile(filed.value(u"a-changed.txt"_qs), "changed, longer", longAgo());

        QMap<QString, FiledState> states;
        for (const FiledFile &file : find(u"a-"_qs))
            states.insert(QString::fromStdString(file.source.filename().native()), file.state);
        QCOMPARE(states.value(u"a-there.txt"_qs), FiledState::there);
        QCOMPARE(states.value(u"a-changed.txt"_qs), FiledState::changed);
        QCOMPARE(states.value(u"a-gone.txt"_qs), FiledState::gone);
        QCOMPARE(states.value(u"a-undone.txt"_qs), FiledState::undone);
        const std::vector<FiledFile> again = find(u"a-"_qs);
        QCOMPARE(again.front().run, second.id); // newest first
        QCOMPARE(again.front().whereNow(), downloads() / "a-undone.txt");
        QCOMPARE(again.back().run, first.id);
        QCOMPARE(again.back().mode, OrganizationRunMode::manual);
    }

    // A run a kill cut short counts once it is settled: what it moved is
    // found, what it did not is not.
    void aRunKilledAndSettled()
    {
        writeFile(downloads() / "moved.txt", "m", longAgo());
        writeFile(downloads() / "stayed.txt", "s", longAgo());
        const QUuid id = QUuid::createUuid();
        std::vector<std::string> paths;
        for (const char *name : {"moved.txt", "stayed.txt"}) {
            paths.push_back((downloads() / name).native());
            paths.push_back((root() / "2026-01-01" / name).native());
        }
        const FileStamp moved = *PosixFileSystem().stampOf(downloads() / "moved.txt");
        const FileStamp stayed = *PosixFileSystem().stampOf(downloads() / "stayed.txt");
        RunJournal &journal = m_run->journal();
        QVERIFY(
            journal.begin({id, QDateTime::currentDateTimeUtc(), OrganizationRunMode::automatic, downloads(), root()}));
        QVERIFY(
            journal.intend(id,
                           {{0, paths[0], paths[1], moved.identity, moved.size, moved.modifiedNs, moved.bornNs},
                            {1, paths[2], paths[3], stayed.identity, stayed.size, stayed.modifiedNs, stayed.bornNs}}));
        std::filesystem::create_directories(root() / "2026-01-01");
        std::filesystem::rename(paths[0], paths[1]); // the kill came after the first move
        {
            OrganizerExecutionLock lock(root(), *std::make_shared<PosixFileSystem>());
            m_run->organizer().recoverInterruptedRuns(journal, root());
        }
        const std::vector<FiledFile> found = find(u".txt"_qs);
        QCOMPARE(found.size(), std::size_t(1));
        QCOMPARE(found.front().destination, Path(paths[1]));
        QCOMPARE(found.front().state, FiledState::there);
        QCOMPARE(found.front().mode, OrganizationRunMode::automatic);
    }
};

QTEST_GUILESS_MAIN(TestWhereabouts)
#include "tst_whereabouts.moc"
