// SPDX-License-Identifier: GPL-3.0-or-later
// sorvanel: the desktop app.
#include "Localization.h"
#include "SingleInstance.h"
#include "SorvanelApp.h"
#include "Style.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Sorvanel"));
    QApplication::setApplicationVersion(QStringLiteral(SORVANEL_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("io.github.sorvanel.Sorvanel"));
    QApplication::setWindowIcon(sorvanel::Style::applicationIcon());
    sorvanel::L10n::installTranslations(app);

    // A second launch brings the running one forward instead.
    sorvanel::SingleInstance instance(QStringLiteral("io.github.sorvanel.Sorvanel"));
    if (!instance.claim())
        return 0;

    auto sorvanelApp = sorvanel::SorvanelApp::create();
    QObject::connect(&instance, &sorvanel::SingleInstance::activationRequested, sorvanelApp.get(),
                     &sorvanel::SorvanelApp::openMainWindow);
    sorvanelApp->start();
    const int status = QApplication::exec();
    sorvanelApp.reset();
    return status;
}
