// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandLine.h"

#include "CleanupRun.h"
#include "Localization.h"
#include "LoginItemService.h"
#include "Organizer.h"
#include "SettingsSchema.h"
#include "SettingsStore.h"
#include "ShellQuoting.h"
#include "TerminalProgress.h"
#include "Whereabouts.h"

#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

namespace sorvanel {

namespace {

QString shownDate(const QDateTime &date)
{
    return QLocale().toString(date.toLocalTime(), QLocale::ShortFormat);
}

QJsonArray issuesJson(const QList<OrganizationIssue> &issues)
{
    QJsonArray array;
    for (const auto &issue : issues)
        array.append(QJsonObject{{u"filename"_qs, issue.filename}, {u"message"_qs, issue.message}});
    return array;
}

QJsonArray skippedJson(const std::vector<SkippedFile> &skipped)
{
    QJsonArray array;
    for (const auto &file : skipped) {
        QJsonObject object{{u"filename"_qs, displayName(file.url)}, {u"reason"_qs, localizedReason(file)}};
        const std::string name = file.url.filename().native();
        if (displayName(file.url).toUtf8() != QByteArray::fromStdString(name))
            object.insert(u"filenameHex"_qs, QString::fromLatin1(QByteArray::fromStdString(name).toHex()));
        array.append(object);
    }
    return array;
}

// A name's text, and its bytes in hexadecimal where the text is not exact (a name that is not UTF-8).
void addName(QJsonObject &object, const QString &key, const Path &name)
{
    const QString text = displayPath(name);
    object.insert(key, text);
    const QByteArray bytes = QByteArray::fromStdString(name.native());
    if (text.toUtf8() != bytes)
        object.insert(key + u"Hex"_qs, QString::fromLatin1(bytes.toHex()));
}

// Each file sent to the Trash, with where its bytes are filed, below the root.
QJsonArray alreadyFiledJson(const std::vector<AlreadyFiledFile> &files, const Path &root)
{
    QJsonArray array;
    for (const auto &file : files) {
        QJsonObject object;
        addName(object, u"filename"_qs, file.source.filename());
        addName(object, u"filedAs"_qs, relativeTo(file.filedAs, root));
        array.append(object);
    }
    return array;
}

QJsonObject resultJson(const OrganizationResult &result, const Path &root = {})
{
    return QJsonObject{{u"runDate"_qs, Json::isoDate(result.runDate)},
                       {u"moved"_qs, qint64(result.moved)},
                       {u"skipped"_qs, qint64(result.skipped)},
                       {u"failed"_qs, qint64(result.failed())},
                       {u"alreadyFiled"_qs, alreadyFiledJson(result.alreadyFiled, root)},
                       {u"issues"_qs, issuesJson(result.issues)}};
}

// "Moving files: 1,204 of 5,000 (1.2 GB of 3.4 GB)"
QString progressLine(const QString &files, const ExecutionProgress &progress)
{
    const QLocale locale;
    return L10n::formatTranslated(files, {locale.toString(progress.filesDone), locale.toString(progress.filesTotal)})
        + u" ("_qs
        + L10n::format("%@ of %@",
                       {locale.formattedDataSize(progress.bytesDone), locale.formattedDataSize(progress.bytesTotal)})
        + u')';
}

QString printJson(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Indented));
}

QString printJson(const QJsonArray &array)
{
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Indented));
}

} // namespace

CommandLine::CommandLine(QTextStream &out, QTextStream &err, std::shared_ptr<LoginItemService> scheduler,
                         std::shared_ptr<LoginItemService> watcher)
    : m_out(out)
    , m_err(err)
    , m_scheduler(std::move(scheduler))
    , m_watcher(std::move(watcher))
{
}

int CommandLine::usage(const QString &message)
{
    if (!message.isEmpty())
        m_err << message << '\n';
    m_err << L10n::text("Usage: sorvanel-cli preview|organize|last|history [--json]") << '\n'
          << L10n::text("       sorvanel-cli undo [RUN_ID] [--dry-run] [--json]") << '\n'
          << L10n::text("       sorvanel-cli where TEXT [--json]") << '\n'
          << L10n::text("       sorvanel-cli settings [get KEY | set KEY VALUE [--type TYPE] | unset KEY]") << '\n'
          << L10n::text("Run \"sorvanel-cli COMMAND --help\" for more about a command.") << '\n';
    return usageError;
}

