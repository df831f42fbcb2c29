// SPDX-License-Identifier: GPL-3.0-or-later
#include "Calendar.h"

#include <QLocale>

namespace sorvanel {

Calendar Calendar::current()
{
    return Calendar{QCalendar(QCalendar::System::Gregorian), QTimeZone::systemTimeZone()};
}

QDateTime Calendar::toLocal(const QDateTime &date) const
{
    return timeZone.isValid() ? date.toTimeZone(timeZone) : date.toLocalTime();
}

QString Calendar::dayString(const QDateTime &date) const
{
    static const QLocale posix = QLocale::c();
    return posix.toString(toLocal(date).date(), u"yyyy-MM-dd", system);
}

} // namespace sorvanel
