// SPDX-License-Identifier: GPL-3.0-or-later
#include "CopyAhead.h"

#include <algorithm>

namespace sorvanel {

CopyAhead::CopyAhead(FileSystem &fs, Path from, Path to, std::size_t count,
                     std::function<Candidate(std::size_t)> candidate, Failed failed)
    : m_fs(fs)
    , m_from(std::move(from))
    , m_to(std::move(to))
    , m_count(count)
    , m_candidate(std::move(candidate))
    , m_failed(std::move(failed))
{
}

CopyAhead::~CopyAhead()
{
    if (m_holding)
        m_fs.discardPreparedCopies();
}

void CopyAhead::atStep(std::size_t step)
{
    if (step != m_preparedUntil)
        return;
    finish();
    // A run ends after so many files or bytes, whichever comes first: a stop
    // waits for the run's copies, and progress moves on after them.
    m_preparedUntil = chooseRun(step, m_count, m_from, m_candidate, m_names);
    m_anyPrepared = m_fs.prepareCopies(m_from, m_names, m_to) > 0;
    m_holding = m_holding || m_anyPrepared;
}

void CopyAhead::moved(std::string_view source, std::int64_t sequence)
{
    if (m_anyPrepared)
        m_deferred.emplace_back(source, sequence);
}

void CopyAhead::finish()
{
    if (m_deferred.empty())
        return;
    for (const auto &failure : m_fs.finishPreparedMoves()) {
        const std::string &source = failure.first.native();
        const auto found =
            std::find_if(m_deferred.begin(), m_deferred.end(), [&](const auto &move) { return move.first == source; });
        if (found != m_deferred.end())
            m_failed(found->second, failure.second);
    }
    m_deferred.clear();
}

void CopyAhead::discard()
{
    m_fs.discardPreparedCopies();
    m_holding = false;
}

std::size_t CopyAhead::chooseRun(std::size_t from, std::size_t count, const Path &folder,
                                 const std::function<Candidate(std::size_t)> &candidate,
                                 std::vector<std::string_view> &names)
{
    names.clear();
    const std::string &prefix = folder.native();
    const std::size_t last = std::min(count, from + PosixFileSystem::preparedCopyBatch);
    std::int64_t bytes = 0;
    std::size_t next = from;
    for (; next < last; ++next) {
        const Candidate file = candidate(next);
        if (!file || file->second > PosixFileSystem::preparedCopyLimit || file->first.size() <= prefix.size() + 1
            || !file->first.starts_with(prefix) || file->first[prefix.size()] != '/')
            continue;
        bytes += std::max<std::int64_t>(file->second, 0);
        if (bytes > PosixFileSystem::preparedBytesLimit && !names.empty())
            break;
        names.push_back(file->first.substr(prefix.size() + 1));
    }
    return next;
}

} // namespace sorvanel