CommandLine::Command CommandLine::settingsCommand()
{
    return {
        u"settings"_qs,
        L10n::text("List, read or change the stored settings."),
        {L10n::text("Usage: sorvanel-cli settings"), L10n::text("       sorvanel-cli settings get KEY"),
         L10n::text("       sorvanel-cli settings set KEY VALUE [--type string|integer|boolean|real|date|data]"),
         L10n::text("       sorvanel-cli settings unset KEY")},
        {L10n::text("Lists, reads or changes the stored settings. A key Sorvanel knows takes its own type and range "
                    "(thresholdMB: 1 to 100000; automaticTime also HH:MM); any other key is a string unless --type "
                    "says otherwise. Booleans are true or false (1 or 0), dates ISO 8601, data hexadecimal; stored "
                    "JSON is shown as JSON."),
         QString(),
         L10n::text(
             "The settings to choose: sourcePath and destinationPath (folders), thresholdMB, automaticEnabled, "
             "automaticTime, notifyAfterAutomatic, watchEnabled (files each download as soon as it is finished), "
             "trashDuplicates (a file whose bytes are filed already goes to the Trash).")},
        &CommandLine::settings};
}

std::vector<CommandLine::Command> CommandLine::commands()
{
    // Each command's help is what its manual page section is made of.
    return {
        {u"preview"_qs,
         L10n::text("Show what a cleanup would move, without moving anything."),
         {L10n::text("Usage: sorvanel-cli preview [--json]")},
         {L10n::text("Plans a cleanup with the stored settings and prints every planned move, the skipped count and "
                     "the problems. Nothing is moved."),
          L10n::text("In JSON, a path that is not valid UTF-8 also comes as hexadecimal bytes (\"sourceHex\", "
                     "\"destinationHex\").")},
         &CommandLine::preview},
        {u"organize"_qs,
         L10n::text("Run a cleanup now."),
         {L10n::text("Usage: sorvanel-cli organize [--json]")},
         {L10n::text("Runs a cleanup now with the stored settings and records it as a manual run."),
          L10n::text("On a terminal it shows its progress. Ctrl+C stops it after the file in hand, or within a copy to "
                     "another drive; what it moved is recorded, and the rest stays where it is.")},
         &CommandLine::organize},
        {u"undo"_qs,
         L10n::text("Put the files of a run back."),
         {L10n::text("Usage: sorvanel-cli undo [RUN_ID] [--dry-run] [--json]")},
         {L10n::text("Puts the files of a run back where they came from: the latest run that moved something and was "
                     "not undone yet, or the run RUN_ID (the \"id\" that \"history --json\" prints). A file changed, "
                     "moved or deleted since, or whose name is taken, stays where it is. With --dry-run nothing is "
                     "moved. Ctrl+C stops it after the file in hand, or within a copy to another drive; run it again "
                     "to go on.")},
         &CommandLine::undo},
        {u"last"_qs,
         L10n::text("Show the latest run's result."),
         {L10n::text("Usage: sorvanel-cli last [--json]")},
         {L10n::text("Prints the result of the latest run with its problems.")},
         &CommandLine::last},
        {u"history"_qs,
         L10n::text("Show the latest 50 runs."),
         {L10n::text("Usage: sorvanel-cli history [--json]")},
         {L10n::text("Prints the latest 50 runs, newest first.")},
         &CommandLine::history},
        {u"where"_qs,
         L10n::text("Find where a run filed a file, from a part of its name."),
         {L10n::text("Usage: sorvanel-cli where TEXT [--json]")},
         {L10n::text("Lists every file of the runs on record whose original name contains TEXT, newest first: where "
                     "it is now, the run that filed it and whether it is still there (\"there\", \"changed\" since, "
                     "\"gone\" from there, or put back by an undo, \"undone\"). With * or ? TEXT is a pattern for "
                     "the whole name, as the shell takes it. Case, accents and how characters are composed do not "
                     "count: \"resume\" finds \"Résumé.pdf\". Exits with 1 when nothing is found.")},
         &CommandLine::where},
        settingsCommand(),
    };
}

