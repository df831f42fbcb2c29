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

std::optional<QString> dueDay(const QDateTime &now, const QDateTime &automaticTime,
                              const std::optional<QString> &lastAutomaticDay, const Calendar &calendar)
{
    const QString today = dayIdentifier(now, calendar);
    QString due = today;
    if (now < scheduledTime(now, automaticTime, calendar)) {
        // Yesterday's moment: the local date before today's, at noon so that
        // a daylight-saving change can't move it onto another day.
        const QDateTime localNow = calendar.toLocal(now);
        const QDateTime yesterday(localNow.date().addDays(-1), QTime(12, 0), localNow.timeZone());
        due = dayIdentifier(yesterday.toUTC(), calendar);
    }
    // "yyyy-MM-dd" compares as text in date order.
    if (lastAutomaticDay && *lastAutomaticDay >= due && *lastAutomaticDay <= today)
        return std::nullopt;
    return due;
}

bool shouldRun(const QDateTime &now, const QDateTime &automaticTime, const std::optional<QString> &lastAutomaticDay,
               const Calendar &calendar)
{
    return dueDay(now, automaticTime, lastAutomaticDay, calendar).has_value();
}

} // namespace sorvanel::SchedulePolicy
