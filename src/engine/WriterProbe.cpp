// SPDX-License-Identifier: GPL-3.0-or-later
#include "WriterProbe.h"

#include "Descriptor.h"
#include "FolderEvents.h"

#include <QFile>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_set>
#include <utility>

namespace sorvanel {

namespace {

bool isNumber(const char *name)
{
    if (!*name)
        return false;
    for (; *name; ++name) {
        if (*name < '0' || *name > '9')
            return false;
    }
    return true;
}

// A lease is broken with a signal to its holder, SIGIO unless told otherwise,
// and SIGIO's default is to end the process. We take and drop a lease at once,
// but a writer may open the file in between: that must cost nothing.
void ignoreLeaseBreaks()
{
    static std::once_flag once;
    std::call_once(once, [] {
        struct sigaction current;
        if (::sigaction(SIGIO, nullptr, &current) == 0 && current.sa_handler == SIG_DFL
            && !(current.sa_flags & SA_SIGINFO)) {
            struct sigaction ignore
            {
            };
            ignore.sa_handler = SIG_IGN;
            ::sigemptyset(&ignore.sa_mask);
            ::sigaction(SIGIO, &ignore, nullptr);
        }
    });
}

// The writer check's view of a folder's events: a name counts as touched
// when anyone opened, wrote, made or moved in a file under it.
class InotifyWatch : public FolderWatch
{
public:
    explicit InotifyWatch(std::unique_ptr<FolderEvents> events)
        : m_events(std::move(events))
    {
    }

    bool touched(std::string_view name) override
    {
        return lostCount() || (!m_touched.empty() && m_touched.count(std::string(name)) > 0);
    }

    bool lostCount() override
    {
        constexpr std::uint32_t touching =
            FolderEvents::opened | FolderEvents::written | FolderEvents::created | FolderEvents::movedIn;
        FolderEvents::Batch batch = m_events->read();
        m_lostCount = m_lostCount || batch.overflowed || batch.folderGone;
        for (FolderEvents::Event &event : batch.events) {
            if (event.kinds & touching)
                m_touched.insert(std::move(event.name));
        }
        return m_lostCount;
    }

private:
    std::unique_ptr<FolderEvents> m_events;
    std::unordered_set<std::string> m_touched;
    bool m_lostCount = false;
};

} // namespace

SystemWriterProbe::SystemWriterProbe(Path procRoot)
    : m_procRoot(std::move(procRoot))
{
}

namespace {

std::string_view baseName(std::string_view path)
{
    const auto slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

// What a small file of /proc holds, up to 4 KiB.
std::string procText(const Path &file)
{
    const Descriptor fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd)
        return {};
    std::string text(4096, '\0');
    const ssize_t n = ::read(fd.get(), text.data(), text.size());
    text.resize(n > 0 ? std::size_t(n) : 0);
    return text;
}

} // namespace

// The kernel keeps a program's name to 15 bytes ("transmission-da"): a name
// that long is looked up in full, as the executable's name or the first or
// second word of its command line (a script's interpreter comes first).
QString SystemWriterProbe::programName(std::int64_t pid) const
{
    const Path process = m_procRoot / std::to_string(pid);
    std::string comm = procText(process / "comm");
    while (!comm.empty() && (comm.back() == '\n' || comm.back() == '\0'))
        comm.pop_back();
    constexpr std::size_t kept = 15;
    if (comm.size() == kept) {
        std::vector<std::string> candidates;
        char target[4096];
        const ssize_t length = ::readlink((process / "exe").c_str(), target, sizeof target);
        if (length > 0 && length < ssize_t(sizeof target))
            candidates.emplace_back(baseName(std::string_view(target, std::size_t(length))));
        const std::string arguments = procText(process / "cmdline");
        for (std::size_t start = 0, word = 0; start < arguments.size() && word < 2; ++word) {
            const std::size_t end = std::min(arguments.find('\0', start), arguments.size());
            candidates.emplace_back(baseName(std::string_view(arguments).substr(start, end - start)));
            start = end + 1;
        }
        for (const std::string &candidate : candidates) {
            if (candidate.size() > kept && candidate.starts_with(comm))
                return QString::fromUtf8(candidate.data(), qsizetype(candidate.size()));
        }
    }
    return QString::fromUtf8(comm.data(), qsizetype(comm.size()));
}

WriterSnapshot SystemWriterProbe::openForWriting()
{
    WriterSnapshot table;
    const Descriptor proc(::open(m_procRoot.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!proc)
        return table;
    DIR *processes = ::fdopendir(::dup(proc.get()));
    if (!processes)
        return table;
    std::unique_ptr<DIR, int (*)(DIR *)> closeProcesses(processes, ::closedir);
    const std::int64_t self = ::getpid();
    while (const dirent *process = ::readdir(processes)) {
        if (!isNumber(process->d_name))
            continue;
        const std::int64_t pid = std::strtoll(process->d_name, nullptr, 10);
        if (pid == self)
            continue;
        // Another user's processes answer EACCES here: they are not ours to see.
        const std::string fdFolder = std::string(process->d_name) + "/fd";
        const int fds = ::openat(proc.get(), fdFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fds < 0)
            continue;
        DIR *descriptors = ::fdopendir(fds);
        if (!descriptors) {
            ::close(fds);
            continue;
        }
        std::unique_ptr<DIR, int (*)(DIR *)> closeDescriptors(descriptors, ::closedir);
        QString program;
        while (const dirent *descriptor = ::readdir(descriptors)) {
            if (!isNumber(descriptor->d_name))
                continue;
            // The link itself carries the descriptor's access mode in its
            // permission bits: owner-write is set when it was opened for writing.
            struct stat link;
            if (::fstatat(fds, descriptor->d_name, &link, AT_SYMLINK_NOFOLLOW) != 0 || !(link.st_mode & S_IWUSR))
                continue;
            struct stat target;
            if (::fstatat(fds, descriptor->d_name, &target, 0) != 0 || !S_ISREG(target.st_mode))
                continue;
            if (program.isNull())
                program = programName(pid);
            const FileWriter writer{pid, program};
            table.byIdentity.emplace(FileIdentity{std::uint64_t(target.st_dev), std::uint64_t(target.st_ino)}, writer);
            char path[4096];
            const ssize_t length = ::readlinkat(fds, descriptor->d_name, path, sizeof path);
            if (length > 0 && length < ssize_t(sizeof path))
                table.byPath.emplace(std::string(path, std::size_t(length)), writer);
        }
    }
    return table;
}

std::optional<FileWriter> SystemWriterProbe::writerOf(const Path &path, int fd)
{
    const Descriptor own(fd < 0 ? ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC) : -1);
    if (fd < 0)
        fd = own.get();
    struct stat info;
    if (fd >= 0) {
        if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode))
            return std::nullopt;
        // A read lease is refused while anyone, of any user, has the file open
        // for writing: the kernel's own count, and no process to miss.
        ignoreLeaseBreaks();
        if (::fcntl(fd, F_SETLEASE, F_RDLCK) == 0) {
            ::fcntl(fd, F_SETLEASE, F_UNLCK);
            return std::nullopt;
        }
        const int error = errno;
        if (error == EAGAIN) {
            const WriterTable writers = openForWriting().byIdentity;
            const auto found = writers.find({std::uint64_t(info.st_dev), std::uint64_t(info.st_ino)});
            return found != writers.end() ? found->second : FileWriter{};
        }
        // No leases here (a file of another owner, a network or FUSE file
        // system, leases switched off): the process table alone decides.
    } else if (::lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        return std::nullopt; // gone, or not a file: the move itself will say
    }
    const WriterTable writers = openForWriting().byIdentity;
    const auto found = writers.find({std::uint64_t(info.st_dev), std::uint64_t(info.st_ino)});
    if (found == writers.end())
        return std::nullopt;
    return found->second;
}

