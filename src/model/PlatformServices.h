// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "OrganizationModels.h"

#include <QString>

#include <functional>
#include <optional>

namespace sorvanel {

// The per-user scheduler that starts the automatic-run program. Calls return
// at once; the callbacks come later, on the main thread.
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
};

// The system's folder chooser, run modally. Empty when the user cancels.
class FolderChooser
{
public:
    virtual ~FolderChooser() = default;
    virtual std::optional<Path> chooseFolder(const Path &startDirectory, const QString &suggestedName) = 0;
};

} // namespace sorvanel
