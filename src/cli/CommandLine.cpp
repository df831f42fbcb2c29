// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandLine.h"

#include "CleanupRun.h"
#include "Localization.h"
#include "LoginItemService.h"
#include "Organizer.h"
#include "SettingsSchema.h"
#include "SettingsStore.h"
#include "TerminalProgress.h"

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

const QStringList commands{u"preview"_qs, u"organize"_qs, u"undo"_qs, u"last"_qs, u"history"_qs, u"settings"_qs};

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

// Names are written the way ls writes them to a terminal (its "shell-escape"
// quoting): as they are when nothing in them needs care; in single quotes
// when they hold spaces or characters a shell would act on; and control
// characters or bytes that are not UTF-8 as $'\n' or $'\033' outside the
// quotes. An escape sequence in a downloaded file's name is shown, not
// obeyed, one name is always one line, and every name can be pasted into a shell.
void appendQuoted(std::string &out, std::string_view bytes)
{
    // The length of the printable character at `i`, or 0 for a control
    // character or a byte that does not start valid UTF-8.
    const auto printable = [&](std::size_t i) -> std::size_t {
        const auto c = static_cast<unsigned char>(bytes[i]);
        if (c < 0x80)
            return c < 0x20 || c == 0x7f ? 0 : 1;
        const std::size_t length = c >= 0xf0 && c < 0xf5 ? 4 : c >= 0xe0 ? 3 : c >= 0xc2 && c < 0xe0 ? 2 : 0;
        if (length == 0 || i + length > bytes.size())
            return 0;
        for (std::size_t k = 1; k < length; ++k) {
            if ((static_cast<unsigned char>(bytes[i + k]) & 0xc0) != 0x80)
                return 0;
        }
        if (c == 0xc2 && static_cast<unsigned char>(bytes[i + 1]) < 0xa0)
            return 0; // a C1 control character
        return length;
    };
    const auto plainCharacter = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')
            || std::string_view("%+,-./:=@_").find(c) != std::string_view::npos
            || static_cast<unsigned char>(c) >= 0x80;
    };
    bool plain = !bytes.empty();
    bool control = false;
    for (std::size_t i = 0; i < bytes.size();) {
        const std::size_t length = printable(i);
        if (length == 0) {
            control = true;
            ++i;
            continue;
        }
        plain = plain && plainCharacter(bytes[i]);
        i += length;
    }
    if (plain && !control) {
        out += bytes; // nearly every name
        return;
    }
    // A quote and nothing a shell expands inside double quotes: "it's.pdf".
    if (!control && bytes.find('\'') != std::string_view::npos
        && bytes.find_first_of("$`\\\"!") == std::string_view::npos) {
        out += '"';
        out += bytes;
        out += '"';
        return;
    }
    bool quoted = false;
    char escape[8];
    for (std::size_t i = 0; i < bytes.size();) {
        const std::size_t length = printable(i);
        if (length == 0) {
            if (quoted)
                out += '\'';
            quoted = false;
            const auto c = static_cast<unsigned char>(bytes[i++]);
            if (c == '\n')
                out += "$'\\n'";
            else if (c == '\t')
                out += "$'\\t'";
            else {
                std::snprintf(escape, sizeof escape, "$'\\%03o'", c);
                out += escape;
            }
            continue;
        }
        if (bytes[i] == '\'') {
            out += quoted ? "'\\'" : "\\'";
            quoted = false;
            ++i;
            continue;
        }
        if (!quoted)
            out += '\'';
        quoted = true;
        out.append(bytes.substr(i, length));
        i += length;
    }
    if (quoted)
        out += '\'';
}

