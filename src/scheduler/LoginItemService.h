// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

#include <functional>

namespace sorvanel {

// The per-user scheduler that starts the automatic-run program. Calls return
// at once; the callbacks come later, on the calling thread's event loop.
class LoginItemService
{
public:
    enum class Status { notRegistered, enabled, requiresApproval, notFound };
    // An empty text means success; otherwise the reason, for the user.
    using Completion = std::function<void(const QString &error)>;

    virtual ~LoginItemService() = default;
    virtual void fetchStatus(std::function<void(Status)> done) = 0;
    virtual void registerAgent(Completion done) = 0;
    virtual void unregisterAgent(Completion done) = 0;

    // Whether a job that stays (the watcher) is running now, and its own
    // line of status ("Watching ~/Downloads"), or why not.
    struct Activity
    {
        bool running = false;
        QString status;
    };
    virtual void fetchActivity(std::function<void(Activity)> done) { done({}); }

    // Brings the scheduler in line with the automatic-cleanup switch: it
    // registers or unregisters the agent only where its status differs.
    void apply(bool enabled, Completion done);
    // The same, waiting for the answer in a local event loop (for programs
    // that have nothing else to do meanwhile).
    QString applyAndWait(bool enabled);
};

} // namespace sorvanel
