// SPDX-License-Identifier: GPL-3.0-or-later
#include "OrganizationModels.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

using namespace sorvanel;

class TestOrganizationModels : public QObject
{
    Q_OBJECT

private slots:

    void historyForm()
    {
        RunHistoryEntry entry;
        entry.id = QUuid::createUuid();
        entry.date = QDateTime::fromMSecsSinceEpoch(978307200000LL + 1234567, Qt::UTC);
        entry.mode = OrganizationRunMode::automatic;
        entry.moved = 3;
        entry.skipped = 4;
        entry.failed = 1;
        entry.duration = 0.25;
        const QByteArray data = Json::encodeHistory({entry});
        QVERIFY(!data.contains('\n'));
        const QJsonObject object = QJsonDocument::fromJson(data).array().first().toObject();
        QCOMPARE(object.value(u"id"_qs).toString(), entry.id.toString(QUuid::WithoutBraces).toUpper());
        QCOMPARE(object.value(u"date"_qs).toDouble(), 1234.567);
        QCOMPARE(object.value(u"mode"_qs).toString(), u"automatic"_qs);
        const auto decoded = Json::decodeHistory(data);
        QVERIFY(decoded);
        QCOMPARE(decoded->first(), entry);
    }

    void historyDecodingIsStrict_data()
    {
        QTest::addColumn<QByteArray>("json");
        const QByteArray good =
            R"({"id":"C4F69128-7CCC-4B7B-9ABF-07C97EB40819","date":1.5,"mode":"manual","moved":1,"skipped":2,"failed":0,"duration":0.1})";
        QTest::newRow("mode as number") << QByteArray(good).replace("\"manual\"", "1");
        QTest::newRow("no duration") << QByteArray(good).replace(",\"duration\":0.1", "");
        QTest::newRow("count as string") << QByteArray(good).replace("\"moved\":1", "\"moved\":\"1\"");
        QTest::newRow("fractional count") << QByteArray(good).replace("\"moved\":1", "\"moved\":1.5");
        QTest::newRow("bad uuid") << QByteArray(good).replace("C4F69128", "nonsense");
        QTest::newRow("date as string") << QByteArray(good).replace("1.5", "\"1.5\"");
        QTest::newRow("not an object") << QByteArray("42");
        QTest::newRow("truncated") << good.left(40);
    }

    void historyDecodingIsStrict()
    {
        QFETCH(QByteArray, json);
        const QByteArray good =
            R"({"id":"C4F69128-7CCC-4B7B-9ABF-07C97EB40819","date":1.5,"mode":"manual","moved":1,"skipped":2,"failed":0,"duration":0.1})";
        QVERIFY(Json::decodeHistory("[" + good + "]"));
        // One bad entry fails the whole list.
        QVERIFY(!Json::decodeHistory("[" + good + "," + json + "]"));
    }

    void extraKeysAreIgnored()
    {
        const auto decoded = Json::decodeIssues(R"([{"filename":"a","message":"b","extra":1}])");
        QVERIFY(decoded);
        QCOMPARE(decoded->first().filename, u"a"_qs);
        QVERIFY(!Json::decodeIssues(R"([{"filename":"a"}])"));
        QVERIFY(!Json::decodeIssues(R"({"filename":"a","message":"b"})"));
    }
};

QTEST_GUILESS_MAIN(TestOrganizationModels)
#include "tst_organizationmodels.moc"
