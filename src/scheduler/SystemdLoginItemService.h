// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "LoginItemService.h"

#include <QObject>
#include <QStringList>

namespace sorvanel {

// A job of sorvanel-agent as systemd user units. The daily run: a timer and
// a oneshot service; the timer starts the agent every few minutes (catching
// up a run missed while the machine was off), and the agent decides whether
// the day's run is due. The watcher: one service that starts at login and
// stays, restarted when it fails.
class SystemdLoginItemService : public QObject, public LoginItemService
{
    Q_OBJECT

public:
    enum class Job { dailyRun, watcher };

    static constexpr const char *timerName = "io.github.sorvanel.Sorvanel.agent.timer";
    static constexpr const char *serviceName = "io.github.sorvanel.Sorvanel.agent.service";
    static constexpr const char *watchServiceName = "io.github.sorvanel.Sorvanel.watch.service";

    // `agentPath`: the absolute path of the installed sorvanel-agent.
    // `unitDirectory`: where the units go, by default $XDG_CONFIG_HOME/systemd/user.
    // `systemctl`: the program to run, replaceable in tests.
    explicit SystemdLoginItemService(QString agentPath, QString unitDirectory = defaultUnitDirectory(),
                                     QString systemctl = u"systemctl"_qs, QObject *parent = nullptr,
                                     Job job = Job::dailyRun);

    static QString defaultUnitDirectory();
    // The sorvanel-agent installed beside the running program (the app or
    // the command line), in the build folder as after installation.
    static QString agentBesideThisProgram();
    // ExecStart's form of a path: quoted, with systemd's specifiers escaped.
    static QString quotedForExec(const QString &path);

    QString timerUnit() const;
    QString serviceUnit() const;
    QString watchUnit() const;

    void fetchStatus(std::function<void(Status)> done) override;
    void registerAgent(Completion done) override;
    void unregisterAgent(Completion done) override;
    void fetchActivity(std::function<void(Activity)> done) override;

private:
    // Runs `systemctl --user ARGS…`; `done` gets the exit code (-1: could not
    // start) with the standard output and an error text for the user.
    void systemctl(const QStringList &arguments, std::function<void(int, const QString &, const QString &)> done);
    QString writeUnits() const;
    // The units of the job: the one systemctl enables first.
    QList<std::pair<const char *, QString>> units() const;
    void removeUnits();

    QString m_agentPath;
    QString m_unitDirectory;
    QString m_systemctl;
    Job m_job;
};

} // namespace sorvanel
