// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Calendar.h"
#include "ExecutionObserver.h"
#include "FileSystem.h"
#include "OrganizationModels.h"
#include "RunJournal.h"
#include "WriterProbe.h"

#include <QSet>

#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace sorvanel {

class NameCollator;

// What an undo did: the files that went back and those that could not.
struct UndoResult
{
    QUuid run;
    std::int64_t restored = 0;
    QList<OrganizationIssue> issues;
    // Set when nothing was tried: no such run, nothing left to undo, the
    // destination locked by another run.
    std::optional<QString> refusal;
    // The files not tried because the undo was asked to stop.
    std::int64_t remaining = 0;

    std::int64_t failed() const { return issues.size(); }
};

// The organizing engine: validates a configuration, plans the moves and
// carries a plan out under the destination lock. Calls are synchronous; the
// desktop app runs them one at a time on a worker thread.
class Organizer
{
public:
    explicit Organizer(std::shared_ptr<FileSystem> fileManager = std::make_shared<PosixFileSystem>(),
                       std::shared_ptr<WriterProbe> writerProbe = std::make_shared<SystemWriterProbe>());
    ~Organizer();
    Organizer(Organizer &&) noexcept;
    Organizer &operator=(Organizer &&) noexcept;

    // Planning asks for the calendar once per plan; tests pin one.
    void setCalendarProvider(std::function<Calendar()> provider);

    // What a plan is for. One made to be executed at once starts the writer
    // check's watch of the source folder while it lists the folder.
    enum class PlanUse { preview, execution };
    // Throws OrganizerFailure for an invalid configuration or an unreadable source.
    // `freed`: files in target folders whose names count as free, because
    // execution takes them away before it moves (see leftoverReservations).
    OrganizationPlan makePlan(const OrganizerConfiguration &configuration, PlanUse use = PlanUse::preview,
                              const std::vector<Path> &freed = {});
    // Never throws: every failure becomes an issue of the result.
    // `observer` hears the progress and may stop the run between files.
    OrganizationResult execute(const OrganizationPlan &plan, ExecutionObserver *observer = nullptr);
    // The same, writing each move down in `journal` under the run `runId`.
    // A run of an earlier process that was cut short is accounted for first.
    OrganizationResult execute(const OrganizationPlan &plan, RunJournal &journal, const QUuid &runId,
                               OrganizationRunMode mode, ExecutionObserver *observer = nullptr);

    // Puts the files of a journaled run back where they came from: the
    // latest run that still has moved files when `run` is empty. With
    // `dryRun` nothing changes; the result says what would happen.
    // A stopped undo leaves the rest for the next one.
    UndoResult undo(RunJournal &journal, const std::optional<QUuid> &run, bool dryRun = false,
                    ExecutionObserver *observer = nullptr);
    // The run an undo without a run ID takes back, if any.
    static std::optional<JournalRun> latestUndoableRun(RunJournal &journal);
    // Recovers the runs on `destinationRoot` that a kill cut short, from what
    // lies on disk (each move's outcome is settled in the journal). Call it
    // holding the root's lock. `finished` gains the sources of the moves it
    // finished (their source names are gone now).
    void recoverInterruptedRuns(RunJournal &journal, const Path &destinationRoot,
                                std::unordered_set<std::string> *finished = nullptr);
    // The same before planning, so that names a killed run held are free
    // to plan with again: only when a run on `destinationRoot` was cut
    // short, and only if its lock is free (a run holding it is no leftover).
    void recoverBeforePlanning(RunJournal &journal, const Path &destinationRoot);
    // The empty reservations that runs on `destinationRoot` cut short left
    // in place of their files' names: recovery frees those names, so a
    // preview may plan with them.
    std::vector<Path> leftoverReservations(RunJournal &journal, const Path &destinationRoot);
    // The mount point of the drive that `destination` lies on, where the
    // system expects a drive there and none is mounted (see FileSystem::missingDrive).
    std::optional<Path> missingDrive(const Path &destination);
    // Plans, then executes. Throws what makePlan throws.
    OrganizationResult organize(const OrganizerConfiguration &configuration);

    // Throws the first failed check as OrganizerFailure.
    void validate(const OrganizerConfiguration &configuration);

    static const QSet<QString> &graphicExtensions();
    static const QSet<QString> &documentExtensions();
    static const QSet<QString> &incompleteExtensions();

    static FileCategory category(const Path &url, std::int64_t size, std::int64_t threshold);
    static bool isIncomplete(const Path &url);
    static std::optional<QDateTime> effectiveFileDate(const std::optional<QDateTime> &creation,
                                                      const std::optional<QDateTime> &modification);
    static QString dateFolderName(const QDateTime &date, const Calendar &calendar);

    // The name an unfinished download will have once done: "movie.mp4" for
    // "movie.mp4.part"; empty when the name is no unfinished download.
    static std::string_view finishedName(std::string_view unfinishedName);

    // The lower-cased text after the last dot of the name; empty when there is none.
    static QString pathExtension(const Path &url);

    // What a name's extension says, from one look at it.
    enum class ExtensionKind : std::uint8_t { other, graphic, document, incomplete };
    static ExtensionKind extensionKind(const Path &url);

    // Where the counter search for a name left off, so that many clashes on one
    // name cost one pass, not one pass per file.
    using CounterHints = std::unordered_map<std::string, std::uint64_t>;

    // The first free name for `filename` in `directory`: the name itself, then
    // base-2.ext, base-3.ext and so on.
    static Path uniqueDestination(const std::string &filename, const Path &directory,
                                  const std::function<bool(const Path &)> &isTaken, CounterHints *hints = nullptr);

private:
    friend class Execution;
    friend class Undoing;

    std::shared_ptr<FileSystem> m_fileManager;
    std::shared_ptr<WriterProbe> m_writerProbe;
    std::function<Calendar()> m_calendarProvider;
    std::unique_ptr<NameCollator> m_collator;
    // The watch of the source folder that the writer check of the next
    // execution needs, started on another thread while planning reads the
    // folder: on a big folder the kernel takes as long to set it up as a
    // tenth of the listing. Events since planning only make the check ask
    // more files afresh.
    struct WatchAhead
    {
        Path folder;
        std::future<std::unique_ptr<FolderWatch>> watch;
    };
    std::optional<WatchAhead> m_watchAhead;
};

} // namespace sorvanel
