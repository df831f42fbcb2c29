// SPDX-License-Identifier: GPL-3.0-or-later
#include "RunRecorder.h"

#include <algorithm>

namespace sorvanel {

namespace {

JournalMove journalMove(const PlannedMove &move, std::int64_t sequence)
{
    JournalMove entry;
    entry.sequence = sequence;
    entry.source = move.sourceURL;
    entry.destination = move.destinationURL;
    entry.original = move.sourceIdentity;
    entry.size = move.sourceSize;
    entry.modifiedNs = move.sourceModifiedNs;
    entry.bornNs = move.sourceBornNs;
    return entry;
}

} // namespace

RunRecorder::RunRecorder(RunJournal *journal, const QUuid &run, bool returning)
    : m_journal(journal)
    , m_run(run)
    , m_returning(returning)
    , m_announce([this](const FileStamp &copy, const FileIdentity &reservation) {
        m_copy = copy;
        return m_journal->publishing(m_run, m_inHand, copy, *m_destination, m_returning, reservation);
    })
{
}

bool RunRecorder::begin(const JournalRun &run)
{
    return !m_journal || m_journal->begin(run);
}

bool RunRecorder::intendBatch(std::int64_t first, std::int64_t total,
                              const std::function<const PlannedMove &(std::int64_t)> &planned)
{
    closeBatch();
    m_batchStart = first;
    m_batchEnd = std::min<std::int64_t>(first + std::int64_t(batchSize), total);
    m_intended.clear();
    for (std::int64_t k = m_batchStart; k < m_batchEnd; ++k) {
        const PlannedMove &next = planned(k);
        m_intended.push_back({k, next.sourceURL.native(), next.destinationURL.native(), next.sourceIdentity,
                              next.sourceSize, next.sourceModifiedNs, next.sourceBornNs});
    }
    if (m_journal->intend(m_run, m_intended))
        return true;
    m_batchEnd = m_batchStart;
    return false;
}

void RunRecorder::closeBatch()
{
    if (!m_journal || m_batchEnd == m_batchStart)
        return;
    if (!m_folders.empty())
        m_journal->addFolders(m_run, m_folders);
    // Moves not named among the outcomes went to their planned destination.
    m_journal->settle(m_run, m_outcomes);
    m_outcomes.clear();
    m_folders.clear();
}

void RunRecorder::notTried(std::int64_t first, const std::function<const PlannedMove &(std::int64_t)> &planned)
{
    for (std::int64_t k = first; k < m_batchEnd; ++k) {
        JournalMove entry = journalMove(planned(k), k);
        entry.state = JournalMove::State::notMoved;
        m_outcomes.push_back(std::move(entry));
    }
}

void RunRecorder::beginMove(std::int64_t sequence)
{
    m_inHand = sequence;
    m_copy = {};
}

void RunRecorder::outcome(const PlannedMove &move, JournalMove::State state, const Path *destination)
{
    if (!m_journal)
        return;
    JournalMove entry = journalMove(move, m_inHand);
    entry.state = state;
    if (destination)
        entry.destination = *destination;
    entry.placed = copyAnnounced() ? m_copy.identity : move.sourceIdentity;
    entry.placedModifiedNs = copyAnnounced() ? m_copy.modifiedNs : 0;
    m_outcomes.push_back(std::move(entry));
}

void RunRecorder::outcome(const JournalMove &move)
{
    if (m_journal)
        m_outcomes.push_back(move);
}

JournalMove *RunRecorder::pendingOutcome(std::int64_t sequence)
{
    const auto found = std::find_if(m_outcomes.begin(), m_outcomes.end(),
                                    [&](const JournalMove &move) { return move.sequence == sequence; });
    return found == m_outcomes.end() ? nullptr : &*found;
}

void RunRecorder::movedBack(const PlannedMove &move, std::int64_t sequence)
{
    if (!m_journal)
        return;
    if (JournalMove *entry = pendingOutcome(sequence)) {
        entry->state = JournalMove::State::notMoved;
        return;
    }
    JournalMove notMoved = journalMove(move, sequence);
    notMoved.state = JournalMove::State::notMoved;
    m_outcomes.push_back(std::move(notMoved));
}

bool RunRecorder::writeOutcomes()
{
    const bool written = !m_journal || m_journal->settle(m_run, m_outcomes);
    m_outcomes.clear();
    return written;
}

} // namespace sorvanel
