// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "DefaultsSuite.h"

#include <QString>

#include <optional>
#include <variant>

namespace sorvanel {

// Every key the shared suite knows, with its type, default and bounds: the
// store, the command line, the model and the window all take them from here.
namespace SettingsSchema {

namespace Key {
// What the user sets.
inline const QString sourcePath = QStringLiteral("sourcePath");
inline const QString destinationPath = QStringLiteral("destinationPath");
inline const QString thresholdMB = QStringLiteral("thresholdMB");
inline const QString automaticEnabled = QStringLiteral("automaticEnabled");
inline const QString automaticTime = QStringLiteral("automaticTime");
inline const QString notifyAfterAutomatic = QStringLiteral("notifyAfterAutomatic");
inline const QString watchEnabled = QStringLiteral("watchEnabled");
inline const QString trashDuplicates = QStringLiteral("trashDuplicates");
// What the programs keep for themselves.
inline const QString sourceBookmark = QStringLiteral("sourceBookmark");
inline const QString destinationBookmark = QStringLiteral("destinationBookmark");
inline const QString lastAutomaticDay = QStringLiteral("lastAutomaticDay");
inline const QString lastRun = QStringLiteral("lastRun");
inline const QString lastMoved = QStringLiteral("lastMoved");
inline const QString lastSkipped = QStringLiteral("lastSkipped");
inline const QString lastFailed = QStringLiteral("lastFailed");
inline const QString lastIssues = QStringLiteral("lastIssues");
inline const QString runHistory = QStringLiteral("runHistory");
inline const QString migrationDone = QStringLiteral("appGroupMigrationV1");
} // namespace Key

inline constexpr qint64 defaultThresholdMB = 500;
inline constexpr qint64 minimumThresholdMB = 1;
inline constexpr qint64 maximumThresholdMB = 100000;
inline constexpr int defaultAutomaticHour = 22; // 22:00 local time
inline constexpr bool defaultAutomaticEnabled = false;
inline constexpr bool defaultNotifyAfterAutomatic = true;
inline constexpr bool defaultWatchEnabled = false;
inline constexpr bool defaultTrashDuplicates = true;

struct Definition
{
    QString key;
    ValueType type = ValueType::string;
    // A folder: stored as text, or as its bytes where its name is not UTF-8.
    bool folder = false;
    // For integers, the values a user may set.
    std::optional<qint64> minimum;
    std::optional<qint64> maximum;
};

// The definition of `key`; empty for a key the programs do not know.
const Definition *definition(const QString &key);

// The value `text` gives a key, as typed by a user: a known key takes its
// own type and bounds (and automaticTime also HH:MM, today in local time);
// any other key takes `type`. Either the value or why it does not fit.
std::variant<DefaultsValue, QString> parse(const QString &key, const QString &text, ValueType type);

// A value as text: data that holds JSON as that JSON on one line, other
// data as hexadecimal, dates in ISO 8601 with their UTC offset.
QString displayText(const DefaultsValue &value);

} // namespace SettingsSchema

} // namespace sorvanel
