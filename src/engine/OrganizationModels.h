// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>

#include "Path.h"
#include "WriterProbe.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace sorvanel {

class RunJournal;

using Clock = std::function<QDateTime()>;

// A fresh random (version 4) UUID. Drawn from Qt's securely seeded generator
// rather than the CPU's random instruction per call: a plan of 100,000 moves
// needs 100,000 of them.
QUuid newIdentifier();

// The system clock, in UTC. Every record keeps its dates in UTC; they are
// shown in the user's zone only at the edges (views, command line).
QDateTime systemNow();

enum class FileCategory { big, graphic, docs, other };

QString rawValue(FileCategory category);
std::optional<FileCategory> fileCategoryFromRawValue(const QString &raw);
// The folder a category files into; `other` has none and lands in the date folder.
std::optional<QString> directoryName(FileCategory category);

// watch: filed by the watcher as each download finished; one history entry per day.
enum class OrganizationRunMode { manual, automatic, watch };

QString rawValue(OrganizationRunMode mode);
std::optional<OrganizationRunMode> runModeFromRawValue(const QString &raw);
QString localizedName(OrganizationRunMode mode);

enum class OrganizerError {
    sourceDoesNotExist,
    sourceIsNotDirectory,
    unsafeFolderRelationship,
    invalidThreshold,
    alreadyRunning
};

QString errorDescription(OrganizerError error);

// What planning or a lock throws: either one of the engine's own errors or an
// operating-system error (an errno value), each with its user-facing text.
class OrganizerFailure : public std::exception
{
public:
    explicit OrganizerFailure(OrganizerError error);
    static OrganizerFailure posix(int code);

    std::optional<OrganizerError> organizerError() const { return m_error; }
    int posixCode() const { return m_posixCode; }
    QString errorDescription() const;
    const char *what() const noexcept override { return "sorvanel::OrganizerFailure"; }

private:
    OrganizerFailure() = default;
    std::optional<OrganizerError> m_error;
    int m_posixCode = 0;
};

// A file an undo put back, as it was when it was filed.
struct PutBackFile
{
    std::int64_t size = -1;
    std::int64_t modifiedNs = 0;
};

struct OrganizerConfiguration
{
    Path sourceURL;
    Path destinationURL;
    std::int64_t largeFileThresholdBytes = 0;
    double minimumFileAge = 2.0;
    Clock now = systemNow;
    // Where set, only these names of the source folder are filed or reported
    // (a batch of the watcher); the rest are left as they are, uncounted.
    std::shared_ptr<const std::unordered_set<std::string>> onlyNames;
    // Files an undo put back, by name: one that has not changed since (same
    // size and time) stays where it is. Set for the daily run and the watcher.
    std::shared_ptr<const std::unordered_map<std::string, PutBackFile>> putBack;
    // Where set, a file whose very bytes are already filed (see
    // AlreadyFiled.h) goes to this trash folder instead of under a counter
    // name; `filedBy` is the journal of what earlier runs filed.
    std::optional<Path> trash;
    RunJournal *filedBy = nullptr;

    // The configuration every run of the app, the command line and the agent uses:
    // the threshold in binary megabytes, a 2-second minimum age and the system clock.
    // Empty when megabytes × 1024 × 1024 does not fit in 64 bits.
    static std::optional<OrganizerConfiguration> forRun(const Path &source, const Path &destination,
                                                        std::int64_t thresholdMB);
    // What every program says when forRun finds no room for the threshold.
    static QString thresholdTooLargeDescription();
};

struct OrganizationIssue
{
    QUuid id = newIdentifier();
    QString filename;
    QString message;

    OrganizationIssue() = default;
    OrganizationIssue(QString filename, QString message)
        : filename(std::move(filename))
        , message(std::move(message))
    {
    }
    bool operator==(const OrganizationIssue &) const = default;
};

struct PlannedMove
{
    QUuid id;
    Path sourceURL;
    Path destinationURL;
    FileCategory category = FileCategory::other;
    // Its bytes are filed already: it goes to the Trash (destinationURL is
    // TRASH/files/NAME), and the plan's `filedAs` says where they are filed.
    bool toTrash = false;
    QDateTime fileDate;
    FileIdentity sourceIdentity; // the file that was planned, to tell it from one put in its place
    std::int64_t sourceSize = -1; // its size and modification time when planned,
    std::int64_t sourceModifiedNs = 0; // which the run's journal keeps
    std::int64_t sourceBornNs = 0; // and its birth time (0: not known)

    bool goesToTrash() const { return toTrash; }

    bool operator==(const PlannedMove &) const = default;
};

// Why planning left a file where it is.
enum class SkipReason : std::uint8_t {
    folder,
    notRegularFile, // a socket, a device, a pipe
    symbolicLink,
    hidden,
    unfinishedDownload, // the name says so: .part, .crdownload, .!qB …
    downloadBeside, // a control file of a download lies beside it (NAME.part, NAME.aria2 …)
    emptyWhileDownloading, // browsers create the final name empty and write elsewhere
    beingWritten, // a program holds it open for writing
    tooRecent, // modified within the minimum age (or in the future)
    unwrittenGaps, // its data has holes: a paused torrent, a download pre-allocated and not yet filled
    waitingForMerge, // a video stream whose other stream (or their merge) is still being downloaded
    putBackByUndo, // an undo put it back, and it has not changed since: only a manual run files it again
};

