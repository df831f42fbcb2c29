// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdint>

namespace sorvanel {

// How far a run (or an undo) has come: files and bytes done of the total.
// A file counts as done once tried, whether it moved or stayed.
struct ExecutionProgress
{
    std::int64_t filesDone = 0;
    std::int64_t filesTotal = 0;
    std::int64_t bytesDone = 0;
    std::int64_t bytesTotal = 0;

    bool operator==(const ExecutionProgress &) const = default;
};

// Watches a run from the thread that executes it: hears its progress after
// each file and is asked, before each file, whether to stop there. A stop
// never leaves a move half done: a file copied to another drive when the
// stop comes stays where it was, and the run ends as if the plan ended there.
class ExecutionObserver
{
public:
    virtual ~ExecutionObserver() = default;

    virtual void progressed(const ExecutionProgress &progress) = 0;
    virtual bool stopRequested() = 0;
};

// Tells `observer` how far the copy of one file is: `counted` already counts
// that file as done, with all its `size` bytes, so what is not copied yet is
// taken off again.
inline void reportWithinFile(ExecutionObserver &observer, ExecutionProgress counted, std::int64_t size,
                             std::int64_t copied)
{
    counted.filesDone -= 1;
    counted.bytesDone -= size - std::clamp<std::int64_t>(copied, 0, size);
    observer.progressed(counted);
}

// An observer that other threads (or a signal handler) can talk to: the
// latest progress can be read at any time, and `requestStop` may be called
// from anywhere.
class ExecutionControl : public ExecutionObserver
{
public:
    void progressed(const ExecutionProgress &progress) override
    {
        m_filesDone.store(progress.filesDone, std::memory_order_relaxed);
        m_filesTotal.store(progress.filesTotal, std::memory_order_relaxed);
        m_bytesDone.store(progress.bytesDone, std::memory_order_relaxed);
        m_bytesTotal.store(progress.bytesTotal, std::memory_order_relaxed);
    }
    bool stopRequested() override { return m_stop.load(std::memory_order_relaxed); }

    // Lock-free, so safe in a signal handler.
    void requestStop() { m_stop.store(true, std::memory_order_relaxed); }

    ExecutionProgress progress() const
    {
        return {m_filesDone.load(std::memory_order_relaxed), m_filesTotal.load(std::memory_order_relaxed),
                m_bytesDone.load(std::memory_order_relaxed), m_bytesTotal.load(std::memory_order_relaxed)};
    }

private:
    static_assert(std::atomic<bool>::is_always_lock_free);
    std::atomic<bool> m_stop = false;
    std::atomic<std::int64_t> m_filesDone = 0;
    std::atomic<std::int64_t> m_filesTotal = 0;
    std::atomic<std::int64_t> m_bytesDone = 0;
    std::atomic<std::int64_t> m_bytesTotal = 0;
};

// While it lives, `signal` (SIGINT from Ctrl+C, SIGTERM from systemd) asks
// `control`'s run to stop. Once only: the same signal again does what it
// did before, which a run survives like any kill. One at a time per process.
class StopOnSignal
{
public:
    StopOnSignal(ExecutionControl &control, int signal);
    ~StopOnSignal();
    StopOnSignal(const StopOnSignal &) = delete;
    StopOnSignal &operator=(const StopOnSignal &) = delete;

private:
    int m_signal;
    struct sigaction m_previous = {};
};

} // namespace sorvanel
