// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Descriptor.h"
#include "DriveTable.h"
#include "OrganizationModels.h"
#include "WriterProbe.h"

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

struct stat;

namespace sorvanel {

// A failure of one file-system call: an errno value, or one of our own codes.
class FileError
{
public:
    enum Code : int {
        none = 0,
        changedDuringCopy = -1, // the source changed while it was copied to another drive
        unknownRead = -2, // a file whose date or size could not be read
        beingWritten = -3, // another program holds the file open for writing
        nameRefused = -4, // the destination's file system does not allow the name
        tooLargeForDrive = -5, // the destination's file system does not allow files this large
    };

    FileError() = default;
    explicit FileError(int code)
        : m_code(code)
    {
    }
    static FileError writtenBy(FileWriter writer)
    {
        FileError error(beingWritten);
        error.m_writer = std::move(writer);
        return error;
    }

    int code() const { return m_code; }
    // Who is writing the file, for beingWritten.
    const FileWriter &writer() const { return m_writer; }
    explicit operator bool() const { return m_code != none; }
    QString localizedDescription() const;

private:
    int m_code = none;
    FileWriter m_writer;
};

// The properties read for each entry of a listing, from one statx call.
struct FileProperties
{
    bool isRegularFile = false;
    bool isSymbolicLink = false;
    bool isDirectory = false;
    bool isHidden = false;
    FileIdentity identity;
    std::optional<std::int64_t> size;
    std::optional<QDateTime> creationDate;
    std::optional<QDateTime> modificationDate;
    std::int64_t modifiedNs = 0; // the modification time, exactly
    std::int64_t bornNs = 0; // the birth time, exactly, where the file system keeps one; else 0
    std::int64_t allocatedBytes = -1; // what its data takes on the drive; -1: not known
};

// What tells one file from another that took its name: its identity, size
// and modification time to the nanosecond, and its birth time where the
// file system keeps one.
struct FileStamp
{
    FileIdentity identity;
    std::int64_t size = -1;
    std::int64_t modifiedNs = 0;
    std::int64_t bornNs = 0; // 0: not known
    bool isRegularFile = false;

    // The file that had this identity and birth time: a file system may
    // give a freed inode number to the next file made, and only the birth
    // time tells them apart (where either is not known, the number decides).
    bool isFile(const FileIdentity &id, std::int64_t born) const
    {
        return identity == id && (born == 0 || bornNs == 0 || born == bornNs);
    }

    bool sameContent(const FileIdentity &id, std::int64_t bytes, std::int64_t nanoseconds) const
    {
        return isRegularFile && identity == id && size == bytes && modifiedNs == nanoseconds;
    }
};

// Called with our finished copy on another drive right before it is
// published; false stops the move and the copy goes. Where the file system
// has neither a no-replace rename nor hard links, the final name is first
// reserved with an empty file: then it is called once more, with the
// reservation's identity, before the copy is renamed over it.
using PublishCheck = std::function<bool(const FileStamp &copy, const FileIdentity &reservation)>;

// Hears, during a copy to another drive, how many bytes of the file are
// copied; false stops the copy: nothing of it stays, the source stays, and
// the move fails with ECANCELED.
using CopyProgress = std::function<bool(std::int64_t copiedBytes)>;

struct DirectoryEntry
{
    Path url;
    FileError error; // set when the entry's properties could not be read
    FileProperties properties;
};

// The file-system service of the engine. The real one talks to the kernel;
// tests substitute faults where the machine can't produce them.
class FileSystem
{
public:
    virtual ~FileSystem() = default;

    // The direct contents of a folder with their properties, in listing order.
    // Throws OrganizerFailure (a POSIX error) when the folder can't be listed.
    virtual std::vector<DirectoryEntry> contentsOfDirectory(const Path &directory) = 0;

    // Follows symbolic links, like a file browser's existence test.
    virtual bool fileExists(const Path &path, bool *isDirectory = nullptr) = 0;
    // A folder, or a link to one, is there.
    bool folderExists(const Path &path)
    {
        bool isDirectory = false;
        return fileExists(path, &isDirectory) && isDirectory;
    }
    // A folder is there, and is not just the bare mount point of a missing drive.
    bool folderReachable(const Path &path) { return folderExists(path) && !missingDrive(path); }

