// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ExecutionObserver.h"
#include "FileSystem.h"

#include <algorithm>
#include <cstdint>

namespace sorvanel {

// How far a run or an undo has come, told to its observer (when it has one):
// the totals first, then each file once it is done however it ended, and
// within a big file as its copy goes. A file counts as done from the moment
// it is tried; a stop within its copy takes it back.
class ProgressTally
{
public:
    explicit ProgressTally(ExecutionObserver *observer)
        : m_observer(observer)
        , m_withinFile([this](std::int64_t bytes) {
            reportWithinFile(*m_observer, m_progress, m_fileSize, bytes);
            return !m_observer->stopRequested();
        })
    {
    }
    ProgressTally(const ProgressTally &) = delete;
    ProgressTally &operator=(const ProgressTally &) = delete;

    // One more file to do, of `size` bytes.
    void add(std::int64_t size)
    {
        ++m_progress.filesTotal;
        m_progress.bytesTotal += std::max<std::int64_t>(size, 0);
    }
    // The file of `size` bytes is in hand: it counts as done.
    void start(std::int64_t size)
    {
        if (!m_observer)
            return;
        m_fileSize = std::max<std::int64_t>(size, 0);
        ++m_progress.filesDone;
        m_progress.bytesDone += m_fileSize;
    }
    // Stopped within its copy: the file in hand is not done after all.
    void takeBack()
    {
        --m_progress.filesDone;
        m_progress.bytesDone -= m_fileSize;
    }
    void tell() const
    {
        if (m_observer)
            m_observer->progressed(m_progress);
    }
    bool watched() const { return m_observer; }
    bool stopRequested() const { return m_observer && m_observer->stopRequested(); }
    // What moveItem hears during a copy; nothing to hear without an observer.
    const CopyProgress *withinFile() const { return m_observer ? &m_withinFile : nullptr; }
    const ExecutionProgress &progress() const { return m_progress; }
    std::int64_t remaining() const { return m_progress.filesTotal - m_progress.filesDone; }

private:
    ExecutionObserver *m_observer;
    ExecutionProgress m_progress;
    std::int64_t m_fileSize = 0; // of the file in hand
    CopyProgress m_withinFile;
};

} // namespace sorvanel
