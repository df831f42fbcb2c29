// SPDX-License-Identifier: GPL-3.0-or-later
#include "AppModel.h"
#include "FakeServices.h"
#include "Localization.h"
#include "SettingsStore.h"
#include "TestSupport.h"

#include <QSignalSpy>
#include <QtTest>

using namespace sorvanel;
using namespace sorvanel::test;

class TestAppModel : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;
    std::shared_ptr<SettingsStore> m_store;
    std::shared_ptr<FakeLoginItems> m_loginItems;
    std::shared_ptr<FakeChooser> m_chooser;

    std::unique_ptr<AppModel> makeModel() { return std::make_unique<AppModel>(m_store, m_loginItems, m_chooser); }
    Path downloads() const { return toPath(m_home->downloads()); }
    void addFiles(int count, const char *prefix = "file")
    {
        for (int i = 0; i < count; ++i)
            writeFile(downloads() / (std::string(prefix) + std::to_string(i) + ".txt"), "x", longAgo());
    }

private slots:
    void init()
    {
        m_home = std::make_unique<TemporaryHome>();
        m_store = std::make_shared<SettingsStore>();
        m_loginItems = std::make_shared<FakeLoginItems>();
        m_chooser = std::make_shared<FakeChooser>();
    }

    void organizeNowRunsOnceAndRecords()
    {
        addFiles(20);
        auto model = makeModel();
        QStringList order;
        for (auto [signal, name] :
             {std::pair{&AppModel::lastResultChanged, "lastResult"}, std::pair{&AppModel::historyChanged, "history"},
              std::pair{&AppModel::isRunningChanged, "isRunning"}}) {
            connect(model.get(), signal, this, [&order, name = QString::fromLatin1(name)] { order << name; });
        }
        model->organizeNow();
        QVERIFY(model->isRunning());
        model->organizeNow(); // ignored while running
        model->previewChanges();
        QTRY_VERIFY(!model->isRunning());
        QCOMPARE(model->lastResult()->moved, 20);
        QCOMPARE(model->history().size(), 1);
        QCOMPARE(model->history()[0].mode, OrganizationRunMode::manual);
        QCOMPARE(m_store->loadHistory().size(), 1);
        QVERIFY(!model->showsIssues());
        QVERIFY(!model->showsPreview());
        QCOMPARE(order, (QStringList{u"isRunning"_qs, u"lastResult"_qs, u"history"_qs, u"isRunning"_qs}));
    }

    // An undo's problems are shown as its own; the summary's details are
    // always the latest run's.
    void anUndosProblemsAreNotTheRunsDetails()
    {
        addFiles(2);
        auto model = makeModel();
        model->organizeNow();
        QTRY_VERIFY(!model->isRunning());
        const QString root = QString::fromStdString((downloads() / "__filesDownloadedAt").native());
        const QStringList filed = regularFilesBelow(root).filter(u"file0"_qs);
        QCOMPARE(filed.size(), 1);
        writeFile(toPath(root) / filed[0].toStdString(), "changed since");
        model->undoRun(model->history().value(0).id);
        QTRY_VERIFY(!model->isRunning());
        QVERIFY(model->showsIssues());
        QVERIFY(model->shownIssuesOfUndo());
        QCOMPARE(model->shownIssues().size(), 1);

        model->setShowsIssues(false);
        model->showRunIssues();
        QVERIFY(model->showsIssues());
        QVERIFY(!model->shownIssuesOfUndo());
        QCOMPARE(model->shownIssues(), model->lastResult()->issues);
    }

    void previewThenExecuteMovesExactlyThePlan()
    {
        addFiles(3);
        auto model = makeModel();
        model->executePreview(); // nothing to execute
        QVERIFY(!model->isRunning());
        model->previewChanges();
        QTRY_VERIFY(!model->isRunning());
        QVERIFY(model->showsPreview());
        QCOMPARE(model->previewPlan()->moves.size(), std::size_t(3));
        QVERIFY(std::filesystem::exists(downloads() / "file0.txt"));
        const QDateTime planned = model->previewPlan()->generatedAt;

        // Changes after the preview: one file vanishes, one appears.
        std::filesystem::remove(downloads() / "file1.txt");
        addFiles(1, "late");
        model->executePreview();
        QVERIFY(!model->showsPreview());
        QTRY_VERIFY(!model->isRunning());
        QVERIFY(!model->previewPlan());
        QCOMPARE(model->lastResult()->moved, 2);
        QCOMPARE(model->lastResult()->issues.size(), 1);
        QCOMPARE(model->lastResult()->issues[0].filename, u"file1.txt"_qs);
        QCOMPARE(model->lastResult()->runDate, planned);
        QVERIFY(model->history().value(0).duration >= 0 && model->history().value(0).duration < 60);
        QVERIFY(model->showsIssues());
        QVERIFY(std::filesystem::exists(downloads() / "late0.txt"));
        model->executePreview(); // the plan is gone
        QVERIFY(!model->isRunning());
    }

    void planningFailureBecomesTheAlert()
    {
        addFiles(1);
        auto model = makeModel();
        model->organizeNow();
        QTRY_VERIFY(!model->isRunning());
        const auto before = model->lastResult();
        model->setSourceURL("/no/such/folder");
        model->organizeNow();
        QVERIFY(!model->alertMessage());
        QTRY_VERIFY(!model->isRunning());
        QCOMPARE(*model->alertMessage(), errorDescription(OrganizerError::sourceDoesNotExist));
        QCOMPARE(model->lastResult(), before);
        QCOMPARE(m_store->loadHistory().size(), 1);
        model->previewChanges(); // a new command clears the old alert first
        QVERIFY(!model->alertMessage());
        QTRY_VERIFY(!model->isRunning());
        QVERIFY(!model->showsPreview());
    }

    // Folders chosen with the command line while the app runs: the app
    // follows within a poll, and its next cleanup files into the new one.
    void settingsChangedElsewhereAreFollowed()
    {
        auto model = makeModel();
        const Path sorted = toPath(m_home->path()) / "Sorted";
        std::filesystem::create_directories(sorted);
        QCOMPARE(
            cli({u"settings"_qs, u"set"_qs, u"destinationPath"_qs, QString::fromStdString(sorted.native())}).status, 0);
        QCOMPARE(cli({u"settings"_qs, u"set"_qs, u"thresholdMB"_qs, u"7"_qs}).status, 0);
        QTRY_COMPARE_WITH_TIMEOUT(model->destinationURL(), sorted, 6000);
        QCOMPARE(model->thresholdMB(), 7);
        addFiles(1);
        model->organizeNow();
        QTRY_VERIFY(!model->isRunning());
        QCOMPARE(model->lastResult()->moved, 1);
        QCOMPARE(regularFilesBelow(QString::fromStdString(sorted.native())).filter(u"file0"_qs).size(), 1);
    }

    void pollingPicksUpAnotherProcesssResult()
    {
        auto model = makeModel();
        addFiles(2);
        QCOMPARE(cli({u"organize"_qs}).status, 0);
        QVERIFY(!model->lastResult());
        QSignalSpy published(model.get(), &AppModel::lastResultChanged);
        QTRY_VERIFY_WITH_TIMEOUT(model->lastResult().has_value(), 6000);
        QCOMPARE(model->lastResult()->moved, 2);
        QCOMPARE(model->history().size(), 1);
        QVERIFY(!model->showsIssues());
        // The same run date again is the same result: nothing is published.
        published.clear();
        model->refreshExternalResults();
        QCOMPARE(published.count(), 0);

        // An undo from the command line records no result. The history shows
        // it when it opens, and while it is open, within a poll.
        addFiles(1, "more");
        QCOMPARE(cli({u"organize"_qs}).status, 0);
        QTRY_COMPARE_WITH_TIMEOUT(model->history().size(), 2, 6000);
        const QUuid first = model->history().value(1).id;
        const QUuid second = model->history().value(0).id;
        QCOMPARE(cli({u"undo"_qs}).status, 0);
        model->setShowsHistory(true);
        QCOMPARE(model->undoneLabel(second), L10n::text("Undone"));
        QVERIFY(model->canUndo(first));
        QCOMPARE(cli({u"undo"_qs}).status, 0);
        QTRY_COMPARE_WITH_TIMEOUT(model->undoneLabel(first), L10n::text("Undone"), 6000);
        QVERIFY(!model->canUndo(first));
    }

    void automaticSwitchDrivesTheScheduler()
    {
        auto model = makeModel();
        model->setAutomaticEnabled(true);
        model->automaticEnabledChanged();
        QVERIFY(m_store->load().automaticEnabled);
        QTRY_COMPARE(m_loginItems->calls, (QStringList{u"status"_qs, u"register"_qs}));
        // Off, and a failure is shown with its reason; the switch stays off.
        m_loginItems->calls.clear();
        m_loginItems->failure = u"Failed to connect to bus"_qs;
        model->setAutomaticEnabled(false);
        model->automaticEnabledChanged();
        QTRY_VERIFY(model->alertMessage().has_value());
        QCOMPARE(*model->alertMessage(),
                 L10n::format("Automatic cleanup could not be changed: %@", {u"Failed to connect to bus"_qs}));
        QCOMPARE(m_loginItems->calls, (QStringList{u"status"_qs, u"unregister"_qs}));
        QVERIFY(!model->automaticEnabled());
        QVERIFY(!m_store->load().automaticEnabled);
        // On, refused: the switch and the stored setting go back off.
        m_loginItems->status = LoginItemService::Status::notRegistered;
        model->setAlertMessage(std::nullopt);
        model->setAutomaticEnabled(true);
        model->automaticEnabledChanged();
        QTRY_VERIFY(model->alertMessage().has_value());
        QVERIFY(!model->automaticEnabled());
        QVERIFY(!m_store->load().automaticEnabled);
    }

    void choosingFolders()
    {
        auto model = makeModel();
        const Path picked = toPath(m_home->path()) / "Sorted";
        std::filesystem::create_directories(picked);
        m_chooser->answer = picked;
        model->chooseDestination();
        QCOMPARE(m_chooser->startedIn, downloads());
        QCOMPARE(m_chooser->suggested, u"__filesDownloadedAt"_qs);
        QCOMPARE(m_chooser->title, L10n::text("Choose the Destination Folder")); // the chooser says which
        QCOMPARE(model->destinationURL(), picked);
        QCOMPARE(m_store->load().destinationURL, picked);
        QVERIFY(m_store->load().destinationBookmark);
        // Cancelling changes nothing.
        m_chooser->answer.reset();
        model->chooseSource();
        QCOMPARE(m_chooser->startedIn, downloads());
        QCOMPARE(model->sourceURL(), downloads());
        // A folder that can't be remembered keeps the earlier choice.
        m_chooser->answer = toPath(m_home->path()) / "vanished";
        model->chooseSource();
        QVERIFY(model->alertMessage()->startsWith(
            L10n::format("Could not remember access to the selected folder: %@", {QString()})));
        QCOMPARE(model->sourceURL(), downloads());
    }

    // The views hear of a long run's progress while it runs, and of its
    // end. The files cross to another drive, one flush each, so the run
    // lasts long enough to be heard.
    void progressReachesTheViewsDuringARun()
    {
        const auto far = folderOnOtherFileSystem(m_home->path());
        SKIP_WITHOUT_SECOND_FILE_SYSTEM(far);
        writeOldFiles(toPath(far->path()), 3000);
        m_store->saveFolder(toPath(far->path()), std::nullopt, true);
        auto model = makeModel();
        std::vector<std::optional<ExecutionProgress>> heard;
        connect(model.get(), &AppModel::progressChanged, this, [&] { heard.push_back(model->progress()); });
        model->organizeNow();
        QTRY_VERIFY_WITH_TIMEOUT(!model->isRunning(), 60000);
        QVERIFY(heard.size() >= 2);
        QCOMPARE(heard.front()->filesTotal, 3000);
        QVERIFY(heard.front()->filesDone < 3000);
        QVERIFY(!heard.back());
    }

    // Closing the app mid-run stops it after the file in hand: every file
    // lies in exactly one place, and the history counts the moved ones.
    void destroyedMidRunStopsTheRun()
    {
        addFiles(300);
        {
            auto model = makeModel();
            model->organizeNow();
        }
        std::size_t left = 0;
        std::size_t moved = 0;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(downloads())) {
            if (entry.is_regular_file() && entry.path().filename() != ".sorvanel.lock")
                ++(entry.path().parent_path() == std::filesystem::path(downloads()) ? left : moved);
        }
        QCOMPARE(left + moved, std::size_t(300));
        QCOMPARE(m_store->loadHistory().value(0).moved, qint64(moved));
    }
};

QTEST_GUILESS_MAIN(TestAppModel)
#include "tst_appmodel.moc"
