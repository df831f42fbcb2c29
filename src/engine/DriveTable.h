// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Path.h"

#include <optional>
#include <string>
#include <vector>

namespace sorvanel {

// Where the system expects drives, and whether they are there now. A folder
// on a drive that is not plugged in is still an ordinary, empty folder (the
// mount point) on the disk below: files put there would vanish from sight
// the moment the drive is mounted over them.
class DriveTable
{
public:
    // The system's own tables: /etc/fstab for the drives it mounts, the
    // kernel's /proc/self/mounts for what is mounted, and the folders below
    // which the desktop mounts removable drives, one folder each (udisks:
    // /media/USER and /run/media/USER).
    DriveTable();
    DriveTable(std::string expected, std::string mounted, std::vector<Path> removableMedia);

    // The mount point of a drive that the folder (a whole, tidy path) lies
    // on and that is not mounted now; the outermost, where there are more.
    std::optional<Path> missingDrive(const Path &folder) const;

private:
    std::string m_expected;
    std::string m_mounted;
    std::vector<Path> m_removableMedia;
};

} // namespace sorvanel
