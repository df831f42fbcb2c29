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
    void dayIdentifiers()
    {
        QCOMPARE(SchedulePolicy::dayIdentifier(at(2024, 3, 7, 0, 5), berlin), u"2024-03-07"_qs);
        QCOMPARE(SchedulePolicy::dayIdentifier(at(2024, 3, 7, 23, 55), berlin), u"2024-03-07"_qs);
        QVERIFY(SchedulePolicy::dayIdentifier(at(2024, 3, 7, 23, 55), berlin)
                != SchedulePolicy::dayIdentifier(at(2024, 3, 8, 0, 5), berlin));
    }

    void shouldRun_data()
    {
        QTest::addColumn<QDateTime>("now");
        QTest::addColumn<QDateTime>("automaticTime");
        QTest::addColumn<QString>("lastDay"); // empty: none
        QTest::addColumn<bool>("expected");
        const QDateTime ten = at(2020, 1, 1, 22, 0); // only hour and minute matter
        QTest::newRow("before the time") << at(2024, 5, 1, 21, 59) << ten << "" << false;
        QTest::newRow("at the time") << at(2024, 5, 1, 22, 0) << ten << "" << true;
        QTest::newRow("missed, caught up later that day") << at(2024, 5, 1, 23, 40) << ten << "2024-04-28" << true;
        QTest::newRow("already ran today") << at(2024, 5, 1, 23, 40) << ten << "2024-05-01" << false;
        QTest::newRow("ran yesterday, not yet time") << at(2024, 5, 2, 8, 0) << ten << "2024-05-01" << false;
        QTest::newRow("ran yesterday, time passed") << at(2024, 5, 2, 22, 1) << ten << "2024-05-01" << true;
        QTest::newRow("morning time") << at(2024, 5, 2, 7, 31) << at(2020, 1, 1, 7, 30) << "2024-05-01" << true;
        QTest::newRow("summer-time gap") << at(2024, 3, 31, 3, 30) << at(2020, 1, 1, 2, 30) << "" << true;
        QTest::newRow("stored day from the future") << at(2024, 5, 2, 22, 1) << ten << "2024-06-01" << true;
    }

    void shouldRun()
    {
        QFETCH(QDateTime, now);
        QFETCH(QDateTime, automaticTime);
        QFETCH(QString, lastDay);
        QFETCH(bool, expected);
        const std::optional<QString> last = lastDay.isEmpty() ? std::nullopt : std::optional(lastDay);
        QCOMPARE(SchedulePolicy::shouldRun(now, automaticTime, last, berlin), expected);
    }
};

QTEST_GUILESS_MAIN(TestSchedulePolicy)
#include "tst_schedulepolicy.moc"
