// SPDX-License-Identifier: GPL-3.0-or-later
#include "OrganizationModels.h"

#include "FileSystem.h"
#include "Localization.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QRandomGenerator>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

namespace sorvanel {

QUuid newIdentifier()
{
    // One generator per thread, seeded from the system's entropy: no lock per call.
    thread_local QRandomGenerator64 generator = [] {
        quint32 seed[8];
        QRandomGenerator::system()->fillRange(seed);
        return QRandomGenerator64(seed);
    }();
    quint32 words[4];
    generator.fillRange(words);
    return QUuid(words[0], ushort(words[1]), ushort(((words[1] >> 16) & 0x0fff) | 0x4000),
                 uchar((words[2] & 0x3f) | 0x80), uchar(words[2] >> 8), uchar(words[2] >> 16), uchar(words[2] >> 24),
                 uchar(words[3]), uchar(words[3] >> 8), uchar(words[3] >> 16), uchar(words[3] >> 24));
}

QDateTime systemNow()
{
    return QDateTime::currentDateTimeUtc();
}

QString rawValue(FileCategory category)
{
    switch (category) {
    case FileCategory::big:
        return QStringLiteral("big");
    case FileCategory::graphic:
        return QStringLiteral("graphic");
    case FileCategory::docs:
        return QStringLiteral("docs");
    case FileCategory::other:
        break;
    }
    return QStringLiteral("other");
}

std::optional<FileCategory> fileCategoryFromRawValue(const QString &raw)
{
    for (auto category : {FileCategory::big, FileCategory::graphic, FileCategory::docs, FileCategory::other}) {
        if (rawValue(category) == raw)
            return category;
    }
    return std::nullopt;
}

std::optional<QString> directoryName(FileCategory category)
{
    if (category == FileCategory::other)
        return std::nullopt;
    return rawValue(category);
}

QString rawValue(OrganizationRunMode mode)
{
    switch (mode) {
    case OrganizationRunMode::automatic:
        return QStringLiteral("automatic");
    case OrganizationRunMode::watch:
        return QStringLiteral("watch");
    case OrganizationRunMode::manual:
        break;
    }
    return QStringLiteral("manual");
}

std::optional<OrganizationRunMode> runModeFromRawValue(const QString &raw)
{
    if (raw == u"manual")
        return OrganizationRunMode::manual;
    if (raw == u"automatic")
        return OrganizationRunMode::automatic;
    if (raw == u"watch")
        return OrganizationRunMode::watch;
    return std::nullopt;
}

QString localizedName(OrganizationRunMode mode)
{
    switch (mode) {
    case OrganizationRunMode::automatic:
        return L10n::text("Automatic");
    case OrganizationRunMode::watch:
        return L10n::text("As downloads finished");
    case OrganizationRunMode::manual:
        break;
    }
    return L10n::text("Manual");
}

QString rawMode(const RunHistoryEntry &entry)
{
    return entry.newerMode.isEmpty() ? rawValue(entry.mode) : entry.newerMode;
}

QString localizedMode(const RunHistoryEntry &entry)
{
    if (entry.newerMode.isEmpty())
        return localizedName(entry.mode);
    return entry.newerMode.left(1).toUpper() + entry.newerMode.mid(1);
}

QString localizedReason(const SkippedFile &file)
{
    switch (file.reason) {
    case SkipReason::folder:
        return L10n::text("folder");
    case SkipReason::notRegularFile:
        return L10n::text("not a regular file");
    case SkipReason::symbolicLink:
        return L10n::text("symbolic link");
    case SkipReason::hidden:
        return L10n::text("hidden");
    case SkipReason::unfinishedDownload:
        return L10n::text("unfinished download");
    case SkipReason::downloadBeside:
        return L10n::format("download in progress (%@ lies beside it)",
                            {QFile::decodeName(QByteArray::fromStdString(file.companion))});
    case SkipReason::emptyWhileDownloading:
        return L10n::text("empty while a download in this folder is unfinished");
    case SkipReason::beingWritten:
        if (file.writer.pid > 0 && !file.writer.program.isEmpty())
            return L10n::format("being written by %@ (pid %@)",
                                {file.writer.program, QString::number(file.writer.pid)});
        return L10n::text("being written by another program");
    case SkipReason::unwrittenGaps:
        return L10n::text("not fully written yet (it has gaps; a paused torrent?)");
    case SkipReason::waitingForMerge:
        return L10n::text("waiting for its other stream to be merged");
    case SkipReason::putBackByUndo:
        return L10n::text("put back by an undo");
    case SkipReason::tooRecent:
        break;
    }
    return L10n::text("too recent");
}

QString errorDescription(OrganizerError error)
{
    switch (error) {
    case OrganizerError::sourceDoesNotExist:
        return L10n::text("The source folder does not exist.");
    case OrganizerError::sourceIsNotDirectory:
        return L10n::text("The selected source is not a folder.");
    case OrganizerError::unsafeFolderRelationship:
        return L10n::text("The source folder cannot be the destination or be located inside it.");
    case OrganizerError::invalidThreshold:
        return L10n::text("The large file threshold must be greater than zero.");
    case OrganizerError::alreadyRunning:
        break;
    }
    return L10n::text("Another cleanup is already running for this destination.");
}

OrganizerFailure::OrganizerFailure(OrganizerError error)
    : m_error(error)
{
}

OrganizerFailure OrganizerFailure::posix(int code)
{
    OrganizerFailure failure;
    failure.m_posixCode = code;
    return failure;
}

QString OrganizerFailure::errorDescription() const
{
    if (m_error)
        return sorvanel::errorDescription(*m_error);
    char buffer[256];
    // GNU strerror_r: the system's own (localized) text for the code.
    return QString::fromLocal8Bit(strerror_r(m_posixCode, buffer, sizeof buffer));
}

std::optional<OrganizerConfiguration> OrganizerConfiguration::forRun(const Path &source, const Path &destination,
                                                                     std::int64_t thresholdMB)
{
    std::int64_t bytes = 0;
    if (__builtin_mul_overflow(thresholdMB, std::int64_t(1024 * 1024), &bytes))
        return std::nullopt;
    OrganizerConfiguration configuration;
    configuration.sourceURL = source;
    configuration.destinationURL = destination;
    configuration.largeFileThresholdBytes = bytes;
    return configuration;
}

QString OrganizerConfiguration::thresholdTooLargeDescription()
{
    return L10n::text("The large file threshold is too large.");
}

Path relativeTo(const Path &path, const Path &root)
{
    return isBelow(path, root) ? Path(path.native().substr(root.native().size() + 1)) : path;
}

QString alreadyFiledReason(const QString &shownPath)
{
    return L10n::format("already filed as %@", {shownPath});
}

RunHistoryEntry::RunHistoryEntry(const OrganizationResult &result, OrganizationRunMode mode, double duration)
    : id(newIdentifier())
    , date(result.runDate)
    , mode(mode)
    , moved(result.moved)
    , skipped(result.skipped)
    , failed(result.failed())
    , alreadyFiled(std::int64_t(result.alreadyFiled.size()))
    , duration(duration)
{
}

namespace Json {

namespace {
// 2001-01-01 00:00:00 UTC in milliseconds since the Unix epoch.
constexpr qint64 referenceDateMs = 978307200000LL;

std::optional<qint64> integerValue(const QJsonValue &value)
{
    if (!value.isDouble())
        return std::nullopt;
    const double number = value.toDouble();
    if (!std::isfinite(number) || number != std::trunc(number) || std::fabs(number) > 9007199254740992.0)
        return std::nullopt;
    return qint64(number);
}

std::optional<double> numberValue(const QJsonValue &value)
{
    if (!value.isDouble())
        return std::nullopt;
    return value.toDouble();
}

std::optional<QJsonArray> parseArray(const QByteArray &data)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray())
        return std::nullopt;
    return document.array();
}
} // namespace

