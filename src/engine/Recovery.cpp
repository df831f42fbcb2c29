// SPDX-License-Identifier: GPL-3.0-or-later
// Accounting for runs that a kill cut short. It works from the run journal
// and from what lies on disk, never from a guess: a file counts as ours only
// when it matches what the journal wrote down of it.
#include "Recovery.h"

#include "Trash.h"

namespace sorvanel {

namespace JournalFacts {

bool holds(const std::optional<FileStamp> &stamp, const FileIdentity &identity)
{
    return stamp && stamp->isRegularFile && stamp->identity == identity;
}

FileIdentity placedOf(const JournalMove &move)
{
    return move.placed.inode ? move.placed : move.original;
}

std::int64_t placedTimeOf(const JournalMove &move)
{
    return move.placedModifiedNs ? move.placedModifiedNs : move.modifiedNs;
}

FileError finishReturn(FileSystem &fs, const JournalMove &move, const std::optional<FileStamp> &atDestination)
{
    if (atDestination && atDestination->sameContent(placedOf(move), move.size, placedTimeOf(move)))
        return fs.removeFile(move.destination, placedOf(move));
    return {};
}

bool wentToTrash(const JournalMove &move, const Path &destinationRoot)
{
    return !isBelow(move.destination, destinationRoot);
}

} // namespace JournalFacts

using namespace JournalFacts;

namespace {

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

} // namespace

Recovery::Recovery(FileSystem &fs, RunJournal &journal)
    : m_fs(fs)
    , m_journal(journal)
{
}

bool Recovery::numbered(const Path &destinationRoot)
{
    if (!m_numbered)
        m_numbered = m_fs.keepsFileNumbers(destinationRoot);
    return *m_numbered;
}

JournalMove::State Recovery::recoverMove(JournalMove &move, bool numbered)
{
    if (move.placed.inode)
        return recoverCopy(move, numbered);
    const auto atSource = m_fs.stampOf(move.source);
    move.placed = move.original;
    const auto atDestination = m_fs.stampOf(move.destination);
    if (holds(atSource, move.original)) {
        // A move by link and unlink cut short leaves one file under both names.
        if (holds(atDestination, move.original) && !m_fs.removeFile(move.source, move.original))
            return JournalMove::State::moved;
        return JournalMove::State::notMoved;
    }
    if (holds(atDestination, move.original))
        return JournalMove::State::moved;
    // The planned name was taken meanwhile: the file went to a counter name.
    if (const auto found = m_fs.findFile(move.destination.parent_path(), move.original)) {
        move.destination = *found;
        return JournalMove::State::moved;
    }
    return JournalMove::State::notMoved;
}

// A copy on another drive, announced before it was published. Once the
// source was removed, a new download under its name may have been given its
// freed inode number: its birth time tells it apart.
JournalMove::State Recovery::recoverCopy(JournalMove &move, bool numbered)
{
    if (const auto reservation = m_fs.stampOf(move.destination); isLeftoverReservation(move, numbered, reservation))
        m_fs.removeFile(move.destination, reservation->identity);
    move.reserved = {};
    const auto atSource = m_fs.stampOf(move.source);
    const bool sourceStays = atSource && atSource->isRegularFile && atSource->isFile(move.original, move.bornNs);
    const auto atDestination = m_fs.stampOf(move.destination);
    if (!holds(atDestination, move.placed)) {
        // Where the drive numbers files afresh (a FUSE file system that
        // numbers a name as it meets it, say), the copy may lie there under
        // another number: known again by its size and time. Then the source,
        // if it is still there unchanged, goes only when the copy holds its
        // very bytes.
        const bool lookAlike = !numbered && atDestination && atDestination->isRegularFile
            && atDestination->size == move.size && atDestination->modifiedNs == move.placedModifiedNs;
        if (!lookAlike)
            return JournalMove::State::notMoved; // never published; the source stayed
        if (!sourceStays)
            return JournalMove::State::moved;
        if (!atSource->sameContent(move.original, move.size, move.modifiedNs)
            || !m_fs.sameBytes(move.source, move.destination) || m_fs.removeFile(move.source, move.original))
            return JournalMove::State::notMoved; // both stay
        return JournalMove::State::moved;
    }
    if (sourceStays) {
        // Published, but the source was not yet removed: finish the move,
        // provided the source is still the file that was planned (and so
        // copied) and the copy is whole.
        if (!atSource->sameContent(move.original, move.size, move.modifiedNs) || atDestination->size != move.size)
            return JournalMove::State::notMoved; // changed since: both stay
        if (m_fs.removeFile(move.source, move.original))
            return JournalMove::State::notMoved;
    }
    return JournalMove::State::moved;
}

void Recovery::recoverRuns(const Path &destinationRoot, std::unordered_set<std::string> *finished)
{
    for (const JournalRun &run : m_journal.runs()) {
        if (run.finished || run.destinationRoot != destinationRoot)
            continue;
        const bool onNumberedDrive = numbered(destinationRoot);
        std::vector<JournalMove> outcomes;
        for (JournalMove &move : m_journal.moves(run.id)) {
            if (move.state != JournalMove::State::intended)
                continue;
            move.state = recoverMove(move, onNumberedDrive);
            // Killed between the info file and the file's move to the Trash.
            if (move.state == JournalMove::State::notMoved && wentToTrash(move, destinationRoot)
                && !m_fs.itemExists(move.destination))
                Trash::removeInfo(move.destination, move.source);
            if (finished && move.state == JournalMove::State::moved && !m_fs.itemExists(move.source))
                finished->insert(move.source.native());
            outcomes.push_back(std::move(move));
        }
        if (m_journal.settle(run.id, outcomes))
            m_journal.recovered(run.id);
    }
    finishReturns(destinationRoot);
}

// An undo killed after a copy went back, before the filed file went, leaves
// the file twice: its return is finished here, before a run could file the
// copy again beside what is left of it.
void Recovery::finishReturns(const Path &destinationRoot)
{
    for (auto &[id, move] : m_journal.returnsUnderway(destinationRoot)) {
        if (!holds(m_fs.stampOf(move.source), move.returned)
            || finishReturn(m_fs, move, m_fs.stampOf(move.destination)))
            continue; // not back yet, or it can't be finished: the undo's to do
        move.state = JournalMove::State::restored;
        move.returned = {};
        m_journal.settle(id, {move});
    }
}

std::vector<Path> Recovery::leftoverReservations(const Path &destinationRoot)
{
    std::vector<Path> names;
    for (const JournalRun &run : m_journal.runs()) {
        if (run.finished || run.destinationRoot != destinationRoot)
            continue;
        const bool onNumberedDrive = numbered(destinationRoot);
        for (const JournalMove &move : m_journal.moves(run.id)) {
            if (move.placed.inode && isLeftoverReservation(move, onNumberedDrive, m_fs.stampOf(move.destination)))
                names.push_back(move.destination);
        }
    }
    return names;
}

} // namespace sorvanel
