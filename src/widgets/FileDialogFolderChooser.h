// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PlatformServices.h"

#include <QPointer>
#include <QWidget>

namespace sorvanel {

// The desktop's folder chooser (native or portal dialog where there is one).
class FileDialogFolderChooser : public FolderChooser
{
public:
    void setParentWindow(QWidget *window) { m_parent = window; }
    std::optional<Path> chooseFolder(const Path &startDirectory, const QString &suggestedName,
                                     const QString &title) override;

private:
    QPointer<QWidget> m_parent;
};

} // namespace sorvanel
