// SPDX-License-Identifier: GPL-3.0-or-later
#include "WatchService.h"

#include "CleanupRun.h"
#include "Descriptor.h"
#include "FileSystem.h"
#include "Localization.h"
#include "Notifier.h"
#include "Organizer.h"
#include "OrganizerExecutionLock.h"

#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace sorvanel {

namespace {

// SIGTERM between batches: the handler writes a byte, the event loop reads it.
int signalPipe[2] = {-1, -1};

void writeToSignalPipe(int)
{
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
}

bool isRunning(std::int64_t pid)
{
    return pid > 0 && (::kill(pid_t(pid), 0) == 0 || errno == EPERM);
}

// What can be filed at all: the planning's own rules decide the rest.
bool mayBeFiled(const std::string &name)
{
    return !name.empty() && name[0] != '.';
}

} // namespace

WatchService::WatchService(std::shared_ptr<DefaultsSuite> suite, std::shared_ptr<Organizer> organizer,
                           Notifier &notifier, std::shared_ptr<WriterProbe> writers, WatchTiming timing)
    : m_run(std::make_unique<CleanupRun>(std::move(suite), std::move(organizer)))
    , m_notifier(notifier)
    , m_writers(std::move(writers))
    , m_timing(timing)
{
    m_clock.start();
    m_due.setSingleShot(true);
    connect(&m_due, &QTimer::timeout, this, &WatchService::fileWhatIsDue);
    connect(&m_follow, &QTimer::timeout, this, &WatchService::follow);
}

WatchService::~WatchService()
{
    if (m_signalNotifier)
        ::signal(SIGTERM, SIG_DFL);
}

void WatchService::start(std::function<void(const QString &status)> ready)
{
    m_ready = std::move(ready);
    if (signalPipe[0] < 0 && ::pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) == 0) {
        m_signalNotifier = std::make_unique<QSocketNotifier>(signalPipe[0], QSocketNotifier::Read);
        connect(m_signalNotifier.get(), &QSocketNotifier::activated, this, &WatchService::stopOnSignal);
        ::signal(SIGTERM, writeToSignalPipe);
    }
    const StoredSettings settings = m_run->store().load();
    m_source = settings.sourceURL;
    m_destination = settings.destinationURL;
    m_threshold = settings.thresholdMB;
    watchSource();
    m_follow.start(m_timing.follow);
}

// A folder that is not there (removed, renamed away, its drive gone) is
// waited for: `follow` tries again every 2 s, and files what is there.
void WatchService::watchSource()
{
    m_eventNotifier.reset();
    m_events = FolderEvents::start(m_source);
    if (m_events) {
        m_eventNotifier = std::make_unique<QSocketNotifier>(m_events->descriptor(), QSocketNotifier::Read);
        connect(m_eventNotifier.get(), &QSocketNotifier::activated, this, &WatchService::hear);
        lookAtWholeFolder();
    }
    const QString folder = displayPath(m_source);
    const QString status =
        m_events ? L10n::format("Watching %@", {folder}) : L10n::format("Waiting for %@ to exist", {folder});
    if (m_ready && status != m_status)
        m_ready(status);
    m_status = status;
}

// Every loose file, as if each had just been renamed into place: the
// planning's checks decide what is finished. Failed files that have not
// changed since are left to the next start.
void WatchService::lookAtWholeFolder()
{
    DIR *folder = ::opendir(m_source.c_str());
    if (!folder)
        return;
    const qint64 at = now();
    while (const struct dirent *entry = ::readdir(folder)) {
        const std::string name = entry->d_name;
        if (!mayBeFiled(name) || entry->d_type == DT_DIR)
            continue;
        const auto failed = m_failed.find(name);
        if (failed != m_failed.end() && stampOf(name) == failed->second)
            continue;
        Candidate &candidate = m_candidates[name];
        candidate.due = at;
        candidate.lastEvent = at;
        candidate.renamedIn = true;
    }
    ::closedir(folder);
    m_held.clear();
    schedule();
}

void WatchService::hear()
{
    if (!m_events)
        return;
    const FolderEvents::Batch batch = m_events->read();
    for (const FolderEvents::Event &event : batch.events)
        heard(event);
    if (batch.folderGone) {
        m_eventNotifier.reset();
        m_events.reset();
        m_candidates.clear();
        m_held.clear();
        return; // `follow` waits for it
    }
    if (batch.overflowed) {
        // To the service's log (the journal, under systemd).
        std::fputs("The kernel dropped events; looking at the whole folder again.\n", stderr);
        lookAtWholeFolder();
    }
    schedule();
}

void WatchService::heard(const FolderEvents::Event &event)
{
    const std::string &name = event.name;
    if (event.kinds & (FolderEvents::removed | FolderEvents::movedOut)) {
        m_candidates.erase(name);
        m_held.erase(name);
        m_failed.erase(name);
        // A control file removed or a .part renamed: what it held back may be finished.
        if (!m_lastBatch.count(name))
            wakeHeld();
    }
    constexpr std::uint32_t news =
        FolderEvents::written | FolderEvents::closedAfterWriting | FolderEvents::movedIn | FolderEvents::created;
    if (!(event.kinds & news) || !mayBeFiled(name))
        return;
    m_failed.erase(name);
    m_held.erase(name);
    m_lastBatch.erase(name);
    Candidate &candidate = m_candidates[name];
    const qint64 at = now();
    candidate.lastEvent = at;
    if (event.kinds & FolderEvents::movedIn) {
        candidate.renamedIn = true;
        candidate.due = at + m_timing.afterRename;
        wakeHeld();
        return;
    }
    candidate.renamedIn = false;
    candidate.due = at + m_timing.afterWrite;
    if (event.kinds & FolderEvents::written)
        noteWriter(name, candidate);
}

