// SPDX-License-Identifier: GPL-3.0-or-later
// The watcher in this process, where what it tells the user can be heard.
#include "Calendar.h"
#include "CleanupRun.h"
#include "Organizer.h"
#include "RecordingNotifier.h"
#include "TestSupport.h"
#include "WatchService.h"

#include <QtTest>

using namespace sorvanel;
using namespace sorvanel::test;

class TestWatchService : public QObject
{
    Q_OBJECT

    static std::size_t runsInJournal()
    {
        CleanupRun run(SettingsStore().suite());
        return run.journal().runs().size();
    }

private slots:
    // A file that can't be filed (its folder's name is taken by a file; a file is
    // dated by its birth, today) is
    // told of once, tried again only when it changes, and filed once it can be.
    void aFailureIsToldOnceAndTriedAgainWhenTheFileChanges()
    {
        TemporaryHome home;
        const Path source = toPath(home.downloads());
        const StoredSettings settings = SettingsStore().load();
        const Path blocker = settings.destinationURL
            / Organizer::dateFolderName(QDateTime::currentDateTimeUtc(), Calendar::current()).toStdString() / "docs";
        QVERIFY(QDir().mkpath(displayPath(blocker.parent_path())));
        writeFile(blocker, "in the way");
        writeFile(source / "paper.pdf", "paper", longAgo());

        RecordingNotifier notifier;
        WatchService watcher(SettingsStore().suite(), std::make_shared<Organizer>(), notifier,
                             std::make_shared<SystemWriterProbe>());
        QStringList status;
        watcher.start([&](const QString &line) { status << line; });
        QCOMPARE(status, QStringList{u"Watching "_qs + home.downloads()});
        QTRY_COMPARE_WITH_TIMEOUT(notifier.messages.size(), 1, 10000);
        QVERIFY(notifier.messages.front().startsWith(u"Sorvanel could not file paper.pdf: "_qs));
        QTest::qWait(5000); // no retry in a loop
        QCOMPARE(runsInJournal(), std::size_t(1));

        writeFile(source / "paper.pdf", "paper, again", longAgo());
        QTRY_COMPARE_WITH_TIMEOUT(runsInJournal(), std::size_t(2), 10000);
        QTest::qWait(1000);
        QCOMPARE(notifier.messages.size(), 1); // once per file

        QVERIFY(QFile::remove(displayPath(blocker)));
        writeFile(source / "paper.pdf", "paper, at last", longAgo());
        QTRY_VERIFY_WITH_TIMEOUT(!QFile::exists(displayPath(source / "paper.pdf")), 10000);
        QCOMPARE(readFile(blocker / "paper.pdf"), QByteArray("paper, at last"));
    }
};

QTEST_MAIN(TestWatchService)
#include "tst_watchservice.moc"
