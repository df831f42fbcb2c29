// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>

#include <sqlite3.h>

#include <optional>
#include <string>
#include <utility>

namespace sorvanel {

// A prepared statement, finalized when it goes out of scope.
class SqliteStatement
{
public:
    SqliteStatement() = default;
    SqliteStatement(sqlite3 *db, const char *sql);
    ~SqliteStatement();
    SqliteStatement(SqliteStatement &&other) noexcept
        : m_statement(std::exchange(other.m_statement, nullptr))
    {
    }
    SqliteStatement &operator=(SqliteStatement &&other) noexcept;
    SqliteStatement(const SqliteStatement &) = delete;
    SqliteStatement &operator=(const SqliteStatement &) = delete;

    bool isValid() const { return m_statement != nullptr; }
    int prepareResult() const { return m_prepareResult; }

    void bind(int index, const QString &text);
    void bind(int index, qint64 value);
    void bind(int index, double value);
    void bind(int index, const QByteArray &blob);
    void bindNull(int index);
    // Binds the bytes without copying them: they must outlive the next step().
    void bindBytes(int index, const std::string &bytes);
    // Makes the statement ready to run again with new bindings.
    void reset();

    // SQLITE_ROW, SQLITE_DONE or an error code.
    int step();

    int columnType(int column) const;
    QString columnText(int column) const;
    qint64 columnInteger(int column) const;
    double columnReal(int column) const;
    QByteArray columnBlob(int column) const;

private:
    sqlite3_stmt *m_statement = nullptr;
    int m_prepareResult = SQLITE_OK;
};

// One connection to a database file, closed when it goes out of scope.
class SqliteDatabase
{
public:
    SqliteDatabase() = default;
    ~SqliteDatabase();
    SqliteDatabase(const SqliteDatabase &) = delete;
    SqliteDatabase &operator=(const SqliteDatabase &) = delete;

    int open(const QString &path, int flags);
    void close();
    bool isOpen() const { return m_db != nullptr; }

    int execute(const char *sql);
    SqliteStatement prepare(const char *sql) const { return SqliteStatement(m_db, sql); }
    // The single text value of a one-row query, such as a pragma.
    std::optional<QString> queryText(const char *sql) const;

    sqlite3 *handle() const { return m_db; }

private:
    sqlite3 *m_db = nullptr;
};

} // namespace sorvanel
