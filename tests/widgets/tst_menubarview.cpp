// SPDX-License-Identifier: GPL-3.0-or-later
#include "Localization.h"
#include "MenuBarView.h"
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
        for (QAction *action : view.menu()->actions())
            texts << (action->isSeparator() ? u"-"_qs : action->text());
        QCOMPARE(texts,
                 (QStringList{L10n::text("Not run yet"), u"-"_qs, L10n::text("Organize Now"),
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
        view.menu()->actions()[3]->trigger();
        view.menu()->actions()[6]->trigger();
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
};

QTEST_MAIN(TestMenuBarView)
#include "tst_menubarview.moc"
