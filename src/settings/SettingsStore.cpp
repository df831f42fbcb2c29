// SPDX-License-Identifier: GPL-3.0-or-later
#include "SettingsStore.h"

#include "SettingsSchema.h"
#include "SqliteRunJournal.h"
#include "UserFolders.h"

#include <QTime>
#include <QTimeZone>

#include <algorithm>

namespace sorvanel {

namespace {

namespace Key = SettingsSchema::Key;

// Placeholder issues stand in for lost details; a damaged count must not
// make us build millions of them.
constexpr qint64 placeholderLimit = 100000;

} // namespace

QString SettingsStore::suiteName()
{
    return u"group."_qs + QLatin1String(applicationIdentifier);
}

QString SettingsStore::legacyName()
{
    return QLatin1String(applicationIdentifier);
}

SettingsStore::SettingsStore()
{
    m_defaults = DefaultsSuite::open(suiteName());
    if (m_defaults) {
        const auto legacy = DefaultsSuite::openExisting(legacyName());
        migrateLegacyDefaultsIfNeeded(*m_defaults, legacy.get());
        return;
    }
    // The shared suite can't be opened: the standard defaults stand in, and
    // there is nothing to migrate from them into themselves.
    m_defaults = DefaultsSuite::open(legacyName());
    if (!m_defaults)
        m_defaults = DefaultsSuite::inMemory();
}

SettingsStore::SettingsStore(std::shared_ptr<DefaultsSuite> defaults)
    : m_defaults(std::move(defaults))
{
}

void SettingsStore::migrateLegacyDefaultsIfNeeded(DefaultsSuite &suite, DefaultsSuite *legacy)
{
    if (legacy == &suite)
        return;
    suite.transaction([&] {
        if (suite.boolean(Key::migrationDone).value_or(false))
            return;
        if (legacy) {
            for (const QString &key :
                 {Key::sourcePath, Key::destinationPath, Key::sourceBookmark, Key::destinationBookmark,
                  Key::thresholdMB, Key::automaticEnabled, Key::automaticTime, Key::lastAutomaticDay, Key::lastRun,
                  Key::lastMoved, Key::lastSkipped, Key::lastFailed, Key::lastIssues, Key::runHistory}) {
                if (suite.contains(key))
                    continue;
                if (const auto value = legacy->object(key))
                    suite.set(key, *value);
            }
        }
        suite.set(Key::migrationDone, DefaultsValue::boolean(true));
    });
}

StoredSettings SettingsStore::load() const
{
    const QString downloads = UserFolders::downloads();
    const QString defaultDestination = downloads + QStringLiteral("/__filesDownloadedAt");
    const QDateTime localNow = QDateTime::currentDateTime();
    const QDateTime defaultTime =
        QDateTime(localNow.date(), QTime(SettingsSchema::defaultAutomaticHour, 0), localNow.timeZone()).toUTC();

    StoredSettings settings;
    settings.sourceURL = folder(Key::sourcePath).value_or(pathFromText(downloads));
    settings.destinationURL = folder(Key::destinationPath).value_or(pathFromText(defaultDestination));
    settings.sourceBookmark = m_defaults->data(Key::sourceBookmark);
    settings.destinationBookmark = m_defaults->data(Key::destinationBookmark);
    settings.thresholdMB = m_defaults->integer(Key::thresholdMB).value_or(SettingsSchema::defaultThresholdMB);
    settings.automaticEnabled =
        m_defaults->boolean(Key::automaticEnabled).value_or(SettingsSchema::defaultAutomaticEnabled);
    settings.automaticTime = m_defaults->date(Key::automaticTime).value_or(defaultTime);
    settings.lastAutomaticDay = m_defaults->string(Key::lastAutomaticDay);
    settings.notifyAfterAutomatic =
        m_defaults->boolean(Key::notifyAfterAutomatic).value_or(SettingsSchema::defaultNotifyAfterAutomatic);
    settings.watchEnabled = m_defaults->boolean(Key::watchEnabled).value_or(SettingsSchema::defaultWatchEnabled);
    settings.trashDuplicates =
        m_defaults->boolean(Key::trashDuplicates).value_or(SettingsSchema::defaultTrashDuplicates);
    return settings;
}

DefaultsValue SettingsStore::folderValue(const Path &folder)
{
    // A name that is not UTF-8 has no text form: its bytes are kept as data.
    const QByteArray bytes = QByteArray::fromStdString(folder.native());
    const QString text = QString::fromUtf8(bytes);
    return text.toUtf8() == bytes ? DefaultsValue::string(text) : DefaultsValue::data(bytes);
}

std::optional<Path> SettingsStore::folder(const QString &key) const
{
    const auto value = m_defaults->object(key);
    if (!value)
        return std::nullopt;
    // Only a whole path names a folder: a relative one would name another
    // folder for each program, by where it happened to start.
    if (value->type == ValueType::string && value->value.toString().startsWith(u'/'))
        return pathFromText(value->value.toString());
    if (value->type == ValueType::data && value->value.toByteArray().startsWith('/'))
        return Path(value->value.toByteArray().toStdString());
    return std::nullopt;
}

void SettingsStore::saveFolder(const Path &url, const std::optional<QByteArray> &bookmark, bool isSource)
{
    m_defaults->transaction([&] {
        m_defaults->set(isSource ? Key::sourcePath : Key::destinationPath, folderValue(url));
        const QString &bookmarkKey = isSource ? Key::sourceBookmark : Key::destinationBookmark;
        if (bookmark)
            m_defaults->set(bookmarkKey, DefaultsValue::data(*bookmark));
        else
            m_defaults->remove(bookmarkKey);
    });
}

void SettingsStore::saveThreshold(qint64 thresholdMB)
{
    m_defaults->set(Key::thresholdMB, DefaultsValue::integer(thresholdMB));
}

void SettingsStore::saveAutomaticEnabled(bool enabled)
{
    m_defaults->set(Key::automaticEnabled, DefaultsValue::boolean(enabled));
}

void SettingsStore::saveAutomaticTime(const QDateTime &time)
{
    m_defaults->set(Key::automaticTime, DefaultsValue::date(time));
}

void SettingsStore::saveNotifyAfterAutomatic(bool notify)
{
    m_defaults->set(Key::notifyAfterAutomatic, DefaultsValue::boolean(notify));
}

void SettingsStore::saveWatchEnabled(bool enabled)
{
    m_defaults->set(Key::watchEnabled, DefaultsValue::boolean(enabled));
}

void SettingsStore::saveTrashDuplicates(bool enabled)
{
    m_defaults->set(Key::trashDuplicates, DefaultsValue::boolean(enabled));
}

void SettingsStore::saveLastAutomaticDay(const QString &day)
{
    m_defaults->set(Key::lastAutomaticDay, DefaultsValue::string(day));
}

void SettingsStore::refresh()
{
    m_defaults->refresh();
}

void SettingsStore::save(const OrganizationResult &result)
{
    m_defaults->transaction([&] {
        m_defaults->set(Key::lastRun, DefaultsValue::date(result.runDate));
        m_defaults->set(Key::lastMoved, DefaultsValue::integer(result.moved));
        m_defaults->set(Key::lastSkipped, DefaultsValue::integer(result.skipped));
        m_defaults->set(Key::lastFailed, DefaultsValue::integer(result.failed()));
        m_defaults->set(Key::lastIssues, DefaultsValue::data(Json::encodeIssues(result.issues)));
    });
}

std::optional<OrganizationResult> SettingsStore::loadLastResult() const
{
    const auto runDate = m_defaults->date(Key::lastRun);
    if (!runDate)
        return std::nullopt;
    OrganizationResult result;
    result.runDate = *runDate;
    result.moved = m_defaults->integer(Key::lastMoved).value_or(0);
    result.skipped = m_defaults->integer(Key::lastSkipped).value_or(0);
    const auto data = m_defaults->data(Key::lastIssues);
    const auto issues = data ? Json::decodeIssues(*data) : std::nullopt;
    if (issues) {
        result.issues = *issues;
    } else {
        // The details are gone; keep the count right with empty placeholders.
        const qint64 failed = std::clamp<qint64>(m_defaults->integer(Key::lastFailed).value_or(0), 0, placeholderLimit);
        for (qint64 i = 0; i < failed; ++i)
            result.issues.append(OrganizationIssue());
    }
    return result;
}

QList<RunHistoryEntry> SettingsStore::loadHistory() const
{
    return storedHistory().value_or(QList<RunHistoryEntry>());
}

std::optional<QList<RunHistoryEntry>> SettingsStore::storedHistory() const
{
    const auto data = m_defaults->data(Key::runHistory);
    if (!data)
        return QList<RunHistoryEntry>();
    return Json::decodeHistory(*data);
}

void SettingsStore::record(const OrganizationResult &result, OrganizationRunMode mode, double duration,
                           const QUuid &runId)
{
    RunHistoryEntry entry(result, mode, duration);
    if (!runId.isNull())
        entry.id = runId;
    // One immediate transaction: a record made by another process at the same
    // moment waits for this one and then sees its entry.
    m_defaults->transaction([&] {
        save(result);
        addTo(entry, [](QList<RunHistoryEntry> &history, const RunHistoryEntry &added) { history.prepend(added); });
    });
}

std::optional<QUuid> SettingsStore::recordWatched(const OrganizationResult &result, double duration, const QUuid &runId,
                                                  bool saveResult)
{
    std::optional<QUuid> group;
    m_defaults->transaction([&] {
        if (saveResult)
            save(result);
        std::optional<QList<RunHistoryEntry>> history = storedHistory();
        if (!history)
            return;
        const QDate day = result.runDate.toLocalTime().date();
        const auto sameDay = std::find_if(history->begin(), history->end(), [&](const RunHistoryEntry &entry) {
            return entry.newerMode.isEmpty() && entry.mode == OrganizationRunMode::watch
                && entry.date.toLocalTime().date() == day;
        });
        RunHistoryEntry entry(result, OrganizationRunMode::watch, duration);
        // What waits is not skipped: a file the watcher leaves is filed when it is finished.
        entry.skipped = 0;
        if (sameDay != history->end()) {
            entry.id = sameDay->id;
            entry.moved += sameDay->moved;
            entry.failed += sameDay->failed;
            entry.alreadyFiled += sameDay->alreadyFiled;
            entry.duration += sameDay->duration;
            entry.date = std::max(entry.date, sameDay->date);
            history->erase(sameDay);
        }
        history->prepend(entry);
        // Joined first: the history keeps the journal's runs by their entries.
        SqliteRunJournal(m_defaults).joinGroup(runId, entry.id);
        keepHistory(*history);
        group = entry.id;
    });
    return group;
}

void SettingsStore::addToHistory(const RunHistoryEntry &entry)
{
    m_defaults->transaction([&] {
        addTo(entry, [](QList<RunHistoryEntry> &history, const RunHistoryEntry &added) {
            const auto place = std::find_if(history.begin(), history.end(),
                                            [&](const RunHistoryEntry &other) { return other.date <= added.date; });
            history.insert(place, added);
        });
    });
}

void SettingsStore::addTo(const RunHistoryEntry &entry,
                          const std::function<void(QList<RunHistoryEntry> &, const RunHistoryEntry &)> &insert)
{
    // A history this version can't read is left as it is, and so are the
    // journal's runs: pruning by it would take every run's undo away.
    std::optional<QList<RunHistoryEntry>> history = storedHistory();
    if (!history)
        return;
    insert(*history, entry);
    keepHistory(*history);
}

void SettingsStore::keepHistory(QList<RunHistoryEntry> &history)
{
    if (history.size() > historyLimit)
        history.resize(historyLimit);
    m_defaults->set(Key::runHistory, DefaultsValue::data(Json::encodeHistory(history)));
    QSet<QUuid> kept;
    for (const RunHistoryEntry &entry : history)
        kept.insert(entry.id);
    SqliteRunJournal::prune(*m_defaults, kept);
}

} // namespace sorvanel
