// SPDX-License-Identifier: GPL-3.0-or-later
#include "SingleInstance.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

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
        SingleInstance second(u"test.instance"_qs);
        QVERIFY(!second.claim());
        QTRY_COMPARE(activated.count(), 1);
    }

    void aDeadHoldersLockIsTakenOver()
    {
        // A lock file left by a process that is gone does not block the next start.
        QFile stale(m_runtime.path() + QStringLiteral("/test.stale.lock"));
        QVERIFY(stale.open(QIODevice::WriteOnly));
        stale.write("999999\nsorvanel\nnowhere\n");
        stale.close();
        SingleInstance instance(u"test.stale"_qs);
        QVERIFY(instance.claim());
    }
};

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"