// Who writes it, asked once a second at most while it is written: after its
// close, a writer still running may come back to it.
void WatchService::noteWriter(const std::string &name, Candidate &candidate)
{
    const qint64 at = now();
    if (!m_writers || (candidate.writerAsked >= 0 && at - candidate.writerAsked < 1000))
        return;
    candidate.writerAsked = at;
    if (const auto writer = m_writers->writerOf(m_source / name, -1); writer && writer->pid > 0)
        candidate.writer = *writer;
}

void WatchService::wakeHeld()
{
    const qint64 due = now() + m_timing.afterRename;
    for (const std::string &name : m_held) {
        Candidate &candidate = m_candidates[name];
        candidate.due = std::max(candidate.due, due);
        candidate.lastEvent = now();
        candidate.renamedIn = true;
    }
    m_held.clear();
}

void WatchService::schedule()
{
    if (m_candidates.empty() || m_stopping) {
        m_due.stop();
        return;
    }
    qint64 first = std::numeric_limits<qint64>::max();
    for (const auto &[name, candidate] : m_candidates)
        first = std::min(first, candidate.due);
    m_due.start(int(std::clamp<qint64>(first - now(), 0, 24 * 3600 * 1000)));
}

void WatchService::fileWhatIsDue()
{
    std::unordered_set<std::string> names = takeDue();
    if (!names.empty()) {
        if (destinationReady()) {
            runBatch(names);
        } else {
            // Kept for `follow`, which tries again every 2 s.
            for (const std::string &name : names)
                m_candidates[name].due = now() + m_timing.follow;
        }
    }
    schedule();
}

// The names due now or within the batch window, each still there, not empty
// (a browser's placeholder), and not perhaps left for a moment by a writer.
std::unordered_set<std::string> WatchService::takeDue()
{
    std::unordered_set<std::string> names;
    const qint64 at = now();
    for (auto it = m_candidates.begin(); it != m_candidates.end();) {
        Candidate &candidate = it->second;
        if (candidate.due > at + m_timing.batchWindow) {
            ++it;
            continue;
        }
        const qint64 writerWait = candidate.lastEvent + m_timing.writerMayReturn;
        if (!candidate.renamedIn && isRunning(candidate.writer.pid) && at < writerWait) {
            candidate.due = writerWait;
            ++it;
            continue;
        }
        const auto stamp = stampOf(it->first);
        if (stamp && stamp->size == 0)
            m_held.insert(it->first);
        else if (stamp)
            names.insert(it->first);
        it = m_candidates.erase(it);
    }
    return names;
}

// Nothing is made below the mount point of a drive that is not plugged in,
// and a run of another program on the same destination goes first.
bool WatchService::destinationReady()
{
    if (m_run->missingDrive())
        return false;
    try {
        PosixFileSystem files;
        OrganizerExecutionLock probe(m_destination, files);
    } catch (const OrganizerFailure &) {
        return false;
    }
    return true;
}

void WatchService::runBatch(const std::unordered_set<std::string> &names)
{
    ExecutionControl control;
    std::optional<CleanupRun::Outcome> outcome;
    {
        StopOnSignal stop(control, SIGTERM);
        try {
            outcome = m_run->organize(OrganizationRunMode::watch, {}, &control,
                                      std::make_shared<const std::unordered_set<std::string>>(names));
        } catch (const CleanupRun::Failure &failure) {
            qWarning("%s", qPrintable(failure.description));
        }
    }
    m_lastBatch = names;
    if (control.stopRequested())
        stopOnSignal();
    if (!outcome)
        return;
    for (const SkippedFile &skipped : outcome->skippedFiles) {
        const std::string name(filenameOf(skipped.url));
        if (skipped.reason == SkipReason::tooRecent)
            m_candidates[name].due = now() + 1000;
        else
            m_held.insert(name);
    }
    std::unordered_map<QString, std::string> byDisplay;
    for (const std::string &name : names)
        byDisplay.emplace(displayName(Path(name)), name);
    for (const OrganizationIssue &issue : outcome->result.issues) {
        const auto found = byDisplay.find(issue.filename);
        if (found == byDisplay.end())
            continue;
        m_failed[found->second] = stampOf(found->second).value_or(Stamp{});
        tellOfFailure(issue.filename, issue.message);
    }
}

// Once per file: a watched file that could not be filed.
void WatchService::tellOfFailure(const QString &name, const QString &message)
{
    if (!m_told.insert(name.toStdString()).second)
        return;
    m_notifier.notify(L10n::format("Sorvanel could not file %@", {name}), message);
}

void WatchService::follow()
{
    m_run->store().refresh();
    const StoredSettings settings = m_run->store().load();
    const bool otherSource = settings.sourceURL != m_source;
    const bool otherRun =
        otherSource || settings.destinationURL != m_destination || settings.thresholdMB != m_threshold;
    m_source = settings.sourceURL;
    m_destination = settings.destinationURL;
    m_threshold = settings.thresholdMB;
    if (otherSource || !m_events) {
        m_candidates.clear();
        m_held.clear();
        m_failed.clear();
        watchSource();
        return;
    }
    if (otherRun)
        lookAtWholeFolder();
}

void WatchService::stopOnSignal()
{
    if (m_stopping)
        return;
    m_stopping = true;
    m_due.stop();
    m_follow.stop();
    emit stopped();
}

std::optional<WatchService::Stamp> WatchService::stampOf(const std::string &name) const
{
    struct stat info;
    if (::fstatat(AT_FDCWD, (m_source / name).c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return Stamp{std::int64_t(info.st_size), std::int64_t(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec};
}

} // namespace sorvanel
