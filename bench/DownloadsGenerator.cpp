// SPDX-License-Identifier: GPL-3.0-or-later
#include "DownloadsGenerator.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace sorvanel::bench {

namespace {

void makeFile(const std::filesystem::path &path, std::int64_t size, std::time_t modified)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0)
        throw std::runtime_error("cannot create " + path.string() + ": " + std::strerror(errno));
    // Written, not sized: a sparse file would stay as a download with gaps.
    static const std::string bytes(std::size_t(2) << 20, 'd');
    for (std::int64_t done = 0; done < size;) {
        const ssize_t n = ::write(fd, bytes.data(), std::size_t(std::min<std::int64_t>(size - done, bytes.size())));
        if (n <= 0) {
            ::close(fd);
            throw std::runtime_error("cannot write " + path.string());
        }
        done += n;
    }
    // Bytes of its own: no two files are the same file downloaded twice.
    const std::string name = path.filename().native();
    ::pwrite(fd, name.data(), std::size_t(std::min<std::int64_t>(size, std::int64_t(name.size()))), 0);
    const struct timespec times[2] = {{modified, 0}, {modified, 0}};
    ::futimens(fd, times);
    ::close(fd);
}

std::string localDay(std::time_t when)
{
    struct tm local;
    ::localtime_r(&when, &local);
    char day[16];
    std::strftime(day, sizeof day, "%Y-%m-%d", &local);
    return day;
}

} // namespace

GeneratedFolder generateDownloads(const std::filesystem::path &source, const std::filesystem::path &destination,
                                  std::size_t count, std::uint64_t seed, std::int64_t thresholdBytes)
{
    std::filesystem::create_directories(source);
    std::filesystem::create_directories(destination);
    std::mt19937_64 random(seed);
    const auto chance = [&](double p) { return std::uniform_real_distribution<double>(0, 1)(random) < p; };
    const auto pick = [&](std::size_t n) { return std::size_t(random() % n); };

    static const std::array<const char *, 28> extensions{
        ".pdf",  ".PDF", ".jpg",      ".JPG",  ".jpeg", ".png",    ".PNG", ".heic", ".webp", ".docx",
        ".xlsx", ".csv", ".txt",      ".md",   ".zip",  ".tar.gz", ".iso", ".dmg",  ".mp4",  ".mkv",
        ".mp3",  ".deb", ".AppImage", ".epub", ".svg",  ".pptx",   ".odt", ""};
    static const std::array<const char *, 5> unfinished{".crdownload", ".part", ".download", ".tmp", ".partial"};
    static const std::array<const char *, 12> stems{"invoice", "report",    "Screenshot", "IMG",  "document", "setup",
                                                    "photo",   "statement", "Rechnung",   "scan", "export",   "notes"};

    const std::time_t now = std::time(nullptr);
    const std::time_t twoMonths = 61 * 24 * 3600;
    GeneratedFolder folder;

    // Hundreds of earlier "report.pdf"s wait in today's folder of the destination:
    // a new report.pdf must find report-301.pdf without trying them one pass per file.
    const std::filesystem::path today = destination / localDay(now) / "docs";
    std::filesystem::create_directories(today);
    makeFile(today / "report.pdf", 1000, now);
    for (int n = 2; n <= 300; ++n)
        makeFile(today / ("report-" + std::to_string(n) + ".pdf"), 1000, now);
    folder.preexisting = 300;
    makeFile(source / "report.pdf", 5000, now - 86400);
    ++folder.files;
    ++folder.movable;

    for (std::size_t i = 1; i < count; ++i) {
        const std::string serial = std::to_string(i);
        const double kind = std::uniform_real_distribution<double>(0, 1)(random);
        if (kind < 0.005) { // a subfolder
            std::filesystem::create_directory(source / ("Folder " + serial));
            continue;
        }
        if (kind < 0.01) { // a symbolic link
            std::filesystem::create_symlink("/etc/hostname", source / ("link-" + serial + ".txt"));
            continue;
        }
        const bool underscore = chance(0.5);
        std::string name = stems[pick(stems.size())];
        name += underscore ? "_" + serial : " (" + serial + ")";
        name += extensions[pick(extensions.size())];
        std::time_t modified = now - std::time_t(random() % twoMonths);
        bool movable = true;
        if (kind < 0.02) { // hidden
            name = "." + name;
            movable = false;
        } else if (kind < 0.03) { // unfinished download
            name += unfinished[pick(unfinished.size())];
            movable = false;
        } else if (kind < 0.035) { // still being written: dated ahead, so it stays too young during the run
            modified = now + 3600;
            movable = false;
        }
        // Mostly small, a few around the large-file threshold; all written
        // (about 600 MB for 100,000 files).
        std::int64_t size = std::int64_t(random() % 8192);
        if (chance(0.002))
            size = thresholdBytes + std::int64_t(random() % 3) - 1;
        makeFile(source / name, size, modified);
        ++folder.files;
        folder.movable += movable;
    }
    return folder;
}

} // namespace sorvanel::bench