    // True when any item, even a dangling symbolic link, holds the name.
    virtual bool itemExists(const Path &path) = 0;

    // The names in a folder, or nothing when it can't be read (missing, say).
    virtual std::optional<std::unordered_set<std::string>> namesInDirectory(const Path &directory) = 0;

    // Creates the folder and any missing parents; succeeds when it exists.
    // With a `within` folder, the part below it is made and opened one
    // component at a time without following a symbolic link, so nothing is
    // created outside `within` even if someone plants a link in the tree;
    // the folders it made are then added to `created`, outermost first.
    virtual FileError createDirectory(const Path &directory, const Path &within = {},
                                      std::vector<Path> *created = nullptr) = 0;

    // Moves a file without ever replacing an existing item: EEXIST when the
    // target name is taken. Across file systems the copy is published only
    // when complete, and the source removed only after that. With a `within`
    // folder, the target's folders below it are reached without following links.
    // With `writers`, a move across file systems asks once more after the
    // copy, and again right before the source is removed, whether another
    // program holds the source open for writing; if so the copy goes, the
    // source stays (FileError::beingWritten). The check right before a move
    // is the caller's, who knows the file that was planned. `beforePublish`
    // hears of a copy across file systems before it takes its name, and
    // `copied` of its bytes as they are copied.
    virtual FileError moveItem(const Path &source, const Path &target, const Path &within = {},
                               WriterCheck *writers = nullptr, const PublishCheck *beforePublish = nullptr,
                               const CopyProgress *copied = nullptr) = 0;

    // The item under the name itself (links not followed); nothing when there
    // is none. With a `within` folder, the folders below it are reached
    // without following links, and stay open for the next call.
    virtual std::optional<FileStamp> stampOf(const Path &path, const Path &within = {}) = 0;
    // Removes the file, but only while the name still holds `expected`.
    virtual FileError removeFile(const Path &path, const FileIdentity &expected) = 0;
    // Removes the folder only if it is empty.
    virtual bool removeEmptyFolder(const Path &path) = 0;
    // The name under which the folder holds that file, if it does.
    virtual std::optional<Path> findFile(const Path &folder, const FileIdentity &identity) = 0;
    // Whether two regular files (links not followed) hold the same bytes:
    // read in blocks, up to the first that differs; false where either
    // changed while they were read.
    virtual bool sameBytes(const Path &a, const Path &b) = 0;

    // Whether names in the folder (or, while it does not exist yet, in the
    // nearest folder above it) ignore case, as on FAT, exFAT and NTFS seen
    // from Windows: found by asking for a name of it in the other case.
    virtual bool ignoresCase(const Path &folder)
    {
        (void)folder;
        return false;
    }

    // Whether the regular file of `size` bytes has a hole in its data: a
    // range never written (a paused torrent, written piece by piece) or
    // pre-allocated and not yet filled. Blind (false) where the file system
    // can't tell (FAT, exFAT, FUSE without holes), and not asked on ZFS, whose
    // compression keeps runs of zeros as holes. Safe to call from several threads.
    virtual bool hasGaps(const Path &file, std::int64_t size)
    {
        (void)file;
        (void)size;
        return false;
    }

    // Whether the file system under the folder gives a file the same inode
    // number for its whole life. FAT and exFAT number files afresh each time
    // the drive is mounted, and FUSE file systems may number them as they
    // meet them: there a file is known again by its size and time alone.
    virtual bool keepsFileNumbers(const Path &folder)
    {
        (void)folder;
        return true;
    }

    // The mount point of a drive that the system expects the folder on and
    // that is not plugged in or not mounted; nothing where none is missing.
    // A folder reached through symbolic links is asked about where they lead.
    virtual std::optional<Path> missingDrive(const Path &folder)
    {
        (void)folder;
        return std::nullopt;
    }

    // Where a file system can't make anonymous files, a copy to another drive
    // is written under a hidden ".sorvanel-NUMBER.partial" name in the `within`
    // root. A crash can leave one behind; it is never the only copy of a file
    // (the source goes only once the copy is published). Removes those in
    // `root`; call it holding the root's lock.
    virtual void removeLeftoverCopies(const Path &root) { (void)root; }

