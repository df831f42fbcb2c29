// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "DefaultsSuite.h"
#include "RunJournal.h"

#include <QSet>

#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>

namespace sorvanel {

// The run journal in the settings database, in tables of its own beside
// "defaults": one row per run, one per move, one per folder a run made.
// Paths are kept as their bytes. Every write is one immediate transaction.
class SqliteRunJournal : public RunJournal
{
public:
    explicit SqliteRunJournal(std::shared_ptr<DefaultsSuite> suite);

    bool begin(const JournalRun &run) override;
    bool intend(const QUuid &run, const std::vector<JournalIntent> &moves) override;
    bool publishing(const QUuid &run, std::int64_t sequence, const FileStamp &copy, const Path &destination,
                    bool returning, const FileIdentity &reservation = {}) override;
    bool settle(const QUuid &run, const std::vector<JournalMove> &moves) override;
    bool addFolders(const QUuid &run, const std::vector<Path> &folders) override;
    void recovered(const QUuid &run) override;
    // Closes a run that ended on its own. Call it in the transaction that
    // records the run's result, so that a run is never over without a record.
    void finish(const QUuid &run);
    void markUndone(const QUuid &run) override;
    // Makes the run one of `group`'s: the history entry that stands for it.
    void joinGroup(const QUuid &run, const QUuid &group);
    // The runs of a group, newest first.
    std::vector<JournalRun> runsOfGroup(const QUuid &group);
    // The files an undo put back into `source`, by name, with the size and
    // time they had when they were filed.
    std::unordered_map<std::string, PutBackFile> putBack(const Path &source);

    std::vector<JournalRun> runs() override;
    std::optional<JournalRun> run(const QUuid &id) override;
    std::vector<JournalMove> moves(const QUuid &run) override;
    std::vector<JournalMove> moves(const QUuid &run, const NameFilter &wanted) override;
    std::vector<Path> folders(const QUuid &run) override;
    std::vector<std::pair<QUuid, JournalMove>> returnsUnderway(const Path &destinationRoot) override;

    // Drops the finished runs whose IDs are not in `kept` (the history's).
    static void prune(DefaultsSuite &suite, const QSet<QUuid> &kept);
    // Makes the tables where they are missing; false when the database can't have them.
    static bool prepareTables(DefaultsSuite &suite);

private:
    struct RunRow
    {
        qint64 key = 0;
        std::string source;
        std::string destinationRoot;
        qint64 settledThrough = 0;
        std::optional<qint64> undoneFrom;
    };
    // The batch last intended by this journal: settling it moves the run's mark past it.
    struct Pending
    {
        QUuid run;
        qint64 end = 0;
    };
    // The moves of one run known to have an outcome row, which the sweep of
    // an undo must not cover. Only the run last read or written is kept (an
    // undo reads its run's moves before it settles any), so a process that
    // lives for weeks holds one run's worth at most.
    struct OutcomeRows
    {
        qint64 run = -1;
        std::unordered_set<qint64> sequences;

        void add(qint64 runKey, qint64 sequence)
        {
            if (runKey != run) {
                sequences.clear();
                run = runKey;
            }
            sequences.insert(sequence);
        }
        bool contains(qint64 runKey, qint64 sequence) const { return runKey == run && sequences.count(sequence); }
    };

    std::optional<RunRow> rowOf(const QUuid &run);
    std::vector<JournalMove> movesOf(const RunRow &row, qint64 from, qint64 to, const NameFilter *wanted = nullptr);
    // The moves as intended, from the batches; then what their outcomes say.
    void readBatches(const RunRow &row, qint64 from, qint64 to, std::vector<JournalMove> &found,
                     const NameFilter *wanted);
    void readOutcomes(const RunRow &row, qint64 from, qint64 to, std::vector<JournalMove> &found);
    void writeOutcome(qint64 runKey, const JournalMove &move, const RunRow &row, bool withState);
    bool write(const std::function<void()> &body);

    std::shared_ptr<DefaultsSuite> m_suite;
    bool m_ready = false;
    std::optional<Pending> m_pending;
    OutcomeRows m_withOutcome;
};

} // namespace sorvanel
