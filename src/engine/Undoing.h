// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CopyAhead.h"
#include "Organizer.h"
#include "OrganizerExecutionLock.h"
#include "ProgressTally.h"
#include "RunRecorder.h"

#include <memory>
#include <optional>
#include <vector>

namespace sorvanel {

// One undo of a journaled run (see Undoing.cpp for its steps).
class Undoing
{
public:
    Undoing(Organizer &organizer, RunJournal &journal, const std::optional<QUuid> &runId, bool dryRun,
            ExecutionObserver *observer);
    UndoResult run();

private:
    // What lies on disk says of one move.
    enum class Assessment {
        finishReturn, // an undo cut short brought the copy back already
        alreadyBack, // an undo cut short moved the file itself back already
        changedSince, // the filed file is no longer the one moved
        moveBack, // still filed as it was moved
    };

    bool refused();
    bool enter();
    void orderMoves();
    bool step(std::size_t index);
    Assessment assess(JournalMove &move, const std::optional<FileStamp> &atDestination);
    void finishReturn(JournalMove &move, const std::optional<FileStamp> &atDestination);
    bool moveBack(JournalMove &move);
    bool writeOutcomesIfDue();
    void restored(JournalMove &move);
    void fail(const JournalMove &move, const QString &message);
    void leave();
    const std::optional<FileStamp> &atSource(const JournalMove &move);

    Organizer &m_organizer;
    FileSystem &m_fs;
    RunJournal &m_journal;
    const std::optional<QUuid> m_runId;
    const bool m_dryRun;
    UndoResult m_result;
    std::optional<JournalRun> m_run;
    ProgressTally m_tally;
    std::unique_ptr<OrganizerExecutionLock> m_lock;
    // A filed file is known again by its size and time, and by its inode
    // number where the drive keeps those; not by its device number, which
    // changes when the drive is plugged in again under another name.
    bool m_numbered = false;
    std::vector<JournalMove> m_moves;
    std::optional<RunRecorder> m_recorder;
    std::optional<CopyAhead> m_copies;
    // The source name of the move in hand, looked at only where it tells something.
    std::optional<std::optional<FileStamp>> m_atSource;
    bool m_unrecorded = false;
};

} // namespace sorvanel
