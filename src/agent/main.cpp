// SPDX-License-Identifier: GPL-3.0-or-later
// sorvanel-agent: started every few minutes by a systemd user timer; performs
// the day's automatic cleanup once it is due, and exits at once otherwise.
// With --watch it stays, as a systemd user service, and files each download
// as soon as it is finished.
#include "AutomaticRun.h"
#include "Localization.h"
#include "Notifier.h"
#include "Organizer.h"
#include "ProgramOptions.h"
#include "SettingsStore.h"
#include "WatchService.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>
#include <systemd/sd-daemon.h>

namespace {

// Runs the watcher until SIGTERM; systemd hears when it really watches.
int watch()
{
    sorvanel::SettingsStore store;
    sorvanel::DesktopNotifier notifier;
    sorvanel::WatchService service(store.suite(), std::make_shared<sorvanel::Organizer>(), notifier,
                                   std::make_shared<sorvanel::SystemWriterProbe>());
    QObject::connect(&service, &sorvanel::WatchService::stopped, QCoreApplication::instance(), &QCoreApplication::quit);
    bool ready = false;
    service.start([&](const QString &status) {
        const QByteArray state = (ready ? QByteArray() : QByteArray("READY=1\n")) + "STATUS=" + status.toUtf8();
        ready = true;
        sd_notify(0, state.constData());
        QTextStream(stdout) << status << Qt::endl;
    });
    const int status = QCoreApplication::exec();
    sd_notify(0, "STOPPING=1");
    return status;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("sorvanel-agent"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SORVANEL_VERSION));
    sorvanel::L10n::installTranslations(app);

    QCommandLineParser parser;
    parser.setApplicationDescription(
        sorvanel::L10n::text("Performs the day's automatic cleanup when it is switched on and due. A systemd user "
                             "timer starts it; it exits at once when there is nothing to do."));
    sorvanel::addHelpAndVersion(parser);
    const QCommandLineOption force(
        QStringLiteral("force"),
        sorvanel::L10n::text("Run the cleanup now, whatever the switch and the schedule say."));
    parser.addOption(force);
    const QCommandLineOption watchOption(
        QStringLiteral("watch"),
        sorvanel::L10n::text("Stay, and file each download of the source folder as soon as it is finished, until "
                             "stopped (whatever the switch says)."));
    parser.addOption(watchOption);
    if (const auto status = sorvanel::refuseUnknownArguments(parser, QCoreApplication::arguments()))
        return *status;
    if (const auto status = sorvanel::answerHelpOrVersion(parser, QCoreApplication::arguments()))
        return *status;

    if (parser.isSet(watchOption))
        return watch();

    sorvanel::SettingsStore store;
    sorvanel::DesktopNotifier notifier;
    const auto report =
        sorvanel::AutomaticRun(store, std::make_shared<sorvanel::Organizer>(), notifier).perform(parser.isSet(force));
    QTextStream err(stderr);
    switch (report.outcome) {
    case sorvanel::AutomaticRun::Outcome::disabled:
    case sorvanel::AutomaticRun::Outcome::notDue:
    case sorvanel::AutomaticRun::Outcome::waitingForDrive:
    case sorvanel::AutomaticRun::Outcome::stopped: // as systemd asked
        return 0;
    case sorvanel::AutomaticRun::Outcome::failed:
        err << report.errorDescription << '\n';
        return 2;
    case sorvanel::AutomaticRun::Outcome::ran:
        break;
    }
    return report.result && !report.result->issues.isEmpty() ? 1 : 0;
}
