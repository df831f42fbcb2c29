// SPDX-License-Identifier: GPL-3.0-or-later
#include "UserFolders.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace sorvanel::UserFolders {

QString downloads()
{
    const QString home = QDir::homePath();
    const QString located = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
    const QFileInfo info(located);
    if (!located.isEmpty() && info.isAbsolute() && info.isDir()
        && QDir::cleanPath(info.canonicalFilePath()) != QDir::cleanPath(QFileInfo(home).canonicalFilePath()))
        return QDir::cleanPath(located);
    return QDir::cleanPath(home + QStringLiteral("/Downloads"));
}

} // namespace sorvanel::UserFolders
