// SPDX-License-Identifier: GPL-3.0-or-later
#include "Trash.h"

#include "Descriptor.h"

#include <QFile>
#include <QStandardPaths>
#include <QUrl>

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace sorvanel {

namespace {

constexpr std::string_view infoSuffix = ".trashinfo";

std::string uidText()
{
    return std::to_string(::getuid());
}

// The device of the path, or of the nearest folder above it that exists.
std::optional<dev_t> deviceOf(Path path)
{
    struct stat info;
    while (!path.empty()) {
        if (::stat(path.c_str(), &info) == 0)
            return info.st_dev;
        if (path == path.parent_path())
            break;
        path = path.parent_path();
    }
    return std::nullopt;
}

// The top folder of the drive `folder` lies on: its mount point.
Path topOf(Path folder, dev_t device)
{
    struct stat info;
    while (folder.native().size() > 1 && folder != folder.parent_path()) {
        const Path parent = folder.parent_path();
        if (::stat(parent.c_str(), &info) != 0 || info.st_dev != device)
            break;
        folder = parent;
    }
    return folder;
}

bool isOwnFolder(const Path &path)
{
    struct stat info;
    return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::getuid();
}

// A folder we may use or make: ours if it is there, else its parent takes new folders.
bool usableOrMakeable(const Path &path)
{
    struct stat info;
    if (::lstat(path.c_str(), &info) == 0)
        return isOwnFolder(path);
    return errno == ENOENT && ::access(path.parent_path().c_str(), W_OK | X_OK) == 0;
}

// The drive's top folder for a drive's trash; empty for the home trash.
Path topOfTrash(const Path &trash)
{
    const std::string name = trash.filename().native();
    if (name.starts_with(".Trash-"))
        return trash.parent_path();
    if (trash.parent_path().filename() == ".Trash")
        return trash.parent_path().parent_path();
    return {};
}

FileError makeOwnFolder(const Path &path)
{
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        return FileError(errno);
    return isOwnFolder(path) ? FileError() : FileError(ENOTDIR);
}

} // namespace

namespace Trash {

Path homeTrash()
{
    return pathFromText(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)) / "Trash";
}

Path forFolder(const Path &folder, const Path &home)
{
    struct stat info;
    if (::stat(folder.c_str(), &info) != 0 || deviceOf(home) == info.st_dev)
        return home;
    const Path top = topOf(folder, info.st_dev);
    const Path shared = top / ".Trash";
    struct stat sharedInfo;
    if (::lstat(shared.c_str(), &sharedInfo) == 0 && S_ISDIR(sharedInfo.st_mode) && (sharedInfo.st_mode & S_ISVTX)
        && usableOrMakeable(shared / uidText()))
        return shared / uidText();
    const Path own = top / (".Trash-" + uidText());
    return usableOrMakeable(own) ? own : home;
}

Path folderOf(const Path &trashedFile)
{
    return trashedFile.parent_path().parent_path();
}

Path infoOf(const Path &trashedFile)
{
    return folderOf(trashedFile) / "info" / (trashedFile.filename().native() + std::string(infoSuffix));
}

FileError prepare(const Path &trash)
{
    if (topOfTrash(trash).empty()) {
        // The home trash's parents are the user's own data folders.
        std::error_code ignored;
        std::filesystem::create_directories(trash, ignored);
    }
    for (const Path &folder : {trash, trash / "files", trash / "info"}) {
        if (const FileError error = makeOwnFolder(folder))
            return error;
    }
    return {};
}

FileError writeInfo(const Path &trashedFile, const Path &original, const QDateTime &deletedAt)
{
    const Path top = topOfTrash(folderOf(trashedFile));
    std::string named = original.native();
    if (!top.empty() && named.starts_with(top.native() + '/'))
        named.erase(0, top.native().size() + 1);
    const QByteArray text = "[Trash Info]\nPath=" + QUrl::toPercentEncoding(QByteArray::fromStdString(named), "/")
        + "\nDeletionDate=" + deletedAt.toLocalTime().toString(Qt::ISODate).left(19).toUtf8() + '\n';
    const Path info = infoOf(trashedFile);
    const Descriptor file(::open(info.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file)
        return FileError(errno);
    if (::write(file.get(), text.constData(), std::size_t(text.size())) != text.size()) {
        const int error = errno ? errno : EIO;
        ::unlink(info.c_str());
        return FileError(error);
    }
    return {};
}

std::optional<Path> originalOf(const Path &trashedFile)
{
    QFile file(QFile::decodeName(QByteArray::fromStdString(infoOf(trashedFile).native())));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    for (const QByteArray &line : file.read(1 << 16).split('\n')) {
        if (!line.startsWith("Path="))
            continue;
        const std::string named = QByteArray::fromPercentEncoding(line.mid(5)).toStdString();
        if (named.empty())
            return std::nullopt;
        const Path top = topOfTrash(folderOf(trashedFile));
        return named.front() == '/' || top.empty() ? Path(named) : top / named;
    }
    return std::nullopt;
}

bool removeInfo(const Path &trashedFile, const Path &original)
{
    const auto named = originalOf(trashedFile);
    return named && *named == original && ::unlink(infoOf(trashedFile).c_str()) == 0;
}

} // namespace Trash

} // namespace sorvanel
