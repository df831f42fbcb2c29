// SPDX-License-Identifier: GPL-3.0-or-later
#include "HistoryView.h"
#include "IssuesView.h"
#include "Localization.h"
#include "PreviewView.h"
#include "WidgetTestSupport.h"

#include <QApplication>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

using namespace sorvanel;
using namespace sorvanel::test;

namespace {
QString rowText(QListView *list, int row, int role = SheetDialog::PrimaryTextRole)
{
    return list->model()->index(row, 0).data(role).toString();
}

OrganizationPlan planWith(int moves)
{
    OrganizationPlan plan;
    plan.generatedAt = QDateTime::currentDateTimeUtc();
    plan.destinationRoot = "/d";
    plan.skipped = 4;
    plan.issues.append(OrganizationIssue(u"x"_qs, u"y"_qs));
    for (int i = 0; i < moves; ++i)
        plan.moves.push_back(PlannedMove{QUuid::createUuid(),
                                         "/s/file" + std::to_string(i) + ".bin",
                                         "/d/2024-01-01/file" + std::to_string(i) + ".bin",
                                         FileCategory::other,
                                         false,
                                         plan.generatedAt,
                                         {}});
    return plan;
}
} // namespace

class TestSheets : public QObject
{
    Q_OBJECT

    std::unique_ptr<ModelFixture> m_fixture;
    AppModel &model() { return *m_fixture->model; }

private slots:
    void init() { m_fixture = std::make_unique<ModelFixture>(); }
    void cleanup() { m_fixture.reset(); }

    void previewOfAnEmptyPlan()
    {
        PreviewView view(model(), nullptr);
        model().setPreviewPlan(planWith(0));
        QVERIFY(view.list()->isVisibleTo(&view));
        QCOMPARE(view.list()->model()->rowCount(), 1); // its problem
        QVERIFY(!view.moveButton()->isEnabled());
        const QStringList texts = visibleTexts(&view);
        QVERIFY(texts.contains(L10n::format("Move: %d", {0})));
        QVERIFY(texts.contains(L10n::format("Skip: %d", {4})));
        QVERIFY(texts.contains(L10n::format("Problems: %d", {1})));

        // Planned while the destination's drive is not plugged in: the sheet says so.
        OrganizationPlan unplugged = planWith(3);
        unplugged.missingDrive = "/media/someone/STICK";
        model().setPreviewPlan(unplugged);
        const QStringList warned = visibleTexts(&view);
        QVERIFY(warned.contains(missingDriveIssue("/media/someone/STICK").message));
        QVERIFY(warned.contains(L10n::format("Problems: %d", {2})));
        model().setPreviewPlan(planWith(3));
        QVERIFY(!visibleTexts(&view).contains(missingDriveIssue("/media/someone/STICK").message));
    }

    void previewListsEveryMove()
    {
        PreviewView view(model(), nullptr);
        view.show();
        model().setPreviewPlan(planWith(100000));
        QCOMPARE(view.list()->model()->rowCount(), 100001); // and its problem
        QVERIFY(view.list()->uniformItemSizes());
        QCOMPARE(rowText(view.list(), 99999), u"file99999.bin"_qs);
        QCOMPARE(rowText(view.list(), 0, SheetDialog::SecondaryTextRole), u"2024-01-01/file0.bin"_qs);
        QVERIFY(view.moveButton()->isEnabled());
        // Return alone never starts moving files, wherever the focus is.
        for (QWidget *focus : {static_cast<QWidget *>(view.list()), static_cast<QWidget *>(view.moveButton())}) {
            focus->setFocus();
            QTest::keyClick(focus, Qt::Key_Return);
            QTest::keyClick(focus, Qt::Key_Enter);
            QVERIFY(!model().isRunning());
            QVERIFY(view.isVisible());
        }
        // Cancel leaves the plan in the model and closes the sheet.
        model().setShowsPreview(true);
        QObject::connect(&view, &QDialog::finished, &model(), [this] { model().setShowsPreview(false); });
        view.findChild<QPushButton *>(u"cancel"_qs)->click();
        QVERIFY(!model().showsPreview());
        QVERIFY(model().previewPlan());
    }

