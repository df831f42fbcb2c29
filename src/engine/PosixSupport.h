// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FileSystem.h"

#include <string>
#include <string_view>
#include <sys/stat.h>

// What the pieces of the POSIX file system share; not for use outside them.
namespace sorvanel::posix {

bool sameFile(const struct stat &a, const struct stat &b);
FileStamp stampFrom(const struct stat &info);
inline std::int64_t nanoseconds(const struct timespec &time)
{
    return std::int64_t(time.tv_sec) * 1000000000 + time.tv_nsec;
}
// The same file with the same size and modification time.
bool sameContentStamp(const struct stat &a, const struct stat &b);

// The hidden name a copy to another drive is written under where the file
// system has no anonymous files: ".sorvanel-NUMBER.partial".
std::string partialName();
bool isPartialName(std::string_view name);

} // namespace sorvanel::posix

namespace sorvanel {

struct PosixFileSystem::PendingRemoval
{
    Path source;
    Descriptor from; // the source, open since it was copied
    struct stat before; // the source as it was copied
    Descriptor folder; // where the copy was published
    Descriptor stagingFolder; // where its partial name was, if it had one
    std::string name;
    struct stat copied; // the published copy
    WriterCheck *writers = nullptr;
};

} // namespace sorvanel