std::vector<CommandLine::Command>::const_iterator CommandLine::findCommand(const std::vector<Command> &all,
                                                                           const QString &name)
{
    return std::find_if(all.begin(), all.end(), [&](const Command &candidate) { return candidate.name == name; });
}

void CommandLine::printHelp(const QString &name)
{
    const std::vector<Command> all = commands();
    const auto command = findCommand(all, name);
    if (command == all.end()) {
        m_out << L10n::text("Usage: sorvanel-cli COMMAND [--json]") << "\n\n"
              << L10n::text("Sorvanel moves the loose files of a folder into dated, categorized folders.") << "\n\n"
              << L10n::text("Commands:") << '\n';
        for (const Command &each : all)
            m_out << "  " << each.name.leftJustified(9) << "  " << each.summary << '\n';
        return;
    }
    m_out << command->usage.join(u'\n') << "\n\n";
    for (const QString &paragraph : command->help)
        m_out << paragraph << '\n';
}

int CommandLine::run(const QStringList &arguments)
{
    if (arguments.isEmpty())
        return usage();
    const QString name = arguments.first();
    if (name == u"--help" || name == u"-h" || name == u"help") {
        printHelp(arguments.value(1));
        return success;
    }
    if (name == u"--version") {
        m_out << "sorvanel-cli " << SORVANEL_VERSION << '\n';
        return success;
    }
    const std::vector<Command> all = commands();
    const auto command = findCommand(all, name);
    if (command == all.end())
        return usage(L10n::format("Unknown command: %@", {name}));
    const QStringList rest = arguments.mid(1);
    if (rest.contains(u"--help"_qs) || rest.contains(u"-h"_qs)) {
        printHelp(name);
        return success;
    }
    // Opening the store runs the one-time migration before anything else.
    SettingsStore store;
    return (this->*command->handler)(store, rest);
}

// The arguments of a command that takes --json alone: whether it was given,
// or nothing after a usage error was told.
std::optional<bool> CommandLine::jsonOption(const QStringList &arguments)
{
    bool json = false;
    for (const QString &argument : arguments) {
        if (argument != u"--json") {
            usage(L10n::format("Unknown argument: %@", {argument}));
            return std::nullopt;
        }
        json = true;
    }
    return json;
}

namespace {
// JSON text is Unicode, a path is bytes: a path that is not UTF-8 is also
// given as its exact bytes in hexadecimal, under KEY + "Hex".
} // namespace

int CommandLine::failed(const QString &message, bool json)
{
    m_err << message << '\n';
    // Scripts that read JSON get the reason there too.
    if (json)
        m_out << printJson(QJsonObject{{u"error"_qs, message}});
    return failure;
}

int CommandLine::preview(SettingsStore &store, const QStringList &arguments)
{
    const std::optional<bool> option = jsonOption(arguments);
    if (!option)
        return usageError;
    const bool json = *option;
    OrganizationPlan plan;
    try {
        plan = CleanupRun(store.suite()).plan();
    } catch (const CleanupRun::Failure &failure) {
        return failed(failure.description, json);
    }
    const QList<OrganizationIssue> issues = plan.previewIssues();
    if (json)
        m_out << printJson(planJson(plan, issues));
    else
        printPlan(plan, issues);
    return issues.isEmpty() ? success : finishedWithIssues;
}

QJsonObject CommandLine::planJson(const OrganizationPlan &plan, const QList<OrganizationIssue> &issues)
{
    QJsonArray moves;
    for (const auto &move : plan.moves) {
        if (move.goesToTrash())
            continue;
        QJsonObject object{{u"category"_qs, rawValue(move.category)}, {u"fileDate"_qs, Json::isoDate(move.fileDate)}};
        addName(object, u"source"_qs, move.sourceURL);
        addName(object, u"destination"_qs, move.destinationURL);
        moves.append(object);
    }
    return QJsonObject{{u"generatedAt"_qs, Json::isoDate(plan.generatedAt)},
                       {u"destinationRoot"_qs, displayPath(plan.destinationRoot)},
                       {u"moves"_qs, moves},
                       {u"skipped"_qs, qint64(plan.skipped)},
                       {u"skippedFiles"_qs, skippedJson(plan.skippedFiles)},
                       {u"alreadyFiled"_qs, alreadyFiledJson(plan.alreadyFiled(), plan.destinationRoot)},
                       {u"issues"_qs, issuesJson(issues)}};
}

