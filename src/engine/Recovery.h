// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FileSystem.h"
#include "RunJournal.h"

#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace sorvanel {

// What a journaled move says of its file, and what lies on disk: a file
// counts as ours only when it matches what the journal wrote down of it.
namespace JournalFacts {
// The stamp is of the very file `identity` names, a regular file.
bool holds(const std::optional<FileStamp> &stamp, const FileIdentity &identity);
// Where a moved file lies at the destination, and its time as that drive keeps it.
FileIdentity placedOf(const JournalMove &move);
std::int64_t placedTimeOf(const JournalMove &move);
// The last step of a return that an undo was cut short in, after its copy
// went back to the source: what is left at the destination goes, if it is
// still the moved file.
FileError finishReturn(FileSystem &fs, const JournalMove &move, const std::optional<FileStamp> &atDestination);
// The move sent a file filed already to the Trash: the only moves whose
// destination lies outside their run's root.
bool wentToTrash(const JournalMove &move, const Path &destinationRoot);
} // namespace JournalFacts

// Runs that a kill cut short, accounted for from the journal and from what
// lies on disk. Call it holding the destination root's lock.
class Recovery
{
public:
    Recovery(FileSystem &fs, RunJournal &journal);

    // Recovers every run on `destinationRoot` still open, and finishes the
    // returns that an undo was cut short in. `finished` gains the sources of
    // the moves it finished (their source names are gone now).
    void recoverRuns(const Path &destinationRoot, std::unordered_set<std::string> *finished);
    // The empty reservations that such runs left in place of their files' names.
    std::vector<Path> leftoverReservations(const Path &destinationRoot);

private:
    // `numbered`: the destination's file system keeps inode numbers.
    JournalMove::State recoverMove(JournalMove &move, bool numbered);
    JournalMove::State recoverCopy(JournalMove &move, bool numbered);
    void finishReturns(const Path &destinationRoot);
    bool numbered(const Path &destinationRoot);

    FileSystem &m_fs;
    RunJournal &m_journal;
    std::optional<bool> m_numbered; // asked only when a run needs it
};

} // namespace sorvanel