    // A name with a newline or bytes that are not UTF-8 is shown as the
    // command line writes it: nothing dropped, nothing replaced.
    void oddNamesAreShownEscaped()
    {
        PreviewView view(model(), nullptr);
        OrganizationPlan plan = planWith(0);
        plan.moves.push_back(PlannedMove{QUuid::createUuid(),
                                         "/s/two\nlines.txt",
                                         "/d/2024-01-01/docs/two\nlines.txt",
                                         FileCategory::docs,
                                         false,
                                         plan.generatedAt,
                                         {}});
        plan.skippedFiles.push_back({"/s/caf\xe9.part", SkipReason::unfinishedDownload, {}, {}});
        plan.skippedFiles.push_back({"/s/Résumé plain.pdf", SkipReason::hidden, {}, {}});
        model().setPreviewPlan(plan);
        QCOMPARE(rowText(view.list(), 0), u"'two'$'\\n''lines.txt'"_qs);
        QCOMPARE(rowText(view.list(), 0, SheetDialog::SecondaryTextRole), u"2024-01-01/docs/'two'$'\\n''lines.txt'"_qs);
        QCOMPARE(rowText(view.list(), 1), u"'caf'$'\\351''.part'"_qs);
        QCOMPARE(rowText(view.list(), 2), u"Résumé plain.pdf"_qs); // as it is: nothing in it needs care
    }

    // The files that stay are listed after the moves, each with its reason;
    // then the problems.
    void previewListsTheSkippedFilesWithTheirReasons()
    {
        PreviewView view(model(), nullptr);
        OrganizationPlan plan = planWith(2);
        plan.skippedFiles.push_back({"/s/movie.mkv.part", SkipReason::unfinishedDownload, {}, {}});
        plan.skippedFiles.push_back({"/s/paper.pdf", SkipReason::beingWritten, {4242, u"curl"_qs}, {}});
        model().setPreviewPlan(plan);
        QCOMPARE(view.list()->model()->rowCount(), 5);
        QCOMPARE(rowText(view.list(), 1), u"file1.bin"_qs);
        QCOMPARE(rowText(view.list(), 2), u"movie.mkv.part"_qs);
        QCOMPARE(rowText(view.list(), 2, SheetDialog::SecondaryTextRole),
                 L10n::format("Stays: %@", {L10n::text("unfinished download")}));
        QCOMPARE(rowText(view.list(), 3, SheetDialog::SecondaryTextRole),
                 L10n::format("Stays: %@", {localizedReason(plan.skippedFiles[1])}));
        QVERIFY(localizedReason(plan.skippedFiles[1]).contains(u"4242"_qs));
        QCOMPARE(rowText(view.list(), 4), u"x"_qs);
        QCOMPARE(rowText(view.list(), 4, SheetDialog::SecondaryTextRole), u"y"_qs);
    }

    // A second download of a filed file shows where its bytes are filed:
    // in the preview, bound for the Trash, and after the run, in it.
    void filesAlreadyFiledShowWhereTheyAre()
    {
        PreviewView preview(model(), nullptr);
        IssuesView issues(model(), nullptr);
        OrganizationPlan plan = planWith(1);
        PlannedMove again = plan.moves.front();
        again.sourceURL = "/s/file0 (1).bin";
        again.destinationURL = "/home/u/.local/share/Trash/files/file0 (1).bin";
        again.toTrash = true;
        plan.moves.push_back(again);
        plan.filedAs.emplace_back(1, "/d/2024-01-01/file0.bin");
        model().setPreviewPlan(plan);
        const QString reason = alreadyFiledReason(u"2024-01-01/file0.bin"_qs);
        QCOMPARE(rowText(preview.list(), 1, SheetDialog::SecondaryTextRole),
                 L10n::format("To the Trash: %@", {reason}));
        QVERIFY(visibleTexts(&preview).contains(L10n::format("Move: %d", {1}) + u"   "_qs
                                                + L10n::format("Already filed: %d", {1})));

        model().setDestinationURL("/d");
        OrganizationResult result = sampleResult(1, 0);
        result.alreadyFiled.push_back({again.sourceURL, "/d/2024-01-01/file0.bin"});
        model().setLastResult(result);
        QVERIFY(!issues.showsPlaceholder());
        QCOMPARE(issues.windowTitle(), L10n::text("Sent to the Trash"));
        QCOMPARE(rowText(issues.list(), 0), u"file0 (1).bin"_qs);
        QCOMPARE(rowText(issues.list(), 0, SheetDialog::SecondaryTextRole), L10n::format("In the Trash: %@", {reason}));
    }