void CommandLine::printPlan(const OrganizationPlan &plan, const QList<OrganizationIssue> &issues)
{
    // Paths go out as the bytes they are: exact even where a name is not UTF-8.
    m_out.flush();
    std::string lines;
    for (const auto &move : plan.moves) {
        if (move.goesToTrash())
            continue;
        appendQuoted(lines, move.sourceURL.native());
        lines += " \u2192 ";
        appendQuoted(lines, move.destinationURL.native());
        lines += '\n';
        if (lines.size() > (1 << 16)) {
            std::fwrite(lines.data(), 1, lines.size(), stdout);
            lines.clear();
        }
    }
    std::fwrite(lines.data(), 1, lines.size(), stdout);
    std::fflush(stdout);
    const std::vector<AlreadyFiledFile> filed = plan.alreadyFiled();
    m_out << L10n::format("Move: %d", {qint64(plan.filingCount())}) << "   ";
    if (!filed.empty())
        m_out << L10n::format("Already filed: %d", {qint64(filed.size())}) << "   ";
    m_out << L10n::format("Skip: %d", {qint64(plan.skipped)}) << "   "
          << L10n::format("Problems: %d", {qint64(issues.size())}) << '\n';
    if (!filed.empty())
        m_out << L10n::text("To the Trash:") << '\n';
    for (const auto &file : filed)
        m_out << "  " << terminalSafe(displayName(file.source)) << ": "
              << alreadyFiledReason(terminalSafe(displayPath(relativeTo(file.filedAs, plan.destinationRoot)))) << '\n';
    if (!plan.skippedFiles.empty())
        m_out << L10n::text("Left where they are:") << '\n';
    for (const auto &file : plan.skippedFiles)
        m_out << "  " << terminalSafe(displayName(file.url)) << ": " << localizedReason(file) << '\n';
    for (const auto &issue : issues)
        m_out << terminalSafe(issue.filename) << ": " << issue.message << '\n';
}

int CommandLine::organize(SettingsStore &store, const QStringList &arguments)
{
    const std::optional<bool> option = jsonOption(arguments);
    if (!option)
        return usageError;
    const bool json = *option;
    OrganizationResult result;
    bool interrupted = false;
    try {
        TerminalProgress progress(
            [](const ExecutionProgress &done) { return progressLine(L10n::text("Moving files: %@ of %@"), done); });
        result = CleanupRun(store.suite()).organize(OrganizationRunMode::manual, {}, &progress).result;
        interrupted = progress.interrupted();
    } catch (const CleanupRun::Failure &failure) {
        return failed(failure.description, json);
    }
    if (json) {
        QJsonObject object = resultJson(result, store.load().destinationURL);
        if (interrupted)
            object.insert(u"stopped"_qs, true);
        m_out << printJson(object);
    } else {
        m_out << L10n::format("Moved: %d", {qint64(result.moved)}) << "   ";
        if (!result.alreadyFiled.empty())
            m_out << L10n::format("Already filed: %d", {qint64(result.alreadyFiled.size())}) << "   ";
        m_out << L10n::format("Skipped: %d", {qint64(result.skipped)}) << "   "
              << L10n::format("Failed: %d", {qint64(result.failed())}) << '\n';
        const Path root = normalizedPath(store.load().destinationURL);
        for (const auto &file : result.alreadyFiled)
            m_out << terminalSafe(displayName(file.source)) << ": "
                  << alreadyFiledReason(terminalSafe(displayPath(relativeTo(file.filedAs, root))))
                  << L10n::text(", now in the Trash") << '\n';
        for (const auto &issue : result.issues)
            m_out << terminalSafe(issue.filename) << ": " << issue.message << '\n';
        if (interrupted)
            m_out << L10n::format("Stopped. %d files were left where they are.", {qint64(result.remaining)}) << '\n';
    }
    if (interrupted)
        return stopped;
    return result.issues.isEmpty() ? success : finishedWithIssues;
}

