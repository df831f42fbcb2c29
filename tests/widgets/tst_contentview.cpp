// SPDX-License-Identifier: GPL-3.0-or-later
#include "BusyIndicator.h"
#include "ContentView.h"
#include "FolderBookmark.h"
#include "HistoryView.h"
#include "IssuesView.h"
#include "Localization.h"
#include "MainWindow.h"
#include "PreviewView.h"
#include "Style.h"
#include "WidgetTestSupport.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QTimeEdit>
#include <QtTest>

using namespace sorvanel;
using namespace sorvanel::test;

class TestContentView : public QObject
{
    Q_OBJECT

    std::unique_ptr<ModelFixture> m_fixture;
    std::unique_ptr<MainWindow> m_window;
    AppModel &model() { return *m_fixture->model; }
    ContentView *view() { return m_window->content(); }

private slots:
    // The window speaks the test's language (German in one run): its layout must hold either.
    void initTestCase() { L10n::installTranslations(*QCoreApplication::instance()); }

    void init()
    {
        m_fixture = std::make_unique<ModelFixture>();
        m_window = std::make_unique<MainWindow>(model());
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
    }

    void cleanup()
    {
        m_window.reset();
        m_fixture.reset();
    }

    // A sheet larger than the screen (a large scale on a small screen) is
    // fitted into its free area with room for a frame: its buttons stay in reach.
    void aSheetFitsTheScreen()
    {
        const QRect available = m_window->screen()->availableGeometry();
        view()->previewSheet()->resize(available.size() * 2);
        model().setShowsPreview(true);
        QTRY_VERIFY(view()->previewSheet()->isVisible());
        const QRect sheet = view()->previewSheet()->geometry();
        QVERIFY2(available.contains(sheet),
                 qPrintable(QStringLiteral("%1,%2 %3x%4 in %5x%6")
                                .arg(sheet.x())
                                .arg(sheet.y())
                                .arg(sheet.width())
                                .arg(sheet.height())
                                .arg(available.width())
                                .arg(available.height())));
        QVERIFY(sheet.height() <= available.height() - Style::windowFrameAllowance.height());
        model().setShowsPreview(false);
    }

    // A preview checks the folder: its button says so while it plans.
    void aPreviewSaysItChecks()
    {
        model().previewChanges();
        QCOMPARE(view()->previewButton()->text(), L10n::text("Checking…"));
        QTRY_VERIFY(!model().isRunning());
        QCOMPARE(view()->previewButton()->text(), L10n::text("Preview Changes"));
    }

    // By keyboard alone: Return presses the focused button (here the one
    // that opens the history sheet), Ctrl+Q asks to quit.
    void returnPressesTheFocusedButtonAndControlQQuits()
    {
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        QPushButton *organize = view()->organizeButton();
        organize->setFocus();
        QSignalSpy clicked(organize, &QPushButton::clicked);
        QTest::keyClick(organize, Qt::Key_Return);
        QTRY_COMPARE(clicked.count(), 1);
        QSignalSpy quit(m_window.get(), &MainWindow::quitRequested);
        QTest::keyClick(m_window.get(), Qt::Key_Q, Qt::ControlModifier);
        QCOMPARE(quit.count(), 1);
    }

