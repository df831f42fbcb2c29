// SPDX-License-Identifier: GPL-3.0-or-later
#include "AppModel.h"

#include "CleanupRun.h"
#include "FolderBookmark.h"
#include "Localization.h"
#include "OrganizerWorker.h"
#include "SettingsStore.h"

#include <QElapsedTimer>
#include <QFutureWatcher>
#include <QPointer>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>

namespace sorvanel {

AppModel::AppModel(std::shared_ptr<SettingsStore> store, std::shared_ptr<LoginItemService> loginItems,
                   std::shared_ptr<FolderChooser> folderChooser, QObject *parent)
    : QObject(parent)
    , m_store(std::move(store))
    , m_loginItems(std::move(loginItems))
    , m_folderChooser(std::move(folderChooser))
{
    // The worker writes through a connection of its own, so that its
    // transactions never meet this thread's.
    auto workerSuite = m_store->suite()->anotherConnection();
    m_worker =
        std::make_unique<OrganizerWorker>(std::make_shared<CleanupRun>(workerSuite ? workerSuite : m_store->suite()));
    m_reader = std::make_unique<CleanupRun>(m_store->suite());
    followStoredSettings();
    setLastResult(m_store->loadLastResult());
    setHistory(m_store->loadHistory());
    resolveStoredBookmarks();
    if (m_automaticEnabled)
        updateLoginItem(true, false);
    startExternalResultRefresh();
    // The worker reports to m_control; the views hear of it a few times a second.
    m_progressTimer.setInterval(100);
    connect(&m_progressTimer, &QTimer::timeout, this, [this] {
        if (!m_control)
            return;
        const ExecutionProgress now = m_control->progress();
        if (now.filesTotal > 0 && m_progress != now)
            setProgress(now);
    });
}

AppModel::~AppModel()
{
    m_refreshTimer.stop();
    // A window closed mid-run: the run stops after the file in hand.
    if (m_control)
        m_control->requestStop();
    // Let a run in progress finish its current job; its result is dropped.
    m_worker.reset();
}

// A property notifies only when its value really changes.
void AppModel::setSourceURL(const Path &url)
{
    if (m_sourceURL == url)
        return;
    m_sourceURL = url;
    emit sourceURLChanged();
}

void AppModel::setDestinationURL(const Path &url)
{
    if (m_destinationURL == url)
        return;
    m_destinationURL = url;
    emit destinationURLChanged();
}

void AppModel::setThresholdMB(qint64 megabytes)
{
    if (m_thresholdMB == megabytes)
        return;
    m_thresholdMB = megabytes;
    emit thresholdMBChanged();
}

void AppModel::setAutomaticEnabled(bool enabled)
{
    if (m_automaticEnabled == enabled)
        return;
    m_automaticEnabled = enabled;
    emit automaticEnabledValueChanged();
}

void AppModel::setAutomaticTime(const QDateTime &time)
{
    if (m_automaticTime == time)
        return;
    m_automaticTime = time;
    emit automaticTimeValueChanged();
}

void AppModel::setLastResult(std::optional<OrganizationResult> result)
{
    if (m_lastResult != result) {
        m_lastResult = std::move(result);
        emit lastResultChanged();
    }
    setShownIssues(m_lastResult ? m_lastResult->issues : QList<OrganizationIssue>());
}

void AppModel::setShownIssues(QList<OrganizationIssue> issues, bool ofUndo)
{
    if (m_shownIssues == issues && m_shownIssuesOfUndo == ofUndo)
        return;
    m_shownIssues = std::move(issues);
    m_shownIssuesOfUndo = ofUndo;
    emit shownIssuesChanged();
}

void AppModel::showRunIssues()
{
    setShownIssues(m_lastResult ? m_lastResult->issues : QList<OrganizationIssue>());
    setShowsIssues(true);
}

void AppModel::setRunning(bool running)
{
    if (m_isRunning == running)
        return;
    m_isRunning = running;
    if (!running)
        m_isPreviewing = false;
    emit isRunningChanged();
}

void AppModel::setProgress(std::optional<ExecutionProgress> progress)
{
    if (m_progress == progress)
        return;
    m_progress = progress;
    emit progressChanged();
}

void AppModel::setStopping(bool stopping)
{
    if (m_isStopping == stopping)
        return;
    m_isStopping = stopping;
    emit isStoppingChanged();
}

void AppModel::stopRun()
{
    if (!m_isRunning || m_isStopping)
        return;
    if (m_control)
        m_control->requestStop();
    setStopping(true);
}

void AppModel::setPreviewPlan(std::optional<OrganizationPlan> plan)
{
    // A big plan is moved in, never copied, nor compared: every plan is new.
    if (!m_previewPlan && !plan)
        return;
    m_previewPlan = std::move(plan);
    emit previewPlanChanged();
}

void AppModel::setShowsPreview(bool shows)
{
    if (m_showsPreview == shows)
        return;
    m_showsPreview = shows;
    emit showsPreviewChanged();
}

void AppModel::setShowsIssues(bool shows)
{
    if (m_showsIssues == shows)
        return;
    m_showsIssues = shows;
    emit showsIssuesChanged();
}

void AppModel::setShowsHistory(bool shows)
{
    // Another program may have run or undone something since: show it as it is now.
    if (shows && !m_showsHistory)
        setHistory(m_store->loadHistory());
    if (m_showsHistory == shows)
        return;
    m_showsHistory = shows;
    emit showsHistoryChanged();
}

void AppModel::setAlertMessage(const std::optional<QString> &message)
{
    if (m_alertMessage == message)
        return;
    m_alertMessage = message;
    emit alertMessageChanged();
}

AppModel::JournalView AppModel::readJournal() const
{
    JournalView view;
    if (m_reader) {
        for (const JournalRun &run : m_reader->journal().runs()) {
            if (run.undone)
                view.undoneLabels.insert(run.id, sorvanel::undoneLabel(run));
            if (run.finished && run.moved > 0)
                view.undoableRuns.insert(run.id);
        }
    }
    return view;
}

void AppModel::setHistory(QList<RunHistoryEntry> history)
{
    // What the journal says of each run, read once per change of the list.
    JournalView view = readJournal();
    if (m_history == history && m_journalView == view)
        return;
    m_history = std::move(history);
    m_journalView = std::move(view);
    emit historyChanged();
}

void AppModel::setTrashDuplicates(bool enabled)
{
    if (m_trashDuplicates == enabled)
        return;
    m_trashDuplicates = enabled;
    m_store->saveTrashDuplicates(enabled);
    emit trashDuplicatesChanged();
}

void AppModel::setNotifyAfterAutomatic(bool notify)
{
    m_notifyAfterAutomatic = notify;
    m_store->saveNotifyAfterAutomatic(notify);
    emit automaticEnabledValueChanged(); // the automatic-cleanup controls show it
}

void AppModel::thresholdChanged()
{
    setThresholdMB(std::clamp(m_thresholdMB, SettingsSchema::minimumThresholdMB, SettingsSchema::maximumThresholdMB));
    m_store->saveThreshold(m_thresholdMB);
}

void AppModel::automaticTimeChanged()
{
    m_store->saveAutomaticTime(m_automaticTime);
}

void AppModel::automaticEnabledChanged()
{
    m_store->saveAutomaticEnabled(m_automaticEnabled);
    updateLoginItem(m_automaticEnabled, true);
}

void AppModel::organizeNow()
{
    if (m_isRunning)
        return;
    setRunning(true);
    setAlertMessage(std::nullopt);
    QElapsedTimer started;
    started.start();
    withFolderAccess(
        [started](CleanupRun &run, const OrganizerConfiguration &configuration, ExecutionObserver *observer) -> Finish {
            try {
                const OrganizationPlan plan = run.plan(configuration, Organizer::PlanUse::execution);
                const CleanupRun::Outcome outcome = run.execute(plan, OrganizationRunMode::manual, started, observer);
                return [result = outcome.result, id = outcome.id](AppModel &model) {
                    model.accept(result);
                    emit model.organizedNow(result, id);
                };
            } catch (const CleanupRun::Failure &failure) {
                return [text = failure.description](AppModel &model) { model.setAlertMessage(text); };
            }
        });
}

void AppModel::previewChanges()
{
    if (m_isRunning)
        return;
    m_isPreviewing = true;
    setRunning(true);
    setAlertMessage(std::nullopt);
    withFolderAccess([](CleanupRun &run, const OrganizerConfiguration &configuration, ExecutionObserver *) -> Finish {
        try {
            auto plan = std::make_shared<OrganizationPlan>(run.plan(configuration, Organizer::PlanUse::preview));
            return [plan](AppModel &model) {
                model.setPreviewPlan(std::move(*plan));
                model.setShowsPreview(true);
            };
        } catch (const CleanupRun::Failure &failure) {
            return [text = failure.description](AppModel &model) { model.setAlertMessage(text); };
        }
    });
}

void AppModel::executePreview()
{
    if (m_isRunning || !m_previewPlan)
        return;
    auto plan = std::make_shared<const OrganizationPlan>(*m_previewPlan);
    setRunning(true);
    setShowsPreview(false);
    QElapsedTimer started;
    started.start();
    withFolderAccess(
        [plan, started](CleanupRun &run, const OrganizerConfiguration &, ExecutionObserver *observer) -> Finish {
            const OrganizationResult result = run.execute(*plan, OrganizationRunMode::manual, started, observer).result;
            return [result](AppModel &model) {
                model.accept(result);
                model.setPreviewPlan(std::nullopt);
            };
        });
}

void AppModel::undoRun(const QUuid &id)
{
    if (m_isRunning)
        return;
    setRunning(true);
    setAlertMessage(std::nullopt);
    withFolderAccess([id](CleanupRun &run, const OrganizerConfiguration &, ExecutionObserver *observer) -> Finish {
        const UndoResult result = run.undo(id, false, observer);
        return [result](AppModel &model) { model.acceptUndo(result); };
    });
}

std::optional<JournalRun> AppModel::journalRun(const QUuid &run) const
{
    return m_reader->journal().run(run);
}

void AppModel::findFiledFiles(const QString &text)
{
    const quint64 search = ++m_searches;
    if (text.trimmed().isEmpty()) {
        m_foundFiles.clear();
        m_foundFilesQuery.clear();
        emit foundFilesChanged();
        return;
    }
    // On another thread, with a connection of its own to the suite (the
    // worker thread's stays the worker's); the answer comes back here.
    auto *answer = new QFutureWatcher<std::vector<FiledFile>>(this);
    connect(answer, &QFutureWatcherBase::finished, this, [this, answer, text, search] {
        answer->deleteLater();
        if (search != m_searches)
            return; // a newer question is on its way
        m_foundFiles = answer->result();
        m_foundFilesQuery = text;
        emit foundFilesChanged();
    });
    answer->setFuture(QtConcurrent::run([suite = m_store->suite(), text] {
        std::vector<FiledFile> found;
        if (auto connection = suite->anotherConnection()) {
            SqliteRunJournal journal(connection);
            PosixFileSystem files;
            found = findFiled(journal, files, NameMatch(text.trimmed()), 1000);
        }
        return found;
    }));
}

std::vector<FiledFile> AppModel::recentlyFiled(std::size_t count) const
{
    PosixFileSystem files;
    return findFiled(m_reader->journal(), files, NameMatch(QString()), count, false);
}

Path AppModel::filedInto(const QUuid &run) const
{
    return m_reader->filedInto(run);
}

bool AppModel::canUndo(const QUuid &run) const
{
    return m_journalView.undoableRuns.contains(run);
}

QString AppModel::undoneLabel(const QUuid &run) const
{
    return m_journalView.undoneLabels.value(run);
}

void AppModel::withFolderAccess(Operation operation)
{
    // Linux has no sandbox to open: access is the user's own, and the engine
    // reports whatever it cannot read or move.
    StoredSettings settings;
    settings.sourceURL = m_sourceURL;
    settings.destinationURL = m_destinationURL;
    settings.thresholdMB = m_thresholdMB;
    OrganizerConfiguration configuration;
    try {
        configuration = CleanupRun::configuration(settings);
    } catch (const CleanupRun::Failure &failure) {
        setAlertMessage(failure.description);
        setRunning(false);
        return;
    }
    AppModel *model = this; // alive for the whole job: the destructor waits for it
    m_control = std::make_shared<ExecutionControl>();
    m_progressTimer.start();
    m_worker->post([model, operation = std::move(operation), configuration, control = m_control](CleanupRun &run) {
        Finish finish = operation(run, configuration, control.get());
        QMetaObject::invokeMethod(
            model,
            [model, finish = std::move(finish)] {
                model->m_progressTimer.stop();
                model->m_control.reset();
                model->setProgress(std::nullopt);
                model->setStopping(false);
                finish(*model);
                model->setRunning(false);
            },
            Qt::QueuedConnection);
    });
}

void AppModel::accept(const OrganizationResult &result)
{
    // The worker has recorded the run; the history shows it from the store.
    setLastResult(result);
    setHistory(m_store->loadHistory());
    if (!result.issues.isEmpty())
        setShowsIssues(true);
}

void AppModel::acceptUndo(const UndoResult &result)
{
    if (result.refusal) {
        setAlertMessage(*result.refusal);
        return;
    }
    // The history list shows the run as undone; the problems come as a run's do.
    setHistory(m_store->loadHistory());
    if (!result.issues.isEmpty()) {
        setShownIssues(result.issues, true);
        setShowsIssues(true);
    }
}

void AppModel::chooseSource()
{
    chooseFolder(true);
}

void AppModel::chooseDestination()
{
    chooseFolder(false);
}

void AppModel::chooseFolder(bool isSource)
{
    const std::optional<Path> chosen = isSource
        ? m_folderChooser->chooseFolder(m_sourceURL, QString(), L10n::text("Choose the Source Folder"))
        : m_folderChooser->chooseFolder(m_destinationURL.parent_path(), displayName(m_destinationURL),
                                        L10n::text("Choose the Destination Folder"));
    if (!chosen)
        return;
    QString error;
    const auto bookmark = FolderBookmark::create(*chosen, &error);
    if (!bookmark) {
        setAlertMessage(L10n::format("Could not remember access to the selected folder: %@", {error}));
        return;
    }
    if (isSource) {
        setSourceURL(*chosen);
        m_sourceBookmark = bookmark;
    } else {
        setDestinationURL(*chosen);
        m_destinationBookmark = bookmark;
    }
    m_store->saveFolder(*chosen, bookmark, isSource);
}

void AppModel::resolveStoredBookmarks()
{
    if (m_sourceBookmark) {
        if (const auto url = resolve(*m_sourceBookmark))
            setSourceURL(*url);
    }
    if (m_destinationBookmark) {
        if (const auto url = resolve(*m_destinationBookmark))
            setDestinationURL(*url);
    }
}

std::optional<Path> AppModel::resolve(const QByteArray &bookmark)
{
    // A stale bookmark that still resolves is used as it is.
    const auto resolved = FolderBookmark::resolve(bookmark);
    if (!resolved) {
        setAlertMessage(L10n::text("Saved folder access is no longer valid. Please choose the folder again."));
        return std::nullopt;
    }
    return resolved->folder;
}

void AppModel::updateLoginItem(bool enabled, bool reportErrors)
{
    if (m_loginItemBusy) {
        m_pendingLoginItem = std::pair(enabled, reportErrors);
        return;
    }
    applyLoginItemChange(enabled, reportErrors);
}

void AppModel::applyLoginItemChange(bool enabled, bool reportErrors)
{
    m_loginItemBusy = true;
    QPointer<AppModel> self(this);
    const auto finished = [self, enabled, reportErrors](const QString &error) {
        if (!self)
            return;
        if (!error.isEmpty() && reportErrors) {
            self->setAlertMessage(L10n::format("Automatic cleanup could not be changed: %@", {error}));
            // The switch and the stored setting follow what happened: a timer
            // that could not be installed leaves automatic cleanup off.
            if (enabled) {
                self->setAutomaticEnabled(false);
                self->m_store->saveAutomaticEnabled(false);
            }
        }
        self->m_loginItemBusy = false;
        if (const auto next = std::exchange(self->m_pendingLoginItem, std::nullopt))
            self->applyLoginItemChange(next->first, next->second);
    };
    m_loginItems->apply(enabled, finished);
}

void AppModel::setWatchEnabled(bool enabled)
{
    if (m_watchEnabled == enabled)
        return;
    m_watchEnabled = enabled;
    if (!enabled)
        m_watchStatus.clear();
    emit watchChanged();
}

void AppModel::setWatcherService(std::shared_ptr<LoginItemService> watcher)
{
    m_watcher = std::move(watcher);
    askWatchStatus();
}

void AppModel::watchEnabledChanged()
{
    m_store->saveWatchEnabled(m_watchEnabled);
    if (!m_watcher)
        return;
    const bool enabled = m_watchEnabled;
    if (enabled) {
        m_watchStatus = L10n::text("The watcher is starting…");
        emit watchChanged();
    }
    QPointer<AppModel> self(this);
    m_watcher->apply(enabled, [self, enabled](const QString &error) {
        if (!self)
            return;
        if (!error.isEmpty()) {
            self->setAlertMessage(L10n::format("Watching could not be changed: %@", {error}));
            // A watcher systemd would not take is not on: the switch shows what happened.
            if (enabled) {
                self->m_store->saveWatchEnabled(false);
                self->setWatchEnabled(false);
            }
        }
        self->askWatchStatus();
    });
}

// What the watcher says of itself, asked at start and with every refresh.
void AppModel::askWatchStatus()
{
    if (!m_watcher || !m_watchEnabled)
        return;
    QPointer<AppModel> self(this);
    m_watcher->fetchActivity([self](const LoginItemService::Activity &activity) {
        if (!self || !self->m_watchEnabled || self->m_watchStatus == activity.status)
            return;
        self->m_watchStatus = activity.status;
        emit self->watchChanged();
    });
}

void AppModel::startExternalResultRefresh()
{
    m_refreshTimer.setInterval(refreshIntervalMs);
    connect(&m_refreshTimer, &QTimer::timeout, this, &AppModel::refreshExternalResults);
    m_refreshTimer.start();
}

// The settings as stored: at start, and whenever another program (the
// command line, another window) has changed them since.
void AppModel::followStoredSettings()
{
    const StoredSettings settings = m_store->load();
    setSourceURL(settings.sourceURL);
    setDestinationURL(settings.destinationURL);
    m_sourceBookmark = settings.sourceBookmark;
    m_destinationBookmark = settings.destinationBookmark;
    setThresholdMB(settings.thresholdMB);
    setAutomaticEnabled(settings.automaticEnabled);
    setAutomaticTime(settings.automaticTime);
    setWatchEnabled(settings.watchEnabled);
    if (m_trashDuplicates != settings.trashDuplicates) {
        m_trashDuplicates = settings.trashDuplicates;
        emit trashDuplicatesChanged();
    }
    if (m_notifyAfterAutomatic != settings.notifyAfterAutomatic) {
        m_notifyAfterAutomatic = settings.notifyAfterAutomatic;
        emit automaticEnabledValueChanged(); // the automatic-cleanup controls show it
    }
}

void AppModel::refreshExternalResults()
{
    m_store->refresh();
    followStoredSettings();
    askWatchStatus();
    const auto stored = m_store->loadLastResult();
    if (stored && !(m_lastResult && m_lastResult->runDate == stored->runDate)) {
        setLastResult(stored);
        setHistory(m_store->loadHistory());
        return;
    }
    // An undo made elsewhere (the command line, a notification) records no
    // result; an open history sheet learns of it from the journal.
    if (m_showsHistory && !m_isRunning && readJournal() != m_journalView)
        setHistory(m_store->loadHistory());
}

} // namespace sorvanel
