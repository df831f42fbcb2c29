// SPDX-License-Identifier: GPL-3.0-or-later
// sorvanel: the desktop app.
#include "AppModel.h"
#include "Localization.h"
#include "ProgramOptions.h"
#include "SingleInstance.h"
#include "SorvanelApp.h"
#include "Style.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QLibraryInfo>
#include <QTextStream>

namespace {
// Qt aborts when no platform can show a window; say plainly what to do instead.
bool hasGraphicalSession()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

// Only Wayland is there, and Qt's Wayland support (qt6-wayland) is not:
// Qt would abort on its way to X11.
bool waylandWithoutQtsSupport()
{
    if (!qEnvironmentVariableIsEmpty("DISPLAY") || qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        return false;
    const QDir platforms(QLibraryInfo::path(QLibraryInfo::PluginsPath) + QStringLiteral("/platforms"));
    return platforms.entryList({QStringLiteral("libqwayland*")}, QDir::Files).isEmpty();
}

// The app's own options; Qt's (-platform, -style, …) are known to QApplication.
struct Options
{
    QCommandLineParser parser;
    QCommandLineOption organizeNow{
        QStringLiteral("organize-now"),
        sorvanel::L10n::text("Run a cleanup now; a Sorvanel that is already running runs it.")};

    Options()
    {
        parser.setApplicationDescription(
            sorvanel::L10n::text("Sorvanel keeps your downloads folder tidy: it moves the loose files of a folder into "
                                 "dated, categorized folders, and can put every run back. It lives in the tray."));
        sorvanel::addHelpAndVersion(parser);
        parser.addOption(organizeNow);
    }
};

void describeApplication(QCoreApplication &app)
{
    QCoreApplication::setApplicationName(QStringLiteral("Sorvanel"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SORVANEL_VERSION));
    sorvanel::L10n::installTranslations(app);
}
} // namespace

int main(int argc, char *argv[])
{
    {
        // --help and --version answer, and a missing session is named, before
        // anything needs a window. Qt's own options are not known yet here,
        // so other arguments are judged once QApplication has taken those.
        QCoreApplication core(argc, argv);
        describeApplication(core);
        Options options;
        if (const auto status = sorvanel::answerHelpOrVersion(options.parser, QCoreApplication::arguments()))
            return *status;
        if (!hasGraphicalSession()) {
            QTextStream(stderr) << sorvanel::L10n::text(
                "Sorvanel's window needs a graphical session. Without one, use the "
                "command line: scripts/run preview or scripts/run organize "
                "(sorvanel-cli preview, sorvanel-cli organize once installed).")
                                << '\n';
            return 2;
        }
        if (waylandWithoutQtsSupport()) {
            QTextStream(stderr) << sorvanel::L10n::text(
                "Sorvanel's window needs Qt's Wayland support in this session: install the package qt6-wayland, or "
                "log in to an X11 session.")
                                << '\n';
            return 2;
        }
    }
    QApplication app(argc, argv);
    describeApplication(app);
    QApplication::setDesktopFileName(QStringLiteral("io.github.sorvanel.Sorvanel"));
    QApplication::setWindowIcon(sorvanel::Style::applicationIcon());

    Options options;
    if (const auto status = sorvanel::refuseUnknownArguments(options.parser, QApplication::arguments()))
        return *status;

    // A second launch brings the running one forward instead, or with
    // --organize-now (the desktop entry's "Organize Now") has it run a cleanup.
    const bool organizeNow = options.parser.isSet(options.organizeNow);
    sorvanel::SingleInstance instance(QStringLiteral("io.github.sorvanel.Sorvanel"));
    if (!instance.claim(organizeNow ? sorvanel::SingleInstance::Request::organize
                                    : sorvanel::SingleInstance::Request::activate))
        return 0;

    auto sorvanelApp = sorvanel::SorvanelApp::create();
    QObject::connect(&instance, &sorvanel::SingleInstance::activationRequested, sorvanelApp.get(),
                     &sorvanel::SorvanelApp::openMainWindow);
    QObject::connect(&instance, &sorvanel::SingleInstance::organizeRequested, &sorvanelApp->model(),
                     &sorvanel::AppModel::organizeNow);
    sorvanelApp->start(organizeNow ? sorvanel::SorvanelApp::Start::toOrganize : sorvanel::SorvanelApp::Start::byHand);
    if (organizeNow)
        sorvanelApp->model().organizeNow();
    const int status = QApplication::exec();
    sorvanelApp.reset();
    return status;
}
