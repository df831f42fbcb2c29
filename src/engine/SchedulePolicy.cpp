// SPDX-License-Identifier: GPL-3.0-or-later
#include "SchedulePolicy.h"

namespace sorvanel::SchedulePolicy {

QString dayIdentifier(const QDateTime &date, const Calendar &calendar)
{
    return calendar.dayString(date);
}

QDateTime scheduledTime(const QDateTime &now, const QDateTime &automaticTime, const Calendar &calendar)
{
    const QDateTime localNow = calendar.toLocal(now);
    QTime time(22, 0);
    if (automaticTime.isValid()) {
        const QTime configured = calendar.toLocal(automaticTime).time();
        time = QTime(configured.hour(), configured.minute());
    }
    QDateTime scheduled(localNow.date(), time, localNow.timeZone());
    if (!calendar.timeZone.isValid())
        scheduled = QDateTime(localNow.date(), time, Qt::LocalTime);
    // A time the clock skips that day (the spring-forward gap) happens an hour later.
    if (!scheduled.isValid())
        scheduled = QDateTime(localNow.date(), time.addSecs(3600), scheduled.timeZone());
    return scheduled.toUTC();
}

bool shouldRun(const QDateTime &now, const QDateTime &automaticTime, const std::optional<QString> &lastAutomaticDay,
               const Calendar &calendar)
{
    if (lastAutomaticDay && *lastAutomaticDay == dayIdentifier(now, calendar))
        return false;
    return now >= scheduledTime(now, automaticTime, calendar);
}

} // namespace sorvanel::SchedulePolicy
