// SPDX-License-Identifier: GPL-3.0-or-later
// sorvanel-agent: started every few minutes by a systemd user timer; performs
// the day's automatic cleanup once it is due, and exits at once otherwise.
#include "AutomaticRun.h"
#include "Localization.h"
#include "Notifier.h"
#include "Organizer.h"
#include "SettingsStore.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("sorvanel-agent"));
    sorvanel::L10n::installTranslations(app);
    QTextStream out(stdout);
    QTextStream err(stderr);

    bool force = false;
    for (const QString &argument : QCoreApplication::arguments().mid(1)) {
        if (argument == u"--force") {
            force = true;
        } else if (argument == u"--help" || argument == u"-h") {
            out << sorvanel::L10n::text("Usage: sorvanel-agent [--force]") << "\n\n"
                << sorvanel::L10n::text("Performs the day's automatic cleanup when it is switched on and due. "
                                        "--force runs it now, whatever the switch and the schedule say.")
                << '\n';
            return 0;
        } else {
            err << sorvanel::L10n::format("Unknown argument: %@", {argument}) << '\n'
                << sorvanel::L10n::text("Usage: sorvanel-agent [--force]") << '\n';
            return 64;
        }
    }

    sorvanel::SettingsStore store;
    sorvanel::DesktopNotifier notifier;
    const auto report = sorvanel::AutomaticRun(store, std::make_shared<sorvanel::Organizer>(), notifier).perform(force);
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
