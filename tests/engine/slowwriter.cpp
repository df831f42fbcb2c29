// SPDX-License-Identifier: GPL-3.0-or-later
// A stand-in for a downloader that tests drive step by step: it opens a file
// and then obeys one command per line on standard input.
//   slowwriter append|truncate|readwrite|read PATH
//   write N   appends N bytes (byte k of the file is k % 251), answers "ok"
//   close     closes the file, answers "closed"
//   reopen    opens it again as at the start (wget after a dropped connection), answers "open"
// It answers "open" once the file is open and exits at the end of its input.
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

int main(int argc, char *argv[])
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: slowwriter append|truncate|readwrite|read PATH\n");
        return 64;
    }
    const std::string mode = argv[1];
    int flags = O_WRONLY | O_CREAT | O_APPEND;
    if (mode == "truncate")
        flags = O_WRONLY | O_CREAT | O_TRUNC;
    else if (mode == "readwrite")
        flags = O_RDWR | O_CREAT;
    else if (mode == "read")
        flags = O_RDONLY;
    int fd = ::open(argv[2], flags | O_CLOEXEC, 0644);
    if (fd < 0) {
        std::perror(argv[2]);
        return 1;
    }
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    std::printf("open\n");
    char line[256];
    while (std::fgets(line, sizeof line, stdin)) {
        long count = 0;
        if (std::sscanf(line, "write %ld", &count) == 1 && fd >= 0) {
            struct stat info;
            ::fstat(fd, &info);
            std::vector<char> bytes(static_cast<std::size_t>(count));
            for (long k = 0; k < count; ++k)
                bytes[std::size_t(k)] = char((info.st_size + k) % 251);
            ::lseek(fd, 0, SEEK_END);
            if (::write(fd, bytes.data(), bytes.size()) != ssize_t(bytes.size()))
                return 1;
            std::printf("ok\n");
        } else if (std::strncmp(line, "reopen", 6) == 0 && fd < 0) {
            fd = ::open(argv[2], flags | O_CLOEXEC, 0644);
            if (fd < 0)
                return 1;
            std::printf("open\n");
        } else if (std::strncmp(line, "close", 5) == 0 && fd >= 0) {
            ::close(fd);
            fd = -1;
            std::printf("closed\n");
        }
    }
    return 0;
}
