// SPDX-License-Identifier: GPL-3.0-or-later
#include "DefaultsSuite.h"

#include "OrganizationModels.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace sorvanel {

namespace {

// File systems on which SQLite's shared-memory log is unsafe.
bool isNetworkFileSystem(const QString &directory)
{
    struct statfs info;
    if (::statfs(QFile::encodeName(directory).constData(), &info) != 0)
        return false;
    switch (static_cast<unsigned long>(info.f_type)) {
    case 0x6969UL: // NFS
    case 0x517BUL: // SMB
    case 0xFF534D42UL: // CIFS
    case 0xFE534D42UL: // SMB2
    case 0x65735546UL: // FUSE
    case 0x01021997UL: // 9p
        return true;
    default:
        return false;
    }
}

bool ensurePrivateFolder(const QString &folder)
{
    const QByteArray path = QFile::encodeName(folder);
    if (::mkdir(path.constData(), 0700) == 0)
        return true;
    struct stat info;
    return errno == EEXIST && ::stat(path.constData(), &info) == 0 && S_ISDIR(info.st_mode);
}

// Keep a broken file for the user to inspect; never delete it.
void moveAside(const QString &path)
{
    const QString stamp = QDateTime::currentDateTimeUtc().toString(u"yyyyMMdd-hhmmss");
    QString target = path + QStringLiteral(".broken-") + stamp;
    for (int n = 2; QFileInfo::exists(target); ++n)
        target = path + QStringLiteral(".broken-") + stamp + u'-' + QString::number(n);
    QFile::rename(path, target);
    for (const char *suffix : {"-wal", "-shm", "-journal"}) {
        const QString side = path + QLatin1String(suffix);
        if (QFileInfo::exists(side))
            QFile::rename(side, target + QLatin1String(suffix));
    }
}

// Does the stored value have the storage class its type promises?
bool isWellFormed(ValueType type, const SqliteStatement &statement, int column)
{
    const int storage = statement.columnType(column);
    switch (type) {
    case ValueType::string:
        return storage == SQLITE_TEXT;
    case ValueType::integer:
        return storage == SQLITE_INTEGER;
    case ValueType::boolean:
        return storage == SQLITE_INTEGER
            && (statement.columnInteger(column) == 0 || statement.columnInteger(column) == 1);
    case ValueType::real:
    case ValueType::date:
        return storage == SQLITE_FLOAT || storage == SQLITE_INTEGER;
    case ValueType::data:
        return storage == SQLITE_BLOB;
    }
    return false;
}

DefaultsValue readValue(ValueType type, const SqliteStatement &statement, int column)
{
    switch (type) {
    case ValueType::string:
        return DefaultsValue::string(statement.columnText(column));
    case ValueType::integer:
        return DefaultsValue::integer(statement.columnInteger(column));
    case ValueType::boolean:
        return DefaultsValue::boolean(statement.columnInteger(column) != 0);
    case ValueType::real:
        return DefaultsValue::real(statement.columnReal(column));
    case ValueType::date:
        return DefaultsValue::date(Json::dateFromReferenceSeconds(statement.columnReal(column)));
    case ValueType::data:
        return DefaultsValue::data(statement.columnBlob(column));
    }
    return {};
}

void bindValue(SqliteStatement &statement, int index, const DefaultsValue &value)
{
    switch (value.type) {
    case ValueType::string:
        statement.bind(index, value.value.toString());
        break;
    case ValueType::integer:
        statement.bind(index, value.value.toLongLong());
        break;
    case ValueType::boolean:
        statement.bind(index, qint64(value.value.toBool() ? 1 : 0));
        break;
    case ValueType::real:
        statement.bind(index, value.value.toDouble());
        break;
    case ValueType::date:
        statement.bind(index, Json::secondsSinceReferenceDate(value.value.toDateTime()));
        break;
    case ValueType::data:
        statement.bind(index, value.value.toByteArray());
        break;
    }
}

} // namespace

QString typeName(ValueType type)
{
    switch (type) {
    case ValueType::string:
        return QStringLiteral("string");
    case ValueType::integer:
        return QStringLiteral("integer");
    case ValueType::boolean:
        return QStringLiteral("boolean");
    case ValueType::real:
        return QStringLiteral("real");
    case ValueType::date:
        return QStringLiteral("date");
    case ValueType::data:
        return QStringLiteral("data");
    }
    return {};
}

