// SPDX-License-Identifier: GPL-3.0-or-later
#include "SqliteRunJournal.h"

#include "SettingsStore.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string_view>

namespace sorvanel {

namespace {

struct WriteFailed : std::runtime_error
{
    WriteFailed()
        : std::runtime_error("journal write failed")
    {
    }
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

// A batch of moves is one blob: per move, the source and destination paths
// (each relative to the run's folder where it lies below it, else absolute)
// with their lengths, then device, inode, size and modification time, all
// little-endian 64-bit. The sources' birth times follow in a blob of their
// own, 8 bytes a move (journals written before it have none: not known).
// One row per 2,048 moves writes a run of 100,000 moves in a few
// milliseconds.
void appendNumber(std::string &out, std::uint64_t value)
{
    char bytes[8];
    for (int i = 0; i < 8; ++i)
        bytes[i] = char((value >> (8 * i)) & 0xff);
    out.append(bytes, sizeof bytes);
}

std::uint64_t readNumber(const char *&in)
{
    std::uint64_t value = 0;
    for (int i = 0; i < 8; ++i)
        value |= std::uint64_t(static_cast<unsigned char>(in[i])) << (8 * i);
    in += 8;
    return value;
}

void appendPath(std::string &out, std::string_view text, const std::string &root)
{
    if (text.size() > root.size() + 1 && text.compare(0, root.size(), root) == 0 && text[root.size()] == '/')
        text.remove_prefix(root.size() + 1);
    appendNumber(out, text.size());
    out.append(text);
}

// The next length-prefixed path as stored; none where the batch is damaged.
std::optional<std::string_view> nextPath(const char *&in, const char *end)
{
    if (end - in < 8)
        return std::nullopt;
    const std::uint64_t length = readNumber(in);
    if (std::uint64_t(end - in) < length)
        return std::nullopt;
    const std::string_view text(in, length);
    in += length;
    return text;
}

// A stored path as a path: relative ones are below `root`.
Path pathBelow(std::string_view text, const std::string &root)
{
    if (text.empty() || text.front() != '/')
        return Path(root + '/' + std::string(text));
    return Path(std::string(text));
}

std::optional<Path> readPath(const char *&in, const char *end, const std::string &root)
{
    const auto text = nextPath(in, end);
    if (!text)
        return std::nullopt;
    return pathBelow(*text, root);
}

// After a move's two paths: device, inode, size and modification time, 8 bytes each.
constexpr std::ptrdiff_t stampBytes = 4 * 8;

constexpr const char *runColumns =
    "SELECT id, date, mode, source, destinationRoot, finished, undone, settledThrough, undoneFrom, total,"
    " (SELECT count(*) FROM journalOutcomes o WHERE o.run = r.key AND o.state IS NOT NULL"
    "   AND o.sequence < min(r.settledThrough, coalesce(r.undoneFrom, r.settledThrough))),"
    " (SELECT count(*) FROM journalOutcomes o WHERE o.run = r.key AND o.state = 1), grp"
    " FROM journalRuns r";

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
    // Moves below the settled mark count as moved unless an outcome says
    // otherwise or an undo swept past them; those above it are undecided,
    // which for a run still open means: perhaps moved.
    const qint64 settled = row.columnInteger(7);
    const qint64 bound = row.columnType(8) == SQLITE_NULL ? settled : std::min(settled, row.columnInteger(8));
    run.moved = bound - row.columnInteger(10) + row.columnInteger(11);
    if (!run.finished)
        run.moved += std::max<qint64>(0, row.columnInteger(9) - settled);
    if (row.columnType(12) != SQLITE_NULL)
        run.group = QUuid::fromString(row.columnText(12));
    return run;
}

} // namespace

SqliteRunJournal::SqliteRunJournal(std::shared_ptr<DefaultsSuite> suite)
    : m_suite(std::move(suite))
{
    // Settings kept in memory only (nothing could be written to disk) would
    // take the record with them when the program ends, and the run could
    // not be taken back: such a journal writes nothing, so nothing moves.
    m_ready = m_suite && !m_suite->path().isEmpty() && prepareTables(*m_suite);
}

bool SqliteRunJournal::prepareTables(DefaultsSuite &suite)
{
    SqliteDatabase &db = suite.database();
    // A kill of our own process loses nothing written in write-ahead mode
    // without a flush per commit; that flush would cost more than the moves.
    db.execute("PRAGMA synchronous=NORMAL");
    // Tables of another shape (an earlier build's) are dropped: the journal
    // then starts afresh; the history and the files are untouched.
    const bool known = db.prepare("SELECT key, id, date, mode, source, destinationRoot, finished, undone, total,"
                                  " settledThrough, undoneFrom FROM journalRuns LIMIT 0")
                           .isValid()
        && db.prepare("SELECT run, first, count, moves FROM journalBatches LIMIT 0").isValid()
        && db.prepare("SELECT run, sequence, state, destination, placedDevice, placedInode, returnedDevice,"
                      " returnedInode, reservedDevice, reservedInode, announcedNs, placedModifiedNs FROM "
                      "journalOutcomes LIMIT 0")
               .isValid();
    if (!known) {
        for (const char *table : {"journalRuns", "journalBatches", "journalOutcomes", "journalFolders", "journalMoves"})
            db.execute((std::string("DROP TABLE IF EXISTS ") + table).c_str());
    }
    // A move's state is its outcome row's where it has one (a failure, a
    // counter name, a copy across drives, an undo that could not put it
    // back), else it follows from the run's marks: below `settledThrough`
    // moved, from `undoneFrom` on restored, above `settledThrough` intended.
    return db.execute(
               "CREATE TABLE IF NOT EXISTS journalRuns(key INTEGER PRIMARY KEY, id TEXT UNIQUE NOT NULL,"
               " date REAL NOT NULL, mode TEXT NOT NULL, source BLOB NOT NULL, destinationRoot BLOB NOT NULL,"
               " finished INTEGER NOT NULL DEFAULT 0, undone INTEGER NOT NULL DEFAULT 0,"
               " total INTEGER NOT NULL DEFAULT 0, settledThrough INTEGER NOT NULL DEFAULT 0, undoneFrom INTEGER)")
        == SQLITE_OK
        && db.execute("CREATE TABLE IF NOT EXISTS journalBatches(run INTEGER NOT NULL, first INTEGER NOT NULL,"
                      " count INTEGER NOT NULL, moves BLOB NOT NULL, PRIMARY KEY(run, first))")
        == SQLITE_OK
        && db.execute("CREATE TABLE IF NOT EXISTS journalOutcomes(run INTEGER NOT NULL, sequence INTEGER NOT NULL,"
                      " state INTEGER, destination BLOB, placedDevice INTEGER, placedInode INTEGER,"
                      " returnedDevice INTEGER, returnedInode INTEGER, reservedDevice INTEGER, reservedInode INTEGER,"
                      " announcedNs INTEGER, placedModifiedNs INTEGER, PRIMARY KEY(run, sequence)) WITHOUT ROWID")
        == SQLITE_OK
        && db.execute("CREATE TABLE IF NOT EXISTS journalFolders(run INTEGER NOT NULL, path BLOB NOT NULL)")
        == SQLITE_OK
        && db.execute("CREATE INDEX IF NOT EXISTS journalFoldersByRun ON journalFolders(run)") == SQLITE_OK
        && (db.prepare("SELECT births FROM journalBatches LIMIT 0").isValid()
            || db.execute("ALTER TABLE journalBatches ADD COLUMN births BLOB") == SQLITE_OK)
        // The history entry a run belongs to where it is not its own: the
        // watcher's batches of one day.
        && (db.prepare("SELECT grp FROM journalRuns LIMIT 0").isValid()
            || db.execute("ALTER TABLE journalRuns ADD COLUMN grp TEXT") == SQLITE_OK)
        // Only the few moves on their way back, so that finding them costs nothing.
        && db.execute("CREATE INDEX IF NOT EXISTS journalReturnsUnderway ON journalOutcomes(run)"
                      " WHERE returnedInode IS NOT NULL")
        == SQLITE_OK;
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

std::optional<SqliteRunJournal::RunRow> SqliteRunJournal::rowOf(const QUuid &run)
{
    SqliteStatement statement = m_suite->database().prepare(
        "SELECT key, source, destinationRoot, settledThrough, undoneFrom FROM journalRuns WHERE id = ?");
    statement.bind(1, Json::uuidString(run));
    if (statement.step() != SQLITE_ROW)
        return std::nullopt;
    RunRow row;
    row.key = statement.columnInteger(0);
    row.source = statement.columnBlob(1).toStdString();
    row.destinationRoot = statement.columnBlob(2).toStdString();
    row.settledThrough = statement.columnInteger(3);
    if (statement.columnType(4) != SQLITE_NULL)
        row.undoneFrom = statement.columnInteger(4);
    return row;
}

bool SqliteRunJournal::begin(const JournalRun &run)
{
    m_pending.reset();
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

bool SqliteRunJournal::intend(const QUuid &run, const std::vector<JournalIntent> &moves)
{
    if (moves.empty())
        return true;
    const bool written = write([&] {
        const auto row = rowOf(run);
        if (!row)
            throw WriteFailed();
        std::string blob;
        std::string births;
        std::size_t length = 0;
        for (const JournalIntent &move : moves)
            length += move.source.size() + move.destination.size() + 6 * 8;
        blob.reserve(length);
        births.reserve(moves.size() * 8);
        for (const JournalIntent &move : moves) {
            appendPath(blob, move.source, row->source);
            appendPath(blob, move.destination, row->destinationRoot);
            appendNumber(blob, move.original.device);
            appendNumber(blob, move.original.inode);
            appendNumber(blob, std::uint64_t(move.size));
            appendNumber(blob, std::uint64_t(move.modifiedNs));
            appendNumber(births, std::uint64_t(move.bornNs));
        }
        SqliteDatabase &db = m_suite->database();
        SqliteStatement insert = db.prepare(
            "INSERT OR REPLACE INTO journalBatches(run, first, count, moves, births) VALUES (?, ?, ?, ?, ?)");
        insert.bind(1, row->key);
        insert.bind(2, qint64(moves.front().sequence));
        insert.bind(3, qint64(moves.size()));
        insert.bindBytes(4, blob);
        insert.bindBytes(5, births);
        check(insert.step());
        SqliteStatement total = db.prepare("UPDATE journalRuns SET total = max(total, ?) WHERE key = ?");
        total.bind(1, qint64(moves.back().sequence + 1));
        total.bind(2, row->key);
        check(total.step());
    });
    if (written)
        m_pending = Pending{run, moves.back().sequence + 1};
    return written;
}

void SqliteRunJournal::writeOutcome(qint64 runKey, const JournalMove &move, const RunRow &row, bool withState)
{
    SqliteStatement statement = m_suite->database().prepare(
        "INSERT INTO journalOutcomes(run, sequence, state, destination, placedDevice, placedInode, returnedDevice,"
        " returnedInode, reservedDevice, reservedInode, announcedNs, placedModifiedNs) VALUES (?, ?, ?, ?, ?, ?, ?, ?, "
        "?, ?, ?, ?)"
        " ON CONFLICT(run, sequence) DO UPDATE SET"
        " state = coalesce(excluded.state, state), destination = excluded.destination,"
        " placedDevice = excluded.placedDevice, placedInode = excluded.placedInode,"
        " returnedDevice = excluded.returnedDevice, returnedInode = excluded.returnedInode,"
        " reservedDevice = excluded.reservedDevice, reservedInode = excluded.reservedInode,"
        " announcedNs = excluded.announcedNs, placedModifiedNs = excluded.placedModifiedNs");
    statement.bind(1, runKey);
    statement.bind(2, qint64(move.sequence));
    if (withState)
        statement.bind(3, qint64(move.state));
    else
        statement.bindNull(3);
    std::string destination;
    appendPath(destination, move.destination.native(), row.destinationRoot);
    statement.bindBytes(4, destination);
    const auto bindIdentity = [&](int column, const FileIdentity &identity) {
        if (identity.inode) {
            statement.bind(column, stored(identity.device));
            statement.bind(column + 1, stored(identity.inode));
        } else {
            statement.bindNull(column);
            statement.bindNull(column + 1);
        }
    };
    bindIdentity(5, move.placed);
    bindIdentity(7, move.returned);
    bindIdentity(9, move.reserved);
    statement.bind(11, qint64(move.announcedNs));
    statement.bind(12, qint64(move.placedModifiedNs));
    check(statement.step());
}

bool SqliteRunJournal::publishing(const QUuid &run, std::int64_t sequence, const FileStamp &copy,
                                  const Path &destination, bool returning, const FileIdentity &reservation)
{
    return write([&] {
        const auto row = rowOf(run);
        if (!row)
            throw WriteFailed();
        // The move as known so far, with the copy about to take its name.
        JournalMove move;
        bool found = false;
        for (const JournalMove &known : movesOf(*row, sequence, sequence + 1)) {
            move = known;
            found = true;
        }
        if (!found)
            throw WriteFailed();
        if (returning) {
            move.returned = copy.identity;
        } else {
            move.placed = copy.identity;
            move.placedModifiedNs = copy.modifiedNs;
            move.destination = destination;
        }
        move.reserved = reservation;
        if (!reservation.inode)
            move.announcedNs = QDateTime::currentMSecsSinceEpoch() * 1000000;
        writeOutcome(row->key, move, *row, false);
        m_withOutcome.add(row->key, sequence);
    });
}

bool SqliteRunJournal::settle(const QUuid &run, const std::vector<JournalMove> &moves)
{
    return write([&] {
        auto row = rowOf(run);
        if (!row)
            throw WriteFailed();
        std::optional<qint64> undoneFrom = row->undoneFrom;
        for (const JournalMove &move : moves) {
            // A file put back by an undo, with nothing else to say: the sweep mark covers it.
            if (move.state == JournalMove::State::restored && !m_withOutcome.contains(row->key, move.sequence)) {
                undoneFrom = undoneFrom ? std::min(*undoneFrom, qint64(move.sequence)) : qint64(move.sequence);
                continue;
            }
            writeOutcome(row->key, move, *row, true);
            m_withOutcome.add(row->key, move.sequence);
        }
        SqliteStatement marks = m_suite->database().prepare(
            "UPDATE journalRuns SET settledThrough = max(settledThrough, ?), undoneFrom = ? WHERE key = ?");
        // The batch last intended is settled: moves not named went as intended.
        marks.bind(1, m_pending && m_pending->run == run ? qint64(m_pending->end) : qint64(0));
        if (undoneFrom)
            marks.bind(2, *undoneFrom);
        else
            marks.bindNull(2);
        marks.bind(3, row->key);
        check(marks.step());
    });
}

bool SqliteRunJournal::addFolders(const QUuid &run, const std::vector<Path> &folders)
{
    return write([&] {
        const auto row = rowOf(run);
        if (!row)
            throw WriteFailed();
        SqliteStatement statement = m_suite->database().prepare("INSERT INTO journalFolders(run, path) VALUES (?, ?)");
        for (const Path &folder : folders) {
            statement.reset();
            statement.bind(1, row->key);
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
    // it was found to have moved, so that it can be seen and undone; a
    // watcher's batch joins its day's entry.
    write([&] {
        finish(id);
        const auto found = run(id);
        if (!found || found->moved == 0)
            return;
        OrganizationResult result;
        result.runDate = found->date;
        result.moved = found->moved;
        if (found->mode == OrganizationRunMode::watch) {
            SettingsStore(m_suite).recordWatched(result, 0, id, false);
            return;
        }
        RunHistoryEntry entry(result, found->mode, 0);
        entry.id = id;
        SettingsStore(m_suite).addToHistory(entry);
    });
}

void SqliteRunJournal::joinGroup(const QUuid &id, const QUuid &group)
{
    write([&] {
        SqliteStatement statement = m_suite->database().prepare("UPDATE journalRuns SET grp = ? WHERE id = ?");
        statement.bind(1, Json::uuidString(group));
        statement.bind(2, Json::uuidString(id));
        check(statement.step());
    });
}

std::vector<JournalRun> SqliteRunJournal::runsOfGroup(const QUuid &group)
{
    std::vector<JournalRun> found;
    if (!m_ready)
        return found;
    SqliteStatement statement =
        m_suite->database().prepare((std::string(runColumns) + " WHERE grp = ? ORDER BY date DESC, key DESC").c_str());
    statement.bind(1, Json::uuidString(group));
    while (statement.step() == SQLITE_ROW)
        found.push_back(runFrom(statement));
    return found;
}

std::unordered_map<std::string, PutBackFile> SqliteRunJournal::putBack(const Path &source)
{
    std::unordered_map<std::string, PutBackFile> found;
    if (!m_ready)
        return found;
    std::vector<QUuid> undone;
    {
        SqliteStatement statement = m_suite->database().prepare(
            "SELECT id FROM journalRuns r WHERE source = ? AND (undoneFrom IS NOT NULL OR undone = 1 OR EXISTS"
            " (SELECT 1 FROM journalOutcomes o WHERE o.run = r.key AND o.state = 3)) ORDER BY date, key");
        statement.bind(1, bytes(source));
        while (statement.step() == SQLITE_ROW)
            undone.push_back(QUuid::fromString(statement.columnText(0)));
    }
    // Oldest first: a later put-back of the same name is the one that counts.
    for (const QUuid &id : undone) {
        for (JournalMove &move : moves(id)) {
            if (move.state == JournalMove::State::restored)
                found.insert_or_assign(std::string(filenameOf(move.source)), PutBackFile{move.size, move.modifiedNs});
        }
    }
    return found;
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
    SqliteStatement statement =
        m_suite->database().prepare((std::string(runColumns) + " ORDER BY date DESC, key DESC").c_str());
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

std::vector<JournalMove> SqliteRunJournal::movesOf(const RunRow &row, qint64 from, qint64 to, const NameFilter *wanted)
{
    std::vector<JournalMove> found;
    readBatches(row, from, to, found, wanted);
    readOutcomes(row, from, to, found);
    return found;
}

void SqliteRunJournal::readBatches(const RunRow &row, qint64 from, qint64 to, std::vector<JournalMove> &found,
                                   const NameFilter *wanted)
{
    SqliteStatement batches =
        m_suite->database().prepare("SELECT first, count, moves, births FROM journalBatches WHERE run = ? AND "
                                    "first < ? AND first + count > ? ORDER BY first");
    batches.bind(1, row.key);
    batches.bind(2, to);
    batches.bind(3, from);
    while (batches.step() == SQLITE_ROW) {
        const qint64 first = batches.columnInteger(0);
        const qint64 count = batches.columnInteger(1);
        const QByteArray blob = batches.columnBlob(2);
        const char *in = blob.constData();
        const char *end = in + blob.size();
        const QByteArray births = batches.columnBlob(3);
        const bool withBirths = births.size() == count * 8;
        for (qint64 i = 0; i < count && first + i < to; ++i) {
            const auto source = nextPath(in, end);
            const auto destination = source ? nextPath(in, end) : std::nullopt;
            if (!destination || end - in < stampBytes)
                break; // a damaged batch: what it held can't be told
            // Moves before the range are stepped over undecoded: a batch
            // holds thousands, and a copy's announcement wants only its own.
            if (first + i < from || (wanted && !(*wanted)(source->substr(source->rfind('/') + 1)))) {
                in += stampBytes;
                continue;
            }
            JournalMove move;
            move.sequence = first + i;
            move.source = pathBelow(*source, row.source);
            move.destination = pathBelow(*destination, row.destinationRoot);
            move.original.device = readNumber(in);
            move.original.inode = readNumber(in);
            move.size = std::int64_t(readNumber(in));
            move.modifiedNs = std::int64_t(readNumber(in));
            if (withBirths) {
                const char *born = births.constData() + i * 8;
                move.bornNs = std::int64_t(readNumber(born));
            }
            if (move.sequence >= row.settledThrough)
                move.state = JournalMove::State::intended;
            else if (row.undoneFrom && move.sequence >= *row.undoneFrom)
                move.state = JournalMove::State::restored;
            else
                move.state = JournalMove::State::moved;
            found.push_back(std::move(move));
        }
    }
}

void SqliteRunJournal::readOutcomes(const RunRow &row, qint64 from, qint64 to, std::vector<JournalMove> &found)
{
    SqliteStatement outcomes = m_suite->database().prepare(
        "SELECT sequence, state, destination, placedDevice, placedInode, returnedDevice, returnedInode,"
        " reservedDevice, reservedInode, announcedNs, placedModifiedNs FROM journalOutcomes WHERE run = ? "
        "AND sequence >= ? AND sequence < ? ORDER BY sequence");
    outcomes.bind(1, row.key);
    outcomes.bind(2, from);
    outcomes.bind(3, to);
    auto next = found.begin();
    while (outcomes.step() == SQLITE_ROW) {
        const qint64 sequence = outcomes.columnInteger(0);
        m_withOutcome.add(row.key, sequence);
        next = std::lower_bound(next, found.end(), sequence,
                                [](const JournalMove &move, qint64 value) { return move.sequence < value; });
        if (next == found.end() || next->sequence != sequence)
            continue;
        if (outcomes.columnType(1) != SQLITE_NULL) {
            const qint64 state = outcomes.columnInteger(1);
            next->state = state >= 0 && state <= 3 ? JournalMove::State(state) : JournalMove::State::notMoved;
        }
        const QByteArray destination = outcomes.columnBlob(2);
        const char *in = destination.constData();
        if (auto path = readPath(in, in + destination.size(), row.destinationRoot))
            next->destination = std::move(*path);
        next->placed = {std::uint64_t(outcomes.columnInteger(3)), std::uint64_t(outcomes.columnInteger(4))};
        next->returned = {std::uint64_t(outcomes.columnInteger(5)), std::uint64_t(outcomes.columnInteger(6))};
        next->reserved = {std::uint64_t(outcomes.columnInteger(7)), std::uint64_t(outcomes.columnInteger(8))};
        next->announcedNs = outcomes.columnInteger(9);
        next->placedModifiedNs = outcomes.columnInteger(10);
    }
}

std::vector<JournalMove> SqliteRunJournal::moves(const QUuid &run)
{
    if (!m_ready)
        return {};
    const auto row = rowOf(run);
    if (!row)
        return {};
    return movesOf(*row, 0, std::numeric_limits<qint64>::max());
}

std::vector<JournalMove> SqliteRunJournal::moves(const QUuid &run, const NameFilter &wanted)
{
    if (!m_ready)
        return {};
    const auto row = rowOf(run);
    if (!row)
        return {};
    return movesOf(*row, 0, std::numeric_limits<qint64>::max(), &wanted);
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

std::vector<std::pair<QUuid, JournalMove>> SqliteRunJournal::returnsUnderway(const Path &destinationRoot)
{
    std::vector<std::pair<QUuid, JournalMove>> found;
    if (!m_ready)
        return found;
    // A return that is settled keeps no identity of its copy.
    SqliteStatement statement =
        m_suite->database().prepare("SELECT r.id, o.sequence FROM journalOutcomes o JOIN journalRuns r ON r.key = o.run"
                                    " WHERE o.returnedInode IS NOT NULL AND r.destinationRoot = ?");
    statement.bind(1, bytes(destinationRoot));
    std::vector<std::pair<QUuid, qint64>> keys;
    while (statement.step() == SQLITE_ROW)
        keys.emplace_back(QUuid::fromString(statement.columnText(0)), statement.columnInteger(1));
    for (const auto &[id, sequence] : keys) {
        const auto row = rowOf(id);
        if (!row)
            continue;
        for (JournalMove &move : movesOf(*row, sequence, sequence + 1)) {
            if (move.state == JournalMove::State::moved)
                found.emplace_back(id, std::move(move));
        }
    }
    return found;
}

void SqliteRunJournal::prune(DefaultsSuite &suite, const QSet<QUuid> &kept)
{
    if (!prepareTables(suite))
        return;
    SqliteDatabase &db = suite.database();
    std::vector<std::pair<qint64, QUuid>> finished;
    {
        // A run of a group is kept while its group's entry is.
        SqliteStatement statement = db.prepare("SELECT key, coalesce(grp, id) FROM journalRuns WHERE finished = 1");
        while (statement.step() == SQLITE_ROW)
            finished.emplace_back(statement.columnInteger(0), QUuid::fromString(statement.columnText(1)));
    }
    for (const auto &[key, id] : finished) {
        if (kept.contains(id))
            continue;
        for (const char *sql : {"DELETE FROM journalBatches WHERE run = ?", "DELETE FROM journalOutcomes WHERE run = ?",
                                "DELETE FROM journalFolders WHERE run = ?", "DELETE FROM journalRuns WHERE key = ?"}) {
            SqliteStatement statement = db.prepare(sql);
            statement.bind(1, key);
            statement.step();
        }
    }
}

} // namespace sorvanel
