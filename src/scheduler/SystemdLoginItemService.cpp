// SPDX-License-Identifier: GPL-3.0-or-later
#include "SystemdLoginItemService.h"

#include "FileSystem.h"
#include "Localization.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QSaveFile>
#include <QStandardPaths>

namespace sorvanel {

SystemdLoginItemService::SystemdLoginItemService(QString agentPath, QString unitDirectory, QString systemctl,
                                                 QObject *parent)
    : QObject(parent)
    , m_agentPath(std::move(agentPath))
    , m_unitDirectory(std::move(unitDirectory))
    , m_systemctl(std::move(systemctl))
{
}

QString SystemdLoginItemService::defaultUnitDirectory()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/systemd/user");
}

QString SystemdLoginItemService::agentBesideThisProgram()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/sorvanel-agent");
}

QString SystemdLoginItemService::quotedForExec(const QString &path)
{
    QString quoted = path;
    // The command itself goes through specifier expansion (%) but not
    // through variable expansion ($), which applies to arguments only.
    quoted.replace(u'\\', u"\\\\"_qs).replace(u'"', u"\\\""_qs).replace(u'%', u"%%"_qs);
    return u'"' + quoted + u'"';
}

QString SystemdLoginItemService::timerUnit() const
{
    return QStringLiteral("[Unit]\n"
                          "Description=Sorvanel: start the daily cleanup when it is due\n"
                          "\n"
                          "[Timer]\n"
                          "OnStartupSec=1min\n"
                          "OnCalendar=*:0/5\n"
                          "Persistent=true\n"
                          "AccuracySec=30s\n"
                          "\n"
                          "[Install]\n"
                          "WantedBy=timers.target\n");
}

QString SystemdLoginItemService::serviceUnit() const
{
    return QStringLiteral("[Unit]\n"
                          "Description=Sorvanel automatic cleanup\n"
                          "\n"
                          "[Service]\n"
                          "Type=oneshot\n"
                          "ExecStart=%1\n"
                          "# A background chore: it yields the disk and the processors to the user's work.\n"
                          "Slice=background.slice\n"
                          "IOSchedulingClass=idle\n"
                          "Nice=10\n"
                          "# 1: the run finished with problems, 2: it could not start; both are recorded.\n"
                          "SuccessExitStatus=1 2\n")
        .arg(quotedForExec(m_agentPath));
}

QString SystemdLoginItemService::writeUnits() const
{
    if (!QDir().mkpath(m_unitDirectory))
        return L10n::format("The folder %@ could not be created.", {m_unitDirectory});
    const std::pair<const char *, QString> units[] = {{serviceName, serviceUnit()}, {timerName, timerUnit()}};
    for (const auto &[name, content] : units) {
        QSaveFile file(m_unitDirectory + u'/' + QLatin1String(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(content.toUtf8()) < 0 || !file.commit())
            return file.errorString();
    }
    return {};
}

void SystemdLoginItemService::systemctl(const QStringList &arguments,
                                        std::function<void(int, const QString &, const QString &)> done)
{
    auto *process = new QProcess(this);
    process->setProgram(m_systemctl);
    process->setArguments(QStringList{u"--user"_qs} + arguments);
    connect(process, &QProcess::finished, this, [process, done](int exitCode, QProcess::ExitStatus status) {
        const QString out = QString::fromLocal8Bit(process->readAllStandardOutput()).trimmed();
        QString error = QString::fromLocal8Bit(process->readAllStandardError()).trimmed().section(u'\n', 0, 0);
        if (status != QProcess::NormalExit)
            exitCode = -1;
        if (exitCode != 0 && error.isEmpty())
            error = L10n::format("systemctl ended with status %d.", {exitCode});
        process->deleteLater();
        done(exitCode, out, error);
    });
    connect(process, &QProcess::errorOccurred, this, [process, done](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart)
            return;
        process->deleteLater();
        done(-1, {}, L10n::text("systemctl could not be started: no user service manager (systemd) is available."));
    });
    process->start();
}

void SystemdLoginItemService::fetchStatus(std::function<void(Status)> done)
{
    systemctl({u"is-enabled"_qs, QLatin1String(timerName)}, [this, done](int, const QString &out, const QString &) {
        // Enabled only while the unit still starts the agent that exists.
        if (out == u"enabled") {
            QFile unit(m_unitDirectory + u'/' + QLatin1String(serviceName));
            const bool pointsHere = unit.open(QIODevice::ReadOnly)
                && QString::fromUtf8(unit.readAll())
                       .contains(QStringLiteral("ExecStart=") + quotedForExec(m_agentPath));
            done(pointsHere && QFileInfo(m_agentPath).isExecutable() ? Status::enabled : Status::notFound);
        } else if (out == u"not-found" || out.isEmpty()) {
            done(Status::notFound);
        } else {
            done(Status::notRegistered);
        }
    });
}

void SystemdLoginItemService::registerAgent(Completion done)
{
    if (!QFileInfo(m_agentPath).isExecutable()) {
        done(L10n::format("The automatic-run program is missing: %@", {m_agentPath}));
        return;
    }
    if (const QString error = writeUnits(); !error.isEmpty()) {
        done(error);
        return;
    }
    // When systemd can't take the timer, nothing of ours is left behind, and
    // the user reads why in their own language, not systemctl's words.
    const auto failed = [this, done](const QString &error) {
        for (const char *name : {timerName, serviceName})
            QFile::remove(m_unitDirectory + u'/' + QLatin1String(name));
        if (error.contains(u"connect to bus"_qs) || error.contains(u"could not be started"_qs)
            || error == L10n::text("systemctl could not be started: no user service manager (systemd) is available."))
            done(L10n::text("Automatic cleanup needs the user service manager (systemd), which is not running in this "
                            "session. Sorvanel can still be run by hand."));
        else
            done(L10n::text("systemd did not accept Sorvanel's timer, so automatic cleanup stays off."));
    };
    systemctl({u"daemon-reload"_qs}, [this, failed, done](int code, const QString &, const QString &error) {
        if (code != 0) {
            failed(error);
            return;
        }
        systemctl({u"enable"_qs, u"--now"_qs, QLatin1String(timerName)},
                  [failed, done](int code, const QString &, const QString &error) {
                      if (code != 0)
                          failed(error);
                      else
                          done(QString());
                  });
    });
}

void SystemdLoginItemService::unregisterAgent(Completion done)
{
    systemctl({u"disable"_qs, u"--now"_qs, QLatin1String(timerName)},
              [done](int code, const QString &, const QString &error) { done(code == 0 ? QString() : error); });
}

} // namespace sorvanel
