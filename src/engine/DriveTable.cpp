// SPDX-License-Identifier: GPL-3.0-or-later
#include "DriveTable.h"

#include <algorithm>
#include <mntent.h>
#include <pwd.h>
#include <string_view>
#include <unistd.h>

namespace sorvanel {

namespace {

// The mount points a table names (getmntent undoes its "\040" escapes),
// without a trailing separator; swap and entries that are not folders left out.
std::vector<std::string> mountPoints(const std::string &table)
{
    std::vector<std::string> points;
    FILE *file = ::setmntent(table.c_str(), "re");
    if (!file)
        return points;
    struct mntent entry;
    char buffer[8192];
    while (::getmntent_r(file, &entry, buffer, sizeof buffer)) {
        std::string point = std::filesystem::path(entry.mnt_dir).lexically_normal().native();
        if (point.size() > 1 && point.back() == '/')
            point.pop_back();
        if (point.starts_with('/') && point != "/" && std::string_view(entry.mnt_type) != "swap")
            points.push_back(std::move(point));
    }
    ::endmntent(file);
    return points;
}

bool isWithin(const std::string &path, const std::string &folder)
{
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

std::vector<Path> desktopMediaFolders()
{
    struct passwd entry;
    struct passwd *found = nullptr;
    char buffer[4096];
    if (::getpwuid_r(::geteuid(), &entry, buffer, sizeof buffer, &found) != 0 || !found || !*found->pw_name)
        return {};
    return {Path("/media") / found->pw_name, Path("/run/media") / found->pw_name};
}

} // namespace

DriveTable::DriveTable()
    : DriveTable("/etc/fstab", "/proc/self/mounts", desktopMediaFolders())
{
}

DriveTable::DriveTable(std::string expected, std::string mounted, std::vector<Path> removableMedia)
    : m_expected(std::move(expected))
    , m_mounted(std::move(mounted))
    , m_removableMedia(std::move(removableMedia))
{
}

std::optional<Path> DriveTable::missingDrive(const Path &folder) const
{
    const std::string &path = folder.native();
    std::vector<std::string> drives;
    for (std::string &point : mountPoints(m_expected)) {
        if (isWithin(path, point))
            drives.push_back(std::move(point));
    }
    // Below a removable-media folder, each folder is a drive's mount point.
    for (const Path &media : m_removableMedia) {
        if (path.size() > media.native().size() + 1 && isWithin(path, media.native()))
            drives.push_back(path.substr(0, path.find('/', media.native().size() + 1)));
    }
    if (drives.empty())
        return std::nullopt;
    std::sort(drives.begin(), drives.end(), [](const auto &a, const auto &b) { return a.size() < b.size(); });
    const std::vector<std::string> mounted = mountPoints(m_mounted);
    for (const std::string &drive : drives) {
        if (std::find(mounted.begin(), mounted.end(), drive) == mounted.end())
            return Path(drive);
    }
    return std::nullopt;
}

} // namespace sorvanel
