// SPDX-License-Identifier: GPL-3.0-or-later
// One undo of a journaled run. Its steps, in order:
//
//   refused     no such run, or nothing to undo, or its folders out of
//               reach (a drive not plugged in), or the lock held elsewhere;
//               otherwise the lock is taken and runs cut short are recovered;
//   orderMoves  last moved, first back (a name a later move of the run took
//               from an earlier one is free again by the time the earlier one
//               returns); a return an earlier undo left half done first;
//   step        for each move still filed: a stop is heard, then one
//               assessment of what lies on disk (finish a return, already
//               back, changed since, move back) and what it calls for;
//   leave       the last moves are finished and written down, then the
//               folders the run made go where they are empty.
//
// A dry run takes the same steps but only assesses: it moves nothing, writes
// nothing down, and takes moves a kill left "intended" for moved.
//
// The rules of execution (Execution.cpp) hold here too: a copy going back is
// announced before it takes its source's name, every move tried gets an
// outcome, and an outcome that can't be written stops the undo. Guarded by
// tst_cleanuprun undoPutsEveryFileBack, undoLeavesWhatChangedSince and
// anUndoCutShortIsFinishedByTheNextRun, and tst_crashsafety aKillLosesNothing.
#include "Undoing.h"

#include "Localization.h"
#include "Recovery.h"
#include "Trash.h"

#include <algorithm>
#include <cerrno>

namespace sorvanel {

using namespace JournalFacts;

namespace {

QString nameTaken()
{
    return L10n::text("Its original name is taken in the source folder, so it stays where it is.");
}

} // namespace

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
    return Undoing(*this, journal, runId, dryRun, observer).run();
}

Undoing::Undoing(Organizer &organizer, RunJournal &journal, const std::optional<QUuid> &runId, bool dryRun,
                 ExecutionObserver *observer)
    : m_organizer(organizer)
    , m_fs(*organizer.m_fileManager)
    , m_journal(journal)
    , m_runId(runId)
    , m_dryRun(dryRun)
    , m_tally(observer)
{
}

UndoResult Undoing::run()
{
    if (refused())
        return std::move(m_result);
    orderMoves();
    m_recorder.emplace(m_dryRun ? nullptr : &m_journal, m_run->id, true);
    m_copies.emplace(
        m_fs, m_run->destinationRoot, m_run->source, m_moves.size(),
        [this](std::size_t i) -> CopyAhead::Candidate {
            const JournalMove &next = m_moves[i];
            if (next.state != JournalMove::State::moved || next.returned.inode || next.reserved.inode
                || wentToTrash(next, m_run->destinationRoot))
                return std::nullopt;
            return std::pair{std::string_view(next.destination.native()), next.size};
        },
        [this](std::int64_t sequence, const FileError &error) {
            // Back, but its filed file could not go: it stays, its copy goes
            // again, and the move stays to be undone.
            JournalMove &entry = *m_recorder->pendingOutcome(sequence);
            --m_result.restored;
            entry.state = JournalMove::State::moved;
            m_result.issues.append(OrganizationIssue(displayName(entry.source), error.localizedDescription()));
        });
    for (std::size_t index = 0; index < m_moves.size(); ++index) {
        if (!step(index))
            break;
    }
    if (m_unrecorded) {
        m_result.issues.append(OrganizationIssue(
            L10n::text("Cleanup"), L10n::text("The record of this undo could not be written, so it stopped.")));
        m_copies->discard();
        m_fs.closeFolders();
        return std::move(m_result);
    }
    leave();
    return std::move(m_result);
}

bool Undoing::refused()
{
    m_run = m_runId ? m_journal.run(*m_runId) : Organizer::latestUndoableRun(m_journal);
    if (!m_run) {
        m_result.refusal =
            m_runId ? L10n::text("No cleanup with this ID is on record.") : L10n::text("There is no cleanup to undo.");
        return true;
    }
    m_result.run = m_run->id;
    if (!enter())
        return true;
    m_numbered = m_fs.keepsFileNumbers(m_run->destinationRoot);
    m_moves = m_journal.moves(m_run->id);
    const bool anythingMoved = std::any_of(m_moves.begin(), m_moves.end(), [](const JournalMove &move) {
        return move.state == JournalMove::State::moved || move.state == JournalMove::State::intended;
    });
    if (!anythingMoved)
        m_result.refusal = L10n::text("This cleanup has nothing left to undo.");
    return !anythingMoved;
}

