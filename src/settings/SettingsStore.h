// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "DefaultsSuite.h"
#include "OrganizationModels.h"
#include "SettingsSchema.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace sorvanel {

// The settings as loaded at start.
struct StoredSettings
{
    Path sourceURL;
    Path destinationURL;
    std::optional<QByteArray> sourceBookmark;
    std::optional<QByteArray> destinationBookmark;
    qint64 thresholdMB = SettingsSchema::defaultThresholdMB;
    bool automaticEnabled = SettingsSchema::defaultAutomaticEnabled;
    QDateTime automaticTime;
    std::optional<QString> lastAutomaticDay;
    // A desktop notification after an automatic run that did something.
    bool notifyAfterAutomatic = SettingsSchema::defaultNotifyAfterAutomatic;
    // The watcher files each download as soon as it is finished.
    bool watchEnabled = SettingsSchema::defaultWatchEnabled;
    // A file whose bytes are filed already goes to the Trash, not beside them.
    bool trashDuplicates = SettingsSchema::defaultTrashDuplicates;
};

// The one place where settings, the last result and the run history live:
// the shared suite that the app, the agent and the command line all read.
class SettingsStore
{
public:
    static constexpr const char *applicationIdentifier = "io.github.sorvanel.Sorvanel";
    static constexpr int historyLimit = 50;

    static QString suiteName(); // "group." + the application identifier
    static QString legacyName(); // the application's own standard defaults

    // Opens the shared suite (falling back to the standard defaults, then to
    // memory) and runs the one-time migration from the standard defaults.
    SettingsStore();
    explicit SettingsStore(std::shared_ptr<DefaultsSuite> defaults);

    // Copies the 14 known keys the suite lacks from the legacy domain, once.
    static void migrateLegacyDefaultsIfNeeded(DefaultsSuite &suite, DefaultsSuite *legacy);

    DefaultsSuite &defaults() const { return *m_defaults; }
    const std::shared_ptr<DefaultsSuite> &suite() const { return m_defaults; }

    StoredSettings load() const;
    // How a folder is stored: as text, or where its name is not UTF-8 as its exact bytes.
    static DefaultsValue folderValue(const Path &folder);
    // The folder stored under `key`, either way.
    std::optional<Path> folder(const QString &key) const;
    void saveFolder(const Path &url, const std::optional<QByteArray> &bookmark, bool isSource);
    void saveThreshold(qint64 thresholdMB);
    void saveAutomaticEnabled(bool enabled);
    void saveAutomaticTime(const QDateTime &time);
    void saveLastAutomaticDay(const QString &day);
    void saveNotifyAfterAutomatic(bool notify);
    void saveWatchEnabled(bool enabled);
    void saveTrashDuplicates(bool enabled);
    void refresh();

    void save(const OrganizationResult &result);
    std::optional<OrganizationResult> loadLastResult() const;
    QList<RunHistoryEntry> loadHistory() const;
    // Saves the result as the last one and adds it to the history, under
    // `runId` (the run's journal ID) or a new ID. The run journal keeps the
    // runs the history keeps.
    void record(const OrganizationResult &result, OrganizationRunMode mode, double duration, const QUuid &runId = {});
    // Adds a run that is known only afterwards (one a kill cut short) to the
    // history, in its place by date; the last result stays as it is.
    void addToHistory(const RunHistoryEntry &entry);
    // Adds a batch of the watcher to its day's history entry ("As downloads
    // finished"), made with the day's first batch, which moves to the top
    // as it grows; the journal's run joins the entry's group. `saveResult`
    // also keeps the result as the last one. Returns the entry's ID, or
    // nothing when the history can't be read.
    std::optional<QUuid> recordWatched(const OrganizationResult &result, double duration, const QUuid &runId,
                                       bool saveResult);

private:
    void keepHistory(QList<RunHistoryEntry> &history);
    // The stored history; nothing when it is there but can't be read.
    std::optional<QList<RunHistoryEntry>> storedHistory() const;
    void addTo(const RunHistoryEntry &entry,
               const std::function<void(QList<RunHistoryEntry> &, const RunHistoryEntry &)> &insert);

    std::shared_ptr<DefaultsSuite> m_defaults;
};

} // namespace sorvanel
