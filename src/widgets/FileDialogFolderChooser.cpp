// SPDX-License-Identifier: GPL-3.0-or-later
#include "FileDialogFolderChooser.h"

#include "Localization.h"

#include <QFileDialog>

namespace sorvanel {

std::optional<Path> FileDialogFolderChooser::chooseFolder(const Path &startDirectory, const QString &suggestedName,
                                                          const QString &title)
{
    QFileDialog dialog(m_parent);
    dialog.setWindowTitle(title);
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly, true);
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setLabelText(QFileDialog::Accept, L10n::text("Choose"));
    dialog.setDirectory(displayPath(startDirectory));
    if (!suggestedName.isEmpty())
        dialog.selectFile(suggestedName);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    return pathFromText(dialog.selectedFiles().constFirst());
}

} // namespace sorvanel