std::optional<ValueType> valueTypeFromName(const QString &name)
{
    for (auto type : {ValueType::string, ValueType::integer, ValueType::boolean, ValueType::real, ValueType::date,
                      ValueType::data}) {
        if (typeName(type) == name)
            return type;
    }
    return std::nullopt;
}

QString DefaultsSuite::pathForSuite(const QString &suiteName)
{
    const QString config = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return config + QStringLiteral("/sorvanel/") + suiteName + QStringLiteral(".sqlite");
}

bool DefaultsSuite::prepare(bool networkFileSystem)
{
    sqlite3_busy_timeout(m_db.handle(), m_busyTimeoutMs);
    const char *journal = networkFileSystem ? "PRAGMA journal_mode=DELETE" : "PRAGMA journal_mode=WAL";
    if (!m_db.queryText(journal))
        return false;
    if (m_db.execute("CREATE TABLE IF NOT EXISTS defaults(key TEXT PRIMARY KEY, type TEXT NOT NULL, value)")
        != SQLITE_OK)
        return false;
    // A table of another shape is as unreadable as garbage.
    if (!m_db.prepare("SELECT key, type, value FROM defaults WHERE key = ?").isValid())
        return false;
    const auto check = m_db.queryText("PRAGMA quick_check");
    return check && *check == u"ok";
}

std::shared_ptr<DefaultsSuite> DefaultsSuite::open(const QString &suiteName)
{
    const QString path = pathForSuite(suiteName);
    const QString folder = QFileInfo(path).absolutePath();
    QDir().mkpath(QFileInfo(folder).absolutePath());
    if (!ensurePrivateFolder(folder))
        return nullptr;
    const bool network = isNetworkFileSystem(folder);
    for (int attempt = 0; attempt < 2; ++attempt) {
        // Create the file ourselves so that it is private from the first byte.
        const int fd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (fd < 0)
            return nullptr;
        ::close(fd);
        std::shared_ptr<DefaultsSuite> suite(new DefaultsSuite);
        suite->m_path = path;
        const int opened = suite->m_db.open(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX);
        if (opened == SQLITE_OK && suite->prepare(network))
            return suite;
        const int code = suite->m_db.isOpen() ? sqlite3_errcode(suite->m_db.handle()) : opened;
        suite.reset();
        // Busy or locked means another process is at work, not a broken file.
        if (code == SQLITE_BUSY || code == SQLITE_LOCKED || code == SQLITE_CANTOPEN || code == SQLITE_READONLY
            || code == SQLITE_IOERR || code == SQLITE_FULL || code == SQLITE_PERM)
            return nullptr;
        moveAside(path);
    }
    return nullptr;
}

std::shared_ptr<DefaultsSuite> DefaultsSuite::anotherConnection() const
{
    if (m_path.isEmpty())
        return nullptr;
    std::shared_ptr<DefaultsSuite> suite(new DefaultsSuite);
    suite->m_path = m_path;
    suite->m_busyTimeoutMs = m_busyTimeoutMs;
    if (suite->m_db.open(m_path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX) != SQLITE_OK)
        return nullptr;
    sqlite3_busy_timeout(suite->m_db.handle(), suite->m_busyTimeoutMs);
    return suite;
}

std::shared_ptr<DefaultsSuite> DefaultsSuite::openExisting(const QString &suiteName)
{
    const QString path = pathForSuite(suiteName);
    if (!QFileInfo(path).isFile())
        return nullptr;
    std::shared_ptr<DefaultsSuite> suite(new DefaultsSuite);
    suite->m_path = path;
    if (suite->m_db.open(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX) != SQLITE_OK)
        return nullptr;
    sqlite3_busy_timeout(suite->m_db.handle(), suite->m_busyTimeoutMs);
    if (!suite->m_db.prepare("SELECT key, type, value FROM defaults WHERE key = ?").isValid())
        return nullptr;
    return suite;
}

std::shared_ptr<DefaultsSuite> DefaultsSuite::inMemory()
{
    std::shared_ptr<DefaultsSuite> suite(new DefaultsSuite);
    suite->m_db.open(QStringLiteral(":memory:"), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX);
    suite->m_db.execute("CREATE TABLE defaults(key TEXT PRIMARY KEY, type TEXT NOT NULL, value)");
    return suite;
}

