// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "OrganizationModels.h"

#include <QByteArray>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QJsonDocument>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace sorvanel::test {

// A temporary folder that goes away whole, even with names that are not
// UTF-8 inside (QTemporaryDir leaves those, and their folders, behind).
class TemporaryFolder : public QTemporaryDir
{
public:
    using QTemporaryDir::QTemporaryDir;
    ~TemporaryFolder()
    {
        std::error_code ignored;
        if (isValid())
            std::filesystem::remove_all(QFile::encodeName(path()).toStdString(), ignored);
    }
};

// Points HOME, XDG_CONFIG_HOME and XDG_DATA_HOME at a fresh temporary folder for the life
// of the object, so no test ever touches the real home.
class TemporaryHome
{
public:
    TemporaryHome()
    {
        QDir(m_dir.path()).mkpath(u"Downloads"_qs);
        qputenv("HOME", QFile::encodeName(m_dir.path()));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_dir.path() + QStringLiteral("/.config")));
        // The Trash, too: $XDG_DATA_HOME/Trash.
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_dir.path() + QStringLiteral("/.local/share")));
        qunsetenv("XDG_DOWNLOAD_DIR");
    }
    QString path() const { return m_dir.path(); }
    QString downloads() const { return m_dir.path() + QStringLiteral("/Downloads"); }
    QString configHome() const { return m_dir.path() + QStringLiteral("/.config"); }
    QString trash() const { return m_dir.path() + QStringLiteral("/.local/share/Trash"); }

private:
    TemporaryFolder m_dir;
};

// A stand-in systemctl, written into `folder` (put that first on PATH, or
// pass program()): it logs its arguments, answers is-enabled from the state
// set here, and fails with the message set here (for every command, or one).
class FakeSystemctl
{
public:
    explicit FakeSystemctl(const QString &folder)
        : m_folder(folder)
    {
        write(u"systemctl"_qs, R"(#!/bin/sh
echo "$*" >> "$(dirname "$0")/calls.log"
case "$*" in
  *is-enabled*) cat "$(dirname "$0")/state" 2>/dev/null || echo disabled ;;
  *) for fail in fail "fail-$2"; do
       if [ -f "$(dirname "$0")/$fail" ]; then cat "$(dirname "$0")/$fail" >&2; exit 1; fi
     done ;;
esac
)");
        QFile::setPermissions(program(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    QString program() const { return m_folder + QStringLiteral("/systemctl"); }
    // PATH with this systemctl first.
    QByteArray path() const { return QFile::encodeName(m_folder) + ':' + qgetenv("PATH"); }
    QStringList calls() const
    {
        QFile log(m_folder + QStringLiteral("/calls.log"));
        log.open(QIODevice::ReadOnly);
        return QString::fromUtf8(log.readAll()).split(u'\n', Qt::SkipEmptyParts);
    }
    void clearCalls() const { QFile::remove(m_folder + QStringLiteral("/calls.log")); }
    // What is-enabled answers ("enabled", "disabled", …).
    void setState(const QByteArray &state) const { write(u"state"_qs, state + '\n'); }
    // The message it fails with from now on, for every command or only for
    // `command` ("enable", ...); empty: it succeeds again.
    void failWith(const QByteArray &message, const QString &command = {}) const
    {
        const QString name = command.isEmpty() ? u"fail"_qs : u"fail-"_qs + command;
        if (message.isEmpty())
            QFile::remove(m_folder + u'/' + name);
        else
            write(name, message + '\n');
    }

private:
    void write(const QString &name, const QByteArray &text) const
    {
        QFile file(m_folder + u'/' + name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
    QString m_folder;
};

// Writes a file with the given bytes; a valid `modified` sets its modification time.
inline void writeFile(const Path &path, const QByteArray &content = "x", const QDateTime &modified = {})
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    QVERIFY2(fd >= 0, path.c_str());
    QCOMPARE(::write(fd, content.constData(), size_t(content.size())), ssize_t(content.size()));
    ::close(fd);
    if (modified.isValid()) {
        const qint64 ms = modified.toMSecsSinceEpoch();
        const struct timespec times[2] = {{ms / 1000, (ms % 1000) * 1000000}, {ms / 1000, (ms % 1000) * 1000000}};
        QCOMPARE(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
    }
}

inline QByteArray readFile(const Path &path)
{
    // By bytes: the name may not be valid UTF-8.
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return {};
    QByteArray content;
    char buffer[65536];
    for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;)
        content.append(buffer, n);
    ::close(fd);
    return content;
}

inline Path toPath(const QString &text)
{
    return pathFromText(text);
}

// A folder on another file system than `near`, where the machine has one.
inline std::optional<QString> otherFileSystem(const QString &near)
{
    struct stat here;
    ::stat(QFile::encodeName(near).constData(), &here);
    for (const char *candidate : {"/dev/shm", "/run/user", "/var/tmp"}) {
        struct stat there;
        if (::stat(candidate, &there) == 0 && there.st_dev != here.st_dev && ::access(candidate, W_OK) == 0)
            return QString::fromLatin1(candidate);
    }
    return std::nullopt;
}

// A fresh temporary folder on another file system than `near`; null where
// the machine has none.
inline std::unique_ptr<TemporaryFolder> folderOnOtherFileSystem(const QString &near)
{
    const auto other = otherFileSystem(near);
    if (!other)
        return nullptr;
    return std::make_unique<TemporaryFolder>(*other + QStringLiteral("/sorvanel-test-XXXXXX"));
}

// Ends the test as skipped where `found` (a folder on a second writable
// file system) is missing: the machine has none.
#define SKIP_WITHOUT_SECOND_FILE_SYSTEM(found)                                                                         \
    do {                                                                                                               \
        if (!(found))                                                                                                  \
            QSKIP("no second writable file system on this machine");                                                   \
    } while (false)

// A moment well in the past, so files written now pass the two-second age test.
inline QDateTime longAgo()
{
    return QDateTime::currentDateTimeUtc().addDays(-3);
}

// A child process that holds a file open, as a downloader does, and writes
// when told (the `slowwriter` program; SORVANEL_SLOWWRITER names it).
class TestWriter
{
public:
    // `mode`: append, truncate, readwrite or read. `program`: a copy of the
    // writer under another name.
    bool start(const QString &mode, const Path &path, const QString &program = {})
    {
        m_process.start(program.isEmpty() ? QString::fromLocal8Bit(qgetenv("SORVANEL_SLOWWRITER")) : program,
                        {mode, QFile::decodeName(QByteArray::fromStdString(path.native()))});
        return answer() == "open";
    }
    bool write(qint64 bytes) { return command("write " + QByteArray::number(bytes)) == "ok"; }
    bool close() { return command("close") == "closed"; }
    void stop()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.closeWriteChannel();
            if (!m_process.waitForFinished(5000))
                m_process.kill();
            m_process.waitForFinished(5000);
        }
    }
    std::int64_t pid() const { return m_process.processId(); }
    ~TestWriter() { stop(); }

    // What the writer leaves in a file after writing `bytes` from its start.
    static QByteArray content(qint64 bytes)
    {
        QByteArray data(bytes, Qt::Uninitialized);
        for (qint64 k = 0; k < bytes; ++k)
            data[k] = char(k % 251);
        return data;
    }

private:
    QByteArray command(const QByteArray &line)
    {
        m_process.write(line + '\n');
        return answer();
    }
    QByteArray answer()
    {
        while (!m_process.canReadLine()) {
            if (!m_process.waitForReadyRead(10000))
                return {};
        }
        return m_process.readLine().trimmed();
    }

    QProcess m_process;
};