int CommandLine::last(SettingsStore &store, const QStringList &arguments)
{
    const std::optional<bool> option = jsonOption(arguments);
    if (!option)
        return usageError;
    const bool json = *option;
    const auto result = store.loadLastResult();
    if (json) {
        m_out << (result ? printJson(resultJson(*result)) : u"null\n"_qs);
        return success;
    }
    if (!result) {
        m_out << L10n::text("Not run yet") << '\n';
        return success;
    }
    m_out << shownDate(result->runDate) << '\n'
          << L10n::format("Moved: %d", {qint64(result->moved)}) << "   "
          << L10n::format("Skipped: %d", {qint64(result->skipped)}) << "   "
          << L10n::format("Failed: %d", {qint64(result->failed())}) << '\n';
    for (const auto &issue : result->issues) {
        const QString name = issue.filename.isEmpty() ? L10n::text("Unknown file") : issue.filename;
        const QString message =
            issue.message.isEmpty() ? L10n::text("Details were not retained between launches.") : issue.message;
        m_out << terminalSafe(name) << ": " << message << '\n';
    }
    return success;
}

int CommandLine::undo(SettingsStore &store, const QStringList &arguments)
{
    bool json = false;
    bool dryRun = false;
    std::optional<QUuid> run;
    for (const QString &argument : arguments) {
        if (argument == u"--json") {
            json = true;
        } else if (argument == u"--dry-run") {
            dryRun = true;
        } else if (!argument.startsWith(u'-') && !run) {
            const QUuid id = QUuid::fromString(argument);
            if (id.isNull())
                return usage(L10n::format("“%@” is not a run ID.", {argument}));
            run = id;
        } else {
            return usage(L10n::format("Unknown argument: %@", {argument}));
        }
    }
    UndoResult result;
    bool interrupted = false;
    {
        TerminalProgress progress([](const ExecutionProgress &done) {
            return progressLine(L10n::text("Putting files back: %@ of %@"), done);
        });
        result = CleanupRun(store.suite()).undo(run, dryRun, &progress);
        interrupted = progress.interrupted() && result.remaining > 0;
    }
    if (result.refusal)
        return failed(*result.refusal, json);
    if (json) {
        QJsonObject object{{u"run"_qs, Json::uuidString(result.run)},
                           {u"restored"_qs, qint64(result.restored)},
                           {u"failed"_qs, qint64(result.failed())},
                           {u"issues"_qs, issuesJson(result.issues)}};
        if (interrupted)
            object.insert(u"stopped"_qs, true);
        m_out << printJson(object);
    } else {
        // Which run it was, as history shows it: undo without an ID picks one.
        for (const auto &entry : store.loadHistory()) {
            if (entry.id == result.run)
                m_out << L10n::format("The run of %@ (%@):", {shownDate(entry.date), localizedMode(entry)}) << '\n';
        }
        m_out << (dryRun ? L10n::format("Would put back: %d", {qint64(result.restored)})
                         : L10n::format("Put back: %d", {qint64(result.restored)}))
              << "   " << L10n::format("Failed: %d", {qint64(result.failed())}) << '\n';
        for (const auto &issue : result.issues)
            m_out << terminalSafe(issue.filename) << ": " << issue.message << '\n';
        if (interrupted)
            m_out << L10n::format("Stopped. %d files were not put back yet; undo again to go on.",
                                  {qint64(result.remaining)})
                  << '\n';
    }
    if (interrupted)
        return stopped;
    return result.issues.isEmpty() ? success : finishedWithIssues;
}

