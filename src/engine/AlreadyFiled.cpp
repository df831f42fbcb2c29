// SPDX-License-Identifier: GPL-3.0-or-later
#include "AlreadyFiled.h"

#include "Recovery.h"
#include "RunJournal.h"

#include <algorithm>

namespace sorvanel {

namespace {

bool allDigits(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// The part of a copy's name that its original lacks: [first, last).
struct Cut
{
    std::size_t first = 0;
    std::size_t last = 0;
};

std::optional<Cut> copyMark(std::string_view name)
{
    // wget: "report.pdf.1".
    if (const auto dot = name.rfind('.'); dot != std::string_view::npos && dot > 0 && allDigits(name.substr(dot + 1))
        && name.substr(0, dot).find('.', 1) != std::string_view::npos)
        return Cut{dot, name.size()};
    // Browsers: "(1)" before an extension or at the end, after a space or not.
    for (auto close = name.rfind(')'); close != std::string_view::npos && close > 2;
         close = name.rfind(')', close - 1)) {
        if (close + 1 < name.size() && name[close + 1] != '.')
            continue;
        const auto open = name.rfind('(', close);
        if (open == std::string_view::npos || open == 0 || !allDigits(name.substr(open + 1, close - open - 1)))
            continue;
        return Cut{open > 1 && name[open - 1] == ' ' ? open - 1 : open, close + 1};
    }
    return std::nullopt;
}

// FNV-1a, fed piece by piece: a copy's original name hashes as the original does.
void feed(std::uint64_t &hash, std::string_view bytes)
{
    for (const char c : bytes) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 1099511628211ULL;
    }
}

// A name and a size, hashed: what a file is looked up by.
std::uint64_t keyOf(std::string_view name, std::int64_t size)
{
    std::uint64_t hash = 14695981039346656037ULL;
    feed(hash, name);
    feed(hash, std::string_view(reinterpret_cast<const char *>(&size), sizeof size));
    return hash;
}

// The same for a copy's original, without making its name.
std::uint64_t originalKeyOf(std::string_view name, std::int64_t size)
{
    const auto cut = copyMark(name);
    if (!cut)
        return keyOf(name, size);
    std::uint64_t hash = 14695981039346656037ULL;
    feed(hash, name.substr(0, cut->first));
    feed(hash, name.substr(cut->last));
    feed(hash, std::string_view(reinterpret_cast<const char *>(&size), sizeof size));
    return hash;
}

} // namespace

std::string originalName(std::string_view name)
{
    const auto cut = copyMark(name);
    if (!cut)
        return std::string(name);
    return std::string(name.substr(0, cut->first)) + std::string(name.substr(cut->last));
}

AlreadyFiled::AlreadyFiled(FileSystem &files, RunJournal *journal, const std::vector<PlannedMove> &moves)
    : m_files(files)
    , m_moves(moves)
{
    // What each file is looked up by: its own name, and a copy's original name too.
    // One pass over the names, which lie all over memory.
    m_keys.reserve(moves.size());
    m_originalKeys.reserve(moves.size());
    for (const PlannedMove &move : moves) {
        const std::string_view name = filenameOf(move.sourceURL);
        m_keys.push_back(keyOf(name, move.sourceSize));
        m_originalKeys.push_back(copyMark(name) ? originalKeyOf(name, move.sourceSize) : m_keys.back());
        if (m_originalKeys.back() != m_keys.back())
            m_originals.push_back(m_originalKeys.back());
    }
    std::sort(m_originals.begin(), m_originals.end());
    if (journal)
        readJournal(*journal);
}

std::vector<std::size_t> AlreadyFiled::askingOrder() const
{
    std::vector<std::size_t> order;
    order.reserve(m_keys.size());
    for (const bool copies : {false, true}) {
        for (std::size_t k = 0; k < m_keys.size(); ++k) {
            if (isCopy(k) == copies)
                order.push_back(k);
        }
    }
    return order;
}

// Only the files still counted as filed, of a name and size this plan looks for.
void AlreadyFiled::readJournal(RunJournal &journal)
{
    const std::vector<JournalRun> runs = journal.runs();
    if (std::none_of(runs.begin(), runs.end(), [](const JournalRun &run) { return run.moved > 0; }))
        return;
    // The names of any size first: the journal decodes only the moves of those.
    std::vector<std::uint64_t> names;
    for (const PlannedMove &move : m_moves) {
        names.push_back(keyOf(filenameOf(move.sourceURL), 0));
        names.push_back(originalKeyOf(filenameOf(move.sourceURL), 0));
    }
    std::sort(names.begin(), names.end());
    std::vector<std::uint64_t> wanted = m_keys; // the same name at the same size
    std::sort(wanted.begin(), wanted.end());
    const auto named = [&](std::string_view name) {
        return std::binary_search(names.begin(), names.end(), keyOf(name, 0));
    };
    for (const JournalRun &run : runs) {
        if (run.moved == 0)
            continue;
        for (const JournalMove &move : journal.moves(run.id, named)) {
            const std::uint64_t key = keyOf(filenameOf(move.source), move.size);
            if (move.state == JournalMove::State::moved && isBelow(move.destination, run.destinationRoot)
                && (std::binary_search(wanted.begin(), wanted.end(), key)
                    || std::binary_search(m_originals.begin(), m_originals.end(), key)))
                m_filed[key].push_back({std::string(filenameOf(move.source)), move.destination,
                                        JournalFacts::placedOf(move), move.size, JournalFacts::placedTimeOf(move)});
        }
    }
}

std::optional<Path> AlreadyFiled::filedCopyOf(std::size_t k, const std::vector<Path> &inTargetFolder)
{
    const PlannedMove &move = m_moves[k];
    if (move.sourceSize <= 0)
        return std::nullopt;
    for (const Path &path : inTargetFolder) {
        if (holdsSameBytes(path, move, nullptr))
            return path;
    }
    for (const std::uint64_t key : {m_keys[k], m_originalKeys[k]}) {
        const auto found = m_filed.find(key);
        for (std::size_t i = 0; found != m_filed.end() && i < found->second.size(); ++i) {
            const Filed &filed = found->second[i];
            if (!isCandidate(filed, k))
                continue;
            if (filed.move < 0 && holdsSameBytes(filed.path, move, &filed))
                return filed.path;
            if (filed.move >= 0 && holdsSameBytes(m_moves[std::size_t(filed.move)].sourceURL, move, &filed))
                return m_moves[std::size_t(filed.move)].destinationURL;
        }
        if (!isCopy(k))
            break;
    }
    // Not filed yet: a copy of it later in this plan is, where one looks for its name.
    if (std::binary_search(m_originals.begin(), m_originals.end(), m_keys[k]))
        m_filed[m_keys[k]].push_back(
            {{}, {}, move.sourceIdentity, move.sourceSize, move.sourceModifiedNs, std::int64_t(k)});
    return std::nullopt;
}

// The file's name is the one looked for, or that of its original, at the same size.
bool AlreadyFiled::isCandidate(const Filed &filed, std::size_t k) const
{
    const std::string_view name = filenameOf(m_moves[k].sourceURL);
    const std::string_view other =
        filed.move < 0 ? std::string_view(filed.name) : filenameOf(m_moves[std::size_t(filed.move)].sourceURL);
    const std::int64_t size = filed.move < 0 ? filed.size : m_moves[std::size_t(filed.move)].sourceSize;
    return size == m_moves[k].sourceSize && std::size_t(filed.move) != k
        && (other == name || other == originalName(name));
}

// `expected`: the file as it was filed, which it must still be.
bool AlreadyFiled::holdsSameBytes(const Path &filed, const PlannedMove &move, const Filed *expected)
{
    const auto stamp = m_files.stampOf(filed);
    if (!stamp || !stamp->isRegularFile || stamp->size != move.sourceSize)
        return false;
    if (expected && !stamp->sameContent(expected->identity, expected->size, expected->modifiedNs))
        return false;
    return m_files.sameBytes(move.sourceURL, filed);
}

} // namespace sorvanel
