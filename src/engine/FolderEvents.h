// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Path.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace sorvanel {

// What the kernel says happened in one folder (inotify): which names were
// written, closed after writing, moved in or out, made or removed; whether
// events were dropped; whether the folder itself went away. Events are hints:
// whatever the kernel drops, a look at the folder finds.
class FolderEvents
{
public:
    enum Kind : std::uint32_t {
        opened = 1u << 6, // by anyone, to read or to write
        written = 1u << 0, // data written
        closedAfterWriting = 1u << 1,
        movedIn = 1u << 2,
        movedOut = 1u << 3,
        created = 1u << 4,
        removed = 1u << 5,
    };

    struct Event
    {
        std::string name;
        std::uint32_t kinds = 0; // of Kind
    };

    // What one read found: the events in order, names repeated as they came.
    struct Batch
    {
        std::vector<Event> events;
        bool overflowed = false; // the kernel's queue was full: events were lost
        bool folderGone = false; // removed, renamed away, or its drive unmounted
    };

    // Nothing where the folder can't be watched (it does not exist, is not a
    // folder, or the system has no watches left).
    static std::unique_ptr<FolderEvents> start(const Path &folder);
    ~FolderEvents();
    FolderEvents(const FolderEvents &) = delete;
    FolderEvents &operator=(const FolderEvents &) = delete;

    // Readable when events wait: for a poll or an event loop's notifier.
    int descriptor() const { return m_fd; }
    // Everything that waits, without blocking.
    Batch read();

private:
    explicit FolderEvents(int fd);
    int m_fd;
    bool m_gone = false;
};

} // namespace sorvanel
