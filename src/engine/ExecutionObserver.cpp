// SPDX-License-Identifier: GPL-3.0-or-later
#include "ExecutionObserver.h"

namespace sorvanel {

namespace {
// The run the signal handler stops.
ExecutionControl *stoppable = nullptr;

void requestStop(int)
{
    if (stoppable)
        stoppable->requestStop();
}
} // namespace

StopOnSignal::StopOnSignal(ExecutionControl &control, int signal)
    : m_signal(signal)
{
    stoppable = &control;
    struct sigaction action = {};
    action.sa_handler = requestStop;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESETHAND;
    sigaction(m_signal, &action, &m_previous);
}

StopOnSignal::~StopOnSignal()
{
    sigaction(m_signal, &m_previous, nullptr);
    stoppable = nullptr;
}

} // namespace sorvanel
