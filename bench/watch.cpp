// SPDX-License-Identifier: GPL-3.0-or-later
// sorvanel-bench-watch AGENT CLI [DOWNLOADS] [BURST] [IDLE]: a real
// `sorvanel-agent --watch` in a home of its own.
//   latency  DOWNLOADS files (100), one every 300 ms: half written by a child
//            process that then exits (curl, wget), half renamed into place
//            (a browser's .part); from that moment to the file's arrival
//   burst    BURST files (10,000) renamed into the folder at once: until all
//            are filed, against `sorvanel-cli organize` of the same folder;
//            the watcher's CPU time per filed file
//   idle     a watcher started on IDLE files (100,000) it leaves alone (they
//            are hidden): start-up until it watches, then CPU and resident
//            memory over a minute
// A count of 0 leaves its part out.
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

bool exists(const std::string &path)
{
    struct stat info;
    return ::lstat(path.c_str(), &info) == 0;
}

void writeFile(const std::string &path, std::size_t size)
{
    std::ofstream(path) << std::string(size, 'd');
}

// The agent's processor time (user and system) in ms, and its resident memory in MB.
std::pair<double, double> usage(qint64 pid)
{
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    const QStringList fields = QString::fromStdString(text.substr(text.rfind(')') + 2)).split(u' ');
    const double ticks = double(::sysconf(_SC_CLK_TCK));
    const double cpu = (fields[11].toDouble() + fields[12].toDouble()) * 1000.0 / ticks;
    const double rss = fields[21].toDouble() * double(::sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
    return {cpu, rss};
}

// One watcher in its own home; `started` is how long it took to say it watches.
struct Watcher
{
    QProcess process;
    double started = 0;

    Watcher(const QString &agent, const QString &home)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"HOME"_qs, home);
        environment.insert(u"XDG_CONFIG_HOME"_qs, home + u"/.config"_qs);
        environment.remove(u"DBUS_SESSION_BUS_ADDRESS"_qs);
        process.setProcessEnvironment(environment);
        const auto start = Clock::now();
        process.start(agent, {u"--watch"_qs});
        process.waitForStarted();
        while (!process.canReadLine())
            process.waitForReadyRead(10);
        started = msSince(start);
    }
    ~Watcher()
    {
        process.terminate();
        process.waitForFinished();
    }
};

