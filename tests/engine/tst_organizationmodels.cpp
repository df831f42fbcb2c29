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

    void issuesRoundTripWithNewIds()
    {
        const QList<OrganizationIssue> issues{OrganizationIssue(u"ä.pdf"_qs, u"No such file or directory"_qs),
                                              OrganizationIssue(u"b\nc"_qs, u"\"quoted\""_qs)};
        const QByteArray data = Json::encodeIssues(issues);
        const QJsonArray array = QJsonDocument::fromJson(data).array();
        QCOMPARE(array.size(), 2);
        QCOMPARE(array[0].toObject().keys(), (QStringList{u"filename"_qs, u"message"_qs}));
        const auto decoded = Json::decodeIssues(data);
        QVERIFY(decoded);
        QCOMPARE(decoded->size(), 2);
        for (int i = 0; i < 2; ++i) {
            QCOMPARE((*decoded)[i].filename, issues[i].filename);
            QCOMPARE((*decoded)[i].message, issues[i].message);
            QVERIFY((*decoded)[i].id != issues[i].id);
        }
        QVERIFY(*decoded != issues);
    }

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
        QTest::newRow("capital mode") << QByteArray(good).replace("\"manual\"", "\"Manual\"");
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

    void hostileJsonDoesNotCrash()
    {
        QVERIFY(!Json::decodeHistory(QByteArray(100000, '[')));
        QVERIFY(!Json::decodeIssues(QByteArray(3, '\xff')));
        QVERIFY(!Json::decodeHistory(QByteArray()));
        const auto huge = Json::decodeHistory(
            R"([{"id":"C4F69128-7CCC-4B7B-9ABF-07C97EB40819","date":1e308,"mode":"manual","moved":1,"skipped":2,"failed":0,"duration":0.1}])");
        QVERIFY(huge);
        QVERIFY(huge->first().date.isValid());
    }

    void thresholdOverflowIsRefused()
    {
        QVERIFY(OrganizerConfiguration::forRun("/a", "/b", 500));
        QCOMPARE(OrganizerConfiguration::forRun("/a", "/b", 500)->largeFileThresholdBytes, 500LL * 1024 * 1024);
        QVERIFY(!OrganizerConfiguration::forRun("/a", "/b", std::numeric_limits<qint64>::max() / 1000));
    }
};

QTEST_GUILESS_MAIN(TestOrganizationModels)
#include "tst_organizationmodels.moc"
