// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CopyAhead.h"
#include "Organizer.h"
#include "OrganizerExecutionLock.h"
#include "ProgressTally.h"
#include "RunRecorder.h"

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace sorvanel {

// Where a run writes its moves down, if anywhere.
struct Journaling
{
    RunJournal *journal = nullptr;
    QUuid runId;
    OrganizationRunMode mode = OrganizationRunMode::manual;
};

// One run of a plan (see Execution.cpp for its phases and its rules).
class Execution
{
public:
    // `plan`'s destination root is normal; the plan outlives the execution.
    Execution(Organizer &organizer, const OrganizationPlan &plan, const Journaling &journaling,
              ExecutionObserver *observer);
    OrganizationResult run();

private:
    bool enter();
    bool accountForRunsCutShort(bool rootWasThere);
    void startWriterCheck();
    void countTotals();
    bool step(std::size_t step);
    bool tryStep(std::size_t step);
    bool intendBatch();
    void moveOne(std::size_t step, std::int64_t current);
    FileError moveIntoPlace(const PlannedMove &move);
    FileError moveToTrash(const PlannedMove &move);
    FileError moveUnderFreeName(const PlannedMove &move, std::string_view folder);
    FileError ensureFolder(std::string_view folder);
    void fail(std::size_t step, const FileError &error);
    void stopAt(std::int64_t first);
    OrganizationResult leave();

    const PlannedMove &planned(std::int64_t sequence) const { return m_plan.moves[m_order[std::size_t(sequence)]]; }

    Organizer &m_organizer;
    FileSystem &m_fs;
    const OrganizationPlan &m_plan;
    const Journaling m_journaling;
    const std::vector<std::uint32_t> m_order; // the journal numbers the moves in this order
    const Path m_sourceFolder;
    OrganizationResult m_result;
    ProgressTally m_tally;
    RunRecorder m_recorder;
    std::unique_ptr<OrganizerExecutionLock> m_lock;
    std::optional<WriterCheck> m_writers;
    std::optional<CopyAhead> m_copies;
    // Files whose move a killed run had all but finished: settling finishes
    // it, and this run leaves them out without a word.
    std::unordered_set<std::string> m_finishedEarlier;
    // Folders made or found in this run; checked again when a move reports them gone.
    std::unordered_set<std::string, StringHash, std::equal_to<>> m_readyFolders;
    std::unordered_map<std::string, Organizer::CounterHints> m_hints;
    std::int64_t m_sequence = 0; // of the next move tried
    const Path *m_target = nullptr; // the name the move in hand tries
    Path m_renamed; // a free name it tries instead of the planned one
    // Problems of moves, with each move's place in the plan, reported in plan order.
    std::vector<std::pair<std::uint32_t, OrganizationIssue>> m_moveIssues;
    std::optional<OrganizationIssue> m_unrecorded;
};

} // namespace sorvanel