void latency(const QString &agent, int downloads)
{
    QTemporaryDir home(QDir::currentPath() + u"/watch-bench-XXXXXX"_qs);
    const std::string source = (home.path() + u"/Downloads"_qs).toStdString();
    QDir().mkpath(QString::fromStdString(source));
    Watcher watcher(agent, home.path());
    std::map<int, Clock::time_point> waiting;
    std::vector<double> latencies;
    for (int i = 0; i < downloads || !waiting.empty();) {
        if (i < downloads) {
            const std::string name = source + "/d" + std::to_string(i) + ".bin";
            if (i % 2 == 0) { // written by a child that closes and exits
                QProcess::execute(u"sh"_qs,
                                  {u"-c"_qs, u"head -c 65536 /dev/zero > \"$0\""_qs, QString::fromStdString(name)});
            } else { // renamed into place
                writeFile(name + ".part", 65536);
                ::rename((name + ".part").c_str(), name.c_str());
            }
            waiting[i] = Clock::now();
            ++i;
        }
        const auto until = Clock::now() + std::chrono::milliseconds(300);
        while (Clock::now() < until) {
            for (auto it = waiting.begin(); it != waiting.end();) {
                if (!exists(source + "/d" + std::to_string(it->first) + ".bin")) {
                    latencies.push_back(msSince(it->second));
                    it = waiting.erase(it);
                } else {
                    ++it;
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    std::sort(latencies.begin(), latencies.end());
    std::printf("latency over %zu downloads: median %.0f ms, max %.0f ms\n", latencies.size(),
                latencies[latencies.size() / 2], latencies.back());
}

void burst(const QString &agent, const QString &cli, int count)
{
    QTemporaryDir home(QDir::currentPath() + u"/watch-bench-XXXXXX"_qs);
    const std::string root = home.path().toStdString();
    const std::string source = root + "/Downloads";
    const auto stage = [&](const std::string &folder) {
        QDir().mkpath(QString::fromStdString(folder));
        for (int i = 0; i < count; ++i)
            writeFile(folder + "/b" + std::to_string(i) + (i % 3 ? ".pdf" : ".jpg"), 1024);
        const struct timeval old[2] = {{::time(nullptr) - 7200, 0}, {::time(nullptr) - 7200, 0}};
        for (int i = 0; i < count; ++i)
            ::utimes((folder + "/b" + std::to_string(i) + (i % 3 ? ".pdf" : ".jpg")).c_str(), old);
    };
    // The same folder, organized by the command line.
    stage(source);
    QProcess organize;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_qs, home.path());
    environment.insert(u"XDG_CONFIG_HOME"_qs, home.path() + u"/.config"_qs);
    organize.setProcessEnvironment(environment);
    auto start = Clock::now();
    organize.start(cli, {u"organize"_qs});
    organize.waitForFinished(-1);
    const double byHand = msSince(start);
    QDir(home.path() + u"/Downloads"_qs).removeRecursively();
    QDir(home.path() + u"/.config"_qs).removeRecursively();

    stage(root + "/staged");
    QDir().mkpath(QString::fromStdString(source));
    Watcher watcher(agent, home.path());
    const double cpuBefore = usage(watcher.process.processId()).first;
    start = Clock::now();
    for (int i = 0; i < count; ++i) {
        const std::string name = "/b" + std::to_string(i) + (i % 3 ? ".pdf" : ".jpg");
        ::rename((root + "/staged" + name).c_str(), (source + name).c_str());
    }
    const double landing = msSince(start);
    while (QDir(QString::fromStdString(source)).entryList(QDir::Files).size() > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    const double watched = msSince(start);
    const double cpu = usage(watcher.process.processId()).first - cpuBefore;
    std::printf("burst of %d: landed in %.0f ms, all filed %.0f ms after it landed; organize %.0f ms (%.2fx); "
                "watcher CPU %.3f ms per file\n",
                count, landing, watched - landing, byHand, (watched - landing) / byHand, cpu / count);
}

void idle(const QString &agent, int count)
{
    QTemporaryDir home(QDir::currentPath() + u"/watch-bench-XXXXXX"_qs);
    const std::string source = (home.path() + u"/Downloads"_qs).toStdString();
    QDir().mkpath(QString::fromStdString(source));
    for (int i = 0; i < count; ++i)
        writeFile(source + "/.kept" + std::to_string(i), 16);
    Watcher watcher(agent, home.path());
    std::this_thread::sleep_for(std::chrono::seconds(5)); // the look at the whole folder
    const auto [cpuBefore, rssBefore] = usage(watcher.process.processId());
    std::this_thread::sleep_for(std::chrono::seconds(60));
    const auto [cpuAfter, rss] = usage(watcher.process.processId());
    std::printf("idle on %d files: start-up %.0f ms; over 60 s CPU %.1f ms (%.3f %%), resident %.1f MB\n", count,
                watcher.started, cpuAfter - cpuBefore, (cpuAfter - cpuBefore) / 600.0, rss);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc < 3) {
        std::fprintf(stderr, "usage: sorvanel-bench-watch AGENT CLI [DOWNLOADS] [BURST] [IDLE]\n");
        return 64;
    }
    const QString agent = QString::fromLocal8Bit(argv[1]);
    const QString cli = QString::fromLocal8Bit(argv[2]);
    const int downloads = argc > 3 ? std::atoi(argv[3]) : 100;
    const int files = argc > 4 ? std::atoi(argv[4]) : 10000;
    const int kept = argc > 5 ? std::atoi(argv[5]) : 100000;
    // 0 leaves a part out.
    if (downloads > 0)
        latency(agent, downloads);
    if (files > 0)
        burst(agent, cli, files);
    if (kept > 0)
        idle(agent, kept);
    return 0;
}