struct SkippedFile
{
    Path url;
    SkipReason reason = SkipReason::notRegularFile;
    FileWriter writer; // for beingWritten
    std::string companion; // for downloadBeside: the control file's name

    bool operator==(const SkippedFile &) const = default;
};

// The reason in the user's language, for example "being written by curl (pid 4242)".
QString localizedReason(const SkippedFile &file);

// A file sent to the Trash because its bytes were filed already.
struct AlreadyFiledFile
{
    Path source;
    Path filedAs;

    bool operator==(const AlreadyFiledFile &) const = default;
};

// The path below `root` ("2026-11-20/docs/report.pdf"); the whole path where it is not below it.
Path relativeTo(const Path &path, const Path &root);
// "already filed as 2026-11-20/docs/report.pdf": where the file is filed, as
// shown (its path below the destination root, made safe for where it goes).
QString alreadyFiledReason(const QString &shownPath);

struct OrganizationPlan
{
    QDateTime generatedAt;
    Path destinationRoot;
    std::vector<PlannedMove> moves;
    // The order in which the moves are carried out: indices into `moves`, in
    // the order the source folder listed its files. On ext4 that is the order
    // of the folder's hash tree, and renaming in it touches each block of the
    // source and target folders once instead of at random. Empty means plan
    // order. Problems are reported in plan order either way.
    std::vector<std::uint32_t> executionOrder;
    // For each move that goes to the Trash (by its place in `moves`, in
    // order): where its bytes are filed. Beside the moves, not in them: a
    // move stays as small as the run's loops over 100,000 of them want it.
    std::vector<std::pair<std::uint32_t, Path>> filedAs;
    const Path &filedAsOf(std::size_t place) const;
    std::int64_t skipped = 0;
    std::vector<SkippedFile> skippedFiles; // each skipped entry with its reason, in name order
    QList<OrganizationIssue> issues;
    // A preview's warning: the mount point of the destination's drive, where
    // the system expects a drive and none is plugged in. Carrying the plan
    // out would file nothing; execution checks again for itself.
    std::optional<Path> missingDrive;

    bool operator==(const OrganizationPlan &) const = default;

    // The problems a preview shows: the plan's issues, the names too long to
    // take, then the missing drive, as a run would report them.
    QList<OrganizationIssue> previewIssues() const;
    // The files that go to the Trash as filed already, and how many moves file a file.
    std::vector<AlreadyFiledFile> alreadyFiled() const;
    std::int64_t filingCount() const;

    // Frees the moves in execution order, the order their paths were made
    // in: for a big plan several times quicker than in plan order.
    void release();
};

// What a run reports when the drive of its destination, which belongs at
// `mountPoint`, is not plugged in.
OrganizationIssue missingDriveIssue(const Path &mountPoint);

struct OrganizationResult
{
    QDateTime runDate;
    std::int64_t moved = 0;
    std::int64_t skipped = 0;
    QList<OrganizationIssue> issues;
    // The planned files not tried because the run was asked to stop.
    std::int64_t remaining = 0;
    // The files sent to the Trash as already filed (not counted in `moved`).
    std::vector<AlreadyFiledFile> alreadyFiled;

    std::int64_t failed() const { return issues.size(); }
    bool operator==(const OrganizationResult &) const = default;
};

struct RunHistoryEntry
{
    QUuid id;
    QDateTime date;
    OrganizationRunMode mode = OrganizationRunMode::manual;
    std::int64_t moved = 0;
    std::int64_t skipped = 0;
    std::int64_t failed = 0;
    std::int64_t alreadyFiled = 0;
    double duration = 0;
    // What a newer version of the program wrote that this one does not know,
    // kept as written so that rewriting the history loses none of it: a mode
    // of its own (`mode` then reads manual) and fields of its own.
    QString newerMode;
    QJsonObject newerFields;

    RunHistoryEntry() = default;
    RunHistoryEntry(const OrganizationResult &result, OrganizationRunMode mode, double duration);
    bool operator==(const RunHistoryEntry &) const = default;
};

// The entry's mode as stored, and as shown: a mode of a newer version by its own name.
QString rawMode(const RunHistoryEntry &entry);
QString localizedMode(const RunHistoryEntry &entry);

// The stored JSON form: compact, UUIDs upper case, dates as seconds since
// 2001-01-01 00:00:00 UTC. Decoding is strict: every key required, every type
// exact; one bad record fails the whole list. A history keeps what a newer
// version added (modes, keys) instead.
namespace Json {
double secondsSinceReferenceDate(const QDateTime &date);
QDateTime dateFromReferenceSeconds(double seconds);
QString uuidString(const QUuid &id);
// ISO 8601 in the user's zone with its UTC offset, to the millisecond: how
// the command line shows a date.
QString isoDate(const QDateTime &date);

QByteArray encodeIssues(const QList<OrganizationIssue> &issues);
std::optional<QList<OrganizationIssue>> decodeIssues(const QByteArray &data);
QByteArray encodeHistory(const QList<RunHistoryEntry> &history);
std::optional<QList<RunHistoryEntry>> decodeHistory(const QByteArray &data);
} // namespace Json

// File names are bytes on Linux; these turn them into text for display and
// messages only (invalid UTF-8 shows replacement characters).
QString displayName(const Path &path);
QString displayPath(const Path &path);
Path pathFromText(const QString &text);

// The same path without "." and ".." components, repeated slashes or a
// trailing slash ("/a/./b//c/" is "/a/b/c"). Links are not resolved.
Path normalizedPath(const Path &path);

} // namespace sorvanel
