// SPDX-License-Identifier: GPL-3.0-or-later
// Other processes and programs at work in the same folders while we move.
#include "ReliabilitySupport.h"
#include "SettingsStore.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <atomic>
#include <fcntl.h>
#include <thread>
#include <unistd.h>

using namespace sorvanel;
using namespace sorvanel::test;

class TestRaces : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;
    Path source() const { return toPath(m_home->downloads()); }
    Path destination() const { return source() / "__filesDownloadedAt"; }

private slots:
    void init() { m_home = std::make_unique<TemporaryHome>(); }

    void severalOrganizersAtOnce()
    {
        Originals originals;
        originals.create(source(), 8000, 1, 1000000);
        std::vector<std::unique_ptr<QProcess>> runs;
        for (int i = 0; i < 3; ++i) {
            runs.push_back(std::make_unique<QProcess>());
            runs.back()->start(QString::fromLocal8Bit(qgetenv("SORVANEL_CLI")), {u"organize"_qs, u"--json"_qs});
        }
        qint64 moved = 0;
        int refused = 0;
        for (auto &run : runs) {
            QVERIFY(run->waitForFinished(120000));
            const QJsonObject result = QJsonDocument::fromJson(run->readAllStandardOutput()).object();
            moved += result.value(u"moved"_qs).toInteger();
            for (const auto &issue : result.value(u"issues"_qs).toArray())
                refused += issue.toObject().value(u"filename"_qs).toString() == u"Cleanup";
        }
        QCOMPARE(moved, qint64(originals.size()));
        const auto census = originals.census({source()}) /* the destination lies inside */;
        QCOMPARE(census.missing, 0);
        QCOMPARE(census.duplicated, 0);
        QCOMPARE(census.foreign, 0);
        qInfo("3 organizers at once: %d refused by the lock", refused);
    }

    void anotherProgramTakesThePlannedNames()
    {
        Originals originals;
        originals.create(source(), 3000, 2, 1000000);
        const Run preview = cli({u"preview"_qs, u"--json"_qs});
        QCOMPARE(preview.status, 0);
        std::vector<std::string> planned;
        for (const auto &move : preview.json().object().value(u"moves"_qs).toArray())
            planned.push_back(move.toObject().value(u"destination"_qs).toString().toStdString());
        QCOMPARE(int(planned.size()), originals.size());

        // Every other planned name is taken by someone else while the run goes on.
        std::atomic<int> taken = 0;
        QProcess organize;
        organize.start(QString::fromLocal8Bit(qgetenv("SORVANEL_CLI")), {u"organize"_qs});
        std::thread racer([&] {
            for (std::size_t i = 0; i < planned.size(); i += 2) {
                std::filesystem::create_directories(Path(planned[i]).parent_path());
                const int fd = ::open(planned[i].c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
                if (fd >= 0) {
                    (void)::write(fd, "theirs", 6);
                    ::close(fd);
                    ++taken;
                }
            }
        });
        racer.join();
        QVERIFY(organize.waitForFinished(120000));
        // Nothing of theirs was overwritten, nothing of ours was lost.
        int intact = 0;
        for (std::size_t i = 0; i < planned.size(); i += 2)
            intact += readFile(Path(planned[i])) == "theirs";
        QCOMPARE(intact, taken.load());
        const auto census = originals.census({source()}) /* the destination lies inside */;
        QCOMPARE(census.missing, 0);
        QCOMPARE(census.duplicated, 0);
        QCOMPARE(census.foreign, taken.load()); // their files, and nothing else foreign
        qInfo("%d planned names taken by another program during the run", taken.load());
    }

    void foldersSwappedForLinksDuringTheRun()
    {
        Originals originals;
        originals.create(source(), 6000, 3, 1000000);
        TemporaryFolder outsideDir;
        const Path outside = toPath(outsideDir.path());
        std::filesystem::create_directories(outside / "docs");
        const QString firstDestination = cli({u"preview"_qs, u"--json"_qs})
                                             .json()
                                             .object()
                                             .value(u"moves"_qs)
                                             .toArray()
                                             .first()
                                             .toObject()
                                             .value(u"destination"_qs)
                                             .toString();
        const Path dayFolder = Path(firstDestination.toStdString()).parent_path().parent_path();

        std::atomic<bool> done = false;
        int swaps = 0;
        QProcess organize;
        organize.start(QString::fromLocal8Bit(qgetenv("SORVANEL_CLI")), {u"organize"_qs});
        std::thread racer([&] {
            // Keep replacing the day folder with a link to a folder outside the root.
            while (!done) {
                std::error_code ignored;
                if (std::filesystem::is_directory(
                        std::filesystem::symlink_status(std::filesystem::path(dayFolder), ignored))) {
                    std::filesystem::rename(dayFolder, dayFolder.native() + ".moved-" + std::to_string(swaps), ignored);
                    std::filesystem::create_directory_symlink(outside, dayFolder, ignored);
                    ++swaps;
                }
                std::this_thread::sleep_for(std::chrono::microseconds(300));
            }
        });
        QVERIFY(organize.waitForFinished(120000));
        done = true;
        racer.join();
        // Nothing landed outside the destination root; nothing was lost.
        std::size_t outsideFiles = 0;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(outside))
            outsideFiles += entry.is_regular_file();
        QCOMPARE(outsideFiles, std::size_t(0));
        const auto census = originals.census({source()}) /* the destination lies inside */;
        QCOMPARE(census.missing, 0);
        QCOMPARE(census.duplicated, 0);
        QCOMPARE(census.foreign, 0);
        qInfo("day folder swapped for a link %d times during the run", swaps);
    }

    void sourceFolderSwappedDuringTheRun()
    {
        Originals originals;
        originals.create(source(), 6000, 4, 1000000);
        TemporaryFolder elsewhere;
        std::atomic<bool> swapped = false;
        QProcess organize;
        organize.start(QString::fromLocal8Bit(qgetenv("SORVANEL_CLI")), {u"organize"_qs});
        QTest::qSleep(40);
        const std::filesystem::path moved = std::filesystem::path(m_home->path().toStdString()) / "Downloads-moved";
        std::error_code ignored;
        std::filesystem::rename(source(), moved, ignored);
        std::filesystem::create_directory_symlink(elsewhere.path().toStdString(), source(), ignored);
        swapped = true;
        QVERIFY(organize.waitForFinished(120000));
        const auto census = originals.census({Path(moved), toPath(elsewhere.path())});
        QCOMPARE(census.missing, 0);
        QCOMPARE(census.duplicated, 0);
        QCOMPARE(census.foreign, 0);
    }
};

QTEST_GUILESS_MAIN(TestRaces)
#include "tst_races.moc"
