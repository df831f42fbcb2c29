// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Organizer.h"
#include "SettingsStore.h"
#include "SqliteRunJournal.h"

#include <QElapsedTimer>

#include <memory>
#include <string>
#include <unordered_set>

namespace sorvanel {

// A cleanup as every front end runs it (the command line, the agent and the
// app's worker): the stored settings make the configuration; the run is
// written down in the journal as it moves, timed, and recorded in the
// history; an undo goes through the same journal.
class CleanupRun
{
public:
    // Why nothing ran: the configuration or planning failed.
    struct Failure
    {
        QString description;
    };

    struct Outcome
    {
        QUuid id;
        QUuid entry; // the history entry that shows it: `id`, or the watcher's day
        bool recorded = false; // in the history (a watcher's batch that did nothing is not)
        std::vector<SkippedFile> skippedFiles; // what planning left, with why (organize only)
        OrganizationResult result;
        double duration = 0;
    };

    explicit CleanupRun(std::shared_ptr<DefaultsSuite> suite,
                        std::shared_ptr<Organizer> organizer = std::make_shared<Organizer>());

    SettingsStore &store() { return m_store; }
    RunJournal &journal() { return m_journal; }
    Organizer &organizer() { return *m_organizer; }

    // The configuration the stored settings make. Throws Failure.
    static OrganizerConfiguration configuration(const StoredSettings &settings, const Clock &now = {});

    // Plans with the stored settings. Throws Failure.
    OrganizationPlan plan(const Clock &now = {}, Organizer::PlanUse use = Organizer::PlanUse::preview);
    // Plans with `configuration`. Throws Failure.
    OrganizationPlan plan(const OrganizerConfiguration &configuration, Organizer::PlanUse use);
    // Carries out a plan, journaled, and records it; `started` times the run.
    // A run that `observer` stops is recorded with what it did.
    Outcome execute(const OrganizationPlan &plan, OrganizationRunMode mode, const QElapsedTimer &started,
                    ExecutionObserver *observer = nullptr);
    // Plans, then executes. A daily run and the watcher leave what an undo
    // put back; the watcher's batch files `only` those names. Throws Failure.
    Outcome organize(OrganizationRunMode mode, const Clock &now = {}, ExecutionObserver *observer = nullptr,
                     std::shared_ptr<const std::unordered_set<std::string>> only = nullptr);
    // The mount point of the drive the stored destination lies on, where
    // that drive is not plugged in: a run there would move nothing.
    std::optional<Path> missingDrive();
    // Undoes a history entry's run; a watcher's day, batch by batch, newest
    // first. Without an ID, the latest run that can be undone, with its day.
    UndoResult undo(const std::optional<QUuid> &run, bool dryRun, ExecutionObserver *observer = nullptr);

    // The folder a run filed into: its one day folder, or the destination
    // root where its files went to several days.
    Path filedInto(const QUuid &run);

    // Whether the history entry's run was undone, by the journal, and how
    // far (see undoneLabel).
    bool isUndone(const QUuid &run);
    QString undoneLabel(const QUuid &run);

private:
    UndoResult undoGroup(const QUuid &group, const std::vector<JournalRun> &runs, bool dryRun,
                         ExecutionObserver *observer);

    SettingsStore m_store;
    SqliteRunJournal m_journal;
    std::shared_ptr<Organizer> m_organizer;
};

} // namespace sorvanel
