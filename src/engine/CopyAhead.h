// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FileSystem.h"

#include <functional>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace sorvanel {

// Small files bound for another drive, copied a run at a time ahead of their
// moves so that the drive flushes them together (see
// FileSystem::prepareCopies), for a run or an undo going through its moves in
// order. A move that goes through with a prepared copy is deferred: its
// source goes with the others of its run once their copies' names are
// flushed (FileSystem::finishPreparedMoves). What it still holds when it goes
// out of scope is discarded.
class CopyAhead
{
public:
    // Move i's source and size, or nothing where move i takes no prepared copy.
    using Candidate = std::optional<std::pair<std::string_view, std::int64_t>>;
    // Hears of each deferred move, by its sequence, whose source had to stay after all.
    using Failed = std::function<void(std::int64_t sequence, const FileError &error)>;

    // `count` moves from `from` into `to`.
    CopyAhead(FileSystem &fs, Path from, Path to, std::size_t count, std::function<Candidate(std::size_t)> candidate,
              Failed failed);
    ~CopyAhead();
    CopyAhead(const CopyAhead &) = delete;
    CopyAhead &operator=(const CopyAhead &) = delete;

    // Before move `step`: where the run prepared before ends, its deferred
    // moves are finished and the next run is prepared.
    void atStep(std::size_t step);
    // Move `sequence` went through: its source goes with its run's, if it had a prepared copy.
    void moved(std::string_view source, std::int64_t sequence);
    // Finishes the deferred moves.
    void finish();
    // Drops the prepared copies that no move took.
    void discard();

    // The next run of copies to prepare: from move `from` of `count` on, up
    // to preparedCopyBatch moves, ending before the bytes pass
    // preparedBytesLimit. Sources not below `folder` or over
    // preparedCopyLimit are left out. The names, relative to `folder`, go to
    // `names`; returns the move after the run.
    static std::size_t chooseRun(std::size_t from, std::size_t count, const Path &folder,
                                 const std::function<Candidate(std::size_t)> &candidate,
                                 std::vector<std::string_view> &names);

private:
    FileSystem &m_fs;
    const Path m_from;
    const Path m_to;
    const std::size_t m_count;
    const std::function<Candidate(std::size_t)> m_candidate;
    const Failed m_failed;
    std::size_t m_preparedUntil = 0;
    bool m_anyPrepared = false;
    bool m_holding = false;
    std::vector<std::string_view> m_names;
    std::vector<std::pair<std::string_view, std::int64_t>> m_deferred;
};

} // namespace sorvanel
