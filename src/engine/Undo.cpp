// SPDX-License-Identifier: GPL-3.0-or-later
// Taking runs back, and accounting for runs that a kill cut short. Both work
// from the run journal and from what lies on disk, never from a guess: a
// file counts as ours only when it matches what the journal wrote down of it.
#include "Organizer.h"

#include "Localization.h"
#include "OrganizerExecutionLock.h"

#include <algorithm>
#include <cerrno>
#include <set>

namespace sorvanel {

namespace {

bool holds(const std::optional<FileStamp> &stamp, const FileIdentity &identity)
{
    return stamp && stamp->isRegularFile && stamp->identity == identity;
}

QString nameOf(const Path &path)
{
    return displayName(path);
}

// An empty reservation of the destination name that a kill left behind is
// ours to take away: the one the journal names, or, killed before its name
// was written down, an empty file made right after the copy was announced
// under that name (the name was free then: the reservation takes only a
// free name). Where file numbers don't hold, they tell nothing: there an
// empty file is taken for the reservation only when the copy can't be
// empty, and by its time alone.
bool isLeftoverReservation(const JournalMove &move, bool numbered, const std::optional<FileStamp> &atDestination)
{
    if (!move.placed.inode || move.state != JournalMove::State::intended || !atDestination)
        return false;
    constexpr std::int64_t second = 1000000000;
    const bool recorded =
        numbered && move.reserved.inode && atDestination->sameContent(move.reserved, 0, atDestination->modifiedNs);
    const bool notTheCopy = numbered ? !move.reserved.inode && atDestination->identity != move.placed : move.size > 0;
    const bool unrecorded = notTheCopy && move.announcedNs > 0 && atDestination->isRegularFile
        && atDestination->size == 0 && atDestination->modifiedNs >= move.announcedNs - 2 * second
        && atDestination->modifiedNs <= move.announcedNs + 60 * second;
    return recorded || unrecorded;
}

// Where a moved file lies at the destination, and its time as that drive keeps it.
FileIdentity placedOf(const JournalMove &move)
{
    return move.placed.inode ? move.placed : move.original;
}
std::int64_t placedTimeOf(const JournalMove &move)
{
    return move.placedModifiedNs ? move.placedModifiedNs : move.modifiedNs;
}

// The last step of a return that an undo was cut short in, after its copy
// went back to the source: what is left at the destination goes, if it is
// still the moved file.
FileError finishReturn(FileSystem &fs, const JournalMove &move, const std::optional<FileStamp> &atDestination)
{
    if (atDestination && atDestination->sameContent(placedOf(move), move.size, placedTimeOf(move)))
        return fs.removeFile(move.destination, placedOf(move));
    return {};
}

} // namespace

JournalMove::State Organizer::recoverMove(JournalMove &move, bool numbered)
{
    FileSystem &fs = *m_fileManager;
    if (move.placed.inode) {
        const auto atDestination = fs.stampOf(move.destination);
        if (isLeftoverReservation(move, numbered, atDestination))
            fs.removeFile(move.destination, atDestination->identity);
        move.reserved = {};
    }
    const auto atSource = fs.stampOf(move.source);
    if (move.placed.inode) {
        // A copy on another drive, announced before it was published. Once
        // the source was removed, a new download under its name may have
        // been given its freed inode number: its birth time tells it apart.
        const bool sourceStays = atSource && atSource->isRegularFile && atSource->isFile(move.original, move.bornNs);
        const auto atDestination = fs.stampOf(move.destination);
        if (!holds(atDestination, move.placed)) {
            // Where the drive numbers files afresh (a FUSE file system that
            // numbers a name as it meets it, say), the copy may lie there
            // under another number: known again by its size and time. Then
            // the source, if it is still there unchanged, goes only when the
            // copy holds its very bytes.
            const bool lookAlike = !numbered && atDestination && atDestination->isRegularFile
                && atDestination->size == move.size && atDestination->modifiedNs == move.placedModifiedNs;
            if (!lookAlike)
                return JournalMove::State::notMoved; // never published; the source stayed
            if (!sourceStays)
                return JournalMove::State::moved;
            if (!atSource->sameContent(move.original, move.size, move.modifiedNs)
                || !fs.sameBytes(move.source, move.destination) || fs.removeFile(move.source, move.original))
                return JournalMove::State::notMoved; // both stay
            return JournalMove::State::moved;
        }
        if (sourceStays) {
            // Published, but the source was not yet removed: finish the move,
            // provided the source is still the file that was planned (and so
            // copied) and the copy is whole.
            if (!atSource->sameContent(move.original, move.size, move.modifiedNs) || atDestination->size != move.size)
                return JournalMove::State::notMoved; // changed since: both stay
            if (fs.removeFile(move.source, move.original))
                return JournalMove::State::notMoved;
        }
        return JournalMove::State::moved;
    }
    move.placed = move.original;
    const auto atDestination = fs.stampOf(move.destination);
    if (holds(atSource, move.original)) {
        // A move by link and unlink cut short leaves one file under both names.
        if (holds(atDestination, move.original) && !fs.removeFile(move.source, move.original))
            return JournalMove::State::moved;
        return JournalMove::State::notMoved;
    }
    if (holds(atDestination, move.original))
        return JournalMove::State::moved;
    // The planned name was taken meanwhile: the file went to a counter name.
    if (const auto found = fs.findFile(move.destination.parent_path(), move.original)) {
        move.destination = *found;
        return JournalMove::State::moved;
    }
    return JournalMove::State::notMoved;
}

void Organizer::recoverInterruptedRuns(RunJournal &journal, const Path &destinationRoot,
                                       std::unordered_set<std::string> *finished)
{
    std::optional<bool> numbered; // asked only when a run needs settling
    for (const JournalRun &run : journal.runs()) {
        if (run.finished || run.destinationRoot != destinationRoot)
            continue;
        if (!numbered)
            numbered = m_fileManager->keepsFileNumbers(destinationRoot);
        std::vector<JournalMove> settled;
        for (JournalMove &move : journal.moves(run.id)) {
            if (move.state != JournalMove::State::intended)
                continue;
            move.state = recoverMove(move, *numbered);
            if (finished && move.state == JournalMove::State::moved && !m_fileManager->itemExists(move.source))
                finished->insert(move.source.native());
            settled.push_back(std::move(move));
        }
        if (journal.settle(run.id, settled))
            journal.recovered(run.id);
    }
    // An undo killed after a copy went back, before the filed file went,
    // leaves the file twice: its return is finished here, before a run
    // could file the copy again beside what is left of it.
    FileSystem &fs = *m_fileManager;
    for (auto &[id, move] : journal.returnsUnderway(destinationRoot)) {
        if (!holds(fs.stampOf(move.source), move.returned) || finishReturn(fs, move, fs.stampOf(move.destination)))
            continue; // not back yet, or it can't be finished: the undo's to do
        move.state = JournalMove::State::restored;
        move.returned = {};
        journal.settle(id, {move});
    }
}

std::vector<Path> Organizer::leftoverReservations(RunJournal &journal, const Path &destinationRoot)
{
    std::vector<Path> names;
    const Path root = normalizedPath(destinationRoot);
    std::optional<bool> numbered;
    for (const JournalRun &run : journal.runs()) {
        if (run.finished || run.destinationRoot != root)
            continue;
        if (!numbered)
            numbered = m_fileManager->keepsFileNumbers(root);
        for (const JournalMove &move : journal.moves(run.id)) {
            if (move.placed.inode && isLeftoverReservation(move, *numbered, m_fileManager->stampOf(move.destination)))
                names.push_back(move.destination);
        }
    }
    return names;
}

void Organizer::settleInterruptedRuns(RunJournal &journal, const Path &destinationRoot)
{
    const Path root = normalizedPath(destinationRoot);
    // Nothing to settle against a root that is not there (a drive not plugged in).
    if (!m_fileManager->folderReachable(root))
        return;
    const std::vector<JournalRun> runs = journal.runs();
    if (std::none_of(runs.begin(), runs.end(),
                     [&](const JournalRun &run) { return !run.finished && run.destinationRoot == root; })
        && journal.returnsUnderway(root).empty())
        return;
    try {
        const OrganizerExecutionLock lock(root, *m_fileManager);
        m_fileManager->removeLeftoverCopies(root);
        recoverInterruptedRuns(journal, root);
    } catch (const OrganizerFailure &) {
        // Held or out of reach: the run that follows says so, or settles it.
    }
}

QString undoneLabel(const JournalRun &run)
{
    if (!run.undone)
        return {};
    return run.moved > 0 ? L10n::text("Partly undone") : L10n::text("Undone");
}

std::optional<JournalRun> Organizer::latestUndoableRun(RunJournal &journal)
{
    for (const JournalRun &run : journal.runs()) {
        if (!run.undone && run.moved > 0)
            return run;
    }
    return std::nullopt;
}

UndoResult Organizer::undo(RunJournal &journal, const std::optional<QUuid> &runId, bool dryRun,
                           ExecutionObserver *observer)
{
    UndoResult result;
    std::optional<JournalRun> run = runId ? journal.run(*runId) : latestUndoableRun(journal);
    if (!run) {
        result.refusal =
            runId ? L10n::text("No cleanup with this ID is on record.") : L10n::text("There is no cleanup to undo.");
        return result;
    }
    result.run = run->id;

    // A folder that is not there is most likely on a drive that is not
    // plugged in: say so, rather than call every file changed since, and
    // don't make the destination again (on the disk below the mount point),
    // nor put files back into a source folder that is a missing drive's.
    if (!m_fileManager->folderReachable(run->destinationRoot)) {
        result.refusal = L10n::format("The folder this cleanup filed into is not there: %@. If it is on a drive, "
                                      "connect the drive and try again.",
                                      {displayPath(run->destinationRoot)});
        return result;
    }
    if (!m_fileManager->folderReachable(run->source)) {
        result.refusal = L10n::format("The folder this cleanup took the files from is not there: %@. If it is on a "
                                      "drive, connect the drive and try again.",
                                      {displayPath(run->source)});
        return result;
    }

    std::unique_ptr<OrganizerExecutionLock> lock;
    try {
        lock = std::make_unique<OrganizerExecutionLock>(run->destinationRoot, *m_fileManager);
    } catch (const OrganizerFailure &failure) {
        result.refusal = failure.errorDescription();
        return result;
    }
    FileSystem &fs = *m_fileManager;
    if (!dryRun) {
        fs.removeLeftoverCopies(run->destinationRoot);
        fs.removeLeftoverCopies(run->source);
        recoverInterruptedRuns(journal, run->destinationRoot);
    }

    // A filed file is known again by its size and time, and by its inode
    // number where the drive keeps those; not by its device number, which
    // changes when the drive is plugged in again under another name.
    const bool numbered = fs.keepsFileNumbers(run->destinationRoot);
    const auto stillFiled = [numbered](const std::optional<FileStamp> &stamp, const FileIdentity &placed,
                                       std::int64_t size, std::int64_t modifiedNs) {
        return stamp && stamp->isRegularFile && stamp->size == size && stamp->modifiedNs == modifiedNs
            && (!numbered || stamp->identity.inode == placed.inode);
    };

    std::vector<JournalMove> moves = journal.moves(run->id);
    const bool anythingMoved = std::any_of(moves.begin(), moves.end(), [](const JournalMove &move) {
        return move.state == JournalMove::State::moved || move.state == JournalMove::State::intended;
    });
    if (!anythingMoved) {
        result.refusal = L10n::text("This cleanup has nothing left to undo.");
        return result;
    }

    std::vector<JournalMove> settled;
    // Moves back that went through with a prepared copy, by their place in
    // `settled`: their filed files go together once the copies' names are
    // flushed. A filed file that can't go stays, its copy goes again, and
    // the move stays to be undone.
    std::vector<std::pair<std::string_view, std::size_t>> deferred;
    const auto finishDeferred = [&] {
        finishDeferredMoves<std::size_t>(fs, deferred, [&](const std::size_t &place, const FileError &error) {
            JournalMove &entry = settled[place];
            --result.restored;
            entry.state = JournalMove::State::moved;
            result.issues.append(OrganizationIssue(nameOf(entry.source), error.localizedDescription()));
        });
    };
    const auto settle = [&](bool force) {
        if (dryRun || (settled.empty()) || (!force && settled.size() < 2048))
            return true;
        finishDeferred();
        const bool written = journal.settle(run->id, settled);
        settled.clear();
        return written;
    };
    const JournalMove *returning = nullptr;
    const PublishCheck beforePublish = [&](const FileStamp &copy, const FileIdentity &reservation) {
        return journal.publishing(run->id, returning->sequence, copy, returning->source, true, reservation);
    };
    // A file that stays is written down as still moved, so that a later
    // undo of the run can try it again.
    const auto fail = [&](const JournalMove &move, const QString &message) {
        result.issues.append(OrganizationIssue(nameOf(move.source), message));
        settled.push_back(move);
    };

    // Last moved, first back: a name a later move of the same run took from
    // an earlier one is free again by the time the earlier one returns. A
    // return that an earlier undo left half done is finished first.
    std::reverse(moves.begin(), moves.end());
    std::stable_partition(moves.begin(), moves.end(), [](const JournalMove &move) { return move.returned.inode != 0; });
    // Only a dry run meets moves left "intended": it settles nothing, so
    // it takes them as moved and looks at what lies on disk.
    ExecutionProgress progress;
    std::int64_t fileSize = 0; // of the file in hand
    const CopyProgress copied = [&](std::int64_t bytes) {
        reportWithinFile(*observer, progress, fileSize, bytes);
        return !observer->stopRequested();
    };
    for (JournalMove &move : moves) {
        if (move.state == JournalMove::State::intended && dryRun)
            move.state = JournalMove::State::moved;
        if (move.state == JournalMove::State::moved) {
            ++progress.filesTotal;
            progress.bytesTotal += std::max<std::int64_t>(move.size, 0);
        }
    }
    if (observer)
        observer->progressed(progress);
    // Small files coming back from another drive are copied a run at a
    // time ahead of their moves, so that the drive flushes them together.
    std::size_t preparedUntil = 0;
    bool anyPrepared = false;
    std::vector<std::string_view> toPrepare;
    const auto prepareCopies = [&](std::size_t from) {
        preparedUntil = chooseCopyRun(
            from, moves.size(), run->destinationRoot,
            [&](std::size_t i) -> CopyCandidate {
                const JournalMove &next = moves[i];
                if (next.state != JournalMove::State::moved || next.returned.inode || next.reserved.inode)
                    return std::nullopt;
                return std::pair{std::string_view(next.destination.native()), next.size};
            },
            toPrepare);
        anyPrepared = fs.prepareCopies(run->destinationRoot, toPrepare, run->source) > 0;
    };
    for (std::size_t index = 0; index < moves.size(); ++index) {
        JournalMove &move = moves[index];
        if (index == preparedUntil && !dryRun) {
            finishDeferred();
            prepareCopies(index);
        }
        if (move.state != JournalMove::State::moved)
            continue;
        if (observer) {
            // The file before this one is told here, as it ended in many ways.
            if (progress.filesDone > 0)
                observer->progressed(progress);
            if (observer->stopRequested()) {
                // What is not tried stays moved, for the next undo to take back.
                result.remaining = progress.filesTotal - progress.filesDone;
                break;
            }
            fileSize = std::max<std::int64_t>(move.size, 0);
            ++progress.filesDone;
            progress.bytesDone += fileSize;
        }
        const FileIdentity placed = placedOf(move);
        // A copy keeps its time as its drive can: FAT and exFAT round it.
        const std::int64_t placedTime = placedTimeOf(move);
        // An undo cut short may have left an empty reservation of the source name.
        if (move.reserved.inode && !dryRun) {
            const auto reservation = fs.stampOf(move.source, run->source);
            if (reservation && reservation->sameContent(move.reserved, 0, reservation->modifiedNs))
                fs.removeFile(move.source, move.reserved);
            move.reserved = {};
        }
        const auto atDestination = fs.stampOf(move.destination, run->destinationRoot);
        // The source name is looked at only where it tells something: the
        // move itself refuses a taken name.
        std::optional<std::optional<FileStamp>> source;
        const auto atSource = [&]() -> const std::optional<FileStamp> & {
            if (!source)
                source = fs.stampOf(move.source, run->source);
            return *source;
        };
        const auto restored = [&] {
            ++result.restored;
            move.state = JournalMove::State::restored;
            move.returned = {};
            settled.push_back(move);
        };

        // An undo cut short after our copy went back to the source: remove
        // what is left at the destination, if it is still the moved file.
        if (move.returned.inode && holds(atSource(), move.returned)) {
            if (const FileError error = dryRun ? FileError() : finishReturn(fs, move, atDestination)) {
                fail(move, error.localizedDescription());
                continue;
            }
            restored();
            continue;
        }
        // On one drive an undo cut short has moved the file itself back.
        if (!atDestination && holds(atSource(), placed)) {
            restored();
            continue;
        }
        if (!stillFiled(atDestination, placed, move.size, placedTime)) {
            fail(move, L10n::text("It was changed, moved or deleted since the cleanup, so it stays where it is."));
            continue;
        }
        if (dryRun) {
            if (atSource())
                fail(move, L10n::text("Its original name is taken in the source folder, so it stays where it is."));
            else
                ++result.restored;
            continue;
        }
        returning = &move;
        const FileError error = fs.moveItem(move.destination, move.source, run->source, nullptr, &beforePublish,
                                            observer ? &copied : nullptr);
        if (error.code() == ECANCELED && observer && observer->stopRequested()) {
            // Stopped within its copy back: it stays moved, for the next undo.
            --progress.filesDone;
            progress.bytesDone -= fileSize;
            result.remaining = progress.filesTotal - progress.filesDone;
            break;
        }
        if (error.code() == EEXIST) {
            fail(move, L10n::text("Its original name is taken in the source folder, so it stays where it is."));
        } else if (error) {
            fail(move, error.localizedDescription());
        } else {
            restored();
            if (anyPrepared)
                deferred.push_back({move.destination.native(), settled.size() - 1});
        }
        if (!settle(false)) {
            result.issues.append(OrganizationIssue(
                L10n::text("Cleanup"), L10n::text("The record of this undo could not be written, so it stopped.")));
            fs.discardPreparedCopies();
            fs.closeFolders();
            return result;
        }
    }
    finishDeferred();
    fs.discardPreparedCopies();
    fs.closeFolders();
    if (observer && !result.remaining)
        observer->progressed(progress);
    if (dryRun)
        return result;
    settle(true);
    if (result.remaining)
        return result;

    // The folders the run made, deepest first, where they are empty now.
    std::vector<Path> folders = journal.folders(run->id);
    std::sort(folders.begin(), folders.end(),
              [](const Path &a, const Path &b) { return a.native().size() > b.native().size(); });
    for (const Path &folder : folders)
        fs.removeEmptyFolder(folder);
    journal.markUndone(run->id);
    return result;
}

} // namespace sorvanel
