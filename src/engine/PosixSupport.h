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
