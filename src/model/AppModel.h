// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "OrganizationModels.h"
#include "Organizer.h"
#include "PlatformServices.h"
#include "SettingsSchema.h"
#include "Whereabouts.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QObject>
#include <QSet>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

namespace sorvanel {

class CleanupRun;
class OrganizerWorker;
struct OrganizerConfiguration;
class SettingsStore;

// The one model behind every view. Lives on the main thread; every property
// assignment notifies, whether or not the value changed. Planning and moving
// run on the organizer's own thread and come back here.
class AppModel : public QObject
{
    Q_OBJECT

public:
    static constexpr int refreshIntervalMs = 3000;

    AppModel(std::shared_ptr<SettingsStore> store, std::shared_ptr<LoginItemService> loginItems,
             std::shared_ptr<FolderChooser> folderChooser, QObject *parent = nullptr);
    ~AppModel() override;

    // Observed state.
    Path sourceURL() const { return m_sourceURL; }
    void setSourceURL(const Path &url);
    Path destinationURL() const { return m_destinationURL; }
    void setDestinationURL(const Path &url);
    qint64 thresholdMB() const { return m_thresholdMB; }
    void setThresholdMB(qint64 megabytes);
    bool automaticEnabled() const { return m_automaticEnabled; }
    void setAutomaticEnabled(bool enabled);
    QDateTime automaticTime() const { return m_automaticTime; }
    // A desktop notification after an automatic run that did something; stored at once.
    bool notifyAfterAutomatic() const { return m_notifyAfterAutomatic; }
    void setNotifyAfterAutomatic(bool notify);
    // A file whose bytes are filed already goes to the Trash.
    bool trashDuplicates() const { return m_trashDuplicates; }
    void setTrashDuplicates(bool enabled);
    void setAutomaticTime(const QDateTime &time);
    // The watcher files each download as soon as it is finished. `watchStatus`:
    // what it does ("Watching ~/Downloads"), or why it does not; empty while off.
    bool watchEnabled() const { return m_watchEnabled; }
    void setWatchEnabled(bool enabled);
    const QString &watchStatus() const { return m_watchStatus; }
    // The service that runs the watcher (systemd); without one the switch can't be turned on.
    void setWatcherService(std::shared_ptr<LoginItemService> watcher);
    const std::optional<OrganizationResult> &lastResult() const { return m_lastResult; }
    void setLastResult(std::optional<OrganizationResult> result);
    bool isRunning() const { return m_isRunning; }
    // What runs is a preview's planning (not a run, not an undo).
    bool isPreviewing() const { return m_isRunning && m_isPreviewing; }
    void setRunning(bool running);
    // How far the run or undo in progress has come; empty while it plans,
    // and when nothing runs.
    const std::optional<ExecutionProgress> &progress() const { return m_progress; }
    void setProgress(std::optional<ExecutionProgress> progress);
    // A stop was asked for and the run has not ended yet.
    bool isStopping() const { return m_isStopping; }
    void setStopping(bool stopping);
    const std::optional<OrganizationPlan> &previewPlan() const { return m_previewPlan; }
    void setPreviewPlan(std::optional<OrganizationPlan> plan);
    bool showsPreview() const { return m_showsPreview; }
    void setShowsPreview(bool shows);
    bool showsIssues() const { return m_showsIssues; }
    void setShowsIssues(bool shows);
    bool showsHistory() const { return m_showsHistory; }
    void setShowsHistory(bool shows);
    const std::optional<QString> &alertMessage() const { return m_alertMessage; }
    void setAlertMessage(const std::optional<QString> &message);
    const QList<RunHistoryEntry> &history() const { return m_history; }
    // The problems the problems sheet lists: the last run's, or an undo's.
    const QList<OrganizationIssue> &shownIssues() const { return m_shownIssues; }
    // Whether the problems shown are an undo's rather than the latest run's.
    bool shownIssuesOfUndo() const { return m_shownIssuesOfUndo; }
    void setShownIssues(QList<OrganizationIssue> issues, bool ofUndo = false);
    // Shows the latest run's problems, as its summary counts them.
    void showRunIssues();
    void setHistory(QList<RunHistoryEntry> history);

    // Change handlers, called by the views after they change a property.
    void thresholdChanged();
    void automaticTimeChanged();
    void automaticEnabledChanged();
    // The watch switch was turned: stored, and the watcher installed or removed.
    void watchEnabledChanged();

