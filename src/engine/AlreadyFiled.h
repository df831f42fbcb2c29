// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FileSystem.h"
#include "OrganizationModels.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace sorvanel {

class RunJournal;

// The name of the file that `name` is a second download of, as browsers and
// downloaders name one: "report(1).pdf" (Firefox, GNOME Web), "report
// (1).pdf" (Chromium) and "report.pdf.1" (wget), with any number, are copies
// of "report.pdf". The name itself where it is no copy's.
std::string originalName(std::string_view name);

// Which files about to be filed hold bytes that are filed already: a file
// whose name is that of a filed file, or a copy name of it ("report
// (1).pdf" of "report.pdf", not of "report (2).pdf"), and whose bytes are
// the same. Filed means one of:
// - filed by an earlier run of the journal and still there, unchanged;
// - in the target folder under the file's own name or its original's;
// - filed earlier in the same plan.
// Sizes decide first; bytes are compared only where sizes are equal, and an
// empty file is never filed already (browsers make their names empty first).
// Names and sizes decide first, hashed: a plan whose copy names have no
// original of their size beside them costs a hash or two per file.
class AlreadyFiled
{
public:
    // `moves`: the plan's, which outlive this; the journal may be null.
    AlreadyFiled(FileSystem &files, RunJournal *journal, const std::vector<PlannedMove> &moves);

    // The filed file that holds the bytes of move `k`, if any, where it is
    // filed (or will be, once the plan is carried out). `inTargetFolder`: the
    // files of the move's target folder that hold its name or its original's.
    std::optional<Path> filedCopyOf(std::size_t k, const std::vector<Path> &inTargetFolder);

    // The order to ask in: originals first, then copy names, each in plan
    // order. Of "report.pdf" and an identical "report (1).pdf", the first is filed.
    std::vector<std::size_t> askingOrder() const;
    // Whether move `k`'s name is a copy name.
    bool isCopy(std::size_t k) const { return m_originalKeys[k] != m_keys[k]; }

private:
    // A file filed already: by the journal (its paths), or a move of this plan (its index).
    struct Filed
    {
        std::string name; // for the journal's: the name it had in the source folder
        Path path; // where its bytes lie now
        FileIdentity identity;
        std::int64_t size = -1;
        std::int64_t modifiedNs = 0;
        std::int64_t move = -1; // for this plan's: the move
    };

    void readJournal(RunJournal &journal);
    bool isCandidate(const Filed &filed, std::size_t k) const;
    bool holdsSameBytes(const Path &filed, const PlannedMove &move, const Filed *expected);

    FileSystem &m_files;
    const std::vector<PlannedMove> &m_moves;
    std::vector<std::uint64_t> m_keys; // by move: its name and size, hashed
    std::vector<std::uint64_t> m_originalKeys; // by move: its original's name and size; a name not a copy's, its own
    std::vector<std::uint64_t> m_originals; // sorted: the originals' keys that copies of this plan look up
    std::unordered_map<std::uint64_t, std::vector<Filed>> m_filed; // by key
};

} // namespace sorvanel
