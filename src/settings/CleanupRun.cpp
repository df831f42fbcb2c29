// SPDX-License-Identifier: GPL-3.0-or-later
#include "CleanupRun.h"

#include "Localization.h"
#include "Trash.h"

#include <algorithm>
#include <set>

namespace sorvanel {

CleanupRun::CleanupRun(std::shared_ptr<DefaultsSuite> suite, std::shared_ptr<Organizer> organizer)
    : m_store(suite)
    , m_journal(suite)
    , m_organizer(std::move(organizer))
{
}

OrganizerConfiguration CleanupRun::configuration(const StoredSettings &settings, const Clock &now)
{
    auto configuration =
        OrganizerConfiguration::forRun(settings.sourceURL, settings.destinationURL, settings.thresholdMB);
    if (!configuration)
        throw Failure{OrganizerConfiguration::thresholdTooLargeDescription()};
    if (now)
        configuration->now = now;
    if (settings.trashDuplicates)
        configuration->trash = Trash::homeTrash();
    return *configuration;
}

std::optional<Path> CleanupRun::missingDrive()
{
    return m_organizer->missingDrive(m_store.load().destinationURL);
}

OrganizationPlan CleanupRun::plan(const Clock &now, Organizer::PlanUse use)
{
    OrganizerConfiguration configuration = CleanupRun::configuration(m_store.load(), now);
    configuration.filedBy = &m_journal;
    return plan(configuration, use);
}

OrganizationPlan CleanupRun::plan(const OrganizerConfiguration &configuration, Organizer::PlanUse use)
{
    // A killed run may have left empty reservations in place of its files'
    // names. A plan to carry out at once recovers that run first; a preview
    // changes nothing on disk, and plans with the names recovery will free.
    std::vector<Path> freed;
    if (use == Organizer::PlanUse::execution)
        m_organizer->recoverBeforePlanning(m_journal, configuration.destinationURL);
    else
        freed = m_organizer->leftoverReservations(m_journal, configuration.destinationURL);
    try {
        return m_organizer->makePlan(configuration, use, freed);
    } catch (const OrganizerFailure &failure) {
        throw Failure{failure.errorDescription()};
    }
}

CleanupRun::Outcome CleanupRun::execute(const OrganizationPlan &plan, OrganizationRunMode mode,
                                        const QElapsedTimer &started, ExecutionObserver *observer)
{
    Outcome outcome;
    outcome.id = newIdentifier();
    outcome.result = m_organizer->execute(plan, m_journal, outcome.id, mode, observer);
    outcome.duration = double(started.nsecsElapsed()) / 1e9;
    outcome.entry = outcome.id;
    // The record and the end of the journaled run go together: a kill leaves
    // either both or neither, and a run left open is settled by the next one.
    m_store.defaults().transaction([&] {
        if (mode != OrganizationRunMode::watch) {
            m_store.record(outcome.result, mode, outcome.duration, outcome.id);
            outcome.recorded = true;
        } else if (outcome.result.moved > 0 || !outcome.result.alreadyFiled.empty()
                   || !outcome.result.issues.isEmpty()) {
            const auto group = m_store.recordWatched(outcome.result, outcome.duration, outcome.id, false);
            outcome.entry = group.value_or(outcome.id);
            outcome.recorded = true;
        }
        m_journal.finish(outcome.id);
    });
    return outcome;
}

CleanupRun::Outcome CleanupRun::organize(OrganizationRunMode mode, const Clock &now, ExecutionObserver *observer,
                                         std::shared_ptr<const std::unordered_set<std::string>> only)
{
    QElapsedTimer started;
    started.start();
    OrganizerConfiguration configuration = CleanupRun::configuration(m_store.load(), now);
    configuration.filedBy = &m_journal;
    if (mode != OrganizationRunMode::manual)
        configuration.putBack = std::make_shared<const std::unordered_map<std::string, PutBackFile>>(
            m_journal.putBack(configuration.sourceURL));
    configuration.onlyNames = std::move(only);
    OrganizationPlan planned = plan(configuration, Organizer::PlanUse::execution);
    Outcome outcome = execute(planned, mode, started, observer);
    outcome.skippedFiles = std::move(planned.skippedFiles);
    planned.release();
    return outcome;
}

UndoResult CleanupRun::undo(const std::optional<QUuid> &run, bool dryRun, ExecutionObserver *observer)
{
    std::optional<QUuid> group = run;
    if (!run) {
        const auto latest = Organizer::latestUndoableRun(m_journal);
        if (latest && !latest->group.isNull())
            group = latest->group;
    }
    if (group) {
        if (const auto runs = m_journal.runsOfGroup(*group); !runs.empty())
            return undoGroup(*group, runs, dryRun, observer);
    }
    return m_organizer->undo(m_journal, run, dryRun, observer);
}

UndoResult CleanupRun::undoGroup(const QUuid &group, const std::vector<JournalRun> &runs, bool dryRun,
                                 ExecutionObserver *observer)
{
    UndoResult total;
    total.run = group;
    bool tried = false;
    for (const JournalRun &batch : runs) {
        if (batch.undone || batch.moved == 0)
            continue;
        UndoResult undone = m_organizer->undo(m_journal, batch.id, dryRun, observer);
        if (undone.refusal) {
            // Another run holds the destination: what is not tried yet stays for the next undo.
            if (!tried)
                return UndoResult{group, 0, {}, undone.refusal, 0};
            break;
        }
        tried = true;
        total.restored += undone.restored;
        total.issues += undone.issues;
        total.remaining += undone.remaining;
        if (undone.remaining > 0)
            break; // asked to stop
    }
    if (!tried)
        return m_organizer->undo(m_journal, runs.front().id, dryRun, observer); // says why not
    return total;
}

Path CleanupRun::filedInto(const QUuid &run)
{
    const auto found = m_journal.run(run);
    if (!found)
        return m_store.load().destinationURL;
    const std::string &root = found->destinationRoot.native();
    std::set<std::string> days;
    for (const JournalMove &move : m_journal.moves(run)) {
        const std::string &path = move.destination.native();
        if (move.state == JournalMove::State::moved && path.size() > root.size() + 1 && path.starts_with(root)
            && path[root.size()] == '/')
            days.insert(path.substr(root.size() + 1, path.find('/', root.size() + 1) - root.size() - 1));
    }
    return days.size() == 1 ? found->destinationRoot / *days.begin() : found->destinationRoot;
}

bool CleanupRun::isUndone(const QUuid &run)
{
    if (const auto runs = m_journal.runsOfGroup(run); !runs.empty())
        return std::all_of(runs.begin(), runs.end(), [](const JournalRun &batch) { return batch.undone; });
    const auto found = m_journal.run(run);
    return found && found->undone;
}

QString CleanupRun::undoneLabel(const QUuid &run)
{
    if (const auto runs = m_journal.runsOfGroup(run); !runs.empty()) {
        const bool any = std::any_of(runs.begin(), runs.end(), [](const JournalRun &b) { return b.undone; });
        if (!any)
            return {};
        JournalRun day;
        day.undone = std::all_of(runs.begin(), runs.end(), [](const JournalRun &b) { return b.undone; });
        for (const JournalRun &batch : runs)
            day.moved += batch.moved;
        return day.undone ? sorvanel::undoneLabel(day) : L10n::text("Partly undone");
    }
    const auto found = m_journal.run(run);
    return found ? sorvanel::undoneLabel(*found) : QString();
}

} // namespace sorvanel
