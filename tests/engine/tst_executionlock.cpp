// SPDX-License-Identifier: GPL-3.0-or-later
#include "OrganizerExecutionLock.h"
#include "TestSupport.h"

#include <QProcess>
#include <QtTest>

#include <iostream>

using namespace sorvanel;
using namespace sorvanel::test;

namespace {
// Run as "--hold-lock DIR": take the lock, say so, and hold it until stdin closes.
int holdLock(const char *directory)
{
    PosixFileSystem fs;
    try {
        OrganizerExecutionLock lock(directory, fs);
        std::cout << "locked" << std::endl;
        std::string line;
        std::getline(std::cin, line);
    } catch (const OrganizerFailure &) {
        std::cout << "busy" << std::endl;
        return 1;
    }
    return 0;
}

OrganizerFailure lockFailure(const Path &root)
{
    PosixFileSystem fs;
    try {
        OrganizerExecutionLock lock(root, fs);
    } catch (const OrganizerFailure &failure) {
        return failure;
    }
    qFatal("the lock was expected to fail");
}
} // namespace

class TestExecutionLock : public QObject
{
    Q_OBJECT

    TemporaryFolder m_dir;
    Path root() const { return toPath(m_dir.path()) / "dest"; }

    std::unique_ptr<QProcess> startHolder()
    {
        auto process = std::make_unique<QProcess>();
        process->start(QCoreApplication::applicationFilePath(),
                       {u"--hold-lock"_qs, QString::fromStdString(root().native())});
        if (!process->waitForReadyRead(10000))
            return nullptr;
        if (process->readLine().trimmed() != "locked")
            return nullptr;
        return process;
    }

private slots:
    void anotherProcessHoldsIt()
    {
        auto holder = startHolder();
        QVERIFY(holder);
        QCOMPARE(lockFailure(root()).organizerError(), OrganizerError::alreadyRunning);
        holder->closeWriteChannel();
        QVERIFY(holder->waitForFinished(10000));
        PosixFileSystem fs;
        OrganizerExecutionLock mine(root(), fs);
        // Now the other process is the one refused.
        QProcess second;
        second.start(QCoreApplication::applicationFilePath(),
                     {u"--hold-lock"_qs, QString::fromStdString(root().native())});
        QVERIFY(second.waitForFinished(10000));
        QCOMPARE(second.readAllStandardOutput().trimmed(), QByteArray("busy"));
    }

    void unopenableLockFileIsEio()
    {
        // A planted link must not be followed, and the error is always EIO.
        const Path planted = toPath(m_dir.path()) / "planted";
        std::filesystem::create_directories(planted);
        std::filesystem::create_symlink("/etc/passwd", planted / ".sorvanel.lock");
        const auto failure = lockFailure(planted);
        QVERIFY(!failure.organizerError());
        QCOMPARE(failure.posixCode(), EIO);
    }
};

int main(int argc, char *argv[])
{
    if (argc == 3 && std::string(argv[1]) == "--hold-lock")
        return holdLock(argv[2]);
    QCoreApplication app(argc, argv);
    TestExecutionLock test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_executionlock.moc"