    // Copies ahead of their moves the files `names` of `folder` that the
    // next moves take to another drive, and flushes the copies one after
    // the other: a drive flushes a run of files for little more than one.
    // A later moveItem of such a file takes its copy when the file is
    // unchanged since (not even its status); otherwise it copies afresh.
    // The copies not taken go with the next call, or with
    // discardPreparedCopies. Nothing is prepared where `folder` and `within`
    // (the root of the moves, where the copies wait) are on one drive.
    // A move that takes a prepared copy publishes it and leaves the rest to
    // finishPreparedMoves: flushing the folders, for all such moves at once,
    // and then removing each source that is still the file that was copied
    // and that nobody writes. A source that is not keeps its place, and its
    // copy goes again. Returns how many copies it prepared.
    virtual std::size_t prepareCopies(const Path &folder, const std::vector<std::string_view> &names,
                                      const Path &within)
    {
        (void)folder;
        (void)names;
        (void)within;
        return 0;
    }
    // Finishes the moves that took prepared copies; the moves that had to be
    // taken back, by source, with why.
    virtual std::vector<std::pair<Path, FileError>> finishPreparedMoves() { return {}; }
    virtual void discardPreparedCopies() { }

    // Lets go of the folders a run kept open.
    virtual void closeFolders() { }

    // Resolves symbolic links in the existing part of the path and removes
    // "." and ".." components and redundant separators.
    virtual Path resolvingSymlinks(const Path &path) = 0;
};

class PosixFileSystem : public FileSystem
{
public:
    PosixFileSystem();
    ~PosixFileSystem() override;
    PosixFileSystem(const PosixFileSystem &) = delete;
    PosixFileSystem &operator=(const PosixFileSystem &) = delete;

    std::vector<DirectoryEntry> contentsOfDirectory(const Path &directory) override;
    bool fileExists(const Path &path, bool *isDirectory = nullptr) override;
    bool itemExists(const Path &path) override;
    std::optional<std::unordered_set<std::string>> namesInDirectory(const Path &directory) override;
    FileError createDirectory(const Path &directory, const Path &within = {},
                              std::vector<Path> *created = nullptr) override;
    FileError moveItem(const Path &source, const Path &target, const Path &within = {}, WriterCheck *writers = nullptr,
                       const PublishCheck *beforePublish = nullptr, const CopyProgress *copied = nullptr) override;
    std::optional<FileStamp> stampOf(const Path &path, const Path &within = {}) override;
    FileError removeFile(const Path &path, const FileIdentity &expected) override;
    bool removeEmptyFolder(const Path &path) override;
    std::optional<Path> findFile(const Path &folder, const FileIdentity &identity) override;
    bool sameBytes(const Path &a, const Path &b) override;
    bool ignoresCase(const Path &folder) override;
    bool keepsFileNumbers(const Path &folder) override;
    bool hasGaps(const Path &file, std::int64_t size) override;
    std::optional<Path> missingDrive(const Path &folder) override;
    void removeLeftoverCopies(const Path &root) override;
    std::size_t prepareCopies(const Path &folder, const std::vector<std::string_view> &names,
                              const Path &within) override;
    std::vector<std::pair<Path, FileError>> finishPreparedMoves() override;
    void discardPreparedCopies() override;
    void closeFolders() override;

    // What prepareCopies is given: files up to this size, this many and
    // this many bytes at a time.
    static constexpr std::int64_t preparedCopyLimit = std::int64_t(1) << 20;
    static constexpr std::size_t preparedCopyBatch = 64;
    static constexpr std::int64_t preparedBytesLimit = std::int64_t(8) << 20;
    Path resolvingSymlinks(const Path &path) override;

    // Tables other than the system's, for tests.
    void setDriveTable(DriveTable table) { m_drives = std::move(table); }

protected:
    // What one move hands down to the step that carries it out.
    struct MoveContext
    {
        const Path *stagingRoot = nullptr; // the root of the move, where named partial copies go
        WriterCheck *writers = nullptr; // who may still be writing the source
        const PublishCheck *beforePublish = nullptr; // who hears of a copy before it is published
        const CopyProgress *copied = nullptr; // who hears how far a copy is
    };

