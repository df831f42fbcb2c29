// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Path.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace sorvanel {

// A process that holds a file open for writing. `pid` 0 means the kernel
// says some process does, but none we can see (another user's, say).
struct FileWriter
{
    std::int64_t pid = 0;
    QString program;

    bool operator==(const FileWriter &) const = default;
};

// A file by its device and inode: what stays the same across a rename.
struct FileIdentity
{
    std::uint64_t device = 0;
    std::uint64_t inode = 0;

    bool operator==(const FileIdentity &) const = default;
};

struct FileIdentityHash
{
    std::size_t operator()(const FileIdentity &id) const noexcept
    {
        return std::hash<std::uint64_t>()(id.inode * 0x9E3779B97F4A7C15ull ^ id.device);
    }
};

using WriterTable = std::unordered_map<FileIdentity, FileWriter, FileIdentityHash>;

// The files open for writing at one moment: by identity, and by the path
// their writers opened them under (as the kernel names it now: links
// resolved, renames followed).
struct WriterSnapshot
{
    WriterTable byIdentity;
    std::unordered_map<std::string, FileWriter> byPath;
};

// Files of one folder that were opened, written or replaced since the watch began.
class FolderWatch
{
public:
    virtual ~FolderWatch() = default;

    // Reads what happened since the last call; true when `name` was opened,
    // written or replaced meanwhile, or the watch lost count of events.
    virtual bool touched(std::string_view name) = 0;

    // Reads what happened since the last call; true when events were dropped
    // (too many for the kernel's queue) or the folder went away.
    virtual bool lostCount() = 0;
};

// Who holds files open for writing: the process table of the system. The
// real one reads /proc and asks the kernel through read leases; tests
// substitute writers where they need exact control.
class WriterProbe
{
public:
    virtual ~WriterProbe() = default;

    // Every file some visible process holds open for writing right now.
    virtual WriterSnapshot openForWriting() = 0;

    // Whether anyone holds the file open for writing right now, asked of the
    // file itself. `fd` is our own read-only descriptor of it, or -1 to open
    // `path`. Nothing when nobody does.
    virtual std::optional<FileWriter> writerOf(const Path &path, int fd) = 0;

    // Starts noticing what happens to the files in `folder`. Nothing where
    // the system can't watch it; every check is then asked afresh.
    virtual std::unique_ptr<FolderWatch> watch(const Path &folder) = 0;
};

// The real process table.
class SystemWriterProbe : public WriterProbe
{
public:
    // `procRoot` is where the process table is mounted.
    explicit SystemWriterProbe(Path procRoot = "/proc");

    WriterSnapshot openForWriting() override;
    std::optional<FileWriter> writerOf(const Path &path, int fd) override;
    std::unique_ptr<FolderWatch> watch(const Path &folder) override;

    // The program name of a process, as the system shows it ("firefox-esr").
    QString programName(std::int64_t pid) const;

private:
    Path m_procRoot;
};

// The writer check of one execution: answers, right before each move, whether
// the source is being written, cheaply for the many files nobody touches.
// A watch on the source folder and then a snapshot of the process table are
// taken when it is made; a name that anyone opened or replaced since is asked
// afresh.
class WriterCheck
{
public:
    // `watch`, when given, is one the caller started on `sourceFolder` already.
    WriterCheck(WriterProbe &probe, const Path &sourceFolder, std::unique_ptr<FolderWatch> watch = nullptr);

    // Right before a move: `planned` is the identity the file had when it was
    // planned (a file put in its place since is found by its path).
    std::optional<FileWriter> writerOf(const Path &source, const FileIdentity &planned);

    // Asked of the file itself, through our own read-only descriptor of it.
    std::optional<FileWriter> writerOf(const Path &source, int fd) { return m_probe.writerOf(source, fd); }

private:
    WriterProbe &m_probe;
    Path m_folder;
    std::unique_ptr<FolderWatch> m_watch;
    WriterTable m_writers;
    std::unordered_map<std::string, FileWriter> m_writtenNames; // files of the folder open for writing
};

} // namespace sorvanel
