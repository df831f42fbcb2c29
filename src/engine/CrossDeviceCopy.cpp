// SPDX-License-Identifier: GPL-3.0-or-later
// A move to another drive: the bytes are copied where nobody sees them,
// flushed, checked, published under the final name without replacing
// anything, and only then is the source removed.
#include "FileSystem.h"

#include "Descriptor.h"
#include "PosixSupport.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <utility>

namespace sorvanel {

namespace {

// Copies the bytes; the kernel's in-kernel copy where it can, plain reads
// and writes otherwise. With `copied`, in chunks small enough that a big
// file's progress shows and a stop takes effect within the file;
// ECANCELED when `copied` asked to stop.
int copyData(int from, int to, const CopyProgress *copied)
{
    const std::size_t chunk = copied ? std::size_t(1) << 24 : std::size_t(1) << 30;
    std::int64_t done = 0;
    const auto advance = [&](ssize_t n) {
        done += n;
        return !copied || (*copied)(done);
    };
    bool kernelCopy = true;
    for (;;) {
        if (kernelCopy) {
            const ssize_t n = ::copy_file_range(from, nullptr, to, nullptr, chunk, 0);
            if (n > 0) {
                if (!advance(n))
                    return ECANCELED;
                continue;
            }
            if (n == 0)
                return 0;
            if (errno == EINTR)
                continue;
            if (errno != EXDEV && errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP && errno != EBADF)
                return errno;
            kernelCopy = false; // not offered between these two file systems
        }
        const ssize_t n = ::sendfile(to, from, nullptr, chunk);
        if (n > 0) {
            if (!advance(n))
                return ECANCELED;
            continue;
        }
        if (n == 0)
            return 0;
        if (errno == EINTR)
            continue;
        if (errno != EINVAL && errno != ENOSYS)
            return errno;
        // Last resort: a read/write loop.
        std::unique_ptr<char[]> buffer(new char[1 << 20]);
        for (;;) {
            const ssize_t r = ::read(from, buffer.get(), 1 << 20);
            if (r == 0)
                return 0;
            if (r < 0) {
                if (errno == EINTR)
                    continue;
                return errno;
            }
            for (ssize_t written = 0; written < r;) {
                const ssize_t w = ::write(to, buffer.get() + written, size_t(r - written));
                if (w < 0) {
                    if (errno == EINTR)
                        continue;
                    return errno;
                }
                written += w;
            }
            if (!advance(r))
                return ECANCELED;
        }
    }
}

// Extended attributes travel with the file; those the target refuses
// (security labels, a file system without them) are left behind.
void copyExtendedAttributes(int from, int to)
{
    const ssize_t listSize = ::flistxattr(from, nullptr, 0);
    if (listSize <= 0)
        return;
    std::string names(size_t(listSize), '\0');
    const ssize_t got = ::flistxattr(from, names.data(), names.size());
    if (got <= 0)
        return;
    names.resize(size_t(got));
    std::string value;
    for (size_t start = 0; start < names.size();) {
        const char *name = names.c_str() + start;
        start += std::strlen(name) + 1;
        const ssize_t valueSize = ::fgetxattr(from, name, nullptr, 0);
        if (valueSize < 0)
            continue;
        value.resize(size_t(valueSize));
        const ssize_t read = ::fgetxattr(from, name, value.data(), value.size());
        if (read < 0)
            continue;
        ::fsetxattr(to, name, value.data(), size_t(read), 0);
    }
}

} // namespace

int PosixFileSystem::copyContents(int from, int to, const CopyProgress *copied)
{
    return copyData(from, to, copied);
}

PosixFileSystem::HiddenCopy::HiddenCopy(HiddenCopy &&other) noexcept
    : copy(std::move(other.copy))
    , partial(std::exchange(other.partial, {}))
    , folder(other.folder)
    , published(std::exchange(other.published, false))
{
}

PosixFileSystem::HiddenCopy &PosixFileSystem::HiddenCopy::operator=(HiddenCopy &&other) noexcept
{
    if (this != &other) {
        if (!published)
            discard();
        copy = std::move(other.copy);
        partial = std::exchange(other.partial, {});
        folder = other.folder;
        published = std::exchange(other.published, false);
    }
    return *this;
}

PosixFileSystem::HiddenCopy::~HiddenCopy()
{
    if (!published)
        discard();
}

void PosixFileSystem::HiddenCopy::discard()
{
    if (!partial.empty())
        ::unlinkat(folder, partial.c_str(), 0);
    partial.clear();
    copy = Descriptor();
}

FileError PosixFileSystem::writeHiddenCopy(int from, const struct stat &before, int dir, std::uint64_t device,
                                           int stagingFolder, const CopyProgress *copied, HiddenCopy &out)
{
    // An anonymous file first; else a hidden ".partial" name that planning
    // never picks up, in the root of the move (where the next run looks for
    // leftovers) or in the target folder.
    int tmpfd = -1;
    if (!refuses(device, anonymousFiles)) {
        tmpfd = openAnonymousFile(dir);
        if (tmpfd < 0 && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL))
            rememberRefusal(device, anonymousFiles);
    }
    if (tmpfd < 0) {
        struct stat staging;
        // Only a root on the target's own file system can hand the copy over by renaming.
        out.folder = stagingFolder >= 0 && ::fstat(stagingFolder, &staging) == 0 && device == staging.st_dev
            ? stagingFolder
            : dir;
        for (int attempt = 0; attempt < 100 && tmpfd < 0; ++attempt) {
            out.partial = posix::partialName();
            tmpfd =
                ::openat(out.folder, out.partial.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
            if (tmpfd < 0 && errno != EEXIST) {
                const int error = errno;
                out.partial.clear();
                return FileError(error);
            }
        }
        if (tmpfd < 0) {
            out.partial.clear();
            return FileError(EEXIST);
        }
    }
    out.copy = Descriptor(tmpfd);
    if (const int error = copyContents(from, out.copy.get(), copied)) {
        out.discard();
        return FileError(error == EFBIG ? int(FileError::tooLargeForDrive) : error);
    }
    ::fchmod(out.copy.get(), before.st_mode & 07777);
    copyExtendedAttributes(from, out.copy.get());
    const struct timespec times[2] = {before.st_atim, before.st_mtim};
    ::futimens(out.copy.get(), times);
    return {};
}

std::size_t PosixFileSystem::prepareCopies(const Path &folder, const std::vector<std::string_view> &names,
                                           const Path &within)
{
    discardPreparedCopies();
    struct stat source;
    struct stat root;
    if (names.empty() || ::stat(folder.c_str(), &source) != 0 || ::stat(within.c_str(), &root) != 0
        || source.st_dev == root.st_dev)
        return 0;
    m_preparedFolder = Descriptor(::open(within.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const Descriptor sourceFolder(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!m_preparedFolder || !sourceFolder)
        return 0;
    const auto device = std::uint64_t(root.st_dev);
    for (const std::string_view name : names) {
        const std::string file(name);
        const Descriptor from(
            ::openat(sourceFolder.get(), file.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
        struct stat before;
        if (!from || ::fstat(from.get(), &before) != 0 || !S_ISREG(before.st_mode)
            || before.st_size > preparedCopyLimit)
            continue;
        PreparedCopy prepared;
        // Whatever fails here fails again in the file's own move, which says so.
        if (writeHiddenCopy(from.get(), before, m_preparedFolder.get(), device, m_preparedFolder.get(), nullptr,
                            prepared.hidden))
            continue;
        prepared.device = std::uint64_t(before.st_dev);
        prepared.inode = std::uint64_t(before.st_ino);
        prepared.size = before.st_size;
        prepared.modifiedNs = posix::nanoseconds(before.st_mtim);
        prepared.changedNs = posix::nanoseconds(before.st_ctim);
        m_prepared.insert_or_assign((folder / file).native(), std::move(prepared));
    }
    // Every copy's data on its way to the disk at once: each flush below
    // then waits for its own, and on a journalling file system (ext4) the
    // copies' new blocks share one commit instead of taking one each.
    for (auto &[source, prepared] : m_prepared)
        ::sync_file_range(prepared.hidden.copy.get(), 0, 0, SYNC_FILE_RANGE_WRITE);
    for (auto it = m_prepared.begin(); it != m_prepared.end();) {
        if (::fsync(it->second.hidden.copy.get()) != 0) {
            it->second.hidden.discard();
            it = m_prepared.erase(it);
        } else {
            ++it;
        }
    }
    return m_prepared.size();
}

void PosixFileSystem::discardPreparedCopies()
{
    for (auto &[source, prepared] : m_prepared)
        prepared.hidden.discard();
    m_prepared.clear();
    m_preparedFolder = Descriptor();
}

bool PosixFileSystem::takePreparedCopy(const Path &source, const struct stat &now, std::uint64_t device,
                                       HiddenCopy &out)
{
    const auto found = m_prepared.find(source.native());
    if (found == m_prepared.end())
        return false;
    PreparedCopy prepared = std::move(found->second);
    m_prepared.erase(found);
    struct stat copy;
    const bool unchanged = prepared.device == std::uint64_t(now.st_dev) && prepared.inode == std::uint64_t(now.st_ino)
        && prepared.size == now.st_size && prepared.modifiedNs == posix::nanoseconds(now.st_mtim)
        && prepared.changedNs == posix::nanoseconds(now.st_ctim);
    if (!unchanged || ::fstat(prepared.hidden.copy.get(), &copy) != 0 || std::uint64_t(copy.st_dev) != device) {
        prepared.hidden.discard();
        return false;
    }
    out = std::move(prepared.hidden);
    return true;
}

// One move to another drive. Its steps, in order:
//
//   open     the source (a regular file) and the target folder; a name that
//            is taken already is refused before anything is written;
//   stage    the copy, written where nobody sees it and flushed, or the one
//            prepared ahead with a run of others (prepareCopies);
//   check    the source is unchanged and nobody writes it; the copy is
//            announced to whoever keeps account of the move;
//   publish  under the final name, never over an existing item: an anonymous
//            copy by a link; a partial name by renaming without replacing,
//            else by a link, else by renaming over a reservation;
//   finish   the source goes now, or, for a prepared copy, later with the
//            others of its run (finishPreparedMoves).
//
// Until it is published the copy is discarded on every way out.
class PosixFileSystem::CrossDeviceMove
{
public:
    CrossDeviceMove(PosixFileSystem &fs, const Path &source, int folder, const char *name, const MoveContext &context)
        : m_fs(fs)
        , m_source(source)
        , m_givenFolder(folder)
        , m_name(name)
        , m_context(context)
    {
    }

    FileError run()
    {
        if (FileError error = open())
            return error;
        if (FileError error = stage())
            return error;
        if (FileError error = check())
            return error;
        if (FileError error = publish())
            return error;
        return m_prepared ? defer() : finish();
    }

private:
    FileError open()
    {
        m_from = Descriptor(::open(m_source.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY));
        if (!m_from)
            return FileError(errno);
        if (::fstat(m_from.get(), &m_before) != 0)
            return FileError(errno);
        if (!S_ISREG(m_before.st_mode))
            return FileError(EINVAL);
        // The folder is flushed once the copy has its name: it needs a real
        // descriptor, not the working directory's stand-in.
        if (m_givenFolder == AT_FDCWD) {
            m_ownFolder = Descriptor(::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
            if (!m_ownFolder)
                return FileError(errno);
        }
        m_dir = m_ownFolder ? m_ownFolder.get() : m_givenFolder;
        struct stat target;
        if (::fstat(m_dir, &target) != 0)
            return FileError(errno);
        m_device = std::uint64_t(target.st_dev);
        struct stat existing;
        if (::fstatat(m_dir, m_name, &existing, AT_SYMLINK_NOFOLLOW) == 0)
            return FileError(EEXIST);
        return {};
    }

    FileError stage()
    {
        m_prepared = m_fs.takePreparedCopy(m_source, m_before, m_device, m_staged);
        if (m_prepared)
            return {};
        int error = 0;
        const int root =
            m_context.stagingRoot ? m_fs.openFolder(*m_context.stagingRoot, *m_context.stagingRoot, false, &error) : -1;
        if (const FileError failed =
                m_fs.writeHiddenCopy(m_from.get(), m_before, m_dir, m_device, root, m_context.copied, m_staged))
            return failed;
        if (::fsync(m_staged.copy.get()) != 0) {
            const int flushError = errno;
            m_staged.discard();
            return FileError(flushError);
        }
        return {};
    }

    FileError check()
    {
        struct stat afterCopy;
        if (::fstat(m_from.get(), &afterCopy) != 0 || !posix::sameContentStamp(m_before, afterCopy)) {
            m_staged.discard();
            return FileError(FileError::changedDuringCopy);
        }
        // A download paused mid-way looks finished to every test of time and
        // size: ask whether anyone still holds the file open for writing.
        if (m_context.writers) {
            if (auto writer = m_context.writers->writerOf(m_source, m_from.get())) {
                m_staged.discard();
                return FileError::writtenBy(std::move(*writer));
            }
        }
        if (::fstat(m_staged.copy.get(), &m_copied) != 0) {
            const int error = errno;
            m_staged.discard();
            return FileError(error);
        }
        // As the destination keeps it: some file systems keep times more coarsely.
        m_copyStamp = posix::stampFrom(m_copied);
        // Whoever keeps account of the move hears of the copy before it has a name.
        if (m_context.beforePublish && !(*m_context.beforePublish)(m_copyStamp, {})) {
            m_staged.discard();
            return FileError(EIO);
        }
        return {};
    }

    FileError publish()
    {
        const int error = m_staged.partial.empty() ? linkAnonymous() : publishPartial();
        if (error == 0) {
            m_staged.published = true;
            return {};
        }
        m_staged.discard();
        // Names are UTF-16 on NTFS and exFAT: bytes that are not UTF-8 can't be one.
        return FileError(error == EILSEQ ? int(FileError::nameRefused) : error);
    }

    // 0, or the error that kept the copy from its name.
    int linkAnonymous()
    {
        const std::string self = "/proc/self/fd/" + std::to_string(m_staged.copy.get());
        if (::linkat(AT_FDCWD, self.c_str(), m_dir, m_name, AT_SYMLINK_FOLLOW) == 0)
            return 0;
        if (errno != ENOENT)
            return errno;
        // No /proc: needs CAP_DAC_READ_SEARCH.
        return ::linkat(m_staged.copy.get(), "", m_dir, m_name, AT_EMPTY_PATH) == 0 ? 0 : errno;
    }

    // The first way the file system takes, trying only those it has not refused before.
    int publishPartial()
    {
        const int from = m_staged.folder;
        const char *partial = m_staged.partial.c_str();
        int error = 0;
        if (!m_fs.refuses(m_device, noReplaceFlag)) {
            if (::renameat2(from, partial, m_dir, m_name, RENAME_NOREPLACE) == 0)
                return 0;
            error = errno;
            if (error == EINVAL || error == ENOSYS || error == EOPNOTSUPP)
                m_fs.rememberRefusal(m_device, noReplaceFlag);
        }
        if (!m_fs.refuses(m_device, noReplaceFlag))
            return error;
        if (!m_fs.refuses(m_device, hardLinks)) {
            if (::linkat(from, partial, m_dir, m_name, 0) == 0) {
                ::unlinkat(from, partial, 0);
                return 0;
            }
            error = errno;
            if (error == EPERM || error == EOPNOTSUPP || error == ENOSYS)
                m_fs.rememberRefusal(m_device, hardLinks);
        }
        if (!m_fs.refuses(m_device, hardLinks))
            return error;
        // Neither (older FUSE file systems): over a reservation.
        return m_fs.renameOverReservation(from, partial, m_dir, m_name, m_copyStamp, m_context, true).code();
    }

    int partialFolder() const { return m_staged.partial.empty() ? m_dir : m_staged.folder; }

    FileError finish()
    {
        ::fsync(m_dir);
        if (partialFolder() != m_dir)
            ::fsync(partialFolder()); // the partial name is gone for good before the source goes
        return m_fs.removeCopiedSource(m_source, m_from.get(), m_before, m_dir, m_name, m_copied, m_context.writers);
    }

    // Flushed and finished with the others of its run.
    FileError defer()
    {
        auto pending = std::make_unique<PendingRemoval>();
        pending->source = m_source;
        pending->from = std::move(m_from);
        pending->before = m_before;
        pending->folder = Descriptor(::fcntl(m_dir, F_DUPFD_CLOEXEC, 0));
        pending->name = m_name;
        pending->copied = m_copied;
        pending->writers = m_context.writers;
        const bool partial = !m_staged.partial.empty();
        if (partial)
            pending->stagingFolder = Descriptor(::fcntl(partialFolder(), F_DUPFD_CLOEXEC, 0));
        if (!pending->folder || (partial && !pending->stagingFolder)) {
            // Can't keep the folder: finish this one now.
            ::fsync(m_dir);
            ::fsync(partialFolder());
            return m_fs.removeCopiedSource(m_source, pending->from.get(), m_before, m_dir, m_name, m_copied,
                                           m_context.writers);
        }
        m_fs.m_pending.push_back(std::move(pending));
        return {};
    }

    PosixFileSystem &m_fs;
    const Path &m_source;
    const int m_givenFolder;
    const char *const m_name;
    const MoveContext &m_context;
    Descriptor m_from;
    struct stat m_before = {};
    Descriptor m_ownFolder;
    int m_dir = -1;
    std::uint64_t m_device = 0;
    HiddenCopy m_staged;
    bool m_prepared = false;
    struct stat m_copied = {};
    FileStamp m_copyStamp;
};

FileError PosixFileSystem::copyAcrossDevices(const Path &source, int folder, const char *name,
                                             const MoveContext &context)
{
    return CrossDeviceMove(*this, source, folder, name, context).run();
}

FileError PosixFileSystem::removeCopiedSource(const Path &source, int from, const struct stat &before, int dir,
                                              const char *name, const struct stat &copied, WriterCheck *writers)
{
    // Take back our published copy, but only if the name still holds it.
    const auto unpublish = [&] {
        struct stat current;
        if (::fstatat(dir, name, &current, AT_SYMLINK_NOFOLLOW) == 0 && posix::sameFile(current, copied))
            ::unlinkat(dir, name, 0);
    };
    // Remove the source only if it is still the file we copied and nobody
    // opened it for writing while the copy was published.
    struct stat now;
    if (::lstat(source.c_str(), &now) != 0 || !posix::sameContentStamp(before, now)) {
        unpublish();
        return FileError(FileError::changedDuringCopy);
    }
    if (writers) {
        if (auto writer = writers->writerOf(source, from)) {
            unpublish();
            return FileError::writtenBy(std::move(*writer));
        }
    }
    if (::unlink(source.c_str()) != 0) {
        const int error = errno;
        unpublish();
        return FileError(error);
    }
    return {};
}

std::vector<std::pair<Path, FileError>> PosixFileSystem::finishPreparedMoves()
{
    std::vector<std::pair<Path, FileError>> failed;
    if (m_pending.empty())
        return failed;
    // Every folder a copy took its name in, and every one a partial name
    // left, once: then the copies' names hold before any source goes.
    std::vector<std::pair<dev_t, ino_t>> flushed;
    const auto flush = [&](const Descriptor &folder) {
        struct stat info;
        if (!folder || ::fstat(folder.get(), &info) != 0)
            return;
        const std::pair key{info.st_dev, info.st_ino};
        if (std::find(flushed.begin(), flushed.end(), key) == flushed.end()) {
            flushed.push_back(key);
            ::fsync(folder.get());
        }
    };
    for (const auto &pending : m_pending) {
        flush(pending->folder);
        flush(pending->stagingFolder);
    }
    for (const auto &pending : m_pending) {
        if (FileError error =
                removeCopiedSource(pending->source, pending->from.get(), pending->before, pending->folder.get(),
                                   pending->name.c_str(), pending->copied, pending->writers))
            failed.emplace_back(pending->source, std::move(error));
    }
    m_pending.clear();
    return failed;
}

} // namespace sorvanel
