// SPDX-License-Identifier: GPL-3.0-or-later
// sorvanel-bench-where CLI [RUNS] [MOVES]: writes a journal of RUNS runs of
// MOVES moves each (50 × 20,000 = 1,000,000 by default) as runs write it, in
// batches, then times `sorvanel-cli where` over it (the median of 5) for a
// part of a name, a pattern and a name with an accent, and prints the
// journal's size on disk.
#include "SettingsStore.h"
#include "SqliteRunJournal.h"

#include <QCoreApplication>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <deque>

using namespace sorvanel;

namespace {

// The name of move `i` of run `r`: photos, documents, archives, now and then one with an accent.
std::string nameOf(int r, int i)
{
    switch (i % 4) {
    case 0:
        return "IMG_" + std::to_string(r * 100000 + i) + ".jpg";
    case 1:
        return "invoice-" + std::to_string(r) + "-" + std::to_string(i) + ".pdf";
    case 2:
        return i % 1000 == 2 ? "Résumé " + std::to_string(r) + "-" + std::to_string(i) + ".pdf"
                             : "setup-" + std::to_string(i) + ".tar.gz";
    default:
        return "notes " + std::to_string(i) + ".txt";
    }
}

void writeJournal(SqliteRunJournal &journal, int runs, int moves)
{
    const Path source = "/home/someone/Downloads";
    const Path root = source / "__filesDownloadedAt";
    for (int r = 0; r < runs; ++r) {
        const QUuid id = QUuid::createUuid();
        journal.begin(
            {id, QDateTime::currentDateTimeUtc().addDays(r - runs), OrganizationRunMode::manual, source, root});
        for (int first = 0; first < moves; first += 2048) {
            std::deque<std::string> paths;
            std::vector<JournalIntent> batch;
            for (int i = first; i < std::min(moves, first + 2048); ++i) {
                const std::string name = nameOf(r, i);
                const std::string &from = paths.emplace_back((source / name).native());
                const std::string &to = paths.emplace_back((root / "2026-11-20" / "docs" / name).native());
                batch.push_back({i, from, to, {1, std::uint64_t(r * moves + i + 1)}, 4096, 1, 0});
            }
            journal.intend(id, batch);
            journal.settle(id, {});
        }
        journal.finish(id);
    }
}

double medianMs(const QString &cli, const QStringList &arguments, int *found)
{
    std::vector<double> times;
    for (int k = 0; k < 5; ++k) {
        QProcess process;
        QElapsedTimer timer;
        timer.start();
        process.start(cli, arguments);
        process.waitForFinished(-1);
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
        *found = int(process.readAllStandardOutput().count('\n'));
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments().mid(1);
    if (arguments.isEmpty()) {
        std::fprintf(stderr, "usage: sorvanel-bench-where CLI [RUNS] [MOVES]\n");
        return 64;
    }
    const int runs = arguments.size() > 1 ? arguments[1].toInt() : 50;
    const int moves = arguments.size() > 2 ? arguments[2].toInt() : 20000;
    QTemporaryDir home;
    qputenv("HOME", QFile::encodeName(home.path()));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.path() + u"/.config"_qs));
    qputenv("XDG_DATA_HOME", QFile::encodeName(home.path() + u"/.local/share"_qs));
    {
        SettingsStore store;
        SqliteRunJournal journal(store.suite());
        QElapsedTimer written;
        written.start();
        writeJournal(journal, runs, moves);
        std::printf("journal: %d runs of %d moves written in %.0f ms\n", runs, moves, double(written.elapsed()));
    }
    qint64 bytes = 0;
    for (QDirIterator it(home.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories); it.hasNext();)
        bytes += QFileInfo(it.next()).size();
    std::printf("on disk: %.1f MB\n", double(bytes) / 1e6);
    for (const QString &text : {u"invoice-7-1001"_qs, u"IMG_12345*.jpg"_qs, u"resume 3-"_qs}) {
        int found = 0;
        const double ms = medianMs(arguments[0], {u"where"_qs, text}, &found);
        std::printf("where %-16s %8.1f ms  (%d found)\n", qPrintable(text), ms, found);
    }
    return 0;
}