std::unique_ptr<FolderWatch> SystemWriterProbe::watch(const Path &folder)
{
    auto events = FolderEvents::start(folder);
    if (!events)
        return nullptr;
    return std::make_unique<InotifyWatch>(std::move(events));
}

WriterCheck::WriterCheck(WriterProbe &probe, const Path &sourceFolder, std::unique_ptr<FolderWatch> watch)
    : m_probe(probe)
    , m_folder(sourceFolder)
    , m_watch(watch ? std::move(watch) : probe.watch(sourceFolder))
{
    // The watch first: a writer that opens a file after the snapshot below is
    // then an event, one that opened it before is in the snapshot.
    if (!m_watch)
        return;
    WriterSnapshot snapshot = probe.openForWriting();
    m_writers = std::move(snapshot.byIdentity);
    // The kernel names open files with links resolved.
    char resolved[PATH_MAX];
    if (!::realpath(sourceFolder.c_str(), resolved))
        return;
    const std::string folder = std::string(resolved) + (resolved[1] ? "/" : "");
    for (auto &[path, writer] : snapshot.byPath) {
        if (path.size() > folder.size() && path.compare(0, folder.size(), folder) == 0
            && path.find('/', folder.size()) == std::string::npos)
            m_writtenNames.emplace(path.substr(folder.size()), std::move(writer));
    }
}

std::optional<FileWriter> WriterCheck::writerOf(const Path &source, const FileIdentity &planned)
{
    if (!m_watch)
        return m_probe.writerOf(source, -1);
    const std::string &path = source.native();
    const auto slash = path.rfind('/');
    if (slash == std::string::npos || std::string_view(path).substr(0, slash) != m_folder.native())
        return m_probe.writerOf(source, -1);
    const std::string_view name = std::string_view(path).substr(slash + 1);
    if (m_watch->touched(name))
        return m_probe.writerOf(source, -1);
    if (!m_writtenNames.empty()) {
        const auto found = m_writtenNames.find(std::string(name));
        if (found != m_writtenNames.end())
            return found->second;
    }
    const auto found = m_writers.find(planned);
    if (found == m_writers.end())
        return std::nullopt;
    return found->second;
}

} // namespace sorvanel