std::optional<DefaultsValue> DefaultsSuite::object(const QString &key) const
{
    SqliteStatement statement = m_db.prepare("SELECT type, value FROM defaults WHERE key = ?");
    if (!statement.isValid())
        return std::nullopt;
    statement.bind(1, key);
    if (statement.step() != SQLITE_ROW)
        return std::nullopt;
    const auto type = valueTypeFromName(statement.columnText(0));
    if (!type || !isWellFormed(*type, statement, 1))
        return std::nullopt;
    return readValue(*type, statement, 1);
}

namespace {
template<typename T> std::optional<T> typed(const std::optional<DefaultsValue> &value, ValueType type)
{
    if (!value || value->type != type)
        return std::nullopt;
    return value->value.value<T>();
}
} // namespace

std::optional<QString> DefaultsSuite::string(const QString &key) const
{
    return typed<QString>(object(key), ValueType::string);
}

std::optional<qint64> DefaultsSuite::integer(const QString &key) const
{
    return typed<qint64>(object(key), ValueType::integer);
}

std::optional<bool> DefaultsSuite::boolean(const QString &key) const
{
    return typed<bool>(object(key), ValueType::boolean);
}

std::optional<double> DefaultsSuite::real(const QString &key) const
{
    return typed<double>(object(key), ValueType::real);
}

std::optional<QDateTime> DefaultsSuite::date(const QString &key) const
{
    return typed<QDateTime>(object(key), ValueType::date);
}

std::optional<QByteArray> DefaultsSuite::data(const QString &key) const
{
    return typed<QByteArray>(object(key), ValueType::data);
}

bool DefaultsSuite::contains(const QString &key) const
{
    SqliteStatement statement = m_db.prepare("SELECT 1 FROM defaults WHERE key = ?");
    if (!statement.isValid())
        return false;
    statement.bind(1, key);
    return statement.step() == SQLITE_ROW;
}

std::vector<std::pair<QString, DefaultsValue>> DefaultsSuite::all() const
{
    std::vector<std::pair<QString, DefaultsValue>> values;
    SqliteStatement statement = m_db.prepare("SELECT key, type, value FROM defaults ORDER BY key");
    while (statement.step() == SQLITE_ROW) {
        const auto type = valueTypeFromName(statement.columnText(1));
        if (type && isWellFormed(*type, statement, 2))
            values.emplace_back(statement.columnText(0), readValue(*type, statement, 2));
    }
    return values;
}

void DefaultsSuite::set(const QString &key, const DefaultsValue &value)
{
    SqliteStatement statement = m_db.prepare("INSERT OR REPLACE INTO defaults(key, type, value) VALUES (?, ?, ?)");
    if (!statement.isValid())
        return;
    statement.bind(1, key);
    statement.bind(2, typeName(value.type));
    bindValue(statement, 3, value);
    statement.step();
}

void DefaultsSuite::remove(const QString &key)
{
    SqliteStatement statement = m_db.prepare("DELETE FROM defaults WHERE key = ?");
    if (!statement.isValid())
        return;
    statement.bind(1, key);
    statement.step();
}

bool DefaultsSuite::transaction(const std::function<void()> &body)
{
    if (m_transactionDepth > 0) {
        body();
        return true;
    }
    // Each attempt waits the busy timeout; a few of them ride out a long writer.
    bool began = false;
    for (int attempt = 0; attempt < 3 && !began; ++attempt)
        began = m_db.execute("BEGIN IMMEDIATE") == SQLITE_OK;
    if (!began)
        return false;
    ++m_transactionDepth;
    try {
        body();
    } catch (...) {
        --m_transactionDepth;
        m_db.execute("ROLLBACK");
        throw;
    }
    --m_transactionDepth;
    if (m_db.execute("COMMIT") != SQLITE_OK) {
        m_db.execute("ROLLBACK");
        return false;
    }
    return true;
}

void DefaultsSuite::setBusyTimeout(int milliseconds)
{
    m_busyTimeoutMs = milliseconds;
    sqlite3_busy_timeout(m_db.handle(), milliseconds);
}

} // namespace sorvanel
