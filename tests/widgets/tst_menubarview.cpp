// SPDX-License-Identifier: GPL-3.0-or-later
#include "Localization.h"
#include "MenuBarView.h"
#include "RecordingNotifier.h"
#include "SorvanelApp.h"
#include "WidgetTestSupport.h"

#include <QAction>
#include <QMenu>
#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <QtTest>

using namespace sorvanel;
using namespace sorvanel::test;

class TestMenuBarView : public QObject
{
    Q_OBJECT

private slots:
    void menuItemsAndStatus()
    {
        ModelFixture fixture;
        MenuBarView view(*fixture.model);
        QStringList texts;
        for (QAction *action : view.menu()->actions()) {
            if (action->isVisible())
                texts << (action->isSeparator() ? u"-"_qs : action->text());
        }
        QCOMPARE(
            texts,
            (QStringList{L10n::text("Not run yet"), u"-"_qs, L10n::text("Organize Now"), L10n::text("Recently Filed"),
                         L10n::text("Open Sorvanel"), L10n::text("About"), u"-"_qs, L10n::text("Quit")}));
        QVERIFY(!view.statusAction()->isEnabled());
        fixture.model->setLastResult(sampleResult(3, 5, {OrganizationIssue()}));
        QCOMPARE(view.statusAction()->text(), L10n::format("Last run: %d moved, %d failed", {3, 1}));
        fixture.model->setRunning(true);
        QVERIFY(!view.organizeAction()->isEnabled());
        fixture.model->setRunning(false);
        QVERIFY(view.organizeAction()->isEnabled());

        QSignalSpy open(&view, &MenuBarView::openRequested);
        QSignalSpy quit(&view, &MenuBarView::quitRequested);
        view.menu()->actions()[5]->trigger();
        view.menu()->actions()[8]->trigger();
        QCOMPARE(open.count(), 1);
        QCOMPARE(quit.count(), 1);
        // A click on the tray icon opens the window; asking for the menu does not.
        auto *tray = view.findChild<QSystemTrayIcon *>();
        QList<qsizetype> opened;
        for (const auto reason : {QSystemTrayIcon::Trigger, QSystemTrayIcon::DoubleClick, QSystemTrayIcon::Context}) {
            emit tray->activated(reason);
            opened << open.count();
        }
        QCOMPARE(opened, (QList<qsizetype>{2, 3, 3}));
    }

    // The files filed last, newest first, each shown in its folder when
    // chosen; one gone from there is named but not offered.
    void recentlyFiledFiles()
    {
        ModelFixture fixture;
        MenuBarView view(*fixture.model);
        QCOMPARE(view.recentlyFiledMenu()->actions().size(), 1);
        QVERIFY(!view.recentlyFiledMenu()->actions()[0]->isEnabled()); // nothing filed yet
        const Path downloads = toPath(fixture.home.downloads());
        for (int i = 0; i < 12; ++i) {
            writeFile(downloads / ("file" + std::to_string(i) + ".txt"), "x", longAgo());
            if (i == 0 || i == 11) {
                fixture.model->organizeNow();
                QTRY_VERIFY(!fixture.model->isRunning());
            }
        }
        emit view.menu()->aboutToShow();
        const QList<QAction *> files = view.recentlyFiledMenu()->actions();
        QCOMPARE(files.size(), 10);
        QStringList names;
        for (QAction *action : files)
            names << action->text();
        QVERIFY(!names.contains(u"file0.txt"_qs)); // the first run's is not among the latest ten
        QSignalSpy shown(fixture.model.get(), &AppModel::showItemRequested);
        files[0]->trigger();
        QCOMPARE(shown.size(), 1);
        QVERIFY(shown[0][0].toString().endsWith(u"/"_qs + names[0]));
        QVERIFY(QFile::exists(shown[0][0].toString()));
    }

    // Organize Now from the tray with the window out of sight: the daily run's
    // notification, whose Undo puts the files back. With the window in sight, none.
    void anOrganizeNowOutOfSightIsToldOfWithUndo()
    {
        ModelFixture fixture;
        const Path downloads = toPath(fixture.home.downloads());
        writeFile(downloads / "a.pdf", "a", longAgo());
        writeFile(downloads / "b.pdf", "b", longAgo());
        auto notifier = std::make_shared<RecordingNotifier>();
        SorvanelApp app(std::move(fixture.model), nullptr, notifier);
        app.model().organizeNow();
        QTRY_COMPARE(notifier->messages.size(), 1);
        const QString day = QDir(fixture.home.downloads() + u"/__filesDownloadedAt"_qs)
                                .entryList(QDir::Dirs | QDir::NoDotAndDotDot)
                                .value(0);
        QCOMPARE(notifier->messages.front(),
                 L10n::format("Sorvanel tidied %d files", {2}) + u": "_qs + L10n::format("Into %@", {day}));
        QCOMPARE(notifier->keys, (QStringList{u"open"_qs, u"undo"_qs}));
        QVERIFY(!QFile::exists(displayPath(downloads / "a.pdf")));
        notifier->offered.front()(u"undo"_qs);
        QTRY_VERIFY(QFile::exists(displayPath(downloads / "a.pdf")) && QFile::exists(displayPath(downloads / "b.pdf")));

        app.openMainWindow();
        QTRY_VERIFY(!app.model().isRunning());
        writeFile(downloads / "c.pdf", "c", longAgo());
        app.model().organizeNow();
        QTRY_VERIFY(!QFile::exists(displayPath(downloads / "c.pdf")));
        QTRY_VERIFY(!app.model().isRunning());
        QCOMPARE(notifier->messages.size(), 1);
    }

    // Switched on, the menu says what the watcher says of itself, or why it does not watch.
    void theWatcherSaysWhatItDoes()
    {
        ModelFixture fixture;
        auto watcher = std::make_shared<FakeLoginItems>();
        watcher->activity = {true, u"Watching /home/u/Downloads"_qs};
        fixture.model->setWatcherService(watcher);
        MenuBarView view(*fixture.model);
        QVERIFY(!view.watchAction()->isVisible());
        fixture.model->setWatchEnabled(true);
        fixture.model->watchEnabledChanged();
        QTRY_COMPARE(view.watchAction()->text(), u"Watching /home/u/Downloads"_qs);
        QVERIFY(view.watchAction()->isVisible());
        QCOMPARE(watcher->calls, (QStringList{u"status"_qs, u"register"_qs}));
        QCOMPARE(fixture.store->load().watchEnabled, true);

        // Where systemd refuses, the switch and the setting go back off, and the user reads why.
        fixture.model->setWatchEnabled(false);
        fixture.model->watchEnabledChanged();
        QVERIFY(!view.watchAction()->isVisible());
        QTRY_COMPARE(watcher->status, LoginItemService::Status::notRegistered);
        watcher->failure = u"no bus"_qs;
        fixture.model->setWatchEnabled(true);
        fixture.model->watchEnabledChanged();
        QTRY_VERIFY(fixture.model->alertMessage().has_value());
        QCOMPARE(*fixture.model->alertMessage(), L10n::format("Watching could not be changed: %@", {u"no bus"_qs}));
        QVERIFY(!fixture.model->watchEnabled());
        QCOMPARE(fixture.store->load().watchEnabled, false);
        QVERIFY(!view.watchAction()->isVisible());
    }
};

QTEST_MAIN(TestMenuBarView)
#include "tst_menubarview.moc"
