// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ExecutionObserver.h"

#include <QString>

#include <chrono>
#include <functional>

namespace sorvanel {

// Watches a run started from the command line. While it lives, Ctrl+C
// (SIGINT) asks the run to stop after the file in hand; a second Ctrl+C
// ends the program at once, which a run survives like any kill. When
// standard error is a terminal, it shows the progress there on one line,
// which it clears again when done.
class TerminalProgress : public ExecutionControl
{
public:
    // `describe` makes the line from the progress, e.g. "Moving files: 3 of 10".
    explicit TerminalProgress(std::function<QString(const ExecutionProgress &)> describe);
    ~TerminalProgress() override;
    TerminalProgress(const TerminalProgress &) = delete;
    TerminalProgress &operator=(const TerminalProgress &) = delete;

    void progressed(const ExecutionProgress &progress) override;
    // Whether the run was asked to stop.
    bool interrupted() { return stopRequested(); }

private:
    void show(const QString &line);
    void clear();

    std::function<QString(const ExecutionProgress &)> m_describe;
    bool m_terminal = false;
    bool m_shown = false;
    std::chrono::steady_clock::time_point m_lastShown;
    StopOnSignal m_interrupt;
};

} // namespace sorvanel