    void issuesPlaceholderAndSubstitutes()
    {
        IssuesView view(model(), nullptr);
        QVERIFY(view.showsPlaceholder());
        QVERIFY(visibleTexts(&view).contains(L10n::text("No Problems")));
        model().setLastResult(sampleResult(0, 0));
        QVERIFY(view.showsPlaceholder());
        model().setLastResult(sampleResult(0, 0,
                                           {OrganizationIssue(), OrganizationIssue(QString(), u"Disk full"_qs),
                                            OrganizationIssue(u"a.pdf"_qs, u"Permission denied"_qs)}));
        QVERIFY(!view.showsPlaceholder());
        QCOMPARE(rowText(view.list(), 0), L10n::text("Unknown file"));
        QCOMPARE(rowText(view.list(), 0, SheetDialog::SecondaryTextRole),
                 L10n::text("Details were not retained between launches."));
        QCOMPARE(rowText(view.list(), 1), L10n::text("Unknown file"));
        QCOMPARE(rowText(view.list(), 1, SheetDialog::SecondaryTextRole), u"Disk full"_qs);
        QCOMPARE(rowText(view.list(), 2), u"a.pdf"_qs);
    }

    void historyRows()
    {
        HistoryView view(model(), nullptr);
        QVERIFY(view.showsPlaceholder());
        QVERIFY(visibleTexts(&view).contains(L10n::text("No Runs Yet")));
        QVERIFY(visibleTexts(&view).contains(L10n::text("The latest 50 runs are retained.")));
        QVERIFY(view.findChild<QPushButton *>(u"done"_qs));

        RunHistoryEntry automatic(sampleResult(12, 3), OrganizationRunMode::automatic, 0.004);
        RunHistoryEntry manual(sampleResult(1, 0, {OrganizationIssue(), OrganizationIssue(), OrganizationIssue()}),
                               OrganizationRunMode::manual, 7.5);
        model().setHistory({automatic, manual});
        QVERIFY(!view.showsPlaceholder());
        QCOMPARE(rowText(view.list(), 0, SheetDialog::SecondaryTextRole),
                 L10n::formatTranslated(L10n::text("%@ · %.2f s"), {L10n::text("Automatic"), 0.0}));
        QVERIFY(rowText(view.list(), 0, SheetDialog::SecondaryTextRole)
                    .endsWith(QLocale().toString(0.0, 'f', 2) + u" s"_qs));
        QVERIFY(rowText(view.list(), 1, SheetDialog::SecondaryTextRole)
                    .endsWith(QLocale().toString(7.5, 'f', 2) + u" s"_qs));
        QVERIFY(rowText(view.list(), 1, SheetDialog::SecondaryTextRole).startsWith(L10n::text("Manual")));
        QCOMPARE(view.list()->model()->index(0, 0).data(SheetDialog::WarningRole).toInt(), 0);
        QCOMPARE(view.list()->model()->index(1, 0).data(SheetDialog::WarningRole).toInt(), 3);
        QVERIFY(rowText(view.list(), 0, SheetDialog::DetailTextRole).contains(L10n::format("%d moved", {12})));
        QVERIFY(rowText(view.list(), 0, SheetDialog::DetailTextRole).contains(L10n::format("%d skipped", {3})));
        // The date line carries seconds.
        QVERIFY(rowText(view.list(), 0).contains(u":00"_qs));
        // Runs the journal does not know can't be undone.
        view.list()->setCurrentIndex(view.list()->model()->index(0, 0));
        QVERIFY(!view.undoButton()->isEnabled());
        // By keyboard: the arrows choose a run.
        view.list()->setFocus();
        QTest::keyClick(view.list(), Qt::Key_Down);
        QCOMPARE(view.selectedRun(), std::optional<QUuid>(manual.id));
        QTest::keyClick(view.list(), Qt::Key_Up);
        QCOMPARE(view.selectedRun(), std::optional<QUuid>(automatic.id));
    }