QString terminalSafe(const QString &text)
{
    std::string out;
    appendQuoted(out, text.toStdString());
    return QString::fromStdString(out);
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

QJsonObject resultJson(const OrganizationResult &result)
{
    return QJsonObject{{u"runDate"_qs, Json::isoDate(result.runDate)},
                       {u"moved"_qs, qint64(result.moved)},
                       {u"skipped"_qs, qint64(result.skipped)},
                       {u"failed"_qs, qint64(result.failed())},
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

CommandLine::CommandLine(QTextStream &out, QTextStream &err, std::shared_ptr<LoginItemService> scheduler)
    : m_out(out)
    , m_err(err)
    , m_scheduler(std::move(scheduler))
{
}

int CommandLine::usage(const QString &message)
{
    if (!message.isEmpty())
        m_err << message << '\n';
    m_err << L10n::text("Usage: sorvanel-cli preview|organize|last|history [--json]") << '\n'
          << L10n::text("       sorvanel-cli undo [RUN_ID] [--dry-run] [--json]") << '\n'
          << L10n::text("       sorvanel-cli settings [get KEY | set KEY VALUE [--type TYPE] | unset KEY]") << '\n'
          << L10n::text("Run \"sorvanel-cli COMMAND --help\" for more about a command.") << '\n';
    return usageError;
}

void CommandLine::printHelp(const QString &command)
{
    if (command == u"preview") {
        m_out << L10n::text("Usage: sorvanel-cli preview [--json]") << "\n\n"
              << L10n::text("Plans a cleanup with the stored settings and prints every planned move, the skipped count "
                            "and the problems. Nothing is moved.")
              << '\n'
              << L10n::text("In JSON, a path that is not valid UTF-8 also comes as hexadecimal bytes (\"sourceHex\", "
                            "\"destinationHex\").")
              << '\n';
    } else if (command == u"organize") {
        m_out << L10n::text("Usage: sorvanel-cli organize [--json]") << "\n\n"
              << L10n::text("Runs a cleanup now with the stored settings and records it as a manual run.") << '\n'
              << L10n::text(
                     "On a terminal it shows its progress. Ctrl+C stops it after the file in hand, or within a copy "
                     "to another drive; what it moved is recorded, and the rest stays where it is.")
              << '\n';
    } else if (command == u"undo") {
        m_out << L10n::text("Usage: sorvanel-cli undo [RUN_ID] [--dry-run] [--json]") << "\n\n"
              << L10n::text("Puts the files of a run back where they came from: the latest run that moved something "
                            "and was not undone yet, or the run RUN_ID (the \"id\" that \"history --json\" prints). A "
                            "file changed, moved or deleted since, or whose name is taken, stays where it is. With "
                            "--dry-run nothing is moved. Ctrl+C stops it after the file in hand, or within a copy to "
                            "another drive; run it again to go on.")
              << '\n';
    } else if (command == u"last") {
        m_out << L10n::text("Usage: sorvanel-cli last [--json]") << "\n\n"
              << L10n::text("Prints the result of the latest run with its problems.") << '\n';
    } else if (command == u"history") {
        m_out << L10n::text("Usage: sorvanel-cli history [--json]") << "\n\n"
              << L10n::text("Prints the latest 50 runs, newest first.") << '\n';
    } else if (command == u"settings") {
        m_out << L10n::text("Usage: sorvanel-cli settings") << '\n'
              << L10n::text("       sorvanel-cli settings get KEY") << '\n'
              << L10n::text("       sorvanel-cli settings set KEY VALUE [--type string|integer|boolean|real|date|data]")
              << '\n'
              << L10n::text("       sorvanel-cli settings unset KEY") << "\n\n"
              << L10n::text("Lists, reads or changes the stored settings. A key Sorvanel knows takes its own type and "
                            "range (thresholdMB: 1 to 100000; automaticTime also HH:MM); any other key is a string "
                            "unless --type says otherwise. Booleans are true or false (1 or 0), dates ISO 8601, data "
                            "hexadecimal; stored JSON is shown as JSON.")
              << "\n\n"
              << L10n::text("The settings to choose: sourcePath and destinationPath (folders), thresholdMB, "
                            "automaticEnabled, automaticTime, notifyAfterAutomatic.")
              << '\n';
    } else {
        m_out << L10n::text("Usage: sorvanel-cli COMMAND [--json]") << "\n\n"
              << L10n::text("Sorvanel moves the loose files of a folder into dated, categorized folders.") << "\n\n"
              << L10n::text("Commands:") << '\n'
              << "  preview    " << L10n::text("Show what a cleanup would move, without moving anything.") << '\n'
              << "  organize   " << L10n::text("Run a cleanup now.") << '\n'
              << "  undo       " << L10n::text("Put the files of a run back.") << '\n'
              << "  last       " << L10n::text("Show the latest run's result.") << '\n'
              << "  history    " << L10n::text("Show the latest 50 runs.") << '\n'
              << "  settings   " << L10n::text("List, read or change the stored settings.") << '\n';
    }
}

int CommandLine::run(const QStringList &arguments)
{
    if (arguments.isEmpty())
        return usage();
    const QString command = arguments.first();
    if (command == u"--help" || command == u"-h" || command == u"help") {
        printHelp(arguments.value(1));
        return success;
    }
    if (command == u"--version") {
        m_out << "sorvanel-cli " << SORVANEL_VERSION << '\n';
        return success;
    }
    if (!commands.contains(command))
        return usage(L10n::format("Unknown command: %@", {command}));
    const QStringList rest = arguments.mid(1);
    if (rest.contains(u"--help"_qs) || rest.contains(u"-h"_qs)) {
        printHelp(command);
        return success;
    }

    // Opening the store runs the one-time migration before anything else.
    SettingsStore store;
    if (command == u"settings")
        return settings(store, rest);
    if (command == u"undo")
        return undo(store, rest);

    bool json = false;
    for (const QString &argument : rest) {
        if (argument == u"--json")
            json = true;
        else
            return usage(L10n::format("Unknown argument: %@", {argument}));
    }
    if (command == u"preview")
        return preview(store, json);
    if (command == u"organize")
        return organize(store, json);
    if (command == u"last")
        return last(store, json);
    return history(store, json);
}

namespace {
// JSON text is Unicode, a path is bytes: a path that is not UTF-8 is also
// given as its exact bytes in hexadecimal, under KEY + "Hex".
void addPath(QJsonObject &object, const QString &key, const Path &path)
{
    const QString text = displayPath(path);
    object.insert(key, text);
    const QByteArray bytes = QByteArray::fromStdString(path.native());
    if (text.toUtf8() != bytes)
        object.insert(key + u"Hex"_qs, QString::fromLatin1(bytes.toHex()));
}
} // namespace

int CommandLine::failed(const QString &message, bool json)
{
    m_err << message << '\n';
    // Scripts that read JSON get the reason there too.
    if (json)
        m_out << printJson(QJsonObject{{u"error"_qs, message}});
    return failure;
}

int CommandLine::preview(SettingsStore &store, bool json)
{
    OrganizationPlan plan;
    try {
        plan = CleanupRun(store.suite()).plan();
    } catch (const CleanupRun::Failure &failure) {
        return failed(failure.description, json);
    }
    const QList<OrganizationIssue> issues = plan.previewIssues();
    if (json) {
        QJsonArray moves;
        for (const auto &move : plan.moves) {
            QJsonObject object{{u"category"_qs, rawValue(move.category)},
                               {u"fileDate"_qs, Json::isoDate(move.fileDate)}};
            addPath(object, u"source"_qs, move.sourceURL);
            addPath(object, u"destination"_qs, move.destinationURL);
            moves.append(object);
        }
        m_out << printJson(QJsonObject{{u"generatedAt"_qs, Json::isoDate(plan.generatedAt)},
                                       {u"destinationRoot"_qs, displayPath(plan.destinationRoot)},
                                       {u"moves"_qs, moves},
                                       {u"skipped"_qs, qint64(plan.skipped)},
                                       {u"skippedFiles"_qs, skippedJson(plan.skippedFiles)},
                                       {u"issues"_qs, issuesJson(issues)}});
    } else {
        // Paths go out as the bytes they are: exact even where a name is not UTF-8.
        m_out.flush();
        std::string lines;
        for (const auto &move : plan.moves) {
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
        m_out << L10n::format("Move: %d", {qint64(plan.moves.size())}) << "   "
              << L10n::format("Skip: %d", {qint64(plan.skipped)}) << "   "
              << L10n::format("Problems: %d", {qint64(issues.size())}) << '\n';
        if (!plan.skippedFiles.empty())
            m_out << L10n::text("Left where they are:") << '\n';
        for (const auto &file : plan.skippedFiles)
            m_out << "  " << terminalSafe(displayName(file.url)) << ": " << localizedReason(file) << '\n';
        for (const auto &issue : issues)
            m_out << terminalSafe(issue.filename) << ": " << issue.message << '\n';
    }
    return issues.isEmpty() ? success : finishedWithIssues;
}

int CommandLine::organize(SettingsStore &store, bool json)
{
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
        QJsonObject object = resultJson(result);
        if (interrupted)
            object.insert(u"stopped"_qs, true);
        m_out << printJson(object);
    } else {
        m_out << L10n::format("Moved: %d", {qint64(result.moved)}) << "   "
              << L10n::format("Skipped: %d", {qint64(result.skipped)}) << "   "
              << L10n::format("Failed: %d", {qint64(result.failed())}) << '\n';
        for (const auto &issue : result.issues)
            m_out << terminalSafe(issue.filename) << ": " << issue.message << '\n';
        if (interrupted)
            m_out << L10n::format("Stopped. %d files were left where they are.", {qint64(result.remaining)}) << '\n';
    }
    if (interrupted)
        return stopped;
    return result.issues.isEmpty() ? success : finishedWithIssues;
}

int CommandLine::last(SettingsStore &store, bool json)
{
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

int CommandLine::history(SettingsStore &store, bool json)
{
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
        return arguments[1] == SettingsSchema::Key::automaticEnabled ? applyAutomaticSwitch(store) : success;
    }
    const auto *known = arguments.size() >= 2 ? SettingsSchema::definition(arguments[1]) : nullptr;
    if (action == u"set" && arguments.size() == 3 && known && known->folder) {
        // A folder takes the exact bytes it was given: its name need not be UTF-8.
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
        defaults.set(arguments[1], SettingsStore::folderValue(normalizedPath(Path(bytes))));
        return success;
    }
    if (action == u"set" && (arguments.size() == 3 || arguments.size() == 5)) {
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
        defaults.set(arguments[1], std::get<DefaultsValue>(parsed));
        // Stored as asked, but a misspelt key would otherwise go unnoticed.
        if (!known)
            m_err << L10n::format("Note: Sorvanel does not read “%@”; it is stored all the same.", {arguments[1]})
                  << '\n';
        return arguments[1] == SettingsSchema::Key::automaticEnabled ? applyAutomaticSwitch(store) : success;
    }
    return usage(L10n::format("Unknown argument: %@", {arguments.join(u' ')}));
}

int CommandLine::applyAutomaticSwitch(SettingsStore &store)
{
    if (!m_scheduler)
        return success;
    // The switch stays as stored, as in the app; the user reads why the timer didn't follow.
    const QString error = m_scheduler->applyAndWait(store.load().automaticEnabled);
    if (error.isEmpty())
        return success;
    m_err << L10n::format("Automatic startup could not be changed: %@", {error}) << '\n';
    return finishedWithIssues;
}

} // namespace sorvanel
