// SPDX-License-Identifier: GPL-3.0-or-later
// One run of a plan. Its phases, in order:
//
//   enter                  the destination's drive is there, its lock is
//                          taken, copies a killed run left half-written go;
//   accountForRunsCutShort runs a kill cut short are recovered from what lies
//                          on disk, and this run is begun in the journal;
//   startWriterCheck       the check for files still being written starts;
//   step, for each move    a stop is heard, prepared copies are finished and
//                          made, the next batch is written down as intended,
//                          then the move: into place (under a free name if
//                          the planned one was taken meanwhile), or, for a
//                          file filed already, to the Trash (moveToTrash);
//   leave                  the last moves are finished and written down, and
//                          the problems are reported in plan order.
//
// The rules a change here must not break, each with the test that guards it:
//
// 1. Nothing moves before its batch is in the journal as intended (a kill at
//    any moment leaves a record to recover from): tst_crashsafety
//    aKillLosesNothing, tst_cleanuprun noFileMovesWithoutALastingRecord.
// 2. Every move that ends other than as planned (not moved, another name, a
//    copy on another drive) gets an outcome before its batch closes:
//    tst_cleanuprun aNameTakenDuringTheRunIsTakenBackFromItsCounterName,
//    aFileRewrittenBeforeItsRunEndsStays, undoPutsEveryFileBack.
// 3. A copy is announced to the journal before it takes a name (the
//    recorder's announcement, called by the file system): tst_posixfilesystem
//    aCopyAcrossDrivesIsAnnouncedBeforeItIsPublished, tst_cleanuprun
//    aCopyAcrossDrivesIsFinishedOnlyWhenTheJournalNamesIt.
// 4. Only the file-system service moves files (FileSystem::moveItem, which
//    never replaces anything): tst_organizer
//    injectedFaultsBecomeIssuesAndMoveNothing, tst_posixfilesystem
//    moveNeverReplaces.
// 5. The destination's lock is held from the first folder made to the last
//    outcome written: tst_races severalOrganizersAtOnce, tst_executionlock.
// 6. A stop comes between files, or inside a copy (the file stays), and the
//    rest of the batch is written down as not moved: tst_cleanuprun
//    aStoppedRunKeepsAnExactAccount, progressAndStopWithinABigCopy.
#include "Execution.h"

#include "Localization.h"
#include "Trash.h"

#include <algorithm>
#include <cerrno>
#include <numeric>