    // A run in the history goes back after the user confirms; cancelling changes nothing.
    // Typing in the history's search field lists the matching files of
    // every run from the real journal; the chosen one is shown in its folder.
    void historySearchFindsFiledFiles()
    {
        const Path downloads = toPath(m_fixture->home.downloads());
        for (const char *name : {"invoice-march.pdf", "Résumé.pdf", "notes.txt"})
            writeFile(downloads / name, name, longAgo());
        model().organizeNow();
        QTRY_VERIFY(!model().isRunning());
        HistoryView view(model(), nullptr);
        view.show();
        QCOMPARE(view.list()->model()->rowCount(), 1); // the run
        QTest::keyClicks(view.searchField(), u"MARCH"_qs);
        QTRY_COMPARE(model().foundFilesQuery(), u"MARCH"_qs);
        QCOMPARE(view.list()->model()->rowCount(), 1);
        QCOMPARE(rowText(view.list(), 0), u"invoice-march.pdf"_qs);
        QVERIFY(rowText(view.list(), 0, SheetDialog::SecondaryTextRole).contains(localizedName(FiledState::there)));
        QVERIFY(view.showButton()->isVisible() && !view.showButton()->isEnabled());
        QVERIFY(!view.undoButton()->isVisible());
        view.list()->setCurrentIndex(view.list()->model()->index(0, 0));
        QSignalSpy shown(&model(), &AppModel::showItemRequested);
        view.showButton()->click();
        QCOMPARE(shown.size(), 1);
        QVERIFY(shown[0][0].toString().endsWith(u"/invoice-march.pdf"_qs));

        view.searchField()->setText(u"resume"_qs);
        QTRY_COMPARE(model().foundFilesQuery(), u"resume"_qs);
        QCOMPARE(rowText(view.list(), 0), u"Résumé.pdf"_qs);
        view.searchField()->setText(u"zzz"_qs);
        QTRY_VERIFY(view.showsPlaceholder());
        QVERIFY(visibleTexts(&view).contains(L10n::text("No filed file has such a name.")));
        view.searchField()->clear();
        QCOMPARE(view.list()->model()->rowCount(), 1); // the runs again
        QVERIFY(view.undoButton()->isVisible());
    }

    void historyUndoesARunAfterConfirmation()
    {
        const Path downloads = toPath(m_fixture->home.downloads());
        writeFile(downloads / "a.pdf", "a", longAgo());
        writeFile(downloads / "b.png", "b", longAgo());
        model().organizeNow();
        QTRY_VERIFY(!model().isRunning());
        QCOMPARE(model().lastResult()->moved, 2);

        HistoryView view(model(), nullptr);
        QVERIFY(!view.undoButton()->isEnabled()); // nothing selected
        // Focus makes a row current, but not highlighted: still no choice.
        view.list()->selectionModel()->setCurrentIndex(view.list()->model()->index(0, 0),
                                                       QItemSelectionModel::NoUpdate);
        QVERIFY(!view.undoButton()->isEnabled());
        view.list()->setCurrentIndex(view.list()->model()->index(0, 0));
        QVERIFY(view.undoButton()->isEnabled());

        QString question;
        const auto answer = [&](const char *button) {
            QTimer::singleShot(0, [&, button] {
                auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
                QVERIFY(box);
                question = box->text();
                for (QAbstractButton *candidate : box->buttons()) {
                    if (candidate->objectName() == QLatin1String(button) || candidate->text() == L10n::text(button))
                        candidate->click();
                }
            });
            view.undoButton()->click();
        };
        answer("Cancel");
        QCOMPARE(question, L10n::format("%d files go back to %@.", {2, m_fixture->home.downloads()}));
        QVERIFY(!model().isRunning());
        QVERIFY(!std::filesystem::exists(downloads / "a.pdf"));

        // One file's name is taken at home: the other goes back, and the run
        // says it is undone in part, with the rest still to take back.
        writeFile(downloads / "b.png", "a new b", longAgo());
        answer("undo");
        QTRY_VERIFY(!model().isRunning());
        QCOMPARE(readFile(downloads / "a.pdf"), QByteArray("a"));
        QCOMPARE(readFile(downloads / "b.png"), QByteArray("a new b"));
        QVERIFY(rowText(view.list(), 0, SheetDialog::SecondaryTextRole).endsWith(L10n::text("Partly undone")));
        QVERIFY(rowText(view.list(), 0, Qt::ToolTipRole).contains(L10n::text("Partly undone")));
        QVERIFY(view.undoButton()->isEnabled());
        QVERIFY(model().showsIssues()); // the problems sheet says which stayed
        model().setShowsIssues(false);

        std::filesystem::remove(downloads / "b.png");
        answer("undo");
        QCOMPARE(question, L10n::format("1 file goes back to %@.", {m_fixture->home.downloads()}));
        QTRY_VERIFY(!model().isRunning());
        QCOMPARE(readFile(downloads / "b.png"), QByteArray("b"));
        QVERIFY(rowText(view.list(), 0, SheetDialog::SecondaryTextRole).endsWith(u" · "_qs + L10n::text("Undone")));
        QVERIFY(!view.undoButton()->isEnabled());
        QVERIFY(!model().showsIssues());
    }
};

QTEST_MAIN(TestSheets)
#include "tst_sheets.moc"
