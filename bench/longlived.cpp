// SPDX-License-Identifier: GPL-3.0-or-later
// sorvanel-bench-longlived: one CleanupRun called again and again in one
// process, as a long-lived caller calls it: a small run (two files) each time,
// every tenth one undone, the others' files taken away afterwards. Prints the
// resident memory and the time per run as it goes, so that growth shows.
#include "CleanupRun.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sys/time.h>
#include <unistd.h>

namespace {

double residentMB()
{
    std::ifstream statm("/proc/self/statm");
    long size = 0;
    long resident = 0;
    statm >> size >> resident;
    return double(resident) * double(::sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

// A file old enough to be filed.
void writeOldFile(const std::filesystem::path &path)
{
    std::ofstream(path) << "a small download";
    const struct timeval times[2] = {{::time(nullptr) - 7200, 0}, {::time(nullptr) - 7200, 0}};
    ::utimes(path.c_str(), times);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int runs = argc > 1 ? std::atoi(argv[1]) : 10000;
    QTemporaryDir home;
    QDir(home.path()).mkpath(QStringLiteral("Downloads"));
    qputenv("HOME", QFile::encodeName(home.path()));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.path() + QStringLiteral("/.config")));
    qunsetenv("XDG_DOWNLOAD_DIR");
    const std::filesystem::path downloads = QFile::encodeName(home.path() + QStringLiteral("/Downloads")).toStdString();
    const std::filesystem::path filed = downloads / "__filesDownloadedAt";

    using namespace sorvanel;
    CleanupRun cleanup(DefaultsSuite::open(SettingsStore::suiteName()));
    QElapsedTimer total;
    total.start();
    QElapsedTimer stretch;
    stretch.start();
    int printed = 0;
    std::printf("%8s %12s %14s\n", "runs", "resident MB", "ms per run");
    for (int i = 1; i <= runs; ++i) {
        writeOldFile(downloads / "report.pdf");
        writeOldFile(downloads / "photo.png");
        const CleanupRun::Outcome outcome = cleanup.organize(OrganizationRunMode::manual);
        if (outcome.result.moved != 2)
            std::fprintf(stderr, "run %d moved %lld files\n", i, static_cast<long long>(outcome.result.moved));
        if (i % 10 == 0) {
            cleanup.undo(outcome.id, false);
            std::filesystem::remove(downloads / "report.pdf");
            std::filesystem::remove(downloads / "photo.png");
        } else {
            for (const auto &day : std::filesystem::directory_iterator(filed)) {
                if (day.is_directory())
                    std::filesystem::remove_all(day.path());
            }
        }
        if (i == 1 || i == 10 || i == 100 || i % 1000 == 0 || i == runs) {
            std::printf("%8d %12.1f %14.2f\n", i, residentMB(), double(stretch.nsecsElapsed()) / 1e6 / (i - printed));
            std::fflush(stdout);
            stretch.restart();
            printed = i;
        }
    }
    std::printf("%d runs in %.1f s\n", runs, double(total.elapsed()) / 1000.0);
    return 0;
}