// A folder that is not there is most likely on a drive that is not plugged
// in: say so, rather than call every file changed since, and don't make the
// destination again (on the disk below the mount point), nor put files back
// into a source folder that is a missing drive's.
bool Undoing::enter()
{
    if (!m_fs.folderReachable(m_run->destinationRoot)) {
        m_result.refusal = L10n::format("The folder this cleanup filed into is not there: %@. If it is on a drive, "
                                        "connect the drive and try again.",
                                        {displayPath(m_run->destinationRoot)});
        return false;
    }
    if (!m_fs.folderReachable(m_run->source)) {
        m_result.refusal = L10n::format("The folder this cleanup took the files from is not there: %@. If it is on "
                                        "a drive, connect the drive and try again.",
                                        {displayPath(m_run->source)});
        return false;
    }
    try {
        m_lock = std::make_unique<OrganizerExecutionLock>(m_run->destinationRoot, m_fs);
    } catch (const OrganizerFailure &failure) {
        m_result.refusal = failure.errorDescription();
        return false;
    }
    if (!m_dryRun) {
        m_fs.removeLeftoverCopies(m_run->destinationRoot);
        m_fs.removeLeftoverCopies(m_run->source);
        m_organizer.recoverInterruptedRuns(m_journal, m_run->destinationRoot);
    }
    return true;
}

void Undoing::orderMoves()
{
    std::reverse(m_moves.begin(), m_moves.end());
    std::stable_partition(m_moves.begin(), m_moves.end(),
                          [](const JournalMove &move) { return move.returned.inode != 0; });
    // Only a dry run meets moves left "intended": it recovers nothing, so it
    // takes them as moved and looks at what lies on disk.
    for (JournalMove &move : m_moves) {
        if (move.state == JournalMove::State::intended && m_dryRun)
            move.state = JournalMove::State::moved;
        if (move.state == JournalMove::State::moved)
            m_tally.add(move.size);
    }
    m_tally.tell();
}

// False when the undo ends here.
bool Undoing::step(std::size_t index)
{
    JournalMove &move = m_moves[index];
    if (!m_dryRun)
        m_copies->atStep(index);
    if (move.state != JournalMove::State::moved)
        return true;
    if (m_tally.watched()) {
        // The file before this one is told here, as it ended in many ways.
        if (m_tally.progress().filesDone > 0)
            m_tally.tell();
        if (m_tally.stopRequested()) {
            // What is not tried stays moved, for the next undo to take back.
            m_result.remaining = m_tally.remaining();
            return false;
        }
        m_tally.start(move.size);
    }
    // An undo cut short may have left an empty reservation of the source name.
    if (move.reserved.inode && !m_dryRun) {
        const auto reservation = m_fs.stampOf(move.source, m_run->source);
        if (reservation && reservation->sameContent(move.reserved, 0, reservation->modifiedNs))
            m_fs.removeFile(move.source, move.reserved);
        move.reserved = {};
    }
    const bool trashed = wentToTrash(move, m_run->destinationRoot);
    const auto atDestination = m_fs.stampOf(move.destination, trashed ? Path() : m_run->destinationRoot);
    m_atSource.reset();
    switch (assess(move, atDestination)) {
    case Assessment::finishReturn:
        finishReturn(move, atDestination);
        return true;
    case Assessment::alreadyBack:
        restored(move);
        return true;
    case Assessment::changedSince:
        fail(move,
             trashed && !atDestination
                 ? L10n::text("It is no longer in the Trash, so it was not put back.")
                 : L10n::text("It was changed, moved or deleted since the cleanup, so it stays where it is."));
        return true;
    case Assessment::moveBack:
        return moveBack(move);
    }
    return true;
}

