// SPDX-License-Identifier: GPL-3.0-or-later
#include "AlreadyFiled.h"

#include "Recovery.h"
#include "RunJournal.h"

#include <algorithm>
#include <unordered_set>

namespace sorvanel {

namespace {

bool allDigits(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool isBelow(const Path &path, const Path &root)
{
    const std::string &text = path.native();
    return text.size() > root.native().size() + 1 && text.starts_with(root.native())
        && text[root.native().size()] == '/';
}

} // namespace

std::string originalName(std::string_view name)
{
    // wget: "report.pdf.1".
    if (const auto dot = name.rfind('.'); dot != std::string_view::npos && dot > 0 && allDigits(name.substr(dot + 1))
        && name.substr(0, dot).find('.', 1) != std::string_view::npos)
        return std::string(name.substr(0, dot));
    // Browsers: "(1)" before an extension or at the end, after a space or not.
    for (auto close = name.rfind(')'); close != std::string_view::npos && close > 2;
         close = name.rfind(')', close - 1)) {
        if (close + 1 < name.size() && name[close + 1] != '.')
            continue;
        const auto open = name.rfind('(', close);
        if (open == std::string_view::npos || open == 0 || !allDigits(name.substr(open + 1, close - open - 1)))
            continue;
        const std::size_t cut = open > 1 && name[open - 1] == ' ' ? open - 1 : open;
        return std::string(name.substr(0, cut)) + std::string(name.substr(close + 1));
    }
    return std::string(name);
}

AlreadyFiled::AlreadyFiled(FileSystem &files, RunJournal *journal, const std::vector<PlannedMove> &moves)
    : m_files(files)
{
    if (journal)
        readJournal(*journal, moves);
}

std::vector<std::size_t> AlreadyFiled::askingOrder(const std::vector<PlannedMove> &moves)
{
    std::vector<std::size_t> originals;
    std::vector<std::size_t> copies;
    for (std::size_t k = 0; k < moves.size(); ++k) {
        const std::string_view name = filenameOf(moves[k].sourceURL);
        (originalName(name) == name ? originals : copies).push_back(k);
    }
    originals.insert(originals.end(), copies.begin(), copies.end());
    return originals;
}

// Only the files still counted as filed, and only under names this plan has.
void AlreadyFiled::readJournal(RunJournal &journal, const std::vector<PlannedMove> &moves)
{
    std::unordered_set<std::string> wanted;
    for (const PlannedMove &move : moves) {
        if (move.sourceSize > 0)
            wanted.insert(originalName(filenameOf(move.sourceURL)));
    }
    if (wanted.empty())
        return;
    for (const JournalRun &run : journal.runs()) {
        if (run.moved == 0)
            continue;
        for (const JournalMove &move : journal.moves(run.id)) {
            if (move.state != JournalMove::State::moved || !isBelow(move.destination, run.destinationRoot))
                continue;
            std::string name = originalName(filenameOf(move.source));
            if (wanted.count(name))
                m_filed.emplace(std::move(name),
                                Filed{move.destination, move.destination, JournalFacts::placedOf(move), move.size,
                                      JournalFacts::placedTimeOf(move)});
        }
    }
}

std::optional<Path> AlreadyFiled::filedCopyOf(const PlannedMove &move, const std::vector<Path> &inTargetFolder)
{
    if (move.sourceSize <= 0)
        return std::nullopt;
    for (const Path &path : inTargetFolder) {
        if (holdsSameBytes(path, move, nullptr))
            return path;
    }
    std::string name = originalName(filenameOf(move.sourceURL));
    const auto [first, last] = m_filed.equal_range(name);
    for (auto found = first; found != last; ++found) {
        if (found->second.size == move.sourceSize && holdsSameBytes(found->second.path, move, &found->second))
            return found->second.filedAs;
    }
    // Not filed yet: a copy of it later in this plan is.
    m_filed.emplace(
        std::move(name),
        Filed{move.sourceURL, move.destinationURL, move.sourceIdentity, move.sourceSize, move.sourceModifiedNs});
    return std::nullopt;
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
