// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FolderEvents.h"
#include "WriterProbe.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>

class QSocketNotifier;

namespace sorvanel {

class CleanupRun;
class DefaultsSuite;
class Notifier;
class Organizer;

// The watcher's waits, in milliseconds (see WatchService).
struct WatchTiming
{
    int afterWrite = 2100;
    int afterRename = 100;
    int writerMayReturn = 11000;
    int batchWindow = 500; // what else is due this soon joins the batch
    int follow = 2000;
};

// The watcher: files each download of the source folder as soon as it is
// finished, through the same planning and execution as every other run.
//
// Its life, step by step:
//   start           read the settings; watch the source folder, or wait for
//                   it to appear; look at the whole folder
//   hear            read the folder's events: each name that was written,
//                   closed after writing or moved in becomes a candidate, due
//                   when it has been quiet long enough; who writes a file is
//                   noted while it is written
//   fileWhatIsDue   one batch: the names due within a short window, through
//                   one run of the watcher's kind; what planning leaves waits
//                   for its next event, what failed waits until it changes
//   follow          every 2 s: the settings, the folder's return, a lock or
//                   a drive that kept the last batch out
//   stop            SIGTERM: the batch in hand stops after its file, is
//                   recorded, and the event loop ends
//
// Quiet times: a file closed after writing (or written) is due 2.1 s after
// its last event, once the planning's minimum age of 2 s since its last
// write has passed; a file renamed into place is due after 0.3 s. A file
// whose writer is still running when it is due was perhaps left for a
// moment (wget after a dropped connection reopens it 1–10 s later): it waits
// until 11 s have passed without an event.
class WatchService : public QObject
{
    Q_OBJECT

public:
    WatchService(std::shared_ptr<DefaultsSuite> suite, std::shared_ptr<Organizer> organizer, Notifier &notifier,
                 std::shared_ptr<WriterProbe> writers, WatchTiming timing = {});
    ~WatchService() override;

    // Starts watching; the caller runs the event loop. `status` is told a
    // line of status at once (the folder watched, or waited for) and at
    // each change.
    void start(std::function<void(const QString &status)> status = {});

signals:
    void stopped();

private:
    struct Candidate
    {
        qint64 due = 0;
        qint64 lastEvent = 0;
        FileWriter writer; // who held it open for writing, where seen
        qint64 writerAsked = -1;
        bool renamedIn = false;
    };
    // A file's size and time, to tell whether it changed since it failed.
    struct Stamp
    {
        std::int64_t size = -1;
        std::int64_t modifiedNs = 0;
        bool operator==(const Stamp &) const = default;
    };

    qint64 now() const { return m_clock.elapsed(); }
    void watchSource();
    void lookAtWholeFolder();
    void hear();
    void heard(const FolderEvents::Event &event);
    void noteWriter(const std::string &name, Candidate &candidate);
    void wakeHeld();
    void schedule();
    void fileWhatIsDue();
    std::unordered_set<std::string> takeDue();
    bool destinationReady();
    void runBatch(const std::unordered_set<std::string> &names);
    void tellOfFailure(const QString &name, const QString &message);
    void follow();
    void stopOnSignal();
    std::optional<Stamp> stampOf(const std::string &name) const;

    std::unique_ptr<CleanupRun> m_run;
    Notifier &m_notifier;
    std::shared_ptr<WriterProbe> m_writers;
    WatchTiming m_timing;
    QElapsedTimer m_clock;
    std::function<void(const QString &)> m_ready;
    QString m_status;

    Path m_source;
    Path m_destination;
    qint64 m_threshold = 0;
    std::unique_ptr<FolderEvents> m_events;
    std::unique_ptr<QSocketNotifier> m_eventNotifier;
    std::unique_ptr<QSocketNotifier> m_signalNotifier;

    std::unordered_map<std::string, Candidate> m_candidates;
    // Left by planning for a reason another file decides (a control file
    // beside it, a stream before its merge): looked at again when a file of
    // the folder goes.
    std::unordered_set<std::string> m_held;
    std::unordered_map<std::string, Stamp> m_failed; // tried again when they change
    std::unordered_set<std::string> m_told; // failures the user has heard of
    std::unordered_set<std::string> m_lastBatch; // our own moves out are no news
    QTimer m_due;
    QTimer m_follow;
    bool m_stopping = false;
};

} // namespace sorvanel
