// SPDX-License-Identifier: GPL-3.0-or-later
// sorvanel-bench: times `sorvanel-cli preview` and `organize` on generated
// downloads folders against the floor program, and the idle desktop app.
#include "DownloadsGenerator.h"
#include "OrganizationModels.h"
#include "SettingsStore.h"
#include "WriterProbe.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStringList>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char **environ;

namespace {

struct Measure
{
    double wallMs = 0;
    double cpuMs = 0;
    double peakMB = 0;
};

double now()
{
    struct timespec t;
    ::clock_gettime(CLOCK_MONOTONIC, &t);
    return double(t.tv_sec) * 1e3 + double(t.tv_nsec) / 1e6;
}

// Runs a program with its output discarded; wall time, CPU time and peak memory.
Measure run(const QString &program, const QStringList &arguments)
{
    std::vector<QByteArray> storage{QFile::encodeName(program)};
    for (const auto &a : arguments)
        storage.push_back(QFile::encodeName(a));
    std::vector<char *> argv;
    for (auto &s : storage)
        argv.push_back(s.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    const double start = now();
    pid_t pid = 0;
    if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
        std::fprintf(stderr, "cannot start %s\n", argv[0]);
        std::exit(2);
    }
    int status = 0;
    struct rusage usage;
    ::wait4(pid, &status, 0, &usage);
    Measure m;
    m.wallMs = now() - start;
    m.cpuMs = double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
    m.peakMB = double(usage.ru_maxrss) / 1024.0;
    posix_spawn_file_actions_destroy(&actions);
    if (!WIFEXITED(status) || WEXITSTATUS(status) > 1)
        std::fprintf(stderr, "warning: %s ended with status %d\n", argv[0], WEXITSTATUS(status));
    return m;
}

Measure median(std::vector<Measure> runs)
{
    const auto pickMedian = [&](auto field) {
        std::vector<double> values;
        for (const auto &m : runs)
            values.push_back(m.*field);
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    };
    return {pickMedian(&Measure::wallMs), pickMedian(&Measure::cpuMs), pickMedian(&Measure::peakMB)};
}

void print(const char *size, const char *step, const Measure &m, double floorMs)
{
    std::printf("%9s  %-16s %10.1f %10.1f %9.1f", size, step, m.wallMs, m.cpuMs, m.peakMB);
    if (floorMs > 0)
        std::printf(" %8.2fx", m.wallMs / floorMs);
    std::printf("\n");
}

// The idle desktop app: CPU share and memory after it has settled.
void idleApp(const QString &app, int seconds)
{
    pid_t pid = 0;
    QByteArray program = QFile::encodeName(app);
    char *argv[] = {program.data(), nullptr};
    qputenv("QT_QPA_PLATFORM", "offscreen");
    if (posix_spawn(&pid, argv[0], nullptr, nullptr, argv, environ) != 0)
        return;
    const auto ticks = [pid] {
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        stat.open(QIODevice::ReadOnly);
        const QList<QByteArray> fields = stat.readAll().split(')').value(1).trimmed().split(' ');
        return fields.value(11).toLongLong() + fields.value(12).toLongLong(); // utime + stime
    };
    const auto memory = [pid](const char *key) {
        QFile status(QStringLiteral("/proc/%1/status").arg(pid));
        status.open(QIODevice::ReadOnly);
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith(key))
                return line.mid(int(std::strlen(key))).trimmed().split(' ').value(0).toDouble() / 1024.0;
        }
        return 0.0;
    };
    QThread::sleep(5); // start-up and the first polls
    const long long before = ticks();
    const double start = now();
    QThread::sleep(unsigned(seconds));
    const long long after = ticks();
    const double elapsed = (now() - start) / 1000.0;
    const double cpuPercent = double(after - before) / double(::sysconf(_SC_CLK_TCK)) / elapsed * 100.0;
    std::printf("idle app over %.0f s: CPU %.3f %%, memory %.1f MB (peak %.1f MB)\n", elapsed, cpuPercent,
                memory("VmRSS:"), memory("VmHWM:"));
    ::kill(pid, SIGTERM);
    ::waitpid(pid, nullptr, 0);
}

// A busy session: `processes` children holding `files` files open between
// them, one in four for writing. Returns their pids.
std::vector<pid_t> busySession(const QString &folder, int processes, int files)
{
    QDir().mkpath(folder);
    const int perProcess = std::max(1, files / std::max(1, processes));
    std::vector<pid_t> children;
    for (int p = 0; p < processes; ++p) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            for (int f = 0; f < perProcess; ++f) {
                const QByteArray name = QFile::encodeName(folder + QStringLiteral("/f%1-%2").arg(p).arg(f));
                ::open(name.constData(), f % 4 == 0 ? (O_WRONLY | O_CREAT) : (O_RDONLY | O_CREAT), 0644);
            }
            ::pause();
            ::_exit(0);
        }
        children.push_back(pid);
    }
    QThread::sleep(2); // let them open their files
    return children;
}

