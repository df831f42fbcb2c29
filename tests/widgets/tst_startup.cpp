// SPDX-License-Identifier: GPL-3.0-or-later
// Starting the built programs from a terminal: where no window can show,
// and with options that answer without one.
#include "Localization.h"
#include "TestSupport.h"

#include <QDir>
#include <QLibraryInfo>
#include <QProcess>
#include <QtTest>

using namespace sorvanel;
using namespace sorvanel::test;

class TestStartup : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { L10n::installTranslations(*QCoreApplication::instance()); }

    // Over SSH or on a console: one clear line and status 2, not Qt's abort.
    void withoutAGraphicalSessionItPointsToTheCommandLine()
    {
        QProcess app;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            environment.remove(QString::fromLatin1(name));
        app.setProcessEnvironment(environment);
        app.start(QString::fromLocal8Bit(qgetenv("SORVANEL_APP")), {});
        QVERIFY(app.waitForFinished(30000));
        QCOMPARE(app.exitStatus(), QProcess::NormalExit);
        QCOMPARE(app.exitCode(), 2);
        const QString err = QString::fromUtf8(app.readAllStandardError()).trimmed();
        QCOMPARE(err,
                 L10n::text("Sorvanel's window needs a graphical session. Without one, use the command line: "
                            "scripts/run preview or scripts/run organize (sorvanel-cli preview, sorvanel-cli "
                            "organize once installed)."));
    }

    // A Wayland session without Qt's Wayland support: one clear line, not Qt's abort.
    void waylandWithoutQtsSupportSaysWhatToInstall()
    {
        const QDir platforms(QLibraryInfo::path(QLibraryInfo::PluginsPath) + u"/platforms"_qs);
        if (!platforms.entryList({u"libqwayland*"_qs}, QDir::Files).isEmpty())
            QSKIP("qt6-wayland is installed here");
        QProcess app;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(u"DISPLAY"_qs);
        environment.remove(u"QT_QPA_PLATFORM"_qs);
        environment.insert(u"WAYLAND_DISPLAY"_qs, u"wayland-0"_qs);
        app.setProcessEnvironment(environment);
        app.start(QString::fromLocal8Bit(qgetenv("SORVANEL_APP")), {});
        QVERIFY(app.waitForFinished(30000));
        QCOMPARE(app.exitStatus(), QProcess::NormalExit);
        QCOMPARE(app.exitCode(), 2);
        QCOMPARE(QString::fromUtf8(app.readAllStandardError()).trimmed(),
                 L10n::text("Sorvanel's window needs Qt's Wayland support in this session: install the package "
                            "qt6-wayland, or log in to an X11 session."));
    }

    void optionsAnswerWithoutAWindow_data()
    {
        QTest::addColumn<QByteArray>("program"); // the variable that names it
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("shown"); // on standard output with status 0, else on standard error
        const QString version = u" "_qs + QStringLiteral(SORVANEL_VERSION);
        const QString appHelp = L10n::text("Run a cleanup now; a Sorvanel that is already running runs it.");
        const QString agentHelp = L10n::text("Run the cleanup now, whatever the switch and the schedule say.");
        const QString appRefusal = L10n::format("Run \"%@ --help\" for its options.", {u"sorvanel"_qs});
        const QString agentRefusal = L10n::format("Run \"%@ --help\" for its options.", {u"sorvanel-agent"_qs});
        QTest::newRow("app --help") << "SORVANEL_APP"_qba << QStringList{u"--help"_qs} << 0 << appHelp;
        QTest::newRow("app --version") << "SORVANEL_APP"_qba << QStringList{u"--version"_qs} << 0
                                       << u"sorvanel"_qs + version;
        QTest::newRow("app, unknown option") << "SORVANEL_APP"_qba << QStringList{u"--bogus"_qs} << 64 << appRefusal;
        QTest::newRow("app, a value for a switch")
            << "SORVANEL_APP"_qba << QStringList{u"--organize-now=yes"_qs} << 64 << appRefusal;
        QTest::newRow("app, a stray argument") << "SORVANEL_APP"_qba << QStringList{u"report.pdf"_qs} << 64
                                               << L10n::format("Unknown argument: %@", {u"report.pdf"_qs});
        QTest::newRow("agent --help") << "SORVANEL_AGENT"_qba << QStringList{u"--help"_qs} << 0 << agentHelp;
        QTest::newRow("agent --version") << "SORVANEL_AGENT"_qba << QStringList{u"--version"_qs} << 0
                                         << u"sorvanel-agent"_qs + version;
        QTest::newRow("agent, unknown option")
            << "SORVANEL_AGENT"_qba << QStringList{u"--bogus"_qs} << 64 << agentRefusal;
        QTest::newRow("agent, a value for a switch")
            << "SORVANEL_AGENT"_qba << QStringList{u"--force=1"_qs} << 64 << agentRefusal;
    }

    // --help and --version answer and end; an option or argument a program
    // does not take is named with status 64, and nothing starts. The app is
    // given a (window-less) graphical session: it must not open anything.
    void optionsAnswerWithoutAWindow()
    {
        QFETCH(QByteArray, program);
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QString, shown);
        TemporaryHome home;
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QT_QPA_PLATFORM"_qs, u"offscreen"_qs);
        process.setProcessEnvironment(environment);
        process.start(QString::fromLocal8Bit(qgetenv(program.constData())), arguments);
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), status);
        const QString out = QString::fromUtf8(process.readAllStandardOutput());
        const QString err = QString::fromUtf8(process.readAllStandardError());
        // Help wraps its lines to the terminal.
        QVERIFY2((status == 0 ? out : err).simplified().contains(shown), qPrintable(out + err));
        QVERIFY2(status == 0 ? err.isEmpty() : out.isEmpty(), qPrintable(out + err));
        QVERIFY(QDir(home.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden)
                == QStringList{u"Downloads"_qs});
    }
};

QTEST_GUILESS_MAIN(TestStartup)
#include "tst_startup.moc"
