// SPDX-License-Identifier: GPL-3.0-or-later
#include "Localization.h"
#include "NameCollator.h"
#include "Organizer.h"

#include <QtTest>

#include <numeric>
#include <set>

using namespace sorvanel;

class TestOrganizerRules : public QObject
{
    Q_OBJECT

private slots:
    void category_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<qint64>("size");
        QTest::addColumn<qint64>("threshold");
        QTest::addColumn<QString>("expected");
        QTest::newRow("at threshold is big") << "a.png" << 100LL << 100LL << "big";
        QTest::newRow("big pdf stays big") << "a.pdf" << 500LL << 100LL << "big";
        QTest::newRow("one below, PNG") << "a.PNG" << 99LL << 100LL << "graphic";
        QTest::newRow("photo.JPG") << "photo.JPG" << 1LL << 100LL << "graphic";
        QTest::newRow("avif") << "x.avif" << 1LL << 100LL << "graphic";
        QTest::newRow("epub") << "book.epub" << 1LL << 100LL << "docs";
        QTest::newRow("last extension counts") << "report.pdf.zip" << 1LL << 100LL << "other";
        QTest::newRow("no extension") << "README" << 1LL << 100LL << "other";
        QTest::newRow("trailing dot") << "weird." << 1LL << 100LL << "other";
        QTest::newRow("threshold 1, empty file") << "a.md" << 0LL << 1LL << "docs";
        QTest::newRow("threshold 1, one byte") << "a.md" << 1LL << 1LL << "big";
        QTest::newRow("disk image") << "x.dmg" << 1LL << 100LL << "other";
        // Names longer than a short-string buffer once read a dead temporary.
        QTest::newRow("long name, pdf") << "Quarterly report for the board.pdf" << 1LL << 100LL << "docs";
        QTest::newRow("long name, PNG") << "screenshot-2024-03-07-at-21.30.11.PNG" << 1LL << 100LL << "graphic";
    }

    void category()
    {
        QFETCH(QString, name);
        QFETCH(qint64, size);
        QFETCH(qint64, threshold);
        QFETCH(QString, expected);
        QCOMPARE(rawValue(Organizer::category(pathFromText(u"/d/"_qs + name), size, threshold)), expected);
    }

    void incomplete_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("expected");
        QTest::newRow("TMP") << "archive.TMP" << true;
        QTest::newRow("Download") << "setup.Download" << true;
        QTest::newRow("crdownload") << "x.crdownload" << true;
        QTest::newRow("mkv.part") << "movie.mkv.part" << true;
        QTest::newRow("partial") << "a.partial" << true;
        QTest::newRow("bare tmp") << "tmp" << false;
        QTest::newRow("long crdownload") << "Unconfirmed 123456 of a long download.crdownload" << true;
        QTest::newRow("part-list.pdf") << "part-list.pdf" << false;
        QTest::newRow("GNOME Web") << "paper.pdf.wkdownload" << true;
        QTest::newRow("qBittorrent") << "disc.iso.!qB" << true;
        QTest::newRow("yt-dlp control") << "talk.mp4.ytdl" << true;
        QTest::newRow("yt-dlp fragment") << "talk.mp4.part-Frag12" << true;
        QTest::newRow("yt-dlp fragment, long") << "talk.f137.mp4.PART-FRAG123456" << true;
        QTest::newRow("aria2 control") << "disc.iso.aria2" << true;
        QTest::newRow("partition.img") << "partition.img" << false;
        QTest::newRow("aria2c.deb") << "aria2c.deb" << false;
    }

    void incomplete()
    {
        QFETCH(QString, name);
        QFETCH(bool, expected);
        QCOMPARE(Organizer::isIncomplete(pathFromText(u"/d/"_qs + name)), expected);
    }

    void finishedName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *tag, const QString &name, const QString &expected) {
            QTest::newRow(tag) << name << expected;
        };
        row("part", "movie.mp4.part", "movie.mp4");
        row("aria2", "disc.iso.aria2", "disc.iso");
        row("fragment", "talk.mp4.part-Frag3", "talk.mp4");
        row("bare", "x.crdownload", "x");
        row("finished", "movie.mp4", "");
        row("only extension", ".part", "");
    }

    void finishedName()
    {
        QFETCH(QString, name);
        QFETCH(QString, expected);
        const std::string bytes = name.toStdString();
        QCOMPARE(QString::fromStdString(std::string(Organizer::finishedName(bytes))), expected);
    }

    void effectiveFileDate()
    {
        const QDateTime epoch = QDateTime::fromMSecsSinceEpoch(0, Qt::UTC);
        const QDateTime created = QDateTime::fromMSecsSinceEpoch(1000, Qt::UTC);
        const QDateTime modified = QDateTime::fromMSecsSinceEpoch(5000000, Qt::UTC);
        QCOMPARE(Organizer::effectiveFileDate(created, modified), created);
        QCOMPARE(Organizer::effectiveFileDate(epoch, modified), modified);
        QCOMPARE(Organizer::effectiveFileDate(epoch.addSecs(-60), modified), modified);
        QCOMPARE(Organizer::effectiveFileDate(std::nullopt, modified), modified);
        QVERIFY(!Organizer::effectiveFileDate(std::nullopt, std::nullopt));
        QVERIFY(!Organizer::effectiveFileDate(epoch, std::nullopt));
    }

    void dateFolderFollowsTheLocalDay()
    {
        const Calendar berlin{QCalendar(), QTimeZone("Europe/Berlin")};
        // 23:30 in Berlin on 7 March is 22:30 UTC: still the 7th locally.
        const QDateTime lateEvening(QDate(2024, 3, 7), QTime(23, 30), QTimeZone("Europe/Berlin"));
        QCOMPARE(Organizer::dateFolderName(lateEvening.toUTC(), berlin), u"2024-03-07"_qs);
        const Calendar utc{QCalendar(), QTimeZone::utc()};
        const QDateTime afterMidnightUtc(QDate(2024, 3, 8), QTime(0, 30), Qt::UTC);
        QCOMPARE(Organizer::dateFolderName(afterMidnightUtc, utc), u"2024-03-08"_qs);
        QCOMPARE(Organizer::dateFolderName(afterMidnightUtc, berlin), u"2024-03-08"_qs);
        const Calendar tokyo{QCalendar(), QTimeZone("Asia/Tokyo")};
        QCOMPARE(Organizer::dateFolderName(QDateTime(QDate(2024, 3, 7), QTime(20, 0), Qt::UTC), tokyo),
                 u"2024-03-08"_qs);
    }

    void dateFolderUsesAsciiDigitsInEveryLocale()
    {
        QLocale::setDefault(QLocale(QLocale::Arabic, QLocale::Egypt));
        const Calendar utc{QCalendar(), QTimeZone::utc()};
        QCOMPARE(Organizer::dateFolderName(QDateTime(QDate(2024, 1, 2), QTime(12, 0), Qt::UTC), utc), u"2024-01-02"_qs);
        QLocale::setDefault(QLocale::system());
    }

    void uniqueDestination_data()
    {
        QTest::addColumn<QStringList>("taken");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *tag, const QStringList &taken, const QString &name, const QString &expected) {
            QTest::newRow(tag) << taken << name << expected;
        };
        row("free", QStringList{}, "report.pdf", "report.pdf");
        row("counter starts at 2", QStringList{"report.pdf"}, "report.pdf", "report-2.pdf");
        row("third", QStringList{"report.pdf", "report-2.pdf"}, "report.pdf", "report-3.pdf");
        row("no extension", QStringList{"notes"}, "notes", "notes-2");
        row("last extension only", QStringList{"archive.tar.gz"}, "archive.tar.gz", "archive.tar-2.gz");
    }

    void uniqueDestination()
    {
        QFETCH(QStringList, taken);
        QFETCH(QString, name);
        QFETCH(QString, expected);
        std::set<std::string> names;
        for (const auto &t : taken)
            names.insert(t.toStdString());
        const Path result = Organizer::uniqueDestination(
            name.toStdString(), "/dest", [&](const Path &p) { return names.count(p.filename().native()) > 0; });
        QCOMPARE(QString::fromStdString(result.native()), u"/dest/"_qs + expected);
    }

    void counterHintsMakeManyClashesLinear()
    {
        std::set<std::string> names{"a.txt"};
        Organizer::CounterHints hints;
        int probes = 0;
        const auto taken = [&](const Path &p) {
            ++probes;
            return names.count(p.filename().native()) > 0;
        };
        for (int i = 0; i < 500; ++i)
            names.insert(Organizer::uniqueDestination("a.txt", "/d", taken, &hints).filename().native());
        QCOMPARE(names.size(), std::size_t(501));
        QVERIFY2(probes < 2000, qPrintable(QString::number(probes)));
        QVERIFY(names.count("a-501.txt"));
    }

    void collatorOrdersLikeAFileBrowser()
    {
        for (const QLocale &locale : {QLocale::c(), QLocale(QLocale::German), QLocale(QLocale::English)}) {
            const NameCollator collator(locale);
            const std::vector<QString> names{u"a10.txt"_qs, u"B.txt"_qs, u"a9.txt"_qs, u"b.txt"_qs, u"A2.txt"_qs};
            const auto order = collator.stableOrder(names);
            QStringList sorted;
            for (auto i : order)
                sorted << names[i];
            QCOMPARE(sorted, (QStringList{u"A2.txt"_qs, u"a9.txt"_qs, u"a10.txt"_qs, u"B.txt"_qs, u"b.txt"_qs}));
        }
    }

    void bigListsSortAsOneAndStayStable()
    {
        // Big lists are cut in parts sorted on separate cores and merged; the
        // result must be the plain stable sort, duplicates in listing order.
        std::vector<QString> names;
        for (int i = 0; i < 20000; ++i) {
            const int n = (i * 7919) % 5000; // each name four times, scattered
            names.push_back((n % 3 ? u"File "_qs : u"file "_qs) + QString::number(n % 1250)
                            + (n % 2 ? u".txt"_qs : u".TXT"_qs));
        }
        names.push_back(u"\u00c4rger.pdf"_qs);
        names.push_back(u"Zebra.pdf"_qs);
        for (const QLocale &locale : {QLocale::c(), QLocale(QLocale::German)}) {
            const NameCollator collator(locale);
            std::vector<std::size_t> expected(names.size());
            std::iota(expected.begin(), expected.end(), std::size_t(0));
            std::stable_sort(expected.begin(), expected.end(),
                             [&](std::size_t a, std::size_t b) { return collator.compare(names[a], names[b]) < 0; });
            QCOMPARE(collator.stableOrder(names), expected);
        }
    }

    void formatFillsPlaceholders()
    {
        QLocale::setDefault(QLocale(QLocale::German));
        QCOMPARE(L10n::formatTranslated(u"%@ · %.2f s"_qs, {u"Manuell"_qs, 0.004}), u"Manuell · 0,00 s"_qs);
        QCOMPARE(L10n::formatTranslated(u"%d moved"_qs, {qint64(12345)}), u"12.345 moved"_qs);
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        QCOMPARE(L10n::formatTranslated(u"%@ · %.2f s"_qs, {u"Manual"_qs, 7.5}), u"Manual · 7.50 s"_qs);
        QCOMPARE(L10n::formatTranslated(u"Last run: %d moved, %d failed"_qs, {3, 1}),
                 u"Last run: 3 moved, 1 failed"_qs);
        QCOMPARE(L10n::formatTranslated(u"%2$d then %1$d, 100%%"_qs, {1, 2}), u"2 then 1, 100%"_qs);
        QCOMPARE(L10n::formatTranslated(u"50% off %@"_qs, {u"x"_qs}), u"50% off x"_qs);
        // Found by fuzzing: huge positions and precisions are capped, not overflowed.
        QCOMPARE(L10n::formatTranslated(u"%4444444444$d|%.4444444444f"_qs, {1}).left(1), u"|"_qs);
        QLocale::setDefault(QLocale::system());
    }
};

QTEST_GUILESS_MAIN(TestOrganizerRules)
#include "tst_organizerrules.moc"
