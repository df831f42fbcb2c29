// SPDX-License-Identifier: GPL-3.0-or-later
// sorvanel: the desktop app.
#include "AppModel.h"
#include "Localization.h"
#include "SingleInstance.h"
#include "SorvanelApp.h"
#include "Style.h"

#include <QApplication>
#include <QTextStream>

namespace {
// Qt aborts when no platform can show a window; say plainly what to do instead.
bool hasGraphicalSession()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}
} // namespace

int main(int argc, char *argv[])
{
    if (!hasGraphicalSession()) {
        QCoreApplication core(argc, argv);
        sorvanel::L10n::installTranslations(core);
        QTextStream(stderr) << sorvanel::L10n::text("Sorvanel's window needs a graphical session. Without one, use the "
                                                    "command line: scripts/run preview or scripts/run organize "
                                                    "(sorvanel-cli preview, sorvanel-cli organize once installed).")
                            << '\n';
        return 2;
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Sorvanel"));
    QApplication::setApplicationVersion(QStringLiteral(SORVANEL_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("io.github.sorvanel.Sorvanel"));
    QApplication::setWindowIcon(sorvanel::Style::applicationIcon());
    sorvanel::L10n::installTranslations(app);

    // A second launch brings the running one forward instead, or with
    // --organize-now (the desktop entry's "Organize Now") has it run a cleanup.
    const bool organizeNow = QApplication::arguments().contains(u"--organize-now"_qs);
    sorvanel::SingleInstance instance(QStringLiteral("io.github.sorvanel.Sorvanel"));
    if (!instance.claim(organizeNow ? sorvanel::SingleInstance::Request::organize
                                    : sorvanel::SingleInstance::Request::activate))
        return 0;

    auto sorvanelApp = sorvanel::SorvanelApp::create();
    QObject::connect(&instance, &sorvanel::SingleInstance::activationRequested, sorvanelApp.get(),
                     &sorvanel::SorvanelApp::openMainWindow);
    QObject::connect(&instance, &sorvanel::SingleInstance::organizeRequested, &sorvanelApp->model(),
                     &sorvanel::AppModel::organizeNow);
    sorvanelApp->start();
    if (organizeNow)
        sorvanelApp->model().organizeNow();
    const int status = QApplication::exec();
    sorvanelApp.reset();
    return status;
}