int CommandLine::where(SettingsStore &store, const QStringList &arguments)
{
    bool json = false;
    std::optional<QString> text;
    for (const QString &argument : arguments) {
        if (argument == u"--json")
            json = true;
        else if (!text && !argument.startsWith(u"--"))
            text = argument;
        else
            return usage(L10n::format("Unknown argument: %@", {argument}));
    }
    if (!text || text->isEmpty())
        return usage(L10n::text("Say what to look for: a part of the file's name, or a pattern with * or ?."));
    CleanupRun runs(store.suite());
    PosixFileSystem files;
    const std::vector<FiledFile> found = findFiled(runs.journal(), files, NameMatch(*text));
    if (json) {
        QJsonArray array;
        for (const FiledFile &file : found) {
            QJsonObject object{{u"run"_qs, Json::uuidString(file.run)},
                               {u"runDate"_qs, Json::isoDate(file.runDate)},
                               {u"mode"_qs, rawValue(file.mode)},
                               {u"state"_qs, rawValue(file.state)}};
            addName(object, u"filename"_qs, file.source.filename());
            addName(object, u"source"_qs, file.source);
            addName(object, u"destination"_qs, file.destination);
            array.append(object);
        }
        m_out << printJson(array);
    } else {
        printFound(found);
    }
    return found.empty() ? nothingFound : success;
}

// Each file on a line of its own: its name, where it is now and in what
// state, and the run that filed it. Paths go out as the bytes they are.
void CommandLine::printFound(const std::vector<FiledFile> &found)
{
    m_out.flush();
    std::string lines;
    for (const FiledFile &file : found) {
        appendQuoted(lines, filenameOf(file.source));
        lines += " \u2192 ";
        appendQuoted(lines, file.whereNow().native());
        lines += "   " + localizedName(file.state).toStdString() + "   " + shownDate(file.runDate).toStdString()
            + " \u00b7 " + localizedName(file.mode).toStdString() + '\n';
    }
    std::fwrite(lines.data(), 1, lines.size(), stdout);
    std::fflush(stdout);
    if (found.empty())
        m_out << L10n::text("No filed file has such a name.") << '\n';
}

int CommandLine::history(SettingsStore &store, const QStringList &arguments)
{
    const std::optional<bool> option = jsonOption(arguments);
    if (!option)
        return usageError;
    const bool json = *option;
    const auto entries = store.loadHistory();
    if (json) {
        CleanupRun runs(store.suite());
        QJsonArray array;
        for (const auto &entry : entries) {
            array.append(QJsonObject{{u"id"_qs, Json::uuidString(entry.id)},
                                     {u"date"_qs, Json::isoDate(entry.date)},
                                     {u"mode"_qs, rawMode(entry)},
                                     {u"moved"_qs, qint64(entry.moved)},
                                     {u"skipped"_qs, qint64(entry.skipped)},
                                     {u"failed"_qs, qint64(entry.failed)},
                                     {u"alreadyFiled"_qs, qint64(entry.alreadyFiled)},
                                     {u"duration"_qs, entry.duration},
                                     {u"undone"_qs, runs.isUndone(entry.id)}});
        }
        m_out << printJson(array);
        return success;
    }
    if (entries.isEmpty()) {
        m_out << L10n::text("No Runs Yet") << '\n';
        return success;
    }
    CleanupRun runs(store.suite());
    for (const auto &entry : entries) {
        m_out << shownDate(entry.date) << "   " << L10n::format("%@ · %.2f s", {localizedMode(entry), entry.duration})
              << "   " << L10n::format("%d moved", {qint64(entry.moved)}) << "   "
              << L10n::format("%d skipped", {qint64(entry.skipped)});
        if (entry.alreadyFiled > 0)
            m_out << "   " << L10n::format("%d already filed", {qint64(entry.alreadyFiled)});
        if (entry.failed > 0)
            m_out << "   " << L10n::format("%d failed", {qint64(entry.failed)});
        if (const QString undone = runs.undoneLabel(entry.id); !undone.isEmpty())
            m_out << "   " << undone;
        m_out << '\n';
    }
    return success;
}

