// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "LoginItemService.h"
#include "OrganizationModels.h"

#include <QString>

#include <functional>
#include <optional>

namespace sorvanel {

// The system's folder chooser, run modally. Empty when the user cancels.
class FolderChooser
{
public:
    virtual ~FolderChooser() = default;
    // `title` says which folder is chosen ("Choose the Source Folder").
    virtual std::optional<Path> chooseFolder(const Path &startDirectory, const QString &suggestedName,
                                             const QString &title) = 0;
};

} // namespace sorvanel
