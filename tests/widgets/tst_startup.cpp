// SPDX-License-Identifier: GPL-3.0-or-later
// Starting the built desktop app where it can't show a window.
#include "Localization.h"
#include "TestSupport.h"

#include <QProcess>
#include <QtTest>

using namespace sorvanel;

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
        QCOMPARE(err.count(u'\n'), 0);
        QVERIFY2(err.contains(u"scripts/run preview"_qs) && err.contains(u"sorvanel-cli"_qs), qPrintable(err));
        QCOMPARE(err,
                 L10n::text("Sorvanel's window needs a graphical session. Without one, use the command line: "
                            "scripts/run preview or scripts/run organize (sorvanel-cli preview, sorvanel-cli "
                            "organize once installed)."));
    }
};

QTEST_GUILESS_MAIN(TestStartup)
#include "tst_startup.moc"
