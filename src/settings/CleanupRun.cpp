// SPDX-License-Identifier: GPL-3.0-or-later
#include "CleanupRun.h"

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
    return *configuration;
}

std::optional<Path> CleanupRun::missingDrive()
{
    return m_organizer->missingDrive(m_store.load().destinationURL);
}

OrganizationPlan CleanupRun::plan(const Clock &now, Organizer::PlanUse use)
{
    return plan(configuration(m_store.load(), now), use);
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
    // The record and the end of the journaled run go together: a kill leaves
    // either both or neither, and a run left open is settled by the next one.
    m_store.defaults().transaction([&] {
        m_store.record(outcome.result, mode, outcome.duration, outcome.id);
        m_journal.finish(outcome.id);
    });
    return outcome;
}

CleanupRun::Outcome CleanupRun::organize(OrganizationRunMode mode, const Clock &now, ExecutionObserver *observer)
{
    QElapsedTimer started;
    started.start();
    OrganizationPlan planned = plan(now, Organizer::PlanUse::execution);
    Outcome outcome = execute(planned, mode, started, observer);
    planned.release();
    return outcome;
}

UndoResult CleanupRun::undo(const std::optional<QUuid> &run, bool dryRun, ExecutionObserver *observer)
{
    return m_organizer->undo(m_journal, run, dryRun, observer);
}

bool CleanupRun::isUndone(const QUuid &run)
{
    const auto found = m_journal.run(run);
    return found && found->undone;
}

QString CleanupRun::undoneLabel(const QUuid &run)
{
    const auto found = m_journal.run(run);
    return found ? sorvanel::undoneLabel(*found) : QString();
}

} // namespace sorvanel