Undoing::Assessment Undoing::assess(JournalMove &move, const std::optional<FileStamp> &atDestination)
{
    const FileIdentity placed = placedOf(move);
    if (move.returned.inode && holds(atSource(move), move.returned))
        return Assessment::finishReturn;
    if (!atDestination && holds(atSource(move), placed))
        return Assessment::alreadyBack;
    // A copy keeps its time as its drive can: FAT and exFAT round it.
    const bool stillFiled = atDestination && atDestination->isRegularFile && atDestination->size == move.size
        && atDestination->modifiedNs == placedTimeOf(move)
        && (!m_numbered || atDestination->identity.inode == placed.inode);
    return stillFiled ? Assessment::moveBack : Assessment::changedSince;
}

const std::optional<FileStamp> &Undoing::atSource(const JournalMove &move)
{
    if (!m_atSource)
        m_atSource = m_fs.stampOf(move.source, m_run->source);
    return *m_atSource;
}

// An undo cut short after our copy went back to the source: what is left at
// the destination goes, if it is still the moved file.
void Undoing::finishReturn(JournalMove &move, const std::optional<FileStamp> &atDestination)
{
    if (const FileError error = m_dryRun ? FileError() : JournalFacts::finishReturn(m_fs, move, atDestination))
        fail(move, error.localizedDescription());
    else
        restored(move);
}

// False when the undo ends here.
bool Undoing::moveBack(JournalMove &move)
{
    if (m_dryRun) {
        if (atSource(move))
            fail(move, nameTaken());
        else
            ++m_result.restored;
        return true;
    }
    m_recorder->beginMove(move.sequence);
    m_recorder->aim(move.source);
    const FileError error = m_fs.moveItem(move.destination, move.source, m_run->source, nullptr,
                                          m_recorder->announcement(), m_tally.withinFile());
    if (error.code() == ECANCELED && m_tally.stopRequested()) {
        // Stopped within its copy back: it stays moved, for the next undo.
        m_tally.takeBack();
        m_result.remaining = m_tally.remaining();
        return false;
    }
    if (error.code() == EEXIST) {
        fail(move, nameTaken());
    } else if (error) {
        fail(move, error.localizedDescription());
    } else {
        restored(move);
        m_copies->moved(move.destination.native(), move.sequence);
    }
    m_unrecorded = !writeOutcomesIfDue();
    return !m_unrecorded;
}

bool Undoing::writeOutcomesIfDue()
{
    if (m_recorder->pendingCount() < RunRecorder::batchSize)
        return true;
    m_copies->finish();
    return m_recorder->writeOutcomes();
}

void Undoing::restored(JournalMove &move)
{
    if (!m_dryRun && wentToTrash(move, m_run->destinationRoot))
        Trash::removeInfo(move.destination, move.source);
    ++m_result.restored;
    move.state = JournalMove::State::restored;
    move.returned = {};
    m_recorder->outcome(move);
}

// A file that stays is written down as still moved, so that a later undo of
// the run can try it again.
void Undoing::fail(const JournalMove &move, const QString &message)
{
    m_result.issues.append(OrganizationIssue(displayName(move.source), message));
    m_recorder->outcome(move);
}

void Undoing::leave()
{
    m_copies->finish();
    m_copies->discard();
    m_fs.closeFolders();
    if (!m_result.remaining)
        m_tally.tell();
    if (m_dryRun)
        return;
    if (m_recorder->pendingCount() > 0) {
        m_copies->finish();
        m_recorder->writeOutcomes();
    }
    if (m_result.remaining)
        return;
    // The folders the run made, deepest first, where they are empty now.
    std::vector<Path> folders = m_journal.folders(m_run->id);
    std::sort(folders.begin(), folders.end(),
              [](const Path &a, const Path &b) { return a.native().size() > b.native().size(); });
    for (const Path &folder : folders)
        m_fs.removeEmptyFolder(folder);
    m_journal.markUndone(m_run->id);
}

} // namespace sorvanel
