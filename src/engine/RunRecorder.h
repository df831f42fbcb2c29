// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "OrganizationModels.h"
#include "RunJournal.h"

#include <functional>
#include <vector>

namespace sorvanel {

// The journal's side of one run or one undo: everything either writes down,
// in the order the journal's promises need it. Without a journal (a run
// nobody will take back, a dry run) it stands in and writes nothing.
//
// A run: begin → for each batch of moves: intendBatch, before any move of
// it → for each move: beginMove, aim (again for each name it tries), the
// announcement of a copy (through `announcement`), an outcome unless it went
// exactly as planned → closeBatch, together with the folders made for it.
// An undo: for each move: beginMove, aim, the announcement of the copy going
// back, an outcome → writeOutcomes now and then, and at the end.
class RunRecorder
{
public:
    // The journal records moves this many at a time: one write before the
    // batch is tried and one after. A kill in between leaves the batch
    // "intended", which the next run recovers from what lies on disk.
    static constexpr std::size_t batchSize = 2048;

    // `returning`: the copies it announces go back to their sources (an undo).
    RunRecorder(RunJournal *journal, const QUuid &run, bool returning);
    RunRecorder(const RunRecorder &) = delete;
    RunRecorder &operator=(const RunRecorder &) = delete;

    bool active() const { return m_journal; }
    bool begin(const JournalRun &run);
    // Writes nothing from here on: a run with nothing to move.
    void stand() { m_journal = nullptr; }

    // Whether the move numbered `sequence` starts a batch not yet written down.
    bool batchDue(std::int64_t sequence) const { return m_journal && sequence == m_batchEnd; }
    // Closes the batch before and writes the next one down as intended:
    // `count` moves from `first` of `total`, `planned(k)` giving move k.
    bool intendBatch(std::int64_t first, std::int64_t total,
                     const std::function<const PlannedMove &(std::int64_t)> &planned);
    // Writes down how the moves of the batch ended and the folders made for it.
    void closeBatch();
    // Asked to stop before move `first`: the rest of the batch did not move.
    void notTried(std::int64_t first, const std::function<const PlannedMove &(std::int64_t)> &planned);

    // The move in hand, and the name it tries now (kept by the caller while it tries).
    void beginMove(std::int64_t sequence);
    void aim(const Path &destination) { m_destination = &destination; }
    // What a copy's move calls before its copy takes a name; nothing without a journal.
    const PublishCheck *announcement() const { return m_journal ? &m_announce : nullptr; }
    bool copyAnnounced() const { return m_copy.identity.inode; }

    // How the move in hand ended, where not exactly as planned.
    void outcome(const PlannedMove &move, JournalMove::State state, const Path *destination = nullptr);
    // A move of an undo, as it ended.
    void outcome(const JournalMove &move);
    // An outcome not yet written down, by the move's sequence.
    JournalMove *pendingOutcome(std::int64_t sequence);
    // A move that went through but whose source had to stay after all.
    void movedBack(const PlannedMove &move, std::int64_t sequence);
    std::size_t pendingCount() const { return m_outcomes.size(); }
    bool writeOutcomes();

    // Where the folders made for the batch go; nothing without a journal.
    std::vector<Path> *foldersMade() { return m_journal ? &m_folders : nullptr; }

private:
    RunJournal *m_journal = nullptr;
    QUuid m_run;
    bool m_returning = false;
    std::int64_t m_batchStart = 0;
    std::int64_t m_batchEnd = 0;
    std::vector<JournalIntent> m_intended;
    std::vector<JournalMove> m_outcomes;
    std::vector<Path> m_folders;
    std::int64_t m_inHand = 0;
    const Path *m_destination = nullptr;
    FileStamp m_copy; // as announced, for the move in hand
    PublishCheck m_announce;
};

} // namespace sorvanel