// What the writer check costs: one read of the process table, one check
// of an execution (watch and snapshot), and the check before each move.
void writerCheckCost(const QString &root, int processes, int files, int repeat)
{
    const std::vector<pid_t> children = busySession(root + QStringLiteral("/open"), processes, files);
    sorvanel::SystemWriterProbe probe;
    std::vector<double> table, start, perMove;
    std::size_t writers = 0;
    const auto source = sorvanel::pathFromText(root + QStringLiteral("/checked"));
    std::filesystem::create_directories(std::filesystem::path(source));
    constexpr int checked = 10000;
    std::vector<sorvanel::FileIdentity> identities;
    for (int i = 0; i < checked; ++i) {
        const auto file = source / ("f" + std::to_string(i));
        ::close(::open(file.c_str(), O_WRONLY | O_CREAT, 0644));
        struct stat info;
        ::stat(file.c_str(), &info);
        identities.push_back({std::uint64_t(info.st_dev), std::uint64_t(info.st_ino)});
    }
    for (int r = 0; r < repeat; ++r) {
        double t = now();
        writers = probe.openForWriting().byIdentity.size();
        table.push_back(now() - t);
        t = now();
        sorvanel::WriterCheck check(probe, source);
        start.push_back(now() - t);
        t = now();
        for (int i = 0; i < checked; ++i)
            check.writerOf(source / ("f" + std::to_string(i)), identities[std::size_t(i)]);
        perMove.push_back((now() - t) * 1000.0 / checked);
    }
    for (const pid_t pid : children)
        ::kill(pid, SIGTERM);
    for (const pid_t pid : children)
        ::waitpid(pid, nullptr, 0);
    const auto mid = [](std::vector<double> v) {
        std::sort(v.begin(), v.end());
        return v[v.size() / 2];
    };
    std::printf("writer check, %d processes with %d open files (%zu open for writing): process table %.1f ms, "
                "start of a run %.1f ms, before each move %.2f µs (medians of %d)\n",
                processes, files, writers, mid(table), mid(start), mid(perMove), repeat);
}

