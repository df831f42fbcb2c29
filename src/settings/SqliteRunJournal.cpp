// SPDX-License-Identifier: GPL-3.0-or-later
#include "SqliteRunJournal.h"

#include "SettingsStore.h"

#include <stdexcept>

namespace sorvanel {

namespace {

struct WriteFailed : std::runtime_error
{
    WriteFailed() : std::runtime_error("journal write failed") {}
};

void check(int result)
{
    if (result != SQLITE_DONE && result != SQLITE_ROW && result != SQLITE_OK)
        throw WriteFailed();
}

QByteArray bytes(const Path &path)
{
    return QByteArray::fromStdString(path.native());
}

Path pathFrom(const QByteArray &bytes)
{
    return Path(bytes.toStdString());
}

// Device and inode numbers are unsigned 64-bit; SQLite's integers are signed.
qint64 stored(std::uint64_t value)
{
    return qint64(value);
}

JournalRun runFrom(const SqliteStatement &row)
{
    JournalRun run;
    run.id = QUuid::fromString(row.columnText(0));
    run.date = Json::dateFromReferenceSeconds(row.columnReal(1));
    run.mode = runModeFromRawValue(row.columnText(2)).value_or(OrganizationRunMode::manual);
    run.source = pathFrom(row.columnBlob(3));
    run.destinationRoot = pathFrom(row.columnBlob(4));
    run.finished = row.columnInteger(5) != 0;
    run.undone = row.columnInteger(6) != 0;
    run.moved = row.columnInteger(7);
    return run;
}

constexpr const char *runColumns =
    "SELECT id, date, mode, source, destinationRoot, finished, undone,"
    " (SELECT count(*) FROM journalMoves m WHERE m.run = r.key AND m.state IN (0, 1)) FROM journalRuns r";

} // namespace

SqliteRunJournal::SqliteRunJournal(std::shared_ptr<DefaultsSuite> suite) : m_suite(std::move(suite))
{
    m_ready = m_suite && prepareTables(*m_suite);
}

bool SqliteRunJournal::prepareTables(DefaultsSuite &suite)
{
    SqliteDatabase &db = suite.database();
    // A kill of our own process loses nothing written in write-ahead mode
    // without a flush per commit; that flush would cost more than the moves.
    db.execute("PRAGMA synchronous=NORMAL");
    return db.execute("CREATE TABLE IF NOT EXISTS journalRuns(key INTEGER PRIMARY KEY, id TEXT UNIQUE NOT NULL,"
                      " date REAL NOT NULL, mode TEXT NOT NULL, source BLOB NOT NULL, destinationRoot BLOB NOT NULL,"
                      " finished INTEGER NOT NULL DEFAULT 0, undone INTEGER NOT NULL DEFAULT 0)")
        == SQLITE_OK
        && db.execute("CREATE TABLE IF NOT EXISTS journalMoves(run INTEGER NOT NULL, sequence INTEGER NOT NULL,"
                      " source BLOB NOT NULL, destination BLOB NOT NULL, device INTEGER NOT NULL, inode INTEGER NOT NULL,"
                      " size INTEGER NOT NULL, modifiedNs INTEGER NOT NULL, placedDevice INTEGER, placedInode INTEGER,"
                      " returnedDevice INTEGER, returnedInode INTEGER, state INTEGER NOT NULL,"
                      " PRIMARY KEY(run, sequence)) WITHOUT ROWID")
        == SQLITE_OK
        && db.execute("CREATE TABLE IF NOT EXISTS journalFolders(run INTEGER NOT NULL, path BLOB NOT NULL)") == SQLITE_OK
        && db.execute("CREATE INDEX IF NOT EXISTS journalFoldersByRun ON journalFolders(run)") == SQLITE_OK;
}

bool SqliteRunJournal::write(const std::function<void()> &body)
{
    if (!m_ready)
        return false;
    try {
        return m_suite->transaction(body);
    } catch (const WriteFailed &) {
        return false;
    }
}

std::optional<qint64> SqliteRunJournal::keyOf(const QUuid &run)
{
    SqliteStatement statement = m_suite->database().prepare("SELECT key FROM journalRuns WHERE id = ?");
    statement.bind(1, Json::uuidString(run));
    if (statement.step() != SQLITE_ROW)
        return std::nullopt;
    return statement.columnInteger(0);
}

bool SqliteRunJournal::begin(const JournalRun &run)
{
    return write([&] {
        SqliteStatement statement = m_suite->database().prepare(
            "INSERT INTO journalRuns(id, date, mode, source, destinationRoot) VALUES (?, ?, ?, ?, ?)");
        statement.bind(1, Json::uuidString(run.id));
        statement.bind(2, Json::secondsSinceReferenceDate(run.date));
        statement.bind(3, rawValue(run.mode));
        statement.bind(4, bytes(run.source));
        statement.bind(5, bytes(run.destinationRoot));
        check(statement.step());
    });
}

bool SqliteRunJournal::intend(const QUuid &run, const std::vector<JournalMove> &moves)
{
    return write([&] {
        const auto key = keyOf(run);
        if (!key)
            throw WriteFailed();
        SqliteStatement statement = m_suite->database().prepare(
            "INSERT OR REPLACE INTO journalMoves(run, sequence, source, destination, device, inode, size, modifiedNs, state)"
            " VALUES (?, ?, ?, ?, ?, ?, ?, ?, 0)");
        for (const JournalMove &move : moves) {
            statement.reset();
            statement.bind(1, *key);
            statement.bind(2, qint64(move.sequence));
            statement.bindBytes(3, move.source.native());
            statement.bindBytes(4, move.destination.native());
            statement.bind(5, stored(move.original.device));
            statement.bind(6, stored(move.original.inode));
            statement.bind(7, qint64(move.size));
            statement.bind(8, qint64(move.modifiedNs));
            check(statement.step());
        }
    });
}

bool SqliteRunJournal::publishing(const QUuid &run, std::int64_t sequence, const FileIdentity &copy,
                                  const Path &destination, bool returning)
{
    return write([&] {
        SqliteStatement statement = m_suite->database().prepare(
            returning ? "UPDATE journalMoves SET returnedDevice = ?, returnedInode = ?"
                        " WHERE run = (SELECT key FROM journalRuns WHERE id = ?) AND sequence = ?"
                      : "UPDATE journalMoves SET placedDevice = ?, placedInode = ?, destination = ?"
                        " WHERE run = (SELECT key FROM journalRuns WHERE id = ?) AND sequence = ?");
        int column = 1;
        statement.bind(column++, stored(copy.device));
        statement.bind(column++, stored(copy.inode));
        if (!returning)
            statement.bindBytes(column++, destination.native());
        statement.bind(column++, Json::uuidString(run));
        statement.bind(column++, qint64(sequence));
        check(statement.step());
    });
}

bool SqliteRunJournal::settle(const QUuid &run, const std::vector<JournalMove> &moves)
{
    return write([&] {
        const auto key = keyOf(run);
        if (!key)
            throw WriteFailed();
        SqliteDatabase &db = m_suite->database();
        SqliteStatement statement = db.prepare(
            "UPDATE journalMoves SET state = ?, destination = ?, placedDevice = ?, placedInode = ?,"
            " returnedDevice = ?, returnedInode = ? WHERE run = ? AND sequence = ?");
        for (const JournalMove &move : moves) {
            statement.reset();
            statement.bind(1, qint64(move.state));
            statement.bindBytes(2, move.destination.native());
            if (move.placed.inode) {
                statement.bind(3, stored(move.placed.device));
                statement.bind(4, stored(move.placed.inode));
            } else {
                statement.bindNull(3);
                statement.bindNull(4);
            }
            if (move.returned.inode) {
                statement.bind(5, stored(move.returned.device));
                statement.bind(6, stored(move.returned.inode));
            } else {
                statement.bindNull(5);
                statement.bindNull(6);
            }
            statement.bind(7, *key);
            statement.bind(8, qint64(move.sequence));
            check(statement.step());
        }
        // The rest of the batch went as intended.
        SqliteStatement rest = db.prepare("UPDATE journalMoves SET state = 1 WHERE run = ? AND state = 0");
        rest.bind(1, *key);
        check(rest.step());
    });
}

bool SqliteRunJournal::addFolders(const QUuid &run, const std::vector<Path> &folders)
{
    return write([&] {
        const auto key = keyOf(run);
        if (!key)
            throw WriteFailed();
        SqliteStatement statement = m_suite->database().prepare("INSERT INTO journalFolders(run, path) VALUES (?, ?)");
        for (const Path &folder : folders) {
            statement.reset();
            statement.bind(1, *key);
            statement.bindBytes(2, folder.native());
            check(statement.step());
        }
    });
}

void SqliteRunJournal::finish(const QUuid &id)
{
    write([&] {
        SqliteStatement statement = m_suite->database().prepare("UPDATE journalRuns SET finished = 1 WHERE id = ?");
        statement.bind(1, Json::uuidString(id));
        check(statement.step());
    });
}

void SqliteRunJournal::recovered(const QUuid &id)
{
    // A run cut short never reached the history: it enters now, with what
    // it was found to have moved, so that it can be seen and undone.
    write([&] {
        finish(id);
        const auto found = run(id);
        if (!found || found->moved == 0)
            return;
        OrganizationResult result;
        result.runDate = found->date;
        result.moved = found->moved;
        RunHistoryEntry entry(result, found->mode, 0);
        entry.id = id;
        SettingsStore(m_suite).addToHistory(entry);
    });
}

void SqliteRunJournal::markUndone(const QUuid &run)
{
    write([&] {
        SqliteStatement statement = m_suite->database().prepare("UPDATE journalRuns SET undone = 1 WHERE id = ?");
        statement.bind(1, Json::uuidString(run));
        check(statement.step());
    });
}

std::vector<JournalRun> SqliteRunJournal::runs()
{
    std::vector<JournalRun> found;
    if (!m_ready)
        return found;
    SqliteStatement statement = m_suite->database().prepare((std::string(runColumns) + " ORDER BY date DESC, key DESC").c_str());
    while (statement.step() == SQLITE_ROW)
        found.push_back(runFrom(statement));
    return found;
}

std::optional<JournalRun> SqliteRunJournal::run(const QUuid &id)
{
    if (!m_ready)
        return std::nullopt;
    SqliteStatement statement = m_suite->database().prepare((std::string(runColumns) + " WHERE id = ?").c_str());
    statement.bind(1, Json::uuidString(id));
    if (statement.step() != SQLITE_ROW)
        return std::nullopt;
    return runFrom(statement);
}

std::vector<JournalMove> SqliteRunJournal::moves(const QUuid &run)
{
    std::vector<JournalMove> found;
    if (!m_ready)
        return found;
    SqliteStatement statement = m_suite->database().prepare(
        "SELECT sequence, source, destination, device, inode, size, modifiedNs, placedDevice, placedInode,"
        " returnedDevice, returnedInode, state FROM journalMoves"
        " WHERE run = (SELECT key FROM journalRuns WHERE id = ?) ORDER BY sequence");
    statement.bind(1, Json::uuidString(run));
    while (statement.step() == SQLITE_ROW) {
        JournalMove move;
        move.sequence = statement.columnInteger(0);
        move.source = pathFrom(statement.columnBlob(1));
        move.destination = pathFrom(statement.columnBlob(2));
        move.original = {std::uint64_t(statement.columnInteger(3)), std::uint64_t(statement.columnInteger(4))};
        move.size = statement.columnInteger(5);
        move.modifiedNs = statement.columnInteger(6);
        move.placed = {std::uint64_t(statement.columnInteger(7)), std::uint64_t(statement.columnInteger(8))};
        move.returned = {std::uint64_t(statement.columnInteger(9)), std::uint64_t(statement.columnInteger(10))};
        const qint64 state = statement.columnInteger(11);
        move.state = state >= 0 && state <= 3 ? JournalMove::State(state) : JournalMove::State::notMoved;
        found.push_back(std::move(move));
    }
    return found;
}

std::vector<Path> SqliteRunJournal::folders(const QUuid &run)
{
    std::vector<Path> found;
    if (!m_ready)
        return found;
    SqliteStatement statement = m_suite->database().prepare(
        "SELECT path FROM journalFolders WHERE run = (SELECT key FROM journalRuns WHERE id = ?)");
    statement.bind(1, Json::uuidString(run));
    while (statement.step() == SQLITE_ROW)
        found.push_back(pathFrom(statement.columnBlob(0)));
    return found;
}

void SqliteRunJournal::prune(DefaultsSuite &suite, const QSet<QUuid> &kept)
{
    if (!prepareTables(suite))
        return;
    SqliteDatabase &db = suite.database();
    std::vector<std::pair<qint64, QUuid>> finished;
    {
        SqliteStatement statement = db.prepare("SELECT key, id FROM journalRuns WHERE finished = 1");
        while (statement.step() == SQLITE_ROW)
            finished.emplace_back(statement.columnInteger(0), QUuid::fromString(statement.columnText(1)));
    }
    for (const auto &[key, id] : finished) {
        if (kept.contains(id))
            continue;
        for (const char *sql : {"DELETE FROM journalMoves WHERE run = ?", "DELETE FROM journalFolders WHERE run = ?",
                                "DELETE FROM journalRuns WHERE key = ?"}) {
            SqliteStatement statement = db.prepare(sql);
            statement.bind(1, key);
            statement.step();
        }
    }
}

} // namespace sorvanel
