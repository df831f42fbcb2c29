// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FileSystem.h"

namespace sorvanel {

// Keeps a second cleanup out of a destination while one runs, across
// processes: an exclusive, non-blocking flock on ".sorvanel.lock" in the
// destination root, held for the object's life. The kernel drops it when the
// process dies, so a crash never leaves the destination locked.
class OrganizerExecutionLock
{
public:
    static constexpr const char *fileName = ".sorvanel.lock";

    // Creates the destination root if needed, then locks. Throws OrganizerFailure:
    // the folder's creation error, EIO when the lock file can't be opened, or
    // alreadyRunning when another holder has it.
    OrganizerExecutionLock(const Path &destinationRoot, FileSystem &fileManager);
    ~OrganizerExecutionLock();

    OrganizerExecutionLock(const OrganizerExecutionLock &) = delete;
    OrganizerExecutionLock &operator=(const OrganizerExecutionLock &) = delete;

private:
    int m_descriptor = -1;
};

} // namespace sorvanel
