// SPDX-License-Identifier: GPL-3.0-or-later
#include "SqliteDatabase.h"

#include <QFile>

namespace sorvanel {

SqliteStatement::SqliteStatement(sqlite3 *db, const char *sql)
{
    m_prepareResult = db ? sqlite3_prepare_v2(db, sql, -1, &m_statement, nullptr) : SQLITE_MISUSE;
    if (m_prepareResult != SQLITE_OK) {
        sqlite3_finalize(m_statement);
        m_statement = nullptr;
    }
}

SqliteStatement::~SqliteStatement()
{
    sqlite3_finalize(m_statement);
}

SqliteStatement &SqliteStatement::operator=(SqliteStatement &&other) noexcept
{
    if (this != &other) {
        sqlite3_finalize(m_statement);
        m_statement = std::exchange(other.m_statement, nullptr);
        m_prepareResult = other.m_prepareResult;
    }
    return *this;
}

void SqliteStatement::bind(int index, const QString &text)
{
    const QByteArray utf8 = text.toUtf8();
    sqlite3_bind_text(m_statement, index, utf8.constData(), int(utf8.size()), SQLITE_TRANSIENT);
}

void SqliteStatement::bind(int index, qint64 value)
{
    sqlite3_bind_int64(m_statement, index, value);
}

void SqliteStatement::bind(int index, double value)
{
    sqlite3_bind_double(m_statement, index, value);
}

void SqliteStatement::bind(int index, const QByteArray &blob)
{
    // An empty array has no data pointer, which SQLite would store as NULL.
    if (blob.isEmpty())
        sqlite3_bind_zeroblob(m_statement, index, 0);
    else
        sqlite3_bind_blob(m_statement, index, blob.constData(), int(blob.size()), SQLITE_TRANSIENT);
}

void SqliteStatement::bindBytes(int index, const std::string &bytes)
{
    if (bytes.empty())
        sqlite3_bind_zeroblob(m_statement, index, 0);
    else
        sqlite3_bind_blob(m_statement, index, bytes.data(), int(bytes.size()), SQLITE_STATIC);
}

void SqliteStatement::reset()
{
    sqlite3_reset(m_statement);
}

void SqliteStatement::bindNull(int index)
{
    sqlite3_bind_null(m_statement, index);
}

int SqliteStatement::step()
{
    return m_statement ? sqlite3_step(m_statement) : SQLITE_MISUSE;
}

int SqliteStatement::columnType(int column) const
{
    return sqlite3_column_type(m_statement, column);
}

QString SqliteStatement::columnText(int column) const
{
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
    return QString::fromUtf8(text, sqlite3_column_bytes(m_statement, column));
}

qint64 SqliteStatement::columnInteger(int column) const
{
    return sqlite3_column_int64(m_statement, column);
}

double SqliteStatement::columnReal(int column) const
{
    return sqlite3_column_double(m_statement, column);
}

QByteArray SqliteStatement::columnBlob(int column) const
{
    const auto *data = static_cast<const char *>(sqlite3_column_blob(m_statement, column));
    return QByteArray(data, sqlite3_column_bytes(m_statement, column));
}

SqliteDatabase::~SqliteDatabase()
{
    close();
}

int SqliteDatabase::open(const QString &path, int flags)
{
    close();
    const int result = sqlite3_open_v2(QFile::encodeName(path).constData(), &m_db, flags, nullptr);
    if (result != SQLITE_OK)
        close();
    return result;
}

void SqliteDatabase::close()
{
    if (m_db)
        sqlite3_close_v2(m_db);
    m_db = nullptr;
}

int SqliteDatabase::execute(const char *sql)
{
    return m_db ? sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr) : SQLITE_MISUSE;
}

std::optional<QString> SqliteDatabase::queryText(const char *sql) const
{
    SqliteStatement statement = prepare(sql);
    if (statement.step() != SQLITE_ROW)
        return std::nullopt;
    return statement.columnText(0);
}

} // namespace sorvanel
