// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CleanupRun.h"

#include <QObject>
#include <QThread>

#include <functional>
#include <memory>

namespace sorvanel {

// Runs the cleanup jobs one at a time on a thread of its own. Destroying
// the worker lets the job in progress finish (a move is never cut short),
// then stops the thread.
class OrganizerWorker : public QObject
{
    Q_OBJECT

public:
    explicit OrganizerWorker(std::shared_ptr<CleanupRun> run, QObject *parent = nullptr);
    ~OrganizerWorker() override;

    // Queues `job` for the worker thread.
    void post(std::function<void(CleanupRun &)> job);

private:
    QThread m_thread;
    QObject *m_context = nullptr; // lives on m_thread; jobs are posted to it
    std::shared_ptr<CleanupRun> m_run;
};

} // namespace sorvanel