    // The pieces of a move, open to tests that need to force a path. The
    // target is `name` in the folder open as `folder`.
    virtual FileError renameNoReplace(const Path &source, int folder, const char *name, const MoveContext &context);
    FileError linkThenUnlink(const Path &source, int folder, const char *name, const MoveContext &context);
    // The last way to take a name without replacing anything: reserve it
    // with an empty file made with O_EXCL, then rename `fromName` (in
    // `fromFolder`) over that reservation while it is still ours. `file` is
    // the file that takes the name, for whoever keeps account; `announced`
    // when they have heard of it already.
    FileError renameOverReservation(int fromFolder, const char *fromName, int folder, const char *name,
                                    const FileStamp &file, const MoveContext &context, bool announced = false);
    // Copies to another drive (in CrossDeviceCopy.cpp).
    virtual FileError copyAcrossDevices(const Path &source, int folder, const char *name, const MoveContext &context);
    // A copy that no one sees yet: an anonymous file, or a hidden partial
    // name. Discarded when it goes out of scope, unless it was published.
    struct HiddenCopy
    {
        Descriptor copy;
        std::string partial; // empty: anonymous
        int folder = -1; // where the partial name lies
        bool published = false; // it has its final name: nothing to discard

        HiddenCopy() = default;
        HiddenCopy(HiddenCopy &&other) noexcept;
        HiddenCopy &operator=(HiddenCopy &&other) noexcept;
        ~HiddenCopy();
        void discard();
    };
    class CrossDeviceMove;
    // Writes the open file `from` (as `before` describes it) into a hidden
    // copy: anonymous in `dir` where its file system has such files, else
    // under a partial name in `stagingFolder` when that is on `dir`'s file
    // system, or in `dir`. Not flushed.
    FileError writeHiddenCopy(int from, const struct stat &before, int dir, std::uint64_t device, int stagingFolder,
                              const CopyProgress *copied, HiddenCopy &out);
    // The prepared copy of `source`, if it is one of the file `now`
    // describes, on `device`.
    bool takePreparedCopy(const Path &source, const struct stat &now, std::uint64_t device, HiddenCopy &out);
    // The last step of a move to another drive, its copy published as
    // `name` in `dir` and flushed: the source goes only while it is the file
    // that was copied and nobody writes it; else the copy goes again.
    FileError removeCopiedSource(const Path &source, int from, const struct stat &before, int dir, const char *name,
                                 const struct stat &copied, WriterCheck *writers);
    // A move that took a prepared copy, published, its source still there.
    struct PendingRemoval;
    // Copies the bytes of one open file into another; tests make it fail.
    virtual int copyContents(int from, int to, const CopyProgress *copied);
    // An unnamed file in the folder (O_TMPFILE), or -1 with errno set where
    // the file system has none; tests take it away.
    virtual int openAnonymousFile(int folder);
    // The folder, opened for moves (-1 with `error` set when it can't be).
    int openFolder(const Path &directory, const Path &within, bool create, int *error,
                   std::vector<Path> *created = nullptr);

    // Which ways of taking a name without replacing anything a file system
    // has refused once: later moves onto it go straight to the way that
    // works. Forgetting costs only time; the reservation works everywhere.
    enum Refused : unsigned { noReplaceFlag = 1, hardLinks = 2, anonymousFiles = 4 };
    bool refuses(std::uint64_t device, Refused way) const;
    void rememberRefusal(std::uint64_t device, Refused way);
    bool refuses(int folder, Refused way) const; // by the folder's file system
    void rememberRefusal(int folder, Refused way);

private:
    DriveTable m_drives;
    std::unordered_map<std::uint64_t, unsigned> m_refused; // by device
    std::unordered_map<std::string, int, StringHash, std::equal_to<>> m_folders; // folders opened below a `within` root
    std::string m_sourceFolderPath; // the folder the latest move came from, kept open
    int m_sourceFolder = -1;

    // Copies made by prepareCopies, by source path, with the source as it was copied.
    struct PreparedCopy
    {
        HiddenCopy hidden;
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
        std::int64_t size = 0;
        std::int64_t modifiedNs = 0;
        std::int64_t changedNs = 0;
    };
    std::unordered_map<std::string, PreparedCopy> m_prepared;
    Descriptor m_preparedFolder; // the root the partial names of prepared copies lie in
    std::vector<std::unique_ptr<PendingRemoval>> m_pending;
};

} // namespace sorvanel
