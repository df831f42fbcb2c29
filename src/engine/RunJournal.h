// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FileSystem.h"
#include "OrganizationModels.h"
#include "Path.h"
#include "WriterProbe.h"

#include <QDateTime>
#include <QUuid>

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

namespace sorvanel {

// One move of a run as the journal knows it.
struct JournalMove
{
    enum class State : std::uint8_t {
        intended = 0, // about to be tried; a kill may leave it either way
        moved = 1, // the file lies at `destination`
        notMoved = 2, // the file stayed at `source`
        restored = 3, // undone: the file is back at `source`
    };

    std::int64_t sequence = 0; // the move's place in its run
    Path source;
    Path destination;
    FileIdentity original; // the file at the source when the move was decided
    std::int64_t size = -1; // its size and modification time then
    std::int64_t modifiedNs = 0; // (nanoseconds since the epoch)
    std::int64_t bornNs = 0; // its birth time then, where its file system keeps one; else 0
    FileIdentity placed; // the file at the destination: `original`, or our copy on another drive
    std::int64_t placedModifiedNs = 0; // our copy's time as its drive keeps it (FAT and exFAT round it)
    FileIdentity returned; // during an undo across drives: our copy back at the source
    FileIdentity reserved; // an empty file reserving the name the file is about to take
    std::int64_t announcedNs = 0; // when the copy was announced, by the wall clock
    State state = State::intended;
};

// A move about to be tried, as `intend` writes it down: its paths are views
// of the plan's, which outlive the call.
struct JournalIntent
{
    std::int64_t sequence = 0;
    std::string_view source;
    std::string_view destination;
    FileIdentity original;
    std::int64_t size = -1;
    std::int64_t modifiedNs = 0;
    std::int64_t bornNs = 0;
};

struct JournalRun
{
    QUuid id;
    QDateTime date;
    OrganizationRunMode mode = OrganizationRunMode::manual;
    Path source;
    Path destinationRoot;
    bool finished = false; // the run ended, on its own or by being recovered
    bool undone = false; // an undo of it has been carried to its end
    std::int64_t moved = 0; // moves whose file still counts as moved (not restored)
    QUuid group = {}; // the history entry it belongs to, where that is not its own (a watcher's day)
};

// How far a run has been taken back, as the history shows it: nothing before
// an undo, "Undone" once one brought every file back, "Partly undone" while
// files it had to leave (changed since, or their name taken) still count as moved.
QString undoneLabel(const JournalRun &run);

// Where each run's moves are written down as they happen, so that a run can
// be undone and a run cut short by a kill can be accounted for exactly.
//
// The writing calls are durable when they return true: a kill right after
// leaves their record. A false answer means the record could not be written
// (a full disk, a broken database); the caller then does not go on with what
// it was about to record.
class RunJournal
{
public:
    virtual ~RunJournal() = default;

    virtual bool begin(const JournalRun &run) = 0;
    // Records the moves about to be tried, in state `intended`.
    virtual bool intend(const QUuid &run, const std::vector<JournalIntent> &moves) = 0;
    // A copy on another drive is about to be published: under `destination`
    // (which becomes the move's), or, `returning`, back under its source.
    // Where the name is first reserved with an empty file, this is said
    // again with the reservation's identity, so that one left by a kill can
    // be told from anybody's file.
    virtual bool publishing(const QUuid &run, std::int64_t sequence, const FileStamp &copy, const Path &destination,
                            bool returning, const FileIdentity &reservation = {}) = 0;
    // Records how moves ended: their state, final destination and identities.
    virtual bool settle(const QUuid &run, const std::vector<JournalMove> &moves) = 0;
    // Folders the run made, so that an undo can take the empty ones away.
    virtual bool addFolders(const QUuid &run, const std::vector<Path> &folders) = 0;
    // A run cut short has been settled from what lies on disk: it is over.
    // (A run that ends on its own is closed by whoever records its result,
    // together with that record.)
    virtual void recovered(const QUuid &run) = 0;
    // An undo of the run was carried to its end.
    virtual void markUndone(const QUuid &run) = 0;

    // Every run the journal keeps, newest first.
    virtual std::vector<JournalRun> runs() = 0;
    virtual std::optional<JournalRun> run(const QUuid &id) = 0;
    // The moves of a run, in sequence order.
    virtual std::vector<JournalMove> moves(const QUuid &run) = 0;
    // Only the moves whose source's name `wanted` takes: a search over many
    // runs decodes no more than it finds.
    using NameFilter = std::function<bool(std::string_view sourceName)>;
    virtual std::vector<JournalMove> moves(const QUuid &run, const NameFilter &wanted)
    {
        std::vector<JournalMove> all = moves(run);
        std::erase_if(all, [&](const JournalMove &move) { return !wanted(filenameOf(move.source)); });
        return all;
    }
    virtual std::vector<Path> folders(const QUuid &run) = 0;
    // The moves into `destinationRoot` that an undo is taking back across
    // drives: their copies were announced going back, and their return is
    // not settled yet. With the ID of each one's run.
    virtual std::vector<std::pair<QUuid, JournalMove>> returnsUnderway(const Path &destinationRoot) = 0;
};

} // namespace sorvanel
