// SPDX-License-Identifier: GPL-3.0-or-later
#include "FileSystem.h"

#include "Descriptor.h"
#include "Localization.h"
#include "Parallel.h"
#include "PosixSupport.h"

#include <QRandomGenerator>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <utility>

namespace sorvanel {

namespace {

QDateTime dateFrom(const struct statx_timestamp &stamp)
{
    return QDateTime::fromMSecsSinceEpoch(qint64(stamp.tv_sec) * 1000 + stamp.tv_nsec / 1000000, Qt::UTC);
}

std::int64_t nanoseconds(const struct statx_timestamp &stamp)
{
    return std::int64_t(stamp.tv_sec) * 1000000000 + stamp.tv_nsec;
}

FileIdentity identityFrom(const struct statx &info)
{
    return {std::uint64_t(makedev(info.stx_dev_major, info.stx_dev_minor)), std::uint64_t(info.stx_ino)};
}

} // namespace

namespace posix {

bool sameFile(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

FileStamp stampFrom(const struct stat &info)
{
    FileStamp stamp;
    stamp.identity = {std::uint64_t(info.st_dev), std::uint64_t(info.st_ino)};
    stamp.size = info.st_size;
    stamp.modifiedNs = nanoseconds(info.st_mtim);
    stamp.isRegularFile = S_ISREG(info.st_mode);
    return stamp;
}

bool sameContentStamp(const struct stat &a, const struct stat &b)
{
    return sameFile(a, b) && a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec
        && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

constexpr std::string_view partialPrefix = ".sorvanel-";
constexpr std::string_view partialSuffix = ".partial";

std::string partialName()
{
    return std::string(partialPrefix) + std::to_string(QRandomGenerator::global()->generate64())
        + std::string(partialSuffix);
}

bool isPartialName(std::string_view name)
{
    if (name.size() <= partialPrefix.size() + partialSuffix.size() || !name.starts_with(partialPrefix)
        || !name.ends_with(partialSuffix))
        return false;
    const std::string_view number =
        name.substr(partialPrefix.size(), name.size() - partialPrefix.size() - partialSuffix.size());
    return std::all_of(number.begin(), number.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace posix

QString FileError::localizedDescription() const
{
    switch (m_code) {
    case none:
        return {};
    case changedDuringCopy:
        return L10n::text("The file changed while it was being copied.");
    case unknownRead:
        return L10n::text("The file couldn’t be opened.");
    case beingWritten:
        if (m_writer.pid > 0)
            return L10n::format("%@ (pid %@) is still writing this file; it stays where it is.",
                                {m_writer.program.isEmpty() ? L10n::text("Another program") : m_writer.program,
                                 QString::number(m_writer.pid)});
        return L10n::text("Another program is still writing this file; it stays where it is.");
    case nameRefused:
        return L10n::text("The destination drive does not allow this name.");
    case tooLargeForDrive:
        return L10n::text("The file is larger than the destination drive allows.");
    case ENAMETOOLONG: // a name that a counter made longer than the folder allows
        return L10n::text("Its name is too long for the destination folder, so it stays where it is.");
    default:
        break;
    }
    char buffer[256];
    return QString::fromLocal8Bit(strerror_r(m_code, buffer, sizeof buffer));
}

namespace {

// What one statx call says of an entry.
FileProperties propertiesFrom(const struct statx &info, const std::string &name)
{
    FileProperties p;
    if (info.stx_mask & STATX_TYPE) {
        p.isRegularFile = S_ISREG(info.stx_mode);
        p.isSymbolicLink = S_ISLNK(info.stx_mode);
        p.isDirectory = S_ISDIR(info.stx_mode);
    }
    p.isHidden = name[0] == '.';
    p.identity = identityFrom(info);
    if (info.stx_mask & STATX_SIZE)
        p.size = std::int64_t(info.stx_size);
    if (info.stx_mask & STATX_BTIME) {
        p.creationDate = dateFrom(info.stx_btime);
        p.bornNs = nanoseconds(info.stx_btime);
    }
    if (info.stx_mask & STATX_MTIME) {
        p.modificationDate = dateFrom(info.stx_mtime);
        p.modifiedNs = nanoseconds(info.stx_mtime);
    }
    if (info.stx_mask & STATX_BLOCKS)
        p.allocatedBytes = std::int64_t(info.stx_blocks) * 512;
    return p;
}

// The names in the folder, but "." and "..".
std::vector<std::string> namesIn(DIR *dir)
{
    std::vector<std::string> names;
    for (;;) {
        errno = 0;
        const dirent *item = ::readdir(dir);
        if (!item) {
            if (errno != 0)
                throw OrganizerFailure::posix(errno);
            return names;
        }
        const char *name = item->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
            continue;
        names.emplace_back(name);
    }
}

} // namespace

std::vector<DirectoryEntry> PosixFileSystem::contentsOfDirectory(const Path &directory)
{
    const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        throw OrganizerFailure::posix(errno);
    DIR *dir = ::fdopendir(fd);
    if (!dir) {
        const int error = errno;
        ::close(fd);
        throw OrganizerFailure::posix(error);
    }
    std::unique_ptr<DIR, int (*)(DIR *)> closer(dir, ::closedir);

    // One pass over the directory for the names, then one statx per entry;
    // on a big folder the statx calls are shared out over the cores.
    const std::vector<std::string> names = namesIn(dir);
    std::vector<DirectoryEntry> entries(names.size());
    parallelFor(names.size(), [&](std::size_t, std::size_t from, std::size_t to) {
        constexpr unsigned mask = STATX_TYPE | STATX_SIZE | STATX_BTIME | STATX_MTIME | STATX_INO | STATX_BLOCKS;
        for (std::size_t i = from; i < to; ++i) {
            DirectoryEntry &entry = entries[i];
            entry.url = directory / names[i];
            struct statx info;
            if (::statx(fd, names[i].c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, mask, &info) != 0)
                entry.error = FileError(errno);
            else
                entry.properties = propertiesFrom(info, names[i]);
        }
    });
    return entries;
}

bool PosixFileSystem::fileExists(const Path &path, bool *isDirectory)
{
    struct stat info;
    if (::stat(path.c_str(), &info) != 0)
        return false;
    if (isDirectory)
        *isDirectory = S_ISDIR(info.st_mode);
    return true;
}

bool PosixFileSystem::itemExists(const Path &path)
{
    struct stat info;
    return ::lstat(path.c_str(), &info) == 0;
}

std::optional<std::unordered_set<std::string>> PosixFileSystem::namesInDirectory(const Path &directory)
{
    DIR *dir = ::opendir(directory.c_str());
    if (!dir)
        return std::nullopt;
    std::unique_ptr<DIR, int (*)(DIR *)> closer(dir, ::closedir);
    std::unordered_set<std::string> names;
    while (const dirent *item = ::readdir(dir))
        names.emplace(item->d_name);
    return names;
}

FileError PosixFileSystem::createDirectory(const Path &directory, const Path &within, std::vector<Path> *created)
{
    if (!within.empty()) {
        int error = 0;
        return openFolder(directory, within, true, &error, created) < 0 ? FileError(error) : FileError();
    }
    struct stat info;
    if (::stat(directory.c_str(), &info) == 0)
        return S_ISDIR(info.st_mode) ? FileError() : FileError(EEXIST);
    // Create the missing ancestors first, outermost to innermost; a file in
    // the way of an ancestor is "Not a directory", as mkdir -p says.
    const Path parent = directory.parent_path();
    if (!parent.empty() && parent != directory) {
        if (const FileError error = createDirectory(parent))
            return FileError(error.code() == EEXIST ? ENOTDIR : error.code());
    }
    if (::mkdir(directory.c_str(), 0777) != 0 && errno != EEXIST)
        return FileError(errno);
    // Someone may have made it (or something else of that name) meanwhile.
    if (::stat(directory.c_str(), &info) != 0)
        return FileError(errno);
    return S_ISDIR(info.st_mode) ? FileError() : FileError(EEXIST);
}

PosixFileSystem::PosixFileSystem() = default;

PosixFileSystem::~PosixFileSystem()
{
    // Moves left unfinished keep their sources beside their published
    // copies, as a kill would leave them; the next run recovers them.
    m_pending.clear();
    discardPreparedCopies();
    closeFolders();
}

void PosixFileSystem::closeFolders()
{
    for (const auto &[path, fd] : m_folders)
        ::close(fd);
    m_folders.clear();
    if (m_sourceFolder >= 0)
        ::close(m_sourceFolder);
    m_sourceFolder = -1;
}

int PosixFileSystem::openFolder(const Path &directory, const Path &within, bool create, int *error,
                                std::vector<Path> *created)
{
    const std::string &root = within.native();
    const std::string &path = directory.native();
    if (const auto found = m_folders.find(path); found != m_folders.end())
        return found->second;
    if (m_folders.size() > 256)
        closeFolders(); // a run over years of dates: start the cache afresh
    // The root itself is the user's choice and may be a link; below it, no link is followed.
    int fd;
    if (path == root) {
        fd = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0) {
            *error = errno;
            return -1;
        }
        m_folders.emplace(path, fd);
        return fd;
    }
    if (path.size() <= root.size() + 1 || path.compare(0, root.size(), root) != 0 || path[root.size()] != '/') {
        *error = EXDEV; // not inside the root: refused
        return -1;
    }
    const int parent = openFolder(directory.parent_path(), within, create, error, created);
    if (parent < 0)
        return -1;
    const std::string name = directory.filename().native();
    if (create) {
        if (::mkdirat(parent, name.c_str(), 0777) == 0) {
            if (created)
                created->push_back(directory);
        } else if (errno != EEXIST) {
            *error = errno;
            return -1;
        }
    }
    fd = ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        // A planted link answers ELOOP; a file in the way, ENOTDIR.
        *error = errno == ELOOP ? ENOTDIR : errno;
        return -1;
    }
    m_folders.emplace(path, fd);
    return fd;
}

FileError PosixFileSystem::moveItem(const Path &source, const Path &target, const Path &within, WriterCheck *writers,
                                    const PublishCheck *beforePublish, const CopyProgress *copied)
{
    const MoveContext context{within.empty() ? nullptr : &within, writers, beforePublish, copied};
    // The name is the tail of the target's path: no copy of it.
    const std::string &path = target.native();
    const auto slash = path.rfind('/');
    const char *name = path.c_str() + (slash == std::string::npos ? 0 : slash + 1);
    int folder = AT_FDCWD;
    Descriptor owned;
    if (!within.empty()) {
        int error = 0;
        const auto known =
            slash == std::string::npos ? m_folders.end() : m_folders.find(std::string_view(path).substr(0, slash));
        folder = known != m_folders.end() ? known->second : openFolder(target.parent_path(), within, false, &error);
        if (folder < 0)
            return FileError(error);
        return renameNoReplace(source, folder, name, context);
    } else {
        owned = Descriptor(::open(target.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!owned)
            return FileError(errno);
        folder = owned.get();
    }
    return renameNoReplace(source, folder, name, context);
}

FileError PosixFileSystem::renameNoReplace(const Path &source, int folder, const char *name, const MoveContext &context)
{
    // The source folder stays open for the run: each move then looks up one name, not a whole path.
    const std::string &path = source.native();
    const auto slash = path.rfind('/');
    int from = AT_FDCWD;
    const char *sourceName = path.c_str();
    if (slash != std::string::npos && slash > 0) {
        const std::string_view directory(path.data(), slash);
        if (const auto known = m_folders.find(directory); known != m_folders.end()) {
            // A folder below a run's root, opened already (an undo moves out of many).
            from = known->second;
            sourceName = path.c_str() + slash + 1;
        } else {
            if (m_sourceFolder < 0 || directory != m_sourceFolderPath) {
                if (m_sourceFolder >= 0)
                    ::close(m_sourceFolder);
                m_sourceFolderPath.assign(directory);
                m_sourceFolder = ::open(m_sourceFolderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            }
            if (m_sourceFolder >= 0) {
                from = m_sourceFolder;
                sourceName = path.c_str() + slash + 1;
            }
        }
    }
    if (::renameat2(from, sourceName, folder, name, RENAME_NOREPLACE) == 0)
        return {};
    const int error = errno;
    if (error == EINVAL || error == ENOSYS || error == EOPNOTSUPP) {
        rememberRefusal(folder, noReplaceFlag);
        return linkThenUnlink(source, folder, name, context); // the file system refuses the no-replace flag
    }
    if (error == EXDEV)
        return copyAcrossDevices(source, folder, name, context);
    return FileError(error);
}

bool PosixFileSystem::refuses(std::uint64_t device, Refused way) const
{
    const auto found = m_refused.find(device);
    return found != m_refused.end() && (found->second & way) != 0;
}

void PosixFileSystem::rememberRefusal(std::uint64_t device, Refused way)
{
    m_refused[device] |= way;
}

bool PosixFileSystem::refuses(int folder, Refused way) const
{
    struct stat info;
    return !m_refused.empty() && ::fstat(folder, &info) == 0 && refuses(std::uint64_t(info.st_dev), way);
}

void PosixFileSystem::rememberRefusal(int folder, Refused way)
{
    struct stat info;
    if (::fstat(folder, &info) == 0)
        rememberRefusal(std::uint64_t(info.st_dev), way);
}

FileError PosixFileSystem::linkThenUnlink(const Path &source, int folder, const char *name, const MoveContext &context)
{
    // Only a move within one file system comes here (across two, the rename said EXDEV).
    if (!refuses(folder, hardLinks)) {
        if (::linkat(AT_FDCWD, source.c_str(), folder, name, 0) == 0) {
            if (::unlink(source.c_str()) == 0)
                return {};
            const int error = errno;
            ::unlinkat(folder, name, 0); // the second name is ours: take it back
            return FileError(error);
        }
        const int error = errno;
        if (error == EXDEV)
            return copyAcrossDevices(source, folder, name, context);
        if (error != EPERM && error != EOPNOTSUPP && error != EMLINK && error != ENOSYS)
            return FileError(error);
        if (error != EMLINK) // too many links is about this file, not the file system
            rememberRefusal(folder, hardLinks);
    }
    // No hard links here either (some FUSE file systems): rename over a reservation.
    struct stat info;
    if (::lstat(source.c_str(), &info) != 0)
        return FileError(errno);
    return renameOverReservation(AT_FDCWD, source.c_str(), folder, name, posix::stampFrom(info), context);
}

FileError PosixFileSystem::renameOverReservation(int fromFolder, const char *fromName, int folder, const char *name,
                                                 const FileStamp &file, const MoveContext &context, bool announced)
{
    // O_EXCL fails on any item of that name, a link included, and where the
    // file system ignores case, on a name that differs only in case.
    if (!announced && context.beforePublish && !(*context.beforePublish)(file, {}))
        return FileError(EIO);
    const Descriptor reservation(::openat(folder, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!reservation) {
        // In a folder that is there, a name that can't be made is one the
        // file system refuses: characters FAT and exFAT don't allow, bytes
        // that are not UTF-8 where names are stored as UTF-16.
        const int error = errno;
        return FileError(error == EILSEQ || error == EINVAL || error == ENOENT ? int(FileError::nameRefused) : error);
    }
    struct stat reserved;
    // Kept open until the rename, so that no other file can be given its
    // number meanwhile and pass for it.
    ::fstat(reservation.get(), &reserved);
    const FileIdentity reservedIdentity{std::uint64_t(reserved.st_dev), std::uint64_t(reserved.st_ino)};
    // The empty reservation is ours to remove again, but only while the name holds it.
    const auto release = [&] {
        struct stat now;
        if (::fstatat(folder, name, &now, AT_SYMLINK_NOFOLLOW) == 0 && posix::sameFile(now, reserved)
            && now.st_size == 0)
            ::unlinkat(folder, name, 0);
    };
    if (context.beforePublish && !(*context.beforePublish)(file, reservedIdentity)) {
        release();
        return FileError(EIO);
    }
    // Another program could only slip in by replacing our reservation in the
    // microseconds between this test and the rename; our own runs hold the lock.
    struct stat now;
    if (::fstatat(folder, name, &now, AT_SYMLINK_NOFOLLOW) != 0 || !posix::sameFile(now, reserved) || now.st_size != 0)
        return FileError(EEXIST);
    if (::renameat(fromFolder, fromName, folder, name) != 0) {
        const int error = errno;
        release();
        return FileError(error);
    }
    return {};
}

int PosixFileSystem::openAnonymousFile(int folder)
{
    return ::openat(folder, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
}

void PosixFileSystem::removeLeftoverCopies(const Path &root)
{
    const int fd = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    DIR *dir = ::fdopendir(fd);
    if (!dir) {
        ::close(fd);
        return;
    }
    std::unique_ptr<DIR, int (*)(DIR *)> closer(dir, ::closedir);
    std::vector<std::string> leftovers;
    while (const dirent *item = ::readdir(dir)) {
        if (posix::isPartialName(item->d_name))
            leftovers.emplace_back(item->d_name);
    }
    for (const std::string &name : leftovers) {
        struct stat info;
        if (::fstatat(fd, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(info.st_mode))
            ::unlinkat(fd, name.c_str(), 0);
    }
}

std::optional<FileStamp> PosixFileSystem::stampOf(const Path &path, const Path &within)
{
    int folder = -1;
    const std::string &text = path.native();
    const auto slash = text.rfind('/');
    if (!within.empty() && slash != std::string::npos && slash > 0) {
        const auto known = m_folders.find(std::string_view(text).substr(0, slash));
        int error = 0;
        folder = known != m_folders.end() ? known->second : openFolder(path.parent_path(), within, false, &error);
    }
    struct statx info;
    constexpr unsigned mask = STATX_TYPE | STATX_SIZE | STATX_MTIME | STATX_INO | STATX_BTIME;
    const int found = folder >= 0
        ? ::statx(folder, text.c_str() + slash + 1, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, mask, &info)
        : ::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, mask, &info);
    if (found != 0)
        return std::nullopt;
    FileStamp stamp;
    stamp.identity = identityFrom(info);
    stamp.size = std::int64_t(info.stx_size);
    stamp.modifiedNs = nanoseconds(info.stx_mtime);
    if (info.stx_mask & STATX_BTIME)
        stamp.bornNs = nanoseconds(info.stx_btime);
    stamp.isRegularFile = S_ISREG(info.stx_mode);
    return stamp;
}

FileError PosixFileSystem::removeFile(const Path &path, const FileIdentity &expected)
{
    // Between this test and the unlink another program could swap the name;
    // our own runs can't, they hold the destination's lock.
    struct stat info;
    if (::lstat(path.c_str(), &info) != 0)
        return FileError(errno);
    if (!S_ISREG(info.st_mode) || FileIdentity{std::uint64_t(info.st_dev), std::uint64_t(info.st_ino)} != expected)
        return FileError(FileError::changedDuringCopy);
    return ::unlink(path.c_str()) == 0 ? FileError() : FileError(errno);
}

bool PosixFileSystem::removeEmptyFolder(const Path &path)
{
    return ::rmdir(path.c_str()) == 0;
}

bool PosixFileSystem::sameBytes(const Path &a, const Path &b)
{
    const Descriptor first(::open(a.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    const Descriptor second(::open(b.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    struct stat one;
    struct stat other;
    if (!first || !second || ::fstat(first.get(), &one) != 0 || ::fstat(second.get(), &other) != 0
        || !S_ISREG(one.st_mode) || !S_ISREG(other.st_mode) || one.st_size != other.st_size)
        return false;
    constexpr std::size_t chunk = 1 << 20;
    const auto left = std::make_unique<char[]>(chunk);
    const auto right = std::make_unique<char[]>(chunk);
    for (off_t offset = 0; offset < one.st_size;) {
        const ssize_t n = ::pread(first.get(), left.get(), chunk, offset);
        if (n <= 0)
            return false;
        for (ssize_t got = 0; got < n;) {
            const ssize_t m = ::pread(second.get(), right.get() + got, std::size_t(n - got), offset + got);
            if (m <= 0)
                return false;
            got += m;
        }
        if (std::memcmp(left.get(), right.get(), std::size_t(n)) != 0)
            return false;
        offset += n;
    }
    // A file written to while it was read may have matched only in part.
    const auto unchanged = [](int fd, const struct stat &before) {
        struct stat after;
        return ::fstat(fd, &after) == 0 && after.st_size == before.st_size
            && after.st_mtim.tv_sec == before.st_mtim.tv_sec && after.st_mtim.tv_nsec == before.st_mtim.tv_nsec
            && after.st_ctim.tv_sec == before.st_ctim.tv_sec && after.st_ctim.tv_nsec == before.st_ctim.tv_nsec;
    };
    return unchanged(first.get(), one) && unchanged(second.get(), other);
}

std::optional<Path> PosixFileSystem::findFile(const Path &folder, const FileIdentity &identity)
{
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    DIR *dir = ::fdopendir(fd);
    if (!dir) {
        ::close(fd);
        return std::nullopt;
    }
    std::unique_ptr<DIR, int (*)(DIR *)> closer(dir, ::closedir);
    struct stat self;
    if (::fstat(fd, &self) != 0 || std::uint64_t(self.st_dev) != identity.device)
        return std::nullopt;
    while (const dirent *item = ::readdir(dir)) {
        if (std::uint64_t(item->d_ino) != identity.inode)
            continue;
        struct stat info;
        if (::fstatat(fd, item->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(info.st_mode)
            && std::uint64_t(info.st_dev) == identity.device && std::uint64_t(info.st_ino) == identity.inode)
            return folder / item->d_name;
    }
    return std::nullopt;
}

bool PosixFileSystem::ignoresCase(const Path &folder)
{
    for (Path path = folder; !path.empty() && path != path.parent_path(); path = path.parent_path()) {
        struct stat here;
        if (::stat(path.c_str(), &here) != 0)
            continue; // not made yet: ask the folder above
        std::string flipped = path.filename().native();
        bool changed = false;
        for (char &c : flipped) {
            if (c >= 'a' && c <= 'z') {
                c = char(c - 'a' + 'A');
                changed = true;
            } else if (c >= 'A' && c <= 'Z') {
                c = char(c - 'A' + 'a');
                changed = true;
            }
        }
        // A name inside the folder tells about the folder's own file system
        // (its own name may belong to the one it is mounted on). Some FUSE
        // file systems hand out a new inode number per name looked up, so
        // the test is: the other spelling is found, yet is no entry of its own.
        if (DIR *dir = ::opendir(path.c_str())) {
            std::unique_ptr<DIR, int (*)(DIR *)> closer(dir, ::closedir);
            std::unordered_set<std::string> names;
            while (const dirent *item = ::readdir(dir))
                names.emplace(item->d_name);
            for (const std::string &name : names) {
                std::string other = name;
                for (char &c : other) {
                    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'))
                        c = char(c ^ 0x20);
                }
                if (other == name)
                    continue;
                struct stat found;
                return !names.count(other) && ::fstatat(::dirfd(dir), other.c_str(), &found, AT_SYMLINK_NOFOLLOW) == 0;
            }
        }
        struct stat parent;
        if (!changed || ::stat(path.parent_path().c_str(), &parent) != 0 || parent.st_dev != here.st_dev)
            continue; // nothing to try here: ask the folder above
        struct stat there;
        const Path other = path.parent_path() / flipped;
        return ::stat(other.c_str(), &there) == 0 && posix::sameFile(here, there);
    }
    return false;
}

bool PosixFileSystem::keepsFileNumbers(const Path &folder)
{
    // Nothing can be tried here: a file keeps its number until the drive is
    // mounted again. So it goes by the file system's kind.
    constexpr unsigned long fuse = 0x65735546;
    constexpr unsigned long fat = 0x4d44;
    constexpr unsigned long exfat = 0x2011bab0;
    for (Path path = folder; !path.empty(); path = path.parent_path()) {
        struct statfs info;
        if (::statfs(path.c_str(), &info) == 0) {
            const auto kind = static_cast<unsigned long>(info.f_type);
            return kind != fuse && kind != fat && kind != exfat;
        }
        if (errno != ENOENT || path == path.parent_path())
            break;
    }
    return true;
}

bool PosixFileSystem::hasGaps(const Path &file, std::int64_t size)
{
    const Descriptor fd(::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct statfs info;
    constexpr unsigned long zfs = 0x2fc12fc1;
    if (!fd || ::fstatfs(fd.get(), &info) != 0 || static_cast<unsigned long>(info.f_type) == zfs)
        return false;
    // The first hole: the end of the file where there is none, and there too
    // where the file system has no way to say (it then takes every byte as data).
    const off_t hole = ::lseek(fd.get(), 0, SEEK_HOLE);
    return hole >= 0 && hole < size;
}

std::optional<Path> PosixFileSystem::missingDrive(const Path &folder)
{
    // Through a link into a drive's folder, the files would land on the
    // mount point the link leads to: ask about that folder.
    return m_drives.missingDrive(resolvingSymlinks(folder));
}

Path PosixFileSystem::resolvingSymlinks(const Path &path)
{
    std::error_code error;
    std::filesystem::path resolved = std::filesystem::weakly_canonical(std::filesystem::path(path), error);
    if (error)
        resolved = std::filesystem::path(path).lexically_normal();
    // "/a/b/" and "/a/b" name one folder.
    if (resolved.has_relative_path() && resolved.filename().empty())
        resolved = resolved.parent_path();
    return Path(resolved);
}

} // namespace sorvanel