int CommandLine::settings(SettingsStore &store, const QStringList &arguments)
{
    DefaultsSuite &defaults = store.defaults();
    if (arguments.isEmpty()) {
        for (const auto &[key, value] : defaults.all())
            m_out << key << '\t' << typeName(value.type) << '\t' << SettingsSchema::displayText(value) << '\n';
        return success;
    }
    const QString action = arguments.first();
    if (action == u"get" && arguments.size() == 2) {
        const auto value = defaults.object(arguments[1]);
        if (!value) {
            m_err << L10n::format("No value is stored for %@.", {arguments[1]}) << '\n';
            return finishedWithIssues;
        }
        m_out << SettingsSchema::displayText(*value) << '\n';
        return success;
    }
    if (action == u"unset" && arguments.size() == 2) {
        defaults.remove(arguments[1]);
        return applySwitch(store, arguments[1]);
    }
    const auto *known = arguments.size() >= 2 ? SettingsSchema::definition(arguments[1]) : nullptr;
    if (action == u"set" && arguments.size() == 3 && known && known->folder)
        return setFolder(store, arguments);
    if (action == u"set" && (arguments.size() == 3 || arguments.size() == 5))
        return setValue(store, arguments);
    return usage(L10n::format("Unknown argument: %@", {arguments.join(u' ')}));
}

// `settings set KEY FOLDER`: a folder takes the exact bytes it was given, so
// its name need not be UTF-8.
int CommandLine::setFolder(SettingsStore &store, const QStringList &arguments)
{
    const bool raw = m_rawArguments.size() == std::size_t(arguments.size()) + 1;
    std::string bytes = raw ? m_rawArguments.back() : arguments[2].toStdString();
    if (bytes.empty())
        return usage(L10n::format("%@ needs the path of a folder.", {arguments[1]}));
    // Taken as a shell takes it: "~" is the home folder, and a relative
    // path starts in the folder the command runs in.
    if (bytes == "~" || bytes.starts_with("~/")) {
        bytes = QFile::encodeName(QDir::homePath()).toStdString() + bytes.substr(1);
    } else if (bytes.front() != '/') {
        std::error_code error;
        bytes = std::filesystem::current_path(error).native() + '/' + bytes;
        if (error)
            return failed(QString::fromLocal8Bit(error.message().c_str()), false);
    }
    store.defaults().set(arguments[1], SettingsStore::folderValue(normalizedPath(Path(bytes))));
    return success;
}

// `settings set KEY VALUE [--type TYPE]`.
int CommandLine::setValue(SettingsStore &store, const QStringList &arguments)
{
    const auto *known = SettingsSchema::definition(arguments[1]);
    // A key the programs know has its own type; any other is a string unless told.
    ValueType type = known ? known->type : ValueType::string;
    if (arguments.size() == 5) {
        const auto named = arguments[3] == u"--type" ? valueTypeFromName(arguments[4]) : std::nullopt;
        if (!named)
            return usage(L10n::format("Unknown type: %@", {arguments.mid(3).join(u' ')}));
        if (known && *named != known->type)
            return usage(L10n::format("%@ holds %@ values.", {arguments[1], typeName(known->type)}));
        type = *named;
    }
    const auto parsed = SettingsSchema::parse(arguments[1], arguments[2], type);
    if (const auto *refusal = std::get_if<QString>(&parsed))
        return usage(*refusal);
    store.defaults().set(arguments[1], std::get<DefaultsValue>(parsed));
    // Stored as asked, but a misspelt key would otherwise go unnoticed.
    if (!known)
        m_err << L10n::format("Note: Sorvanel does not read “%@”; it is stored all the same.", {arguments[1]}) << '\n';
    return applySwitch(store, arguments[1]);
}

int CommandLine::applySwitch(SettingsStore &store, const QString &key)
{
    if (key == SettingsSchema::Key::automaticEnabled && m_scheduler) {
        // The switch stays as stored; the user reads why the timer didn't follow.
        const QString error = m_scheduler->applyAndWait(store.load().automaticEnabled);
        if (error.isEmpty())
            return success;
        m_err << L10n::format("Automatic cleanup could not be changed: %@", {error}) << '\n';
        return finishedWithIssues;
    }
    if (key == SettingsSchema::Key::watchEnabled && m_watcher) {
        // A watcher systemd would not take is not on: the setting says what happened.
        const bool enabled = store.load().watchEnabled;
        const QString error = m_watcher->applyAndWait(enabled);
        if (error.isEmpty())
            return success;
        if (enabled)
            store.saveWatchEnabled(false);
        m_err << L10n::format("Watching could not be changed: %@", {error}) << '\n';
        return finishedWithIssues;
    }
    return success;
}

} // namespace sorvanel
