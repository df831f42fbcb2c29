// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Calendar.h"
#include "OrganizationModels.h"

#include <functional>
#include <memory>
#include <optional>

namespace sorvanel {

class Notifier;
class Organizer;
class SettingsStore;
struct StoredSettings;

// One start of the automatic-run program: decide whether today's run is due,
// run it like a manual run, record it as automatic and mark the day done.
class AutomaticRun
{
public:
    // `stopped`: SIGTERM came mid-run (logout, shutdown). The run is recorded
    // with what it moved, but its moment stays due, so the next start files
    // the rest; and nobody is told, since the session is going away.
    // waitingForDrive: the destination's drive is not plugged in; the run
    // stays due and happens at the first start of the agent after it is.
    enum class Outcome { disabled, notDue, waitingForDrive, ran, stopped, failed };

    struct Report
    {
        Outcome outcome = Outcome::notDue;
        std::optional<OrganizationResult> result;
        QString errorDescription;
        QUuid runId; // the run's ID in the history and the journal
    };

    AutomaticRun(SettingsStore &store, std::shared_ptr<Organizer> organizer, Notifier &notifier, Clock now = systemNow,
                 std::function<Calendar()> calendar = Calendar::current);

    // `force` runs whatever the switch and the schedule say. After a run that
    // moved or failed anything it notifies, with the actions "Open Folder" and
    // "Undo", and waits a while for the user's choice: this short-lived
    // program is the one the notification service answers.
    Report perform(bool force);
    void setAnswerWait(int milliseconds) { m_answerWaitMs = milliseconds; }

private:
    void tellTheUser(const OrganizationResult &result, const QUuid &runId);

    SettingsStore &m_store;
    std::shared_ptr<Organizer> m_organizer;
    Notifier &m_notifier;
    Clock m_now;
    std::function<Calendar()> m_calendar;
    int m_answerWaitMs = 5 * 60 * 1000;
};

} // namespace sorvanel