// After a run filed the folder: every tenth filed file comes back under its
// own name as a second download of the same bytes, the others come back as
// they are (new to file). What a run of such a folder then does is timed.
void downloadATenthAgain(const std::filesystem::path &source, const std::filesystem::path &destination)
{
    std::vector<std::filesystem::path> filed;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(destination)) {
        if (entry.is_regular_file() && entry.path().filename().native()[0] != '.')
            filed.push_back(entry.path());
    }
    std::sort(filed.begin(), filed.end());
    for (std::size_t i = 0; i < filed.size(); ++i) {
        const std::filesystem::path back = source / filed[i].filename();
        if (std::filesystem::exists(back))
            continue;
        if (i % 10 == 0)
            std::filesystem::copy_file(filed[i], back);
        else
            std::filesystem::rename(filed[i], back);
        std::filesystem::last_write_time(back, std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    }
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    std::vector<std::size_t> sizes{1000, 10000, 100000};
    int repeat = 3;
    int idleSeconds = 0;
    int busyProcesses = 0;
    int busyFiles = 0;
    QString work;
    for (int i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == u"--sizes" && i + 1 < arguments.size()) {
            sizes.clear();
            for (const QString &s : arguments[++i].split(u','))
                sizes.push_back(s.toULongLong());
        } else if (arguments[i] == u"--repeat" && i + 1 < arguments.size()) {
            repeat = std::max(1, arguments[++i].toInt());
        } else if (arguments[i] == u"--idle" && i + 1 < arguments.size()) {
            idleSeconds = arguments[++i].toInt();
        } else if (arguments[i] == u"--generate" && i + 2 < arguments.size()) {
            // Only make a folder, for profiling by hand: DIR/Downloads with COUNT entries.
            const auto folder = sorvanel::pathFromText(arguments[i + 1]) / "Downloads";
            sorvanel::bench::generateDownloads(folder, folder / "__filesDownloadedAt", arguments[i + 2].toULongLong(),
                                               20261122, 1024 * 1024); // the threshold the timed runs use
            return 0;
        } else if (arguments[i] == u"--writers" && i + 2 < arguments.size()) {
            busyProcesses = arguments[++i].toInt();
            busyFiles = arguments[++i].toInt();
        } else if (arguments[i] == u"--work" && i + 1 < arguments.size()) {
            work = arguments[++i];
        } else {
            std::fprintf(stderr,
                         "usage: sorvanel-bench [--sizes 1000,10000,100000] [--repeat 3] [--idle SECONDS] [--writers "
                         "PROCESSES FILES] [--work DIR]\n       sorvanel-bench --generate DIR COUNT\n");
            return 64;
        }
    }
    const QString bin = QCoreApplication::applicationDirPath();
    const QString cli = bin + QStringLiteral("/sorvanel-cli");
    const QString floor = bin + QStringLiteral("/sorvanel-bench-floor");
    QTemporaryDir temporary(work.isEmpty() ? QDir::tempPath() + QStringLiteral("/sorvanel-bench-XXXXXX")
                                           : work + QStringLiteral("/sorvanel-bench-XXXXXX"));
    const QString root = temporary.path();
    const std::filesystem::path source = sorvanel::pathFromText(root + QStringLiteral("/Downloads"));
    const std::filesystem::path destination = source / "__filesDownloadedAt";
    const std::filesystem::path floorDestination = sorvanel::pathFromText(root + QStringLiteral("/floor"));
    // A home of its own, with its settings, journal and Trash.
    const auto useHome = [&](const QString &home) {
        qputenv("HOME", QFile::encodeName(home));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(home + QStringLiteral("/.config")));
        qputenv("XDG_DATA_HOME", QFile::encodeName(home + QStringLiteral("/.local/share")));
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(home + QStringLiteral("/run")));
        QDir().mkpath(home + QStringLiteral("/run"));
        QFile::setPermissions(home + QStringLiteral("/run"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        sorvanel::SettingsStore store;
        store.saveFolder(source, std::nullopt, true);
        store.saveFolder(destination, std::nullopt, false);
        store.saveThreshold(1); // generated files are written: a small threshold keeps them small
    };
    useHome(root + QStringLiteral("/home"));
    const std::int64_t threshold = 1024 * 1024;

    std::printf("%9s  %-16s %10s %10s %9s %9s\n", "files", "step", "wall ms", "cpu ms", "peak MB", "vs floor");
    for (const std::size_t size : sizes) {
        std::vector<Measure> floorList, preview, floorFull, organize, floorBack, undo, again;
        for (int r = 0; r < repeat; ++r) {
            const auto fresh = [&] {
                std::filesystem::remove_all(source);
                std::filesystem::remove_all(floorDestination);
                sorvanel::bench::generateDownloads(source, destination, size, 20261122, threshold);
            };
            fresh();
            floorList.push_back(run(floor, {u"--list-only"_qs, sorvanel::displayPath(source)}));
            preview.push_back(run(cli, {u"preview"_qs}));
            floorFull.push_back(run(floor, {sorvanel::displayPath(source), sorvanel::displayPath(floorDestination)}));
            floorBack.push_back(
                run(floor, {u"--back"_qs, sorvanel::displayPath(floorDestination), sorvanel::displayPath(source)}));
            fresh();
            organize.push_back(run(cli, {u"organize"_qs}));
            undo.push_back(run(cli, {u"undo"_qs}));
        }
        // A tenth downloaded again, each time with a journal of its own
        // (one whose runs still name the same files would be read anew).
        for (int r = 0; r < repeat; ++r) {
            useHome(root + u"/again"_qs + QString::number(r));
            std::filesystem::remove_all(source);
            sorvanel::bench::generateDownloads(source, destination, size, 20261122, threshold);
            run(cli, {u"organize"_qs});
            downloadATenthAgain(source, destination);
            again.push_back(run(cli, {u"organize"_qs}));
        }
        useHome(root + u"/home"_qs);
        const QByteArray label = QByteArray::number(qulonglong(size));
        const Measure fl = median(floorList), pr = median(preview), ff = median(floorFull), org = median(organize),
                      fb = median(floorBack), un = median(undo);
        print(label.constData(), "floor (list)", fl, 0);
        print(label.constData(), "preview", pr, fl.wallMs);
        print(label.constData(), "floor (full)", ff, 0);
        print(label.constData(), "organize", org, ff.wallMs);
        print(label.constData(), "floor (back)", fb, 0);
        print(label.constData(), "undo", un, fb.wallMs);
        print(label.constData(), "organize, 1/10 again", median(again), ff.wallMs);
        std::fflush(stdout);
    }
    if (busyProcesses > 0)
        writerCheckCost(root, busyProcesses, busyFiles, repeat);
    if (idleSeconds > 0)
        idleApp(bin + QStringLiteral("/sorvanel"), idleSeconds);
    return 0;
}
