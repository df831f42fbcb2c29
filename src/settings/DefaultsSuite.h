// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "SqliteDatabase.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QVariant>

#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace sorvanel {

enum class ValueType { string, integer, boolean, real, date, data };

QString typeName(ValueType type);
std::optional<ValueType> valueTypeFromName(const QString &name);

// One stored value with its type: QString, qint64, bool, double, QDateTime (UTC) or QByteArray.
struct DefaultsValue
{
    ValueType type = ValueType::string;
    QVariant value;

    static DefaultsValue string(const QString &v) { return {ValueType::string, v}; }
    static DefaultsValue integer(qint64 v) { return {ValueType::integer, QVariant::fromValue(v)}; }
    static DefaultsValue boolean(bool v) { return {ValueType::boolean, v}; }
    static DefaultsValue real(double v) { return {ValueType::real, v}; }
    static DefaultsValue date(const QDateTime &v) { return {ValueType::date, v}; }
    static DefaultsValue data(const QByteArray &v) { return {ValueType::data, v}; }

    bool operator==(const DefaultsValue &other) const { return type == other.type && value == other.value; }
};

// A typed key-value store shared by every Sorvanel process: one SQLite file
// under $XDG_CONFIG_HOME/sorvanel, written with write-ahead logging and a busy
// timeout so the app, the agent and the command line can use it at once. A
// value stored under another type than the one asked for reads as absent.
class DefaultsSuite
{
public:
    // Opens (creating if needed) the suite of that name. A file that is not a
    // readable database is moved aside and a fresh suite started. Empty when
    // the folder or file can't be opened at all.
    static std::shared_ptr<DefaultsSuite> open(const QString &suiteName);
    // Opens an existing suite only; empty when there is none.
    static std::shared_ptr<DefaultsSuite> openExisting(const QString &suiteName);
    // A second connection to this suite's file, for another thread; empty
    // for a suite in memory or when the file can't be opened.
    std::shared_ptr<DefaultsSuite> anotherConnection() const;
    // A suite that lives in memory only: the last resort when nothing can be written.
    static std::shared_ptr<DefaultsSuite> inMemory();
    // The file of a suite: $XDG_CONFIG_HOME/sorvanel/NAME.sqlite.
    static QString pathForSuite(const QString &suiteName);

    QString path() const { return m_path; }
    // The connection itself, for the tables that live beside "defaults".
    SqliteDatabase &database() { return m_db; }

    std::optional<DefaultsValue> object(const QString &key) const;
    std::optional<QString> string(const QString &key) const;
    std::optional<qint64> integer(const QString &key) const;
    std::optional<bool> boolean(const QString &key) const;
    std::optional<double> real(const QString &key) const;
    std::optional<QDateTime> date(const QString &key) const;
    std::optional<QByteArray> data(const QString &key) const;
    bool contains(const QString &key) const;
    // Every readable key, sorted by key.
    std::vector<std::pair<QString, DefaultsValue>> all() const;

    // Writes are silent: a full disk or a read-only file leaves the old value.
    void set(const QString &key, const DefaultsValue &value);
    void remove(const QString &key);

    // Runs `body` in one immediate transaction, so a read-modify-write made by
    // two processes at once loses neither. Nested calls join the outer one.
    // When the transaction can't be had (another process holds the file for
    // longer than a few busy timeouts) or can't be committed, nothing of
    // `body` is written and the answer is false: never a write outside it.
    bool transaction(const std::function<void()> &body);

    // How long one statement waits for another process's write to end.
    void setBusyTimeout(int milliseconds);

    // Makes the next read see what other processes committed. SQLite reads
    // outside a transaction always do, so there is nothing to drop here.
    void refresh() { }

private:
    DefaultsSuite() = default;
    bool prepare(bool isNetworkFileSystem);

    SqliteDatabase m_db;
    QString m_path;
    int m_transactionDepth = 0;
    int m_busyTimeoutMs = 10000;
};

} // namespace sorvanel