    // Commands; each is ignored while a run is in progress.
    void organizeNow();
    void previewChanges();
    void executePreview();
    // Puts the files of a run in the history back; the result comes as a run's does.
    void undoRun(const QUuid &run);
    // Asks the run or undo in progress to stop after the file in hand. What
    // it did is its result; an undo can be run again to go on.
    void stopRun();
    // The journal's account of a run: where its files came from and how many still count as moved.
    std::optional<JournalRun> journalRun(const QUuid &run) const;
    // The folder the run filed into: its day folder, or the destination root.
    Path filedInto(const QUuid &run) const;
    // Whether the run can still be undone: it moved files not yet put back.
    bool canUndo(const QUuid &run) const;
    // "Undone", "Partly undone", or empty (see undoneLabel in the journal).
    QString undoneLabel(const QUuid &run) const;
    // "Where did my file go?": the filed files whose name matches `text`,
    // found on another thread (the window goes on); foundFilesChanged tells
    // of the answer to the latest question. Empty text: none.
    void findFiledFiles(const QString &text);
    const std::vector<FiledFile> &foundFiles() const { return m_foundFiles; }
    const QString &foundFilesQuery() const { return m_foundFilesQuery; }
    // The latest files filed and not put back, newest first.
    std::vector<FiledFile> recentlyFiled(std::size_t count = 10) const;
    // Asks the file manager to show the file selected in its folder.
    void showInFolder(const Path &file) { emit showItemRequested(displayPath(file)); }
    void chooseSource();
    void chooseDestination();

    // One poll of the shared suite for results written by other processes.
    void refreshExternalResults();

signals:
    void sourceURLChanged();
    void destinationURLChanged();
    void thresholdMBChanged();
    void automaticEnabledValueChanged();
    void watchChanged(); // the switch or the status
    // An Organize Now ended (not a preview's Move Files): `run` is its ID.
    void organizedNow(const OrganizationResult &result, const QUuid &run);
    void automaticTimeValueChanged();
    void lastResultChanged();
    void trashDuplicatesChanged();
    void foundFilesChanged();
    void showItemRequested(const QString &file);
    void isRunningChanged();
    void progressChanged();
    void isStoppingChanged();
    void previewPlanChanged();
    void showsPreviewChanged();
    void showsIssuesChanged();
    void showsHistoryChanged();
    void alertMessageChanged();
    void historyChanged();
    void shownIssuesChanged();

private:
    void chooseFolder(bool isSource);
    void resolveStoredBookmarks();
    void followStoredSettings();
    std::optional<Path> resolve(const QByteArray &bookmark);
    void updateLoginItem(bool enabled, bool reportErrors);
    void startExternalResultRefresh();
    // What an operation hands back to the main thread.
    using Finish = std::function<void(AppModel &)>;
    using Operation = std::function<Finish(CleanupRun &, const OrganizerConfiguration &, ExecutionObserver *)>;
    // Builds the configuration and runs `operation` on the organizer thread;
    // the Finish it returns runs here, then isRunning is cleared.
    void withFolderAccess(Operation operation);
    void applyLoginItemChange(bool enabled, bool reportErrors);
    void accept(const OrganizationResult &result);
    void acceptUndo(const UndoResult &result);

    Path m_sourceURL;
    Path m_destinationURL;
    qint64 m_thresholdMB = SettingsSchema::defaultThresholdMB;
    bool m_automaticEnabled = false;
    bool m_watchEnabled = false;
    bool m_isPreviewing = false;
    QString m_watchStatus;
    std::shared_ptr<LoginItemService> m_watcher;
    void askWatchStatus();
    QDateTime m_automaticTime;
    bool m_notifyAfterAutomatic = true;
    bool m_trashDuplicates = SettingsSchema::defaultTrashDuplicates;
    std::optional<OrganizationResult> m_lastResult;
    bool m_isRunning = false;
    std::optional<ExecutionProgress> m_progress;
    bool m_isStopping = false;
    // Shared with the job on the worker thread, which reports to it.
    std::shared_ptr<ExecutionControl> m_control;
    QTimer m_progressTimer;
    std::optional<OrganizationPlan> m_previewPlan;
    bool m_showsPreview = false;
    bool m_showsIssues = false;
    bool m_showsHistory = false;
    std::optional<QString> m_alertMessage;
    QList<RunHistoryEntry> m_history;
    std::vector<FiledFile> m_foundFiles;
    QString m_foundFilesQuery;
    quint64 m_searches = 0; // questions asked: only the latest one's answer is shown
    QList<OrganizationIssue> m_shownIssues;
    bool m_shownIssuesOfUndo = false;
    // What the journal says of the runs in the history.
    struct JournalView
    {
        QHash<QUuid, QString> undoneLabels;
        QSet<QUuid> undoableRuns;
        bool operator==(const JournalView &) const = default;
    };
    JournalView readJournal() const;
    JournalView m_journalView;

    std::optional<QByteArray> m_sourceBookmark;
    std::optional<QByteArray> m_destinationBookmark;
    std::shared_ptr<SettingsStore> m_store;
    std::shared_ptr<LoginItemService> m_loginItems;
    std::shared_ptr<FolderChooser> m_folderChooser;
    std::unique_ptr<OrganizerWorker> m_worker;
    // The journal, read on this thread; the worker writes it through its own connection.
    std::unique_ptr<CleanupRun> m_reader;
    QTimer m_refreshTimer;
    // One scheduler change at a time; the latest request waits its turn.
    bool m_loginItemBusy = false;
    std::optional<std::pair<bool, bool>> m_pendingLoginItem;
};

} // namespace sorvanel
