// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "OrganizationModels.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace sorvanel::FolderBookmark {

// Linux has no sandbox bookmarks; this blob stands in for one. It records the
// folder's path with its device and inode, so that a folder replaced by
// another at the same path is noticed (reported as stale).
std::optional<QByteArray> create(const Path &folder, QString *errorDescription);

struct Resolved
{
    Path folder;
    bool isStale = false;
};

// Fails when the blob is unreadable, nothing is at its path or it is not a folder.
std::optional<Resolved> resolve(const QByteArray &bookmark);

} // namespace sorvanel::FolderBookmark
