// SPDX-License-Identifier: GPL-3.0-or-later
// The floor: only the system calls a cleanup needs. One directory read, one
// statx per entry, one mkdir per new folder, one no-replace rename per file.
// With --list-only it stops after the statx calls (what a preview needs).
// With --back it puts a tree filed that way back: one directory read per
// folder, one no-replace rename per file, one rmdir per folder (what an undo
// needs).
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_set>
#include <vector>

namespace {
const char *category(const std::string &name)
{
    const auto dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0)
        return nullptr;
    std::string ext = name.substr(dot + 1);
    for (char &c : ext)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    static const std::unordered_set<std::string> graphic{"jpg",  "jpeg", "png",  "gif", "webp", "svg", "heic",
                                                         "heif", "tif",  "tiff", "bmp", "ico",  "avif"};
    static const std::unordered_set<std::string> docs{"pdf",   "doc",  "docx", "txt", "rtf",     "odt",
                                                      "pages", "xls",  "xlsx", "ods", "numbers", "csv",
                                                      "ppt",   "pptx", "odp",  "key", "md",      "epub"};
    if (graphic.count(ext))
        return "graphic";
    if (docs.count(ext))
        return "docs";
    return nullptr;
}
} // namespace

// Renames every file below `folder` into `home`, deepest folders emptied and removed first.
std::size_t putBack(const std::string &folder, const std::string &home, bool removeFolder)
{
    std::size_t moved = 0;
    DIR *dir = ::opendir(folder.c_str());
    if (!dir)
        return 0;
    std::vector<std::string> folders;
    while (const dirent *item = ::readdir(dir)) {
        if (item->d_name[0] == '.')
            continue;
        const std::string path = folder + "/" + item->d_name;
        if (item->d_type == DT_DIR)
            folders.push_back(path);
        else if (item->d_type == DT_REG)
            moved +=
                ::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, (home + "/" + item->d_name).c_str(), RENAME_NOREPLACE)
                == 0;
    }
    ::closedir(dir);
    for (const std::string &below : folders)
        moved += putBack(below, home, true);
    if (removeFolder)
        ::rmdir(folder.c_str());
    return moved;
}

int main(int argc, char *argv[])
{
    if (argc == 4 && std::strcmp(argv[1], "--back") == 0) {
        std::printf("%zu\n", putBack(argv[2], argv[3], false));
        return 0;
    }
    bool listOnly = argc == 3 && std::strcmp(argv[1], "--list-only") == 0;
    if (!(listOnly || argc == 3)) {
        std::fprintf(
            stderr,
            "usage: sorvanel-bench-floor --list-only SOURCE | SOURCE DESTINATION | --back DESTINATION SOURCE\n");
        return 64;
    }
    const std::string source = listOnly ? argv[2] : argv[1];
    const std::string destination = listOnly ? std::string() : argv[2];
    const int dirfd = ::open(source.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR *dir = ::fdopendir(dirfd);
    if (!dir)
        return 2;
    struct Entry
    {
        std::string name;
        struct statx info;
    };
    std::vector<Entry> entries;
    while (const dirent *item = ::readdir(dir)) {
        if (item->d_name[0] == '.' && (item->d_name[1] == 0 || (item->d_name[1] == '.' && item->d_name[2] == 0)))
            continue;
        Entry entry{item->d_name, {}};
        ::statx(dirfd, item->d_name, AT_SYMLINK_NOFOLLOW, STATX_TYPE | STATX_SIZE | STATX_BTIME | STATX_MTIME,
                &entry.info);
        entries.push_back(std::move(entry));
    }
    if (listOnly) {
        std::printf("%zu\n", entries.size());
        return 0;
    }
    ::mkdir(destination.c_str(), 0777);
    std::unordered_set<std::string> made;
    std::size_t moved = 0;
    for (const Entry &entry : entries) {
        if (!S_ISREG(entry.info.stx_mode) || entry.name[0] == '.')
            continue;
        const std::time_t when =
            (entry.info.stx_mask & STATX_BTIME) ? entry.info.stx_btime.tv_sec : entry.info.stx_mtime.tv_sec;
        struct tm local;
        ::localtime_r(&when, &local);
        char day[16];
        std::strftime(day, sizeof day, "%Y-%m-%d", &local);
        std::string folder = destination + "/" + day;
        if (made.insert(folder).second)
            ::mkdir(folder.c_str(), 0777);
        if (const char *kind = category(entry.name)) {
            folder += "/";
            folder += kind;
            if (made.insert(folder).second)
                ::mkdir(folder.c_str(), 0777);
        }
        const std::string from = source + "/" + entry.name;
        const std::string to = folder + "/" + entry.name;
        if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
            ++moved;
    }
    ::closedir(dir);
    std::printf("%zu\n", moved);
    return 0;
}
