// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCalendar>
#include <QDateTime>
#include <QString>
#include <QTimeZone>

namespace sorvanel {

// The calendar and time zone in which dates become days. Linux has no
// per-user calendar setting, so the current one is Gregorian in the system
// zone (TZ or /etc/localtime); tests pass others.
struct Calendar
{
    QCalendar system;
    QTimeZone timeZone;

    static Calendar current();

    QDateTime toLocal(const QDateTime &date) const;
    // "yyyy-MM-dd" in this calendar's numbering, ASCII digits.
    QString dayString(const QDateTime &date) const;
};

} // namespace sorvanel