namespace sorvanel {

namespace {

// How far ahead execution asks for the next moves' memory.
constexpr std::size_t prefetchDistance = 4;

// How often a move retries with the next free name when other programs keep
// taking the one it picked.
constexpr int maximumNameAttempts = 1000;

// The plan's execution order when it is a whole permutation of its moves,
// otherwise plan order (a plan made by hand, or one that lost its order).
std::vector<std::uint32_t> executionOrder(const OrganizationPlan &plan)
{
    const std::size_t count = plan.moves.size();
    std::vector<std::uint32_t> order;
    if (plan.executionOrder.size() == count) {
        std::vector<bool> seen(count);
        bool whole = true;
        for (const std::uint32_t place : plan.executionOrder) {
            if (place >= count || seen[place]) {
                whole = false;
                break;
            }
            seen[place] = true;
        }
        if (whole)
            order = plan.executionOrder;
    }
    if (order.size() != count) {
        order.resize(count);
        std::iota(order.begin(), order.end(), 0);
    }
    return order;
}

OrganizationIssue cleanupIssue(const QString &message)
{
    return OrganizationIssue(L10n::text("Cleanup"), message);
}

} // namespace

Execution::Execution(Organizer &organizer, const OrganizationPlan &plan, const Journaling &journaling,
                     ExecutionObserver *observer)
    : m_organizer(organizer)
    , m_fs(*organizer.m_fileManager)
    , m_plan(plan)
    , m_journaling(journaling)
    , m_order(executionOrder(plan))
    , m_sourceFolder(plan.moves.empty() ? Path() : plan.moves.front().sourceURL.parent_path())
    , m_tally(observer)
    , m_recorder(journaling.journal, journaling.runId, false)
{
    m_result.runDate = plan.generatedAt;
    m_result.skipped = plan.skipped;
    m_result.issues = plan.issues;
}

OrganizationResult Execution::run()
{
    // A root the lock has to make holds nothing of a run cut short: recovering
    // against it would take every file of that run for not moved (its drive
    // may just not be plugged in). Such a run waits until its root is back.
    const bool rootWasThere = m_fs.folderExists(m_plan.destinationRoot);
    if (!enter() || !accountForRunsCutShort(rootWasThere))
        return m_result;
    startWriterCheck();
    countTotals();
    m_copies.emplace(
        m_fs, m_sourceFolder, m_plan.destinationRoot, m_order.size(),
        [this](std::size_t i) -> CopyAhead::Candidate {
            const PlannedMove &next = planned(std::int64_t(i));
            if (next.goesToTrash() || m_finishedEarlier.count(next.sourceURL.native()))
                return std::nullopt;
            return std::pair{std::string_view(next.sourceURL.native()), next.sourceSize};
        },
        [this](std::int64_t sequence, const FileError &error) {
            // Went through, but its source could not go: it keeps its place.
            --m_result.moved;
            const std::uint32_t place = m_order[std::size_t(sequence)];
            m_moveIssues.emplace_back(
                place, OrganizationIssue(displayName(m_plan.moves[place].sourceURL), error.localizedDescription()));
            m_recorder.movedBack(m_plan.moves[place], sequence);
        });
    for (std::size_t i = 0; i < m_order.size(); ++i) {
        if (!step(i))
            break;
    }
    return leave();
}

// Nothing is made on the disk below the mount point of a drive that is not
// plugged in (the files would be hidden once it is), nor without the lock.
bool Execution::enter()
{
    if (const std::optional<Path> drive = m_fs.missingDrive(m_plan.destinationRoot)) {
        m_result.issues.append(missingDriveIssue(*drive));
        return false;
    }
    try {
        m_lock = std::make_unique<OrganizerExecutionLock>(m_plan.destinationRoot, m_fs);
    } catch (const OrganizerFailure &failure) {
        m_result.issues.append(cleanupIssue(failure.errorDescription()));
        return false;
    }
    m_fs.removeLeftoverCopies(m_plan.destinationRoot);
    return true;
}

// Recovers the runs a kill cut short, then begins this one in the journal: a
// run that could not be undone moves nothing.
bool Execution::accountForRunsCutShort(bool rootWasThere)
{
    if (!m_journaling.journal)
        return true;
    if (rootWasThere)
        m_organizer.recoverInterruptedRuns(*m_journaling.journal, m_plan.destinationRoot, &m_finishedEarlier);
    if (m_plan.moves.empty()) {
        m_recorder.stand(); // nothing to write down, nothing to undo
        return true;
    }
    if (m_recorder.begin(
            {m_journaling.runId, m_plan.generatedAt, m_journaling.mode, m_sourceFolder, m_plan.destinationRoot}))
        return true;
    m_result.issues.append(
        cleanupIssue(L10n::text("The record of this cleanup could not be written, so no file was moved.")));
    return false;
}

// A download can start while a preview is open: each source is checked again
// right before its move.
void Execution::startWriterCheck()
{
    if (!m_organizer.m_writerProbe || m_plan.moves.empty())
        return;
    std::unique_ptr<FolderWatch> watch;
    auto &ahead = m_organizer.m_watchAhead;
    if (ahead && ahead->folder == m_sourceFolder)
        watch = ahead->watch.get();
    ahead.reset();
    if (watch && watch->lostCount())
        watch.reset(); // events were dropped while the plan waited: start afresh
    m_writers.emplace(*m_organizer.m_writerProbe, m_sourceFolder, std::move(watch));
}

void Execution::countTotals()
{
    if (!m_tally.watched())
        return;
    for (const PlannedMove &move : m_plan.moves)
        m_tally.add(move.sourceSize);
    m_tally.tell();
}

// False when the run ends here.
bool Execution::step(std::size_t step)
{
    // The moves lie in plan order and are visited in listing order: ask for
    // the ones a few steps ahead while this one is being moved.
    if (step + prefetchDistance < m_order.size()) {
        const PlannedMove &ahead = m_plan.moves[m_order[step + prefetchDistance]];
        __builtin_prefetch(&ahead);
        __builtin_prefetch(reinterpret_cast<const char *>(&ahead) + 64);
    }
    if (m_tally.stopRequested()) {
        stopAt(m_sequence);
        return false;
    }
    m_copies->atStep(step);
    m_tally.start(m_plan.moves[m_order[step]].sourceSize);
    const bool goOn = tryStep(step);
    m_tally.tell(); // once the file is done, however it ended
    return goOn;
}

bool Execution::tryStep(std::size_t step)
{
    if (m_recorder.batchDue(m_sequence) && !intendBatch())
        return false;
    const std::int64_t current = m_sequence++;
    m_recorder.beginMove(current);
    const PlannedMove &move = m_plan.moves[m_order[step]];
    if (!m_finishedEarlier.empty() && m_finishedEarlier.count(move.sourceURL.native())) {
        m_recorder.outcome(move, JournalMove::State::notMoved);
        return true;
    }
    // A download may have started or resumed since planning.
    if (m_writers) {
        if (auto writer = m_writers->writerOf(move.sourceURL, move.sourceIdentity)) {
            fail(step, FileError::writtenBy(std::move(*writer)));
            return true;
        }
    }
    const FileError error = move.goesToTrash() ? moveToTrash(move) : moveIntoPlace(move);
    if (error.code() == ECANCELED && m_tally.stopRequested()) {
        // Stopped within its copy: the file stays, as if it was not tried.
        m_tally.takeBack();
        stopAt(current);
        return false;
    }
    if (error) {
        fail(step, error);
        return true;
    }
    if (move.goesToTrash())
        m_result.alreadyFiled.push_back({move.sourceURL, m_plan.filedAsOf(m_order[step])});
    else
        ++m_result.moved;
    m_copies->moved(move.sourceURL.native(), current);
    // The journal already holds the planned name and identity.
    if (m_target != &move.destinationURL || m_recorder.copyAnnounced())
        m_recorder.outcome(move, JournalMove::State::moved, m_target);
    return true;
}

bool Execution::intendBatch()
{
    if (m_recorder.intendBatch(m_sequence, std::int64_t(m_plan.moves.size()),
                               [this](std::int64_t k) -> const PlannedMove & { return planned(k); }))
        return true;
    // Without its record a move could not be undone: stop here.
    m_unrecorded = cleanupIssue(
        L10n::text("The record of this cleanup could not be written, so it stopped before moving more files."));
    return false;
}

FileError Execution::moveIntoPlace(const PlannedMove &move)
{
    // Most moves need no copy of their paths: the folder and the names are views.
    const std::string_view folder =
        std::string_view(move.destinationURL.native()).substr(0, move.destinationURL.native().rfind('/'));
    if (const FileError error = ensureFolder(folder))
        return error;
    return moveUnderFreeName(move, folder);
}

// A file filed already: its info file takes a name in the trash, then the
// file follows it there; if it can't, the info file goes again.
FileError Execution::moveToTrash(const PlannedMove &move)
{
    const Path trash = Trash::folderOf(move.destinationURL);
    if (!m_readyFolders.count(trash.native())) {
        if (const FileError error = Trash::prepare(trash))
            return error;
        m_readyFolders.insert(trash.native());
    }
    const auto taken = [this](const Path &candidate) {
        return m_fs.itemExists(candidate) || m_fs.itemExists(Trash::infoOf(candidate));
    };
    m_target = &move.destinationURL;
    FileError error;
    for (int attempt = 0; attempt < maximumNameAttempts; ++attempt) {
        m_recorder.aim(*m_target);
        error = Trash::writeInfo(*m_target, move.sourceURL, systemNow());
        if (!error) {
            error = m_fs.moveItem(move.sourceURL, *m_target, trash, m_writers ? &*m_writers : nullptr,
                                  m_recorder.announcement(), m_tally.withinFile());
            if (error)
                Trash::removeInfo(*m_target, move.sourceURL);
        }
        if (error.code() != EEXIST)
            break;
        m_renamed = Organizer::uniqueDestination(std::string(filenameOf(move.sourceURL)), trash / "files", taken,
                                                 &m_hints[trash.native()]);
        m_target = &m_renamed;
    }
    return error;
}

// The planned name first; when another program took it since planning, the
// next free name made from the source's own name.
FileError Execution::moveUnderFreeName(const PlannedMove &move, std::string_view folder)
{
    const auto taken = [this](const Path &candidate) { return m_fs.itemExists(candidate); };
    m_target = &move.destinationURL;
    FileError error;
    bool folderRechecked = false;
    for (int attempt = 0; attempt < maximumNameAttempts; ++attempt) {
        m_recorder.aim(*m_target);
        error = m_fs.moveItem(move.sourceURL, *m_target, m_plan.destinationRoot, m_writers ? &*m_writers : nullptr,
                              m_recorder.announcement(), m_tally.withinFile());
        if (error.code() == EEXIST) {
            m_renamed = Organizer::uniqueDestination(std::string(filenameOf(move.sourceURL)), Path(folder), taken,
                                                     &m_hints[std::string(folder)]);
            m_target = &m_renamed;
            continue;
        }
        if (error.code() != ENOENT || folderRechecked || !m_fs.itemExists(move.sourceURL))
            break;
        // The target folder vanished under us: make it again, once.
        folderRechecked = true;
        if (const auto found = m_readyFolders.find(folder); found != m_readyFolders.end())
            m_readyFolders.erase(found);
        m_fs.closeFolders();
        if (const FileError folderError = ensureFolder(folder))
            return folderError;
    }
    return error;
}

FileError Execution::ensureFolder(std::string_view folder)
{
    if (m_readyFolders.find(folder) != m_readyFolders.end())
        return {};
    // Below the destination root no symbolic link is followed: a planted
    // link can't send a file outside it.
    const FileError error = m_fs.createDirectory(Path(folder), m_plan.destinationRoot, m_recorder.foldersMade());
    if (!error)
        m_readyFolders.emplace(folder);
    return error;
}

void Execution::fail(std::size_t step, const FileError &error)
{
    const PlannedMove &move = m_plan.moves[m_order[step]];
    m_moveIssues.emplace_back(m_order[step],
                              OrganizationIssue(displayName(move.sourceURL), error.localizedDescription()));
    m_recorder.outcome(move, JournalMove::State::notMoved);
}

// A stop: the moves from `first` on are not tried, and those of them in the
// batch the journal holds as intended are written down as not moved.
void Execution::stopAt(std::int64_t first)
{
    m_result.remaining = std::int64_t(m_plan.moves.size()) - first;
    m_recorder.notTried(first, [this](std::int64_t k) -> const PlannedMove & { return planned(k); });
}

OrganizationResult Execution::leave()
{
    m_copies->finish();
    m_recorder.closeBatch();
    m_copies->discard();
    m_fs.closeFolders();
    std::stable_sort(m_moveIssues.begin(), m_moveIssues.end(),
                     [](const auto &a, const auto &b) { return a.first < b.first; });
    for (auto &[place, issue] : m_moveIssues)
        m_result.issues.append(std::move(issue));
    if (m_unrecorded)
        m_result.issues.append(std::move(*m_unrecorded));
    return std::move(m_result);
}

} // namespace sorvanel
