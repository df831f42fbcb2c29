// SPDX-License-Identifier: GPL-3.0-or-later
#include "SingleInstance.h"

#include <QLocalServer>
#include <QLockFile>
#include <QProcess>
#include <QSignalSpy>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <thread>

using namespace sorvanel;

class TestSingleInstance : public QObject
{
    Q_OBJECT

    QTemporaryDir m_runtime;

private slots:
    void initTestCase()
    {
        QFile::setPermissions(m_runtime.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_runtime.path()));
    }

    void secondClaimActivatesTheFirst()
    {
        SingleInstance first(u"test.instance"_qs);
        QVERIFY(first.claim());
        QSignalSpy activated(&first, &SingleInstance::activationRequested);
        QSignalSpy organize(&first, &SingleInstance::organizeRequested);
        SingleInstance second(u"test.instance"_qs);
        QVERIFY(!second.claim());
        QTRY_COMPARE(activated.count(), 1);
        // The desktop entry's "Organize Now" from a later launch.
        SingleInstance third(u"test.instance"_qs);
        QVERIFY(!third.claim(SingleInstance::Request::organize));
        QTRY_COMPARE(organize.count(), 1);
        QCOMPARE(activated.count(), 1);
    }

    // Two quick launches: the first holds the lock but listens only a moment later.
    void aSecondLaunchWaitsForTheFirstToListen()
    {
        const QString lockPath = m_runtime.path() + QStringLiteral("/test.race.lock");
        QLockFile held(lockPath);
        QVERIFY(held.tryLock(0));
        std::atomic<bool> done = false;
        std::atomic<bool> listening = false;
        std::thread first([&] {
            QThread::msleep(400);
            QLocalServer server;
            listening = server.listen(m_runtime.path() + QStringLiteral("/test.race.socket"));
            while (!done)
                QThread::msleep(20);
        });
        SingleInstance second(u"test.race"_qs);
        const bool started = second.claim();
        done = true;
        first.join();
        QVERIFY(listening);
        QVERIFY(!started);
    }

    void aDeadHoldersLockIsTakenOver()
    {
        // A lock file left by a process that is gone does not block the next start.
        QFile stale(m_runtime.path() + QStringLiteral("/test.stale.lock"));
        QVERIFY(stale.open(QIODevice::WriteOnly));
        stale.write("999999\nsorvanel\n" + QSysInfo::machineHostName().toUtf8() + "\n");
        stale.close();
        SingleInstance instance(u"test.stale"_qs);
        QVERIFY(instance.claim());
    }
};

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"