// What a run of the built sorvanel-cli (SORVANEL_CLI names it) ended with;
// status -1 when it crashed or did not end within two minutes.
struct Run
{
    int status = -1;
    QByteArray out;
    QByteArray err;
    QJsonDocument json() const { return QJsonDocument::fromJson(out); }
};

inline Run cli(const QStringList &arguments, const QString &workingDirectory = {})
{
    QProcess process;
    process.setWorkingDirectory(workingDirectory);
    process.start(QString::fromLocal8Bit(qgetenv("SORVANEL_CLI")), arguments);
    Run run;
    if (!process.waitForFinished(120000))
        return run;
    run.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}

// Every regular file below `root`, as paths relative to it.
inline QStringList regularFilesBelow(const QString &root)
{
    QStringList files;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext())
        files << QDir(root).relativeFilePath(it.next());
    files.sort();
    return files;
}

// `count` small files, old enough to be filed: "file0.txt", "file1.txt", …
inline void writeOldFiles(const Path &folder, int count)
{
    for (int i = 0; i < count; ++i)
        writeFile(folder / ("file" + std::to_string(i) + ".txt"), QByteArray::number(i), longAgo());
}

// After a run that was stopped: the files still in the source and those
// filed below the destination (its lock file not counted).
struct StoppedRun
{
    qint64 left = 0;
    qint64 moved = 0;
};

inline StoppedRun whereTheFilesAre(const Path &source, const Path &destination)
{
    StoppedRun found;
    for (const auto &entry : std::filesystem::directory_iterator(source))
        found.left += entry.is_regular_file();
    for (const QString &file : regularFilesBelow(displayPath(destination)))
        found.moved += file != QLatin1String(".sorvanel.lock");
    return found;
}

} // namespace sorvanel::test
