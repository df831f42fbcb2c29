// SPDX-License-Identifier: GPL-3.0-or-later
// sorvanel-agent: started every few minutes by a systemd user timer; performs
// the day's automatic cleanup once it is due, and exits at once otherwise.
#include "AutomaticRun.h"
#include "Localization.h"
#include "Notifier.h"
#include "Organizer.h"
#include "ProgramOptions.h"
#include "SettingsStore.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

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
    if (const auto status = sorvanel::refuseUnknownArguments(parser, QCoreApplication::arguments()))
        return *status;
    if (const auto status = sorvanel::answerHelpOrVersion(parser, QCoreApplication::arguments()))
        return *status;

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
