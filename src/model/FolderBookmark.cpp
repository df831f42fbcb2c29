// SPDX-License-Identifier: GPL-3.0-or-later
#include "FolderBookmark.h"

#include "FileSystem.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cerrno>
#include <sys/stat.h>

namespace sorvanel::FolderBookmark {

std::optional<QByteArray> create(const Path &folder, QString *errorDescription)
{
    struct stat info;
    int error = 0;
    if (::stat(folder.c_str(), &info) != 0)
        error = errno;
    else if (!S_ISDIR(info.st_mode))
        error = ENOTDIR;
    if (error) {
        if (errorDescription)
            *errorDescription = FileError(error).localizedDescription();
        return std::nullopt;
    }
    // The path as bytes (hex), so that names that are not UTF-8 survive.
    const QJsonObject object{{u"path"_qs, QString::fromLatin1(QByteArray::fromStdString(folder.native()).toHex())},
                             {u"device"_qs, QString::number(quint64(info.st_dev))},
                             {u"inode"_qs, QString::number(quint64(info.st_ino))}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::optional<Resolved> resolve(const QByteArray &bookmark)
{
    const QJsonObject object = QJsonDocument::fromJson(bookmark).object();
    const QString hexPath = object.value(u"path"_qs).toString();
    if (hexPath.isEmpty())
        return std::nullopt;
    const Path folder(QByteArray::fromHex(hexPath.toLatin1()).toStdString());
    struct stat info;
    if (::stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        return std::nullopt;
    Resolved resolved;
    resolved.folder = folder;
    resolved.isStale = object.value(u"device"_qs).toString() != QString::number(quint64(info.st_dev))
        || object.value(u"inode"_qs).toString() != QString::number(quint64(info.st_ino));
    return resolved;
}

} // namespace sorvanel::FolderBookmark
