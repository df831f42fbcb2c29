// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Calendar.h"

#include <QDateTime>
#include <QString>

#include <optional>

namespace sorvanel {

// The day rules of the automatic run, shared by the agent and the app.
namespace SchedulePolicy {

// "yyyy-MM-dd" of the calendar day on which the date falls.
QString dayIdentifier(const QDateTime &date, const Calendar &calendar);

// Today's scheduled moment: today's date at automaticTime's hour and minute
// (both read in the calendar's zone).
QDateTime scheduledTime(const QDateTime &now, const QDateTime &automaticTime, const Calendar &calendar);

// The scheduled moment a run is due for, as the day it belongs to: the latest
// scheduled moment that has passed (today's if its time has come, otherwise
// yesterday's), when no automatic run is recorded for it. Nothing when none is
// due. A moment missed while the machine was off is so caught up at the next
// start, however late, and each moment gets at most one run. A recorded day
// after today (a clock set back) counts as no record.
std::optional<QString> dueDay(const QDateTime &now, const QDateTime &automaticTime,
                              const std::optional<QString> &lastAutomaticDay, const Calendar &calendar);

bool shouldRun(const QDateTime &now, const QDateTime &automaticTime, const std::optional<QString> &lastAutomaticDay,
               const Calendar &calendar);

} // namespace SchedulePolicy
} // namespace sorvanel
