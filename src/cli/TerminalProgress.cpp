// SPDX-License-Identifier: GPL-3.0-or-later
#include "TerminalProgress.h"

#include <QByteArray>

#include <unistd.h>

namespace sorvanel {

namespace {
// A line no faster than the eye reads it.
constexpr auto refreshInterval = std::chrono::milliseconds(100);
} // namespace

TerminalProgress::TerminalProgress(std::function<QString(const ExecutionProgress &)> describe)
    : m_describe(std::move(describe))
    , m_terminal(isatty(STDERR_FILENO) == 1)
    , m_interrupt(*this, SIGINT)
{
}

TerminalProgress::~TerminalProgress()
{
    clear();
}

void TerminalProgress::progressed(const ExecutionProgress &progress)
{
    ExecutionControl::progressed(progress);
    if (!m_terminal)
        return;
    const auto now = std::chrono::steady_clock::now();
    if (m_shown && now - m_lastShown < refreshInterval && progress.filesDone < progress.filesTotal)
        return;
    m_lastShown = now;
    show(m_describe(progress));
}

void TerminalProgress::show(const QString &line)
{
    // Back to the line's start, the text, then erase what a longer line left.
    const QByteArray text = "\r" + line.toLocal8Bit() + "\033[K";
    [[maybe_unused]] const auto written = write(STDERR_FILENO, text.constData(), size_t(text.size()));
    m_shown = true;
}

void TerminalProgress::clear()
{
    if (!m_shown)
        return;
    [[maybe_unused]] const auto written = write(STDERR_FILENO, "\r\033[K", 4);
    m_shown = false;
}

} // namespace sorvanel
