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
                                                 QObject *parent, Job job)
    : QObject(parent)
    , m_agentPath(std::move(agentPath))
    , m_unitDirectory(std::move(unitDirectory))
    , m_systemctl(std::move(systemctl))
    , m_job(job)
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

QString SystemdLoginItemService::watchUnit() const
{
    return QStringLiteral("[Unit]\n"
                          "Description=Sorvanel: file each download as soon as it is finished\n"
                          "# It tells the user when a file could not be filed: it belongs to the desktop session.\n"
                          "PartOf=graphical-session.target\n"
                          "After=graphical-session.target\n"
                          "\n"
                          "[Service]\n"
                          "Type=notify\n"
                          "ExecStart=%1 --watch\n"
                          "Restart=on-failure\n"
                          "RestartSec=5\n"
                          "# A background chore: it yields the disk and the processors to the user's work.\n"
                          "Slice=background.slice\n"
                          "IOSchedulingClass=idle\n"
                          "Nice=10\n"
                          "\n"
                          "[Install]\n"
                          "WantedBy=default.target graphical-session.target\n")
        .arg(quotedForExec(m_agentPath));
}

QList<std::pair<const char *, QString>> SystemdLoginItemService::units() const
{
    if (m_job == Job::watcher)
        return {{watchServiceName, watchUnit()}};
    return {{timerName, timerUnit()}, {serviceName, serviceUnit()}};
}

void SystemdLoginItemService::removeUnits()
{
    for (const auto &[name, content] : units())
        QFile::remove(m_unitDirectory + u'/' + QLatin1String(name));
}

QString SystemdLoginItemService::writeUnits() const
{
    if (!QDir().mkpath(m_unitDirectory))
        return L10n::format("The folder %@ could not be created.", {m_unitDirectory});
    // The unit that starts the agent is written before the one that names it.
    const auto all = units();
    for (auto unit = all.rbegin(); unit != all.rend(); ++unit) {
        const auto &[name, content] = *unit;
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
    const auto all = units();
    const QString first = QLatin1String(all.front().first);
    const QString starter = m_unitDirectory + u'/' + QLatin1String(all.back().first);
    systemctl({u"is-enabled"_qs, first}, [this, done, starter](int, const QString &out, const QString &) {
        // Enabled only while the unit still starts the agent that exists.
        if (out == u"enabled") {
            QFile unit(starter);
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
    // When systemd can't take the job, nothing of ours is left behind, and
    // the user reads why in their own language, not systemctl's words.
    const bool watcher = m_job == Job::watcher;
    const auto failed = [this, done, watcher](const QString &error) {
        removeUnits();
        if (error.contains(u"connect to bus"_qs) || error.contains(u"could not be started"_qs)
            || error == L10n::text("systemctl could not be started: no user service manager (systemd) is available."))
            done(watcher ? L10n::text("Watching the folder needs the user service manager (systemd), which is not "
                                      "running in this session. Sorvanel can still be run by hand.")
                         : L10n::text("Automatic cleanup needs the user service manager (systemd), which is not "
                                      "running in this session. Sorvanel can still be run by hand."));
        else
            done(watcher ? L10n::text("systemd did not accept Sorvanel's watcher, so the folder is not watched.")
                         : L10n::text("systemd did not accept Sorvanel's timer, so automatic cleanup stays off."));
    };
    const QString first = QLatin1String(units().front().first);
    systemctl({u"daemon-reload"_qs}, [this, failed, done, first](int code, const QString &, const QString &error) {
        if (code != 0) {
            failed(error);
            return;
        }
        systemctl({u"enable"_qs, u"--now"_qs, first}, [failed, done](int code, const QString &, const QString &error) {
            if (code != 0)
                failed(error);
            else
                done(QString());
        });
    });
}

void SystemdLoginItemService::unregisterAgent(Completion done)
{
    const QString first = QLatin1String(units().front().first);
    systemctl({u"disable"_qs, u"--now"_qs, first}, [this, done](int code, const QString &, const QString &error) {
        // The watcher leaves nothing behind once it is off; the timer's units stay for the next time.
        if (code == 0 && m_job == Job::watcher) {
            removeUnits();
            systemctl({u"daemon-reload"_qs}, [done](int, const QString &, const QString &) { done(QString()); });
            return;
        }
        done(code == 0 ? QString() : error);
    });
}

void SystemdLoginItemService::fetchActivity(std::function<void(Activity)> done)
{
    if (m_job != Job::watcher) {
        done({});
        return;
    }
    systemctl({u"show"_qs, u"--property=ActiveState,StatusText"_qs, QLatin1String(watchServiceName)},
              [done](int code, const QString &out, const QString &) {
                  QString state;
                  QString text;
                  for (const QString &line : out.split(u'\n')) {
                      if (line.startsWith(u"ActiveState="_qs))
                          state = line.mid(12);
                      else if (line.startsWith(u"StatusText="_qs))
                          text = line.mid(11);
                  }
                  if (code == 0 && state == u"active" && !text.isEmpty())
                      done({true, text});
                  else if (code != 0 || state.isEmpty())
                      done({false,
                            L10n::text("The folder is not watched: the user service manager (systemd) "
                                       "can't be reached.")});
                  else if (state == u"failed")
                      done({false,
                            L10n::text("The folder is not watched: the watcher stopped after a failure. "
                                       "Switch it off and on to start it again.")});
                  else if (state == u"activating" || (state == u"active" && text.isEmpty()))
                      done({false, L10n::text("The watcher is starting…")});
                  else
                      done({false, L10n::text("The folder is not watched: the watcher is not running.")});
              });
}

} // namespace sorvanel
