// SPDX-License-Identifier: GPL-3.0-or-later
#include "OrganizerExecutionLock.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace sorvanel {

OrganizerExecutionLock::OrganizerExecutionLock(const Path &destinationRoot, FileSystem &fileManager)
{
    if (const FileError error = fileManager.createDirectory(destinationRoot))
        throw OrganizerFailure::posix(error.code());
    const Path path = destinationRoot / fileName;
    // Close-on-exec so a child (a browser, systemctl) can't keep the lock after
    // we exit; no-follow so a planted link can't redirect it.
    m_descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (m_descriptor < 0)
        throw OrganizerFailure::posix(EIO);
    if (::flock(m_descriptor, LOCK_EX | LOCK_NB) != 0) {
        ::close(m_descriptor);
        throw OrganizerFailure(OrganizerError::alreadyRunning);
    }
}

OrganizerExecutionLock::~OrganizerExecutionLock()
{
    ::flock(m_descriptor, LOCK_UN);
    ::close(m_descriptor);
}

} // namespace sorvanel
