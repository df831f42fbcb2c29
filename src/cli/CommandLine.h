// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "OrganizationModels.h"
#include "Whereabouts.h"

#include <QJsonObject>
#include <QStringList>
#include <QTextStream>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sorvanel {

class LoginItemService;
class SettingsStore;

// sorvanel-cli: preview, organize, undo, last, history and settings on the stored
// settings. Exit status: 0 no issue, 1 issues, 2 configuration or planning
// failure, 64 usage error, 130 stopped by Ctrl+C.
class CommandLine
{
public:
    enum Status { success = 0, finishedWithIssues = 1, nothingFound = 1, failure = 2, usageError = 64, stopped = 130 };

    // `scheduler` installs or removes the daily timer when automaticEnabled
    // changes, as the app's switch does; none: the setting is only stored.
    // `scheduler` runs the daily cleanup, `watcher` the watcher.
    CommandLine(QTextStream &out, QTextStream &err, std::shared_ptr<LoginItemService> scheduler = nullptr,
                std::shared_ptr<LoginItemService> watcher = nullptr);

    // `arguments` without the program name.
    int run(const QStringList &arguments);
    // The same arguments as the bytes they were given as: a folder set with
    // `settings set sourcePath` keeps a name that is not UTF-8 exactly.
    void setRawArguments(std::vector<std::string> arguments) { m_rawArguments = std::move(arguments); }

private:
    // One command: its name, its line in the list of commands, its usage and
    // help, and what runs it with the arguments after its name.
    struct Command
    {
        QString name;
        QString summary;
        QStringList usage;
        QStringList help; // paragraphs; an empty one is a blank line
        int (CommandLine::*handler)(SettingsStore &store, const QStringList &arguments);
    };
    static std::vector<Command> commands();
    static Command settingsCommand();
    static std::vector<Command>::const_iterator findCommand(const std::vector<Command> &all, const QString &name);

    int preview(SettingsStore &store, const QStringList &arguments);
    static QJsonObject planJson(const OrganizationPlan &plan, const QList<OrganizationIssue> &issues);
    void printFound(const std::vector<FiledFile> &found);
    void printPlan(const OrganizationPlan &plan, const QList<OrganizationIssue> &issues);
    int organize(SettingsStore &store, const QStringList &arguments);
    int undo(SettingsStore &store, const QStringList &arguments);
    int last(SettingsStore &store, const QStringList &arguments);
    int history(SettingsStore &store, const QStringList &arguments);
    int where(SettingsStore &store, const QStringList &arguments);
    int settings(SettingsStore &store, const QStringList &arguments);
    int setFolder(SettingsStore &store, const QStringList &arguments);
    int setValue(SettingsStore &store, const QStringList &arguments);
    std::optional<bool> jsonOption(const QStringList &arguments);
    // After a change of automaticEnabled: the timer follows the stored switch.
    // After a switch was stored or unset: brings systemd in line with it.
    int applySwitch(SettingsStore &store, const QString &key);

    int usage(const QString &message = {});
    // A configuration or planning failure: the reason on standard error, and
    // with --json also as {"error": …} on standard output.
    int failed(const QString &message, bool json);
    void printHelp(const QString &command);

    QTextStream &m_out;
    QTextStream &m_err;
    std::vector<std::string> m_rawArguments;
    std::shared_ptr<LoginItemService> m_scheduler;
    std::shared_ptr<LoginItemService> m_watcher;
};

} // namespace sorvanel
