// SPDX-License-Identifier: GPL-3.0-or-later
// The file manager asked to show a file, on a private session bus (the test
// runs under dbus-run-session): answered by a file manager this test plays,
// and, where none answers, the folder opened by xdg-open instead.
#include "FileManager.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QtTest>

using namespace sorvanel;
using namespace sorvanel::test;

// org.freedesktop.FileManager1 as Nautilus or Dolphin offers it, keeping what it is asked.
class FakeFileManager : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    QStringList items;
    QStringList folders;

public slots:
    void ShowItems(const QStringList &uris, const QString &) { items += uris; }
    void ShowFolders(const QStringList &uris, const QString &) { folders += uris; }
};

class TestFileManager : public QObject
{
    Q_OBJECT

    FakeFileManager m_fileManager;
    const QString m_service = u"org.freedesktop.FileManager1"_qs;

private slots:
    void initTestCase()
    {
        if (!QDBusConnection::sessionBus().isConnected())
            QSKIP("no session bus: run under dbus-run-session");
        QVERIFY(QDBusConnection::sessionBus().registerObject(u"/org/freedesktop/FileManager1"_qs, &m_fileManager,
                                                             QDBusConnection::ExportAllSlots));
    }

    void aFileIsShownSelectedInItsFolder()
    {
        QVERIFY(QDBusConnection::sessionBus().registerService(m_service));
        TemporaryFolder folder;
        const QString file = folder.path() + u"/invoice march.pdf"_qs;
        DesktopFileManager().showItem(file);
        QTRY_COMPARE(m_fileManager.items, QStringList{QUrl::fromLocalFile(file).toString()});
        DesktopFileManager().showFolder(folder.path());
        QCOMPARE(m_fileManager.folders, QStringList{QUrl::fromLocalFile(folder.path()).toString()});
        QVERIFY(QDBusConnection::sessionBus().unregisterService(m_service));
    }

    // No file manager on the bus: the folder opens as the desktop opens folders.
    void withoutOneTheFolderOpens()
    {
        TemporaryFolder bin;
        const QString log = bin.path() + u"/opened"_qs;
        QFile script(bin.path() + u"/xdg-open"_qs);
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write(("#!/bin/sh\necho \"$1\" >> '" + log + "'\n").toUtf8());
        script.close();
        script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(bin.path()) + ':' + path);
        DesktopFileManager().showItem(u"/home/someone/Downloads/__filesDownloadedAt/a.pdf"_qs);
        QTRY_COMPARE(readFile(toPath(log)), QByteArray("/home/someone/Downloads/__filesDownloadedAt\n"));
        qputenv("PATH", path);
    }
};

QTEST_GUILESS_MAIN(TestFileManager)
#include "tst_filemanager.moc"