    // While a run lasts the buttons that start one are off; a run that lasts
    // shows how far it is, and can be stopped; a short one shows only the spinner.
    void progressAndStopForALongRun()
    {
        QVERIFY(view()->organizeButton()->isEnabled() && !view()->busyIndicator()->isVisible());
        model().setRunning(true);
        // A run is no check: the button keeps its name, only a preview "checks".
        QCOMPARE(view()->previewButton()->text(), L10n::text("Preview Changes"));
        QVERIFY(!view()->previewButton()->isEnabled() && !view()->organizeButton()->isEnabled());
        model().setProgress(ExecutionProgress{250, 1000, 3000, 4000});
        QVERIFY(!view()->progressRow()->isVisible());
        QVERIFY(view()->busyIndicator()->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(view()->progressRow()->isVisible(), 3000);
        QVERIFY(!view()->busyIndicator()->isVisible());
        QCOMPARE(view()->progressBar()->value(), 750); // by bytes, not files
        QCOMPARE(view()->progressText()->text(),
                 L10n::format("%@ of %@ files", {QLocale().toString(250), QLocale().toString(1000)}));
        // Even at the window's smallest, the count and the button are whole.
        m_window->resize(m_window->minimumSize());
        QTRY_VERIFY(view()->stopButton()->width() >= view()->stopButton()->minimumSizeHint().width());
        QVERIFY(view()->progressText()->width() >= view()->progressText()->minimumSizeHint().width());

        QTest::mouseClick(view()->stopButton(), Qt::LeftButton);
        QVERIFY(model().isStopping());
        QVERIFY(!view()->stopButton()->isEnabled());
        QCOMPARE(view()->stopButton()->text(), L10n::text("Stopping…"));

        model().setStopping(false);
        model().setProgress(std::nullopt);
        model().setRunning(false);
        QVERIFY(!view()->progressRow()->isVisible());
        QVERIFY(!view()->busyIndicator()->isVisible());
        QVERIFY(view()->organizeButton()->isEnabled());
        // The next run waits its second again.
        model().setRunning(true);
        model().setProgress(ExecutionProgress{1, 2, 0, 0});
        QVERIFY(!view()->progressRow()->isVisible());
        model().setRunning(false);
    }

    void summaryStates()
    {
        QVERIFY(view()->summary()->findChild<QLabel *>(u"notRunYet"_qs));
        QVERIFY(!view()->summary()->findChild<QPushButton *>(u"details"_qs));
        QVERIFY(!view()->summary()->findChild<QPushButton *>(u"historyLink"_qs));

        model().setLastResult(sampleResult(3, 2));
        QVERIFY(!view()->summary()->findChild<QLabel *>(u"notRunYet"_qs));
        QVERIFY(!view()->summary()->findChild<QPushButton *>(u"details"_qs));
        QVERIFY(view()->summary()->findChild<QPushButton *>(u"historyLink"_qs));
        const QStringList texts = visibleTexts(view()->summary());
        QVERIFY(texts.contains(L10n::format("Moved: %d", {3})));
        QVERIFY(texts.contains(L10n::format("Skipped: %d", {2})));
        QVERIFY(texts.contains(L10n::format("Failed: %d", {0})));

        model().setLastResult(sampleResult(1, 0, {OrganizationIssue(u"a.pdf"_qs, u"Permission denied"_qs)}));
        auto *details = view()->summary()->findChild<QPushButton *>(u"details"_qs);
        QVERIFY(details);
        QVERIFY(visibleTexts(view()->summary()).contains(L10n::format("Failed: %d", {1})));
        details->click();
        QVERIFY(model().showsIssues());
        QTRY_VERIFY(view()->issuesSheet()->isVisible());
    }

    void sheetsFollowTheirFlags()
    {
        model().setShowsHistory(true);
        QTRY_VERIFY(view()->historySheet()->isVisible());
        QVERIFY(view()->historySheet()->isModal() || view()->historySheet()->windowModality() == Qt::WindowModal);
        view()->historySheet()->findChild<QPushButton *>(u"done"_qs)->click();
        QVERIFY(!model().showsHistory());
        QVERIFY(!view()->historySheet()->isVisible());
        // Return closes the issues sheet.
        model().setShowsIssues(true);
        QTRY_VERIFY(view()->issuesSheet()->isVisible());
        QTest::keyClick(view()->issuesSheet(), Qt::Key_Return);
        QVERIFY(!model().showsIssues());
        // The model closing a sheet hides it.
        model().setShowsPreview(true);
        QTRY_VERIFY(view()->previewSheet()->isVisible());
        model().setShowsPreview(false);
        QVERIFY(!view()->previewSheet()->isVisible());
    }

    void thresholdFieldTakesOnlyWholeNumbersInRange_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<qint64>("kept");
        QTest::addColumn<bool>("refused");
        QTest::newRow("in range") << u"750"_qs << qint64(750) << false;
        QTest::newRow("the smallest") << u"1"_qs << qint64(1) << false;
        QTest::newRow("the largest, grouped") << QLocale().toString(100000) << qint64(100000) << false;
        QTest::newRow("a fraction, not shortened to 15") << u"1.5"_qs << qint64(500) << true;
        QTest::newRow("zero, not raised to 1") << u"0"_qs << qint64(500) << true;
        QTest::newRow("too large, not lowered") << u"100001"_qs << qint64(500) << true;
        QTest::newRow("no number") << u"x"_qs << qint64(500) << true;
        QTest::newRow("emptied: shown again") << QString() << qint64(500) << false;
    }

