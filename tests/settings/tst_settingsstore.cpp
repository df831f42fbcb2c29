// SPDX-License-Identifier: GPL-3.0-or-later
#include "SettingsStore.h"
#include "SqliteRunJournal.h"
#include "TestSupport.h"

#include <QProcess>
#include <QTimeZone>
#include <QtTest>
#include <sqlite3.h>

#include <sys/stat.h>

using namespace sorvanel;
using namespace sorvanel::test;

namespace {
OrganizationResult resultAt(qint64 seconds, int issues = 0)
{
    OrganizationResult result;
    result.runDate = Json::dateFromReferenceSeconds(double(seconds) + 0.125);
    result.moved = seconds;
    result.skipped = 2;
    for (int i = 0; i < issues; ++i)
        result.issues.append(OrganizationIssue(u"f%1"_qs.arg(i), u"m"_qs));
    return result;
}

// Run as "--record N": record N runs into the shared suite from this process.
int recordRuns(int count)
{
    SettingsStore store;
    for (int i = 0; i < count; ++i)
        store.record(resultAt(i), OrganizationRunMode::automatic, 0.1);
    return 0;
}
} // namespace

class TestSettingsStore : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;

private slots:
    void init() { m_home = std::make_unique<TemporaryHome>(); }

    void freshInstallation()
    {
        SettingsStore store;
        const StoredSettings s = store.load();
        QCOMPARE(QString::fromStdString(s.sourceURL.native()), m_home->downloads());
        QCOMPARE(QString::fromStdString(s.destinationURL.native()),
                 m_home->downloads() + QStringLiteral("/__filesDownloadedAt"));
        QCOMPARE(s.thresholdMB, 500);
        QVERIFY(!s.automaticEnabled);
        QVERIFY(!s.sourceBookmark && !s.destinationBookmark && !s.lastAutomaticDay);
        const QDateTime local = s.automaticTime.toLocalTime();
        QCOMPARE(local.time(), QTime(22, 0));
        QCOMPARE(local.date(), QDate::currentDate());
        const auto all = store.defaults().all();
        QCOMPARE(all.size(), std::size_t(1));
        QCOMPARE(all[0].first, u"appGroupMigrationV1"_qs);
        QVERIFY(!store.loadLastResult());
        QVERIFY(store.loadHistory().isEmpty());
        // Private from the first byte.
        struct stat info;
        QCOMPARE(::stat(QFile::encodeName(m_home->configHome() + QStringLiteral("/sorvanel")).constData(), &info), 0);
        QCOMPARE(info.st_mode & 0777, 0700u);
        QCOMPARE(::stat(QFile::encodeName(store.defaults().path()).constData(), &info), 0);
        QCOMPARE(info.st_mode & 0777, 0600u);
    }

    void disabledDownloadsEntryNeverMeansHome()
    {
        QDir(m_home->configHome()).mkpath(u"."_qs);
        QFile dirs(m_home->configHome() + QStringLiteral("/user-dirs.dirs"));
        QVERIFY(dirs.open(QIODevice::WriteOnly));
        dirs.write("XDG_DOWNLOAD_DIR=\"$HOME/\"\n");
        dirs.close();
        SettingsStore store;
        QCOMPARE(QString::fromStdString(store.load().sourceURL.native()), m_home->downloads());
    }

    void migrationCopiesOnceAndTheSuiteWins()
    {
        {
            auto legacy = DefaultsSuite::open(SettingsStore::legacyName());
            legacy->set(u"sourcePath"_qs, DefaultsValue::string(u"/legacy/src"_qs));
            legacy->set(u"thresholdMB"_qs, DefaultsValue::integer(42));
            legacy->set(u"runHistory"_qs, DefaultsValue::data("[]"));
            legacy->set(u"unrelated"_qs, DefaultsValue::integer(1));
            auto suite = DefaultsSuite::open(SettingsStore::suiteName());
            suite->set(u"thresholdMB"_qs, DefaultsValue::integer(7));
        }
        {
            SettingsStore store;
            const auto s = store.load();
            QCOMPARE(QString::fromStdString(s.sourceURL.native()), u"/legacy/src"_qs);
            QCOMPARE(s.thresholdMB, 7);
            QVERIFY(store.defaults().contains(u"runHistory"_qs));
            QVERIFY(!store.defaults().contains(u"unrelated"_qs));
        }
        DefaultsSuite::open(SettingsStore::legacyName())
            ->set(u"destinationPath"_qs, DefaultsValue::string(u"/late"_qs));
        SettingsStore again;
        QVERIFY(!again.defaults().contains(u"destinationPath"_qs));
        // The legacy values stay where they were.
        QVERIFY(DefaultsSuite::openExisting(SettingsStore::legacyName())->contains(u"sourcePath"_qs));
    }

    void mistypedValuesReadAsAbsent()
    {
        SettingsStore store;
        store.defaults().set(u"thresholdMB"_qs, DefaultsValue::string(u"900"_qs));
        store.defaults().set(u"automaticEnabled"_qs, DefaultsValue::integer(1));
        store.defaults().set(u"automaticTime"_qs, DefaultsValue::string(u"22:00"_qs));
        store.defaults().set(u"sourcePath"_qs, DefaultsValue::data("x"));
        store.defaults().set(u"destinationPath"_qs, DefaultsValue::string(u"relative/sorted"_qs));
        const auto s = store.load();
        QCOMPARE(s.thresholdMB, 500);
        QVERIFY(!s.automaticEnabled);
        QCOMPARE(s.automaticTime.toLocalTime().time(), QTime(22, 0));
        QCOMPARE(QString::fromStdString(s.sourceURL.native()), m_home->downloads());
        QCOMPARE(QString::fromStdString(s.destinationURL.native()), m_home->downloads() + u"/__filesDownloadedAt"_qs);
        store.saveThreshold(0);
        QCOMPARE(store.load().thresholdMB, 0);
    }

    void lastResult()
    {
        SettingsStore store;
        store.defaults().set(u"lastMoved"_qs, DefaultsValue::integer(9));
        QVERIFY(!store.loadLastResult());
        const auto clean = resultAt(100);
        store.save(clean);
        QCOMPARE(*store.defaults().integer(u"lastFailed"_qs), 0);
        QCOMPARE(*store.defaults().data(u"lastIssues"_qs), QByteArray("[]"));
        auto loaded = store.loadLastResult();
        QCOMPARE(loaded->runDate, clean.runDate);
        QCOMPARE(loaded->moved, 100);
        store.save(resultAt(5, 3));
        QCOMPARE(store.loadLastResult()->issues[2].filename, u"f2"_qs);
        store.defaults().remove(u"lastIssues"_qs);
        loaded = store.loadLastResult();
        QCOMPARE(loaded->issues.size(), 3);
        QVERIFY(loaded->issues[0].filename.isEmpty() && loaded->issues[0].message.isEmpty());
        store.defaults().set(u"lastIssues"_qs, DefaultsValue::data("{broken"));
        store.defaults().set(u"lastFailed"_qs, DefaultsValue::integer(-4));
        QVERIFY(store.loadLastResult()->issues.isEmpty());
    }

    // When another process holds the file for longer than the waits allow, a
    // record is dropped as a whole: no history write outside its transaction.
    void recordThatCannotGetTheFileWritesNothing()
    {
        SettingsStore store;
        store.record(resultAt(1), OrganizationRunMode::manual, 0.1);
        const QByteArray file =
            QFile::encodeName(m_home->configHome() + u"/sorvanel/group.io.github.sorvanel.Sorvanel.sqlite"_qs);
        sqlite3 *other = nullptr;
        QCOMPARE(sqlite3_open(file.constData(), &other), SQLITE_OK);
        QCOMPARE(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
        store.defaults().setBusyTimeout(50);
        QVERIFY(!store.defaults().transaction([] {}));
        store.record(resultAt(2), OrganizationRunMode::manual, 0.1);
        QCOMPARE(sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(other);
        QCOMPARE(store.loadHistory().size(), 1);
        QCOMPARE(store.loadLastResult()->moved, 1);
        store.record(resultAt(3), OrganizationRunMode::manual, 0.1);
        QCOMPARE(store.loadHistory().size(), 2);
        QCOMPARE(store.loadHistory().first().moved, 3);
    }

    // A transaction whose body gives up (a journal write that failed) leaves
    // nothing of it, and the writes after it are kept.
    void aTransactionThatGivesUpWritesNothingAndTheNextOneWorks()
    {
        SettingsStore store;
        struct GaveUp
        {
        };
        QVERIFY_THROWS_EXCEPTION(GaveUp, store.defaults().transaction([&] {
            store.defaults().set(u"half"_qs, DefaultsValue::integer(1));
            throw GaveUp();
        }));
        QVERIFY(!store.defaults().contains(u"half"_qs));
        store.record(resultAt(1), OrganizationRunMode::manual, 0.1);
        QCOMPARE(SettingsStore().loadHistory().size(), 1); // committed: another connection sees it
    }

    void historyIsCappedNewestFirst()
    {
        SettingsStore store;
        for (int i = 1; i <= 51; ++i)
            store.record(resultAt(i), OrganizationRunMode::manual, i / 100.0);
        auto history = store.loadHistory();
        QCOMPARE(history.size(), 50);
        QCOMPARE(history.first().moved, 51);
        QCOMPARE(history.last().moved, 2);
        QCOMPARE(history.first().date, resultAt(51).runDate);
        QCOMPARE(history.first().duration, 0.51);
        // An older version's 60 entries are cut at the next record.
        QList<RunHistoryEntry> sixty;
        for (int i = 0; i < 60; ++i)
            sixty.append(RunHistoryEntry(resultAt(1000 + i), OrganizationRunMode::automatic, 1));
        store.defaults().set(u"runHistory"_qs, DefaultsValue::data(Json::encodeHistory(sixty)));
        store.record(resultAt(7), OrganizationRunMode::manual, 1);
        history = store.loadHistory();
        QCOMPARE(history.size(), 50);
        QCOMPARE(history[1].moved, 1000);
        QCOMPARE(history[49].moved, 1048);
    }

    // The watcher's batches of one local day are one entry, on top as it
    // grows; their journal runs stay while the entry does, and go with it.
    void watchedBatchesOfADayAreOneEntry()
    {
        SettingsStore store;
        SqliteRunJournal journal(store.suite());
        const auto batch = [&](const QDateTime &date, qint64 moved, int issues) {
            const QUuid id = newIdentifier();
            journal.begin({id, date, OrganizationRunMode::watch, "/d", "/d/sorted"});
            OrganizationResult result = resultAt(0, issues);
            result.runDate = date;
            result.moved = moved;
            const auto entry = store.recordWatched(result, 0.5, id, false);
            journal.finish(id);
            return entry.value_or(QUuid());
        };
        const QTimeZone berlin("Europe/Berlin");
        const QUuid first = batch(QDateTime(QDate(2026, 11, 20), QTime(0, 30), berlin), 1, 0);
        store.record(resultAt(5), OrganizationRunMode::manual, 1);
        QCOMPARE(batch(QDateTime(QDate(2026, 11, 20), QTime(23, 30), berlin), 2, 1), first);
        const QUuid second = batch(QDateTime(QDate(2026, 11, 21), QTime(0, 10), berlin), 3, 0);
        QVERIFY(second != first);
        const QList<RunHistoryEntry> history = store.loadHistory();
        QCOMPARE(history.size(), 3);
        QCOMPARE(history[0].id, second);
        QCOMPARE(history[1].id, first);
        QCOMPARE(history[1].moved, 3);
        QCOMPARE(history[1].failed, 1);
        QCOMPARE(history[1].skipped, 0);
        QCOMPARE(history[1].date, QDateTime(QDate(2026, 11, 20), QTime(23, 30), berlin));
        QCOMPARE(journal.runsOfGroup(first).size(), std::size_t(2));

        for (int i = 0; i < SettingsStore::historyLimit - 1; ++i)
            store.record(resultAt(100 + i), OrganizationRunMode::manual, 1);
        QCOMPARE(journal.runsOfGroup(second).size(), std::size_t(1));
        QCOMPARE(journal.runsOfGroup(first).size(), std::size_t(0));
    }

    // A settings file that is not ours to read is kept aside, and the
    // settings start again from their defaults.
    void brokenDatabaseIsMovedAside_data()
    {
        QTest::addColumn<QByteArray>("content"); // SQL: a database of that shape
        QTest::newRow("garbage") << QByteArray(5000, 'g');
        QTest::newRow("truncated") << QByteArray();
        QTest::newRow("half a header") << QByteArray("SQLite format 3\0\x10\0", 18);
        QTest::newRow("another table of that name") << QByteArray("CREATE TABLE defaults(name TEXT)");
    }

    void brokenDatabaseIsMovedAside()
    {
        QFETCH(QByteArray, content);
        QString path;
        {
            SettingsStore store;
            store.saveThreshold(77);
            path = store.defaults().path();
        }
        QFile file(path);
        if (content.startsWith("CREATE")) {
            QVERIFY(file.remove());
            SqliteDatabase db;
            QCOMPARE(db.open(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE), SQLITE_OK);
            QCOMPARE(db.execute(content.constData()), SQLITE_OK);
        } else {
            QVERIFY(file.open(QIODevice::ReadWrite));
            if (content.isEmpty())
                content = file.read(4096 + 100); // a real database cut in half
            QVERIFY(file.resize(0));
            file.write(content);
            file.close();
        }
        SettingsStore store;
        QCOMPARE(store.load().thresholdMB, 500);
        store.saveThreshold(12);
        QCOMPARE(store.load().thresholdMB, 12);
        const QStringList kept = QDir(QFileInfo(path).absolutePath()).entryList({u"*.broken-*"_qs});
        QVERIFY2(!kept.isEmpty(), qPrintable(QDir(QFileInfo(path).absolutePath()).entryList().join(u',')));
    }

    void twoProcessesRecordingAtOnceKeepEveryEntry()
    {
        SettingsStore store; // creates the suite and migrates before the writers start
        QProcess a, b;
        for (QProcess *p : {&a, &b})
            p->start(QCoreApplication::applicationFilePath(), {u"--record"_qs, u"20"_qs});
        for (QProcess *p : {&a, &b}) {
            QVERIFY(p->waitForFinished(60000));
            QCOMPARE(p->exitCode(), 0);
        }
        QCOMPARE(store.loadHistory().size(), 40);
    }
};

int main(int argc, char *argv[])
{
    if (argc == 3 && std::string(argv[1]) == "--record") {
        QCoreApplication app(argc, argv);
        return recordRuns(std::atoi(argv[2]));
    }
    QCoreApplication app(argc, argv);
    TestSettingsStore test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_settingsstore.moc"
