// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FileSystem.h"
#include "Path.h"

#include <QDateTime>

#include <optional>

namespace sorvanel {

// The desktop's Trash, laid out as freedesktop.org's Trash layout has every
// file manager do it: a trash folder holds `files/NAME`, the trashed file, and
// `info/NAME.trashinfo`, which names where it came from, so that a file
// manager or trash-restore can put it back. The info file is written first
// and takes the name: a kill between the two leaves an info file without its
// file, which every trash reader ignores, never a file without its info.
namespace Trash {

// The home trash: $XDG_DATA_HOME/Trash.
Path homeTrash();

// The trash for the files of `folder`: the home trash where the folder lies
// on its drive; else the drive's own, TOP/.Trash/UID where the administrator
// made TOP/.Trash for every user (a sticky folder, not a link),
// else TOP/.Trash-UID; the home trash where neither can be used (a file then
// reaches it by a copy). Nothing is made here.
Path forFolder(const Path &folder, const Path &home);

// The trash folder a trashed file (TRASH/files/NAME) lies in, and its info file.
Path folderOf(const Path &trashedFile);
Path infoOf(const Path &trashedFile);

// Makes the trash folder and its `files` and `info` folders where they are
// missing, for the owner alone. A drive's trash must be a folder of ours,
// not a link.
FileError prepare(const Path &trash);

// Writes the info file for `original` about to go to `trashedFile`, taking
// its name: EEXIST when the name is taken. The path it names is relative to
// the drive's top folder in a drive's trash, absolute in the home trash.
FileError writeInfo(const Path &trashedFile, const Path &original, const QDateTime &deletedAt);

// The original path an info file names, as a path (a relative one resolved
// against its drive's top folder); nothing when there is no readable one.
std::optional<Path> originalOf(const Path &trashedFile);

// Removes the info file of `trashedFile`, but only while it names `original`.
bool removeInfo(const Path &trashedFile, const Path &original);

} // namespace Trash

} // namespace sorvanel
