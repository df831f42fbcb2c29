// SPDX-License-Identifier: GPL-3.0-or-later
#include "AutomaticRun.h"

#include "CleanupRun.h"
#include "Localization.h"
#include "Notifier.h"
#include "Organizer.h"
#include "SchedulePolicy.h"
#include "SettingsStore.h"

namespace sorvanel {

AutomaticRun::AutomaticRun(SettingsStore &store, std::shared_ptr<Organizer> organizer, Notifier &notifier, Clock now,
                           std::function<Calendar()> calendar)
    : m_store(store)
    , m_organizer(std::move(organizer))
    , m_notifier(notifier)
    , m_now(std::move(now))
    , m_calendar(std::move(calendar))
{
}

AutomaticRun::Report AutomaticRun::perform(bool force)
{
    const StoredSettings settings = m_store.load();
    const Calendar calendar = m_calendar();
    const QDateTime now = m_now();
    Report report;
    if (!force && !settings.automaticEnabled) {
        report.outcome = Outcome::disabled;
        return report;
    }
    // The run belongs to its scheduled moment, which may be yesterday's.
    const auto due = SchedulePolicy::dueDay(now, settings.automaticTime, settings.lastAutomaticDay, calendar);
    if (!force && !due) {
        report.outcome = Outcome::notDue;
        return report;
    }

    // A forced run is not the day's scheduled one: it leaves that one due.
    const auto markDayDone = [&] {
        if (!force)
            m_store.saveLastAutomaticDay(*due);
    };
    try {
        CleanupRun run(m_store.suite(), m_organizer);
        const CleanupRun::Outcome outcome = run.organize(OrganizationRunMode::automatic, m_now);
        report.result = outcome.result;
        report.runId = outcome.id;
    } catch (const CleanupRun::Failure &failure) {
        report.errorDescription = failure.description;
    }
    if (!report.result) {
        // Mark the day done all the same, so the failure is reported once and
        // not again at every start of the agent until midnight.
        markDayDone();
        report.outcome = Outcome::failed;
        m_notifier.notify(L10n::text("Automatic cleanup failed"), report.errorDescription);
        return report;
    }
    markDayDone();
    report.outcome = Outcome::ran;
    return report;
}

} // namespace sorvanel
