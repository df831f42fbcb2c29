// SPDX-License-Identifier: GPL-3.0-or-later
#include "FolderEvents.h"

#include "Descriptor.h"

#include <cerrno>
#include <sys/inotify.h>
#include <unistd.h>

namespace sorvanel {

namespace {

constexpr std::uint32_t watched = IN_OPEN | IN_MODIFY | IN_CLOSE_WRITE | IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM
    | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

std::uint32_t kindsOf(std::uint32_t mask)
{
    std::uint32_t kinds = 0;
    if (mask & IN_MODIFY)
        kinds |= FolderEvents::written;
    if (mask & IN_CLOSE_WRITE)
        kinds |= FolderEvents::closedAfterWriting;
    if (mask & IN_MOVED_TO)
        kinds |= FolderEvents::movedIn;
    if (mask & IN_MOVED_FROM)
        kinds |= FolderEvents::movedOut;
    if (mask & IN_CREATE)
        kinds |= FolderEvents::created;
    if (mask & IN_DELETE)
        kinds |= FolderEvents::removed;
    if (mask & IN_OPEN)
        kinds |= FolderEvents::opened;
    return kinds;
}

} // namespace

std::unique_ptr<FolderEvents> FolderEvents::start(const Path &folder)
{
    Descriptor notify(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!notify || ::inotify_add_watch(notify.get(), folder.c_str(), watched) < 0)
        return nullptr;
    return std::unique_ptr<FolderEvents>(new FolderEvents(notify.release()));
}

FolderEvents::FolderEvents(int fd)
    : m_fd(fd)
{
}

FolderEvents::~FolderEvents()
{
    ::close(m_fd);
}

FolderEvents::Batch FolderEvents::read()
{
    Batch batch;
    batch.folderGone = m_gone;
    alignas(struct inotify_event) char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(m_fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break; // EAGAIN: nothing more
        for (ssize_t at = 0; at < n;) {
            const auto *event = reinterpret_cast<const struct inotify_event *>(buffer + at);
            at += ssize_t(sizeof(struct inotify_event) + event->len);
            if (event->mask & IN_Q_OVERFLOW)
                batch.overflowed = true;
            if (event->mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT))
                batch.folderGone = m_gone = true;
            // Folders are never filed: what happens in them is nobody's business here.
            if (event->len == 0 || (event->mask & IN_ISDIR))
                continue;
            if (const std::uint32_t kinds = kindsOf(event->mask))
                batch.events.push_back({std::string(event->name), kinds});
        }
    }
    return batch;
}

} // namespace sorvanel