    void thresholdFieldTakesOnlyWholeNumbersInRange()
    {
        QFETCH(QString, typed);
        QFETCH(qint64, kept);
        QFETCH(bool, refused);
        QLineEdit *field = view()->thresholdField();
        QCOMPARE(field->text(), QLocale().toString(500));
        field->setFocus();
        field->selectAll();
        QTest::keyClick(field, Qt::Key_Backspace);
        QTest::keyClicks(field, typed);
        QCOMPARE(field->text(), typed); // every keystroke as typed
        QTest::keyClick(field, Qt::Key_Return);
        QCOMPARE(model().thresholdMB(), kept);
        QCOMPARE(m_fixture->store->load().thresholdMB, kept);
        QCOMPARE(field->text(), QLocale().toString(kept));
        QCOMPARE(model().alertMessage().has_value(), refused);
        if (refused)
            QVERIFY(model().alertMessage()->contains(typed));
    }

    void automaticSwitchEnablesTheTimePicker()
    {
        QVERIFY(!view()->automaticSwitch()->isChecked());
        QVERIFY(!view()->timePicker()->isEnabled());
        const auto *label = view()->findChild<QLabel *>(u"everyDay"_qs);
        QVERIFY(!label->isEnabled()); // dims with its field
        const QTime shown = view()->timePicker()->time();
        QCOMPARE(shown, QTime(22, 0));
        view()->automaticSwitch()->click();
        QVERIFY(model().automaticEnabled());
        QVERIFY(view()->timePicker()->isEnabled());
        QVERIFY(label->isEnabled());
        QTRY_VERIFY(m_fixture->loginItems->calls.contains(u"register"_qs));
        view()->timePicker()->setTime(QTime(7, 15));
        QCOMPARE(m_fixture->store->load().automaticTime.toLocalTime().time(), QTime(7, 15));
        // The notification after an automatic run: on by default, stored at once.
        auto *notify = view()->findChild<QCheckBox *>(u"notifyAfterAutomatic"_qs);
        QVERIFY(notify->isEnabled() && notify->isChecked());
        notify->click();
        QVERIFY(!m_fixture->store->load().notifyAfterAutomatic);
        view()->automaticSwitch()->click();
        QVERIFY(!notify->isEnabled());
        QVERIFY(!view()->timePicker()->isEnabled());
        QCOMPARE(view()->timePicker()->time(), QTime(7, 15)); // the value is kept
    }

    // On by default, stored at once, and shown in the summary once it did something.
    void reDownloadsToTheTrashSwitch()
    {
        auto *trash = view()->findChild<QCheckBox *>(u"trashDuplicates"_qs);
        QVERIFY(trash->isChecked());
        trash->click();
        QVERIFY(!m_fixture->store->load().trashDuplicates);
        OrganizationResult result = sampleResult(0, 0);
        result.alreadyFiled.push_back({"/s/a (1).pdf", "/d/a.pdf"});
        model().setLastResult(result);
        QVERIFY(visibleTexts(view()->summary()).contains(L10n::format("Already filed: %d", {1})));
        QVERIFY(view()->summary()->findChild<QPushButton *>(u"details"_qs));
    }

    // A saved folder that no longer resolves is reported once, at start.
    void startUpAlertForAFolderThatIsGone()
    {
        cleanup();
        auto fixture = std::make_unique<ModelFixture>();
        const Path gone = toPath(fixture->home.path()) / "Gone";
        std::filesystem::create_directory(gone);
        const auto bookmark = FolderBookmark::create(gone, nullptr);
        QVERIFY(bookmark);
        fixture->store->saveFolder(gone, bookmark, true);
        std::filesystem::remove(gone);
        fixture->model = std::make_unique<AppModel>(fixture->store, fixture->loginItems, fixture->chooser);
        m_fixture = std::move(fixture);
        m_window = std::make_unique<MainWindow>(model());
        m_window->show();
        QTRY_VERIFY(view()->alert() && view()->alert()->isVisible());
        QCOMPARE(view()->alert()->text(),
                 L10n::text("Saved folder access is no longer valid. Please choose the folder again."));
    }
};

QTEST_MAIN(TestContentView)
#include "tst_contentview.moc"
