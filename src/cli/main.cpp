// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandLine.h"
#include "Localization.h"
#include "SystemdLoginItemService.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("sorvanel-cli"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SORVANEL_VERSION));
    sorvanel::L10n::installTranslations(app);
    QTextStream out(stdout);
    QTextStream err(stderr);
    using Systemd = sorvanel::SystemdLoginItemService;
    const QString agent = Systemd::agentBesideThisProgram();
    sorvanel::CommandLine commandLine(out, err, std::make_shared<Systemd>(agent),
                                      std::make_shared<Systemd>(agent, Systemd::defaultUnitDirectory(), u"systemctl"_qs,
                                                                nullptr, Systemd::Job::watcher));
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    commandLine.setRawArguments(std::vector<std::string>(argv + std::min(argc, 1), argv + argc));
    const int status = commandLine.run(arguments);
    out.flush();
    err.flush();
    return status;
}
