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

// Due once the day's time has passed and no run is recorded for today. The
// agent is started every few minutes, so a time missed while the machine
// slept or the user was logged out is caught up at the next start that day.
bool shouldRun(const QDateTime &now, const QDateTime &automaticTime, const std::optional<QString> &lastAutomaticDay,
               const Calendar &calendar);

} // namespace SchedulePolicy
} // namespace sorvanel
