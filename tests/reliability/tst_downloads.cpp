// SPDX-License-Identifier: GPL-3.0-or-later
// Real downloaders (curl, wget, aria2c, a headless Firefox) fetching from a local server that pauses in
// the middle, while sorvanel-cli organizes: the file must end whole, in one place.
#include "PausingServer.h"
#include "ReliabilitySupport.h"
#include "SettingsStore.h"

#include <QJsonObject>
#include <QStandardPaths>
#include <QtTest>

using namespace sorvanel;
using namespace sorvanel::test;

namespace {

qint64 sizeOf(const Path &path)
{
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 ? info.st_size : -1;
}

// The pause has lasted longer than the minimum age: the file looks finished by its time.
void backdate(const Path &path)
{
    const qint64 s = longAgo().toSecsSinceEpoch();
    const struct timespec times[2] = {{s, 0}, {s, 0}};
    ::utimensat(AT_FDCWD, path.c_str(), times, 0);
}

} // namespace

class TestDownloads : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;
    std::unique_ptr<TemporaryFolder> m_far;

private slots:
    void init() { m_home = std::make_unique<TemporaryHome>(); }

    void pausedDownloadIsNotFiled_data()
    {
        QTest::addColumn<QString>("downloader");
        QTest::addColumn<bool>("acrossDrives");
        for (const char *program : {"curl", "wget", "aria2c", "firefox-esr"}) {
            QTest::addRow("%s, same drive", program) << QString::fromLatin1(program) << false;
            QTest::addRow("%s, across drives", program) << QString::fromLatin1(program) << true;
        }
    }

    void pausedDownloadIsNotFiled()
    {
        QFETCH(QString, downloader);
        QFETCH(bool, acrossDrives);
        const QString program = QStandardPaths::findExecutable(downloader);
        if (program.isEmpty())
            QSKIP("downloader not installed");
        const Path source = toPath(m_home->downloads());
        Path destination = source / "__filesDownloadedAt";
        if (acrossDrives) {
            m_far = folderOnOtherFileSystem(m_home->path());
            if (!m_far)
                QSKIP("no second file system here");
            destination = toPath(m_far->path()) / "sorted";
            SettingsStore().saveFolder(destination, std::nullopt, false);
        }

        QByteArray content(3 * 1024 * 1024, Qt::Uninitialized);
        for (qsizetype k = 0; k < content.size(); ++k)
            content[k] = char((k * 7 + k / 4096) % 253);
        PausingServer server(content);
        const Path file = source / "image.iso";
        const QString url = server.url(u"image.iso"_qs);
        QProcess download;
        // curl and wget write through stdio, so the last few kilobytes may wait
        // in their buffer. aria2c keeps its own cache and a control file
        // ("image.iso.aria2") beside the download. Firefox makes the final
        // name empty and writes "image.<random>.iso.part", which it renames
        // over the empty file at the end; it keeps running afterwards.
        const bool aria2 = downloader == u"aria2c";
        const bool firefox = downloader == u"firefox-esr";
        TemporaryFolder profile;
        startDownloader(download, program, url, m_home->downloads(), u"image.iso"_qs, profile.path());
        const auto unfinished = [&] {
            QStringList parts;
            for (const QString &name : QDir(m_home->downloads()).entryList(QDir::Files))
                if (name.endsWith(u".part"_qs))
                    parts << name;
            return parts;
        };
        QTRY_VERIFY_WITH_TIMEOUT(firefox     ? sizeOf(file) == 0 && unfinished().size() == 1
                                     : aria2 ? sizeOf(file) > 0 && sizeOf(source / "image.iso.aria2") > 0
                                             : sizeOf(file) > content.size() / 2 - 16384,
                                 60000);
        if (firefox) // what it has received so far has reached the .part file
            QTRY_VERIFY_WITH_TIMEOUT(sizeOf(source / unfinished().front().toStdString()) > 0, 20000);
        const qint64 partial = sizeOf(file);
        for (const QString &name : QDir(m_home->downloads()).entryList(QDir::Files))
            backdate(source / name.toStdString());

        Run run = cli({u"organize"_qs, u"--json"_qs});
        QCOMPARE(run.status, 0);
        const QJsonObject first = run.json().object();
        QCOMPARE(first.value(u"moved"_qs).toInt(), 0);
        QCOMPARE(first.value(u"skipped"_qs).toInt(), aria2 || firefox ? 2 : 1);
        QVERIFY(sizeOf(file) >= partial);

        server.sendTheRest();
        if (firefox) {
            QTRY_VERIFY_WITH_TIMEOUT(unfinished().isEmpty() && sizeOf(file) == content.size(), 20000);
            download.terminate();
            QVERIFY(download.waitForFinished(20000));
        } else {
            QTRY_COMPARE_WITH_TIMEOUT(download.state(), QProcess::NotRunning, 20000);
            QCOMPARE(download.exitCode(), 0);
        }
        backdate(file);
        run = cli({u"organize"_qs, u"--json"_qs});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.json().object().value(u"moved"_qs).toInt(), 1);
        QCOMPARE(sizeOf(file), -1);
        QStringList filed = regularFilesBelow(QFile::decodeName(QByteArray::fromStdString(destination.native())));
        filed.removeAll(u".sorvanel.lock"_qs);
        QCOMPARE(filed.size(), 1);
        QCOMPARE(readFile(destination / filed.front().toStdString()), content);
    }

    // yt-dlp fetches a video's picture and sound one after the other, then
    // merges them: the finished picture stream (dated by the server, days
    // old) waits while curl, standing in for yt-dlp's own fetch, stalls on the
    // sound; the merged video is filed once it is there.
    void aVideoStreamWaitsForItsOtherStream()
    {
        const QString program = QStandardPaths::findExecutable(u"curl"_qs);
        if (program.isEmpty())
            QSKIP("curl not installed");
        const Path source = toPath(m_home->downloads());
        const QByteArray picture(2 * 1024 * 1024, 'v');
        const QByteArray sound(1024 * 1024, 'a');
        writeFile(source / "Clip.f137.mp4", picture, longAgo());
        PausingServer server(sound);
        QProcess download;
        download.start(
            program,
            {u"-s"_qs, u"-o"_qs, m_home->downloads() + u"/Clip.f140.m4a.part"_qs, server.url(u"Clip.f140.m4a"_qs)});
        QTRY_VERIFY_WITH_TIMEOUT(sizeOf(source / "Clip.f140.m4a.part") > 0, 60000);
        backdate(source / "Clip.f140.m4a.part");

        Run run = cli({u"organize"_qs, u"--json"_qs});
        QCOMPARE(run.status, 0);
        QCOMPARE(run.json().object().value(u"moved"_qs).toInt(), 0);
        QCOMPARE(run.json().object().value(u"skipped"_qs).toInt(), 2);
        QCOMPARE(readFile(source / "Clip.f137.mp4"), picture);

        server.sendTheRest();
        QTRY_COMPARE_WITH_TIMEOUT(download.state(), QProcess::NotRunning, 20000);
        QCOMPARE(download.exitCode(), 0);
        // The merge: both streams into one file, then the streams go.
        std::filesystem::rename(source / "Clip.f140.m4a.part", source / "Clip.f140.m4a");
        writeFile(source / "Clip.mp4", readFile(source / "Clip.f137.mp4") + readFile(source / "Clip.f140.m4a"),
                  longAgo());
        std::filesystem::remove(source / "Clip.f137.mp4");
        std::filesystem::remove(source / "Clip.f140.m4a");
        run = cli({u"organize"_qs, u"--json"_qs});
        QCOMPARE(run.json().object().value(u"moved"_qs).toInt(), 1);
        const Path destination = source / "__filesDownloadedAt";
        QStringList filed = regularFilesBelow(QFile::decodeName(QByteArray::fromStdString(destination.native())));
        filed.removeAll(u".sorvanel.lock"_qs);
        QCOMPARE(filed.size(), 1);
        QCOMPARE(readFile(destination / filed.front().toStdString()), picture + sound);
    }
};

QTEST_GUILESS_MAIN(TestDownloads)
#include "tst_downloads.moc"