double secondsSinceReferenceDate(const QDateTime &date)
{
    return double(date.toMSecsSinceEpoch() - referenceDateMs) / 1000.0;
}

QDateTime dateFromReferenceSeconds(double seconds)
{
    // Keep absurd stored values inside the range QDateTime and llround can hold.
    if (!std::isfinite(seconds))
        seconds = 0;
    seconds = std::clamp(seconds, -1e12, 1e12);
    return QDateTime::fromMSecsSinceEpoch(referenceDateMs + qint64(std::llround(seconds * 1000.0)), Qt::UTC);
}

QString isoDate(const QDateTime &date)
{
    const QDateTime local = date.toLocalTime();
    const int offset = local.offsetFromUtc();
    const QString sign = offset < 0 ? u"-"_qs : u"+"_qs;
    const int minutes = std::abs(offset) / 60;
    return local.toString(u"yyyy-MM-ddTHH:mm:ss.zzz") + sign
        + QStringLiteral("%1:%2").arg(minutes / 60, 2, 10, QChar(u'0')).arg(minutes % 60, 2, 10, QChar(u'0'));
}

QString uuidString(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

QByteArray encodeIssues(const QList<OrganizationIssue> &issues)
{
    QJsonArray array;
    for (const auto &issue : issues)
        array.append(
            QJsonObject{{QStringLiteral("filename"), issue.filename}, {QStringLiteral("message"), issue.message}});
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

std::optional<QList<OrganizationIssue>> decodeIssues(const QByteArray &data)
{
    const auto array = parseArray(data);
    if (!array)
        return std::nullopt;
    QList<OrganizationIssue> issues;
    issues.reserve(array->size());
    for (const auto &item : *array) {
        const QJsonObject object = item.toObject();
        const QJsonValue filename = object.value(QStringLiteral("filename"));
        const QJsonValue message = object.value(QStringLiteral("message"));
        if (!item.isObject() || !filename.isString() || !message.isString())
            return std::nullopt;
        issues.append(OrganizationIssue(filename.toString(), message.toString()));
    }
    return issues;
}

QByteArray encodeHistory(const QList<RunHistoryEntry> &history)
{
    QJsonArray array;
    for (const auto &entry : history) {
        QJsonObject object = entry.newerFields;
        object.insert(QStringLiteral("id"), uuidString(entry.id));
        object.insert(QStringLiteral("date"), secondsSinceReferenceDate(entry.date));
        object.insert(QStringLiteral("mode"), rawMode(entry));
        object.insert(QStringLiteral("moved"), qint64(entry.moved));
        object.insert(QStringLiteral("skipped"), qint64(entry.skipped));
        object.insert(QStringLiteral("failed"), qint64(entry.failed));
        object.insert(QStringLiteral("duration"), entry.duration);
        if (entry.alreadyFiled > 0)
            object.insert(QStringLiteral("alreadyFiled"), qint64(entry.alreadyFiled));
        array.append(object);
    }
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

namespace {

const QStringList &historyKeys()
{
    static const QStringList keys{u"id"_qs,      u"date"_qs,   u"mode"_qs,     u"moved"_qs,
                                  u"skipped"_qs, u"failed"_qs, u"duration"_qs, u"alreadyFiled"_qs};
    return keys;
}

std::optional<RunHistoryEntry> decodeHistoryEntry(const QJsonObject &object)
{
    const QJsonValue idValue = object.value(QStringLiteral("id"));
    const QUuid id = QUuid::fromString(idValue.toString());
    const QJsonValue modeValue = object.value(QStringLiteral("mode"));
    const auto date = numberValue(object.value(QStringLiteral("date")));
    const auto moved = integerValue(object.value(QStringLiteral("moved")));
    const auto skipped = integerValue(object.value(QStringLiteral("skipped")));
    const auto failed = integerValue(object.value(QStringLiteral("failed")));
    const auto duration = numberValue(object.value(QStringLiteral("duration")));
    if (!idValue.isString() || id.isNull() || !modeValue.isString() || modeValue.toString().isEmpty() || !date || !moved
        || !skipped || !failed || !duration)
        return std::nullopt;
    RunHistoryEntry entry;
    entry.id = id;
    entry.date = dateFromReferenceSeconds(*date);
    if (const auto mode = runModeFromRawValue(modeValue.toString()))
        entry.mode = *mode;
    else
        entry.newerMode = modeValue.toString();
    entry.moved = *moved;
    entry.skipped = *skipped;
    entry.failed = *failed;
    entry.duration = *duration;
    // Optional: runs before files were recognised as already filed have none.
    entry.alreadyFiled = integerValue(object.value(QStringLiteral("alreadyFiled"))).value_or(0);
    entry.newerFields = object;
    for (const QString &key : historyKeys())
        entry.newerFields.remove(key);
    return entry;
}

} // namespace

std::optional<QList<RunHistoryEntry>> decodeHistory(const QByteArray &data)
{
    const auto array = parseArray(data);
    if (!array)
        return std::nullopt;
    QList<RunHistoryEntry> history;
    history.reserve(array->size());
    for (const auto &item : *array) {
        const auto entry = item.isObject() ? decodeHistoryEntry(item.toObject()) : std::nullopt;
        if (!entry)
            return std::nullopt;
        history.append(*entry);
    }
    return history;
}

} // namespace Json

// Qt 6 takes file names to be UTF-8 whatever the locale, as QFile::decodeName does.
QString displayName(const Path &path)
{
    const std::string &text = path.native();
    const auto slash = text.rfind('/');
    const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
    return QString::fromUtf8(text.data() + start, qsizetype(text.size() - start));
}

QString displayPath(const Path &path)
{
    return QString::fromUtf8(path.native().data(), qsizetype(path.native().size()));
}

Path pathFromText(const QString &text)
{
    return Path(QFile::encodeName(text).toStdString());
}

Path normalizedPath(const Path &path)
{
    if (path.empty())
        return path;
    std::string normal = std::filesystem::path(path.native()).lexically_normal().native();
    while (normal.size() > 1 && normal.back() == '/')
        normal.pop_back();
    return Path(std::move(normal));
}

QList<OrganizationIssue> OrganizationPlan::previewIssues() const
{
    QList<OrganizationIssue> shown = issues;
    // A name that a counter made longer than a folder takes (255 bytes): the
    // move will be refused, and the preview says so now.
    constexpr std::size_t longestName = 255;
    for (const PlannedMove &move : moves) {
        const std::string &destination = move.destinationURL.native();
        if (destination.size() - destination.rfind('/') - 1 > longestName)
            shown.append(
                OrganizationIssue(displayName(move.sourceURL), FileError(ENAMETOOLONG).localizedDescription()));
    }
    if (missingDrive)
        shown.append(missingDriveIssue(*missingDrive));
    return shown;
}

OrganizationIssue missingDriveIssue(const Path &mountPoint)
{
    return OrganizationIssue(
        L10n::text("Cleanup"),
        L10n::format("The drive of the destination folder is not connected (%@). Connect it and try again.",
                     {displayPath(mountPoint)}));
}

std::vector<AlreadyFiledFile> OrganizationPlan::alreadyFiled() const
{
    std::vector<AlreadyFiledFile> files;
    for (const auto &[place, filed] : filedAs)
        files.push_back({moves.at(place).sourceURL, filed});
    return files;
}

const Path &OrganizationPlan::filedAsOf(std::size_t place) const
{
    static const Path none;
    const auto found = std::lower_bound(filedAs.begin(), filedAs.end(), place,
                                        [](const auto &entry, std::size_t value) { return entry.first < value; });
    return found != filedAs.end() && found->first == place ? found->second : none;
}

std::int64_t OrganizationPlan::filingCount() const
{
    return std::int64_t(
        std::count_if(moves.begin(), moves.end(), [](const PlannedMove &move) { return !move.goesToTrash(); }));
}

void OrganizationPlan::release()
{
    const std::size_t count = moves.size();
    if (executionOrder.size() == count) {
        constexpr std::size_t ahead = 8; // moves asked for ahead of their turn, to hide their latency
        for (std::size_t step = 0; step < count; ++step) {
            if (step + ahead < count && executionOrder[step + ahead] < count)
                __builtin_prefetch(&moves[executionOrder[step + ahead]]);
            if (const std::uint32_t place = executionOrder[step]; place < count) {
                PlannedMove &move = moves[place];
                [[maybe_unused]] const Path source = std::move(move.sourceURL); // freed here
                [[maybe_unused]] const Path destination = std::move(move.destinationURL);
            }
        }
    }
    *this = {};
}

} // namespace sorvanel
