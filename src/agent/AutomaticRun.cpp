// SPDX-License-Identifier: GPL-3.0-or-later
#include "AutomaticRun.h"

#include "CleanupRun.h"
#include "Localization.h"
#include "Notifier.h"
#include "Organizer.h"
#include "SchedulePolicy.h"
#include "SettingsStore.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>

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
        // A destination on a drive that is not plugged in (a USB disk, say):
        // the scheduled run waits for it, silently, and leaves the day due,
        // rather than report a problem and file nothing until tomorrow. The
        // agent starts every few minutes, so the run follows the drive soon.
        if (!force && run.missingDrive()) {
            report.outcome = Outcome::waitingForDrive;
            return report;
        }
        // systemd stops the agent with SIGTERM (at logout, at shutdown): the
        // run then stops after the file in hand and is recorded as it is.
        ExecutionControl control;
        StopOnSignal stop(control, SIGTERM);
        const CleanupRun::Outcome outcome = run.organize(OrganizationRunMode::automatic, m_now, &control);
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
    if (report.result->remaining > 0) {
        report.outcome = Outcome::stopped;
        return report;
    }
    markDayDone();
    report.outcome = Outcome::ran;
    if (settings.notifyAfterAutomatic)
        tellTheUser(*report.result, report.runId);
    return report;
}

void AutomaticRun::tellTheUser(const OrganizationResult &result, const QUuid &runId)
{
    // Nothing moved and nothing failed: nothing to say.
    if (result.moved == 0 && result.issues.isEmpty())
        return;
    const QString folder = displayPath(CleanupRun(m_store.suite(), m_organizer).filedInto(runId));
    const QString title = tidiedTitle(result);
    // A success says where the files went; problems say how many, and offer to show them.
    const QString body =
        result.issues.isEmpty() ? L10n::format("Into %@", {QFileInfo(folder).fileName()}) : problemsLine(result);
    QList<Notifier::Action> actions{{QStringLiteral("open"), L10n::text("Open Folder")}};
    if (result.moved > 0)
        actions.append({QStringLiteral("undo"), L10n::text("Undo")});
    if (!result.issues.isEmpty())
        actions.append({QStringLiteral("problems"), L10n::text("Show Problems")});
    const auto chosen = m_notifier.ask(title, body, actions, m_answerWaitMs);
    if (chosen == u"open") {
        m_notifier.showFolder(folder);
    } else if (chosen == u"problems") {
        // The app, started by hand as it were: its window shows the run and its problems.
        QProcess::startDetached(QCoreApplication::applicationDirPath() + QStringLiteral("/sorvanel"), {});
    } else if (chosen == u"undo") {
        ExecutionControl control;
        StopOnSignal stop(control, SIGTERM);
        const UndoResult undone = CleanupRun(m_store.suite(), m_organizer).undo(runId, false, &control);
        if (undone.refusal)
            m_notifier.notify(L10n::text("The cleanup could not be undone"), *undone.refusal);
        else
            m_notifier.notify(
                undone.restored == 1 ? L10n::text("Sorvanel put 1 file back")
                                     : L10n::format("Sorvanel put %d files back", {qint64(undone.restored)}),
                undone.issues.isEmpty() ? QString()
                                        : L10n::format("%d stayed where they are", {qint64(undone.failed())}));
    }
}

} // namespace sorvanel
