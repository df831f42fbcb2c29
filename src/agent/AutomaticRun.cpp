// SPDX-License-Identifier: GPL-3.0-or-later
#include "AutomaticRun.h"

#include "Localization.h"
#include "Notifier.h"
#include "Organizer.h"
#include "SchedulePolicy.h"
#include "SettingsStore.h"

#include <QElapsedTimer>

namespace sorvanel {

AutomaticRun::AutomaticRun(SettingsStore &store, Organizer &organizer, Notifier &notifier, Clock now,
                           std::function<Calendar()> calendar)
    : m_store(store)
    , m_organizer(organizer)
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

    auto configuration = OrganizerConfiguration::forRun(settings.sourceURL, settings.destinationURL, settings.thresholdMB);
    QElapsedTimer timer;
    timer.start();
    // A forced run is not the day's scheduled one: it leaves that one due.
    const auto markDayDone = [&] {
        if (!force)
            m_store.saveLastAutomaticDay(*due);
    };
    try {
        if (!configuration) {
            report.errorDescription = OrganizerConfiguration::thresholdTooLargeDescription();
        } else {
            configuration->now = m_now;
            report.result = m_organizer.organize(*configuration);
        }
    } catch (const OrganizerFailure &failure) {
        report.errorDescription = failure.errorDescription();
    }
    if (!report.result) {
        // Mark the day done all the same, so the failure is reported once and
        // not again at every start of the agent until midnight.
        markDayDone();
        report.outcome = Outcome::failed;
        m_notifier.notify(L10n::text("Automatic cleanup failed"), report.errorDescription);
        return report;
    }
    m_store.record(*report.result, OrganizationRunMode::automatic, double(timer.nsecsElapsed()) / 1e9);
    markDayDone();
    report.outcome = Outcome::ran;
    return report;
}

} // namespace sorvanel
