// SPDX-License-Identifier: GPL-3.0-or-later
#include "SchedulePolicy.h"

#include <QtTest>

using namespace sorvanel;

namespace {
const QTimeZone berlinZone("Europe/Berlin");
const Calendar berlin{QCalendar(), berlinZone};

QDateTime at(int y, int m, int d, int h, int min)
{
    return QDateTime(QDate(y, m, d), QTime(h, min), berlinZone).toUTC();
}
} // namespace

class TestSchedulePolicy : public QObject
{
    Q_OBJECT

private slots:
    // The latest scheduled moment that has passed is due unless a run is recorded for it.
    void dueDay_data()
    {
        QTest::addColumn<QDateTime>("now");
        QTest::addColumn<QDateTime>("automaticTime");
        QTest::addColumn<QString>("lastDay"); // empty: none
        QTest::addColumn<QString>("due"); // empty: nothing due
        const auto row = [](const char *name, const QDateTime &now, const QDateTime &automaticTime,
                            const QString &lastDay,
                            const QString &due) { QTest::newRow(name) << now << automaticTime << lastDay << due; };
        const QDateTime ten = at(2020, 1, 1, 22, 0); // only hour and minute matter
        row("before the time, yesterday done", at(2024, 5, 1, 21, 59), ten, "2024-04-30", "");
        row("at the time", at(2024, 5, 1, 22, 0), ten, "2024-04-30", "2024-05-01");
        row("missed, caught up later that day", at(2024, 5, 1, 23, 40), ten, "2024-04-28", "2024-05-01");
        row("already ran today", at(2024, 5, 1, 23, 40), ten, "2024-05-01", "");
        row("ran yesterday, not yet time", at(2024, 5, 2, 8, 0), ten, "2024-05-01", "");
        row("ran yesterday, time passed", at(2024, 5, 2, 22, 1), ten, "2024-05-01", "2024-05-02");
        row("missed evening, caught up next morning", at(2024, 5, 2, 8, 0), ten, "2024-04-30", "2024-05-01");
        row("never ran", at(2024, 5, 2, 8, 0), ten, "", "2024-05-01");
        row("across midnight, missed", at(2024, 5, 2, 0, 10), at(2020, 1, 1, 23, 30), "2024-04-30", "2024-05-01");
        row("across midnight, done", at(2024, 5, 2, 0, 10), at(2020, 1, 1, 23, 30), "2024-05-01", "");
        row("off for a week", at(2024, 5, 8, 8, 0), ten, "2024-05-01", "2024-05-07");
        row("off for a week, caught up", at(2024, 5, 8, 8, 5), ten, "2024-05-07", "");
        row("morning time", at(2024, 5, 2, 7, 31), at(2020, 1, 1, 7, 30), "2024-05-01", "2024-05-02");
        row("spring forward, in the gap", at(2024, 3, 31, 3, 30), at(2020, 1, 1, 2, 30), "2024-03-30", "2024-03-31");
        row("spring forward, before", at(2024, 3, 31, 1, 30), at(2020, 1, 1, 2, 30), "2024-03-30", "");
        row("spring forward, missed", at(2024, 4, 1, 1, 0), at(2020, 1, 1, 2, 30), "2024-03-30", "2024-03-31");
        row("fall back, after", at(2024, 10, 27, 3, 0), at(2020, 1, 1, 2, 30), "2024-10-26", "2024-10-27");
        row("fall back, done", at(2024, 10, 27, 3, 0), at(2020, 1, 1, 2, 30), "2024-10-27", "");
        row("fall back, missed", at(2024, 10, 28, 1, 0), at(2020, 1, 1, 2, 30), "2024-10-26", "2024-10-27");
        row("stored day from the future", at(2024, 5, 2, 22, 1), ten, "2024-06-01", "2024-05-02");
    }

    void dueDay()
    {
        QFETCH(QDateTime, now);
        QFETCH(QDateTime, automaticTime);
        QFETCH(QString, lastDay);
        QFETCH(QString, due);
        const std::optional<QString> last = lastDay.isEmpty() ? std::nullopt : std::optional(lastDay);
        QCOMPARE(SchedulePolicy::dueDay(now, automaticTime, last, berlin).value_or(QString()), due);
        QCOMPARE(SchedulePolicy::shouldRun(now, automaticTime, last, berlin), !due.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestSchedulePolicy)
#include "tst_schedulepolicy.moc"
