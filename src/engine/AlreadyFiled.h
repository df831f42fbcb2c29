// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FileSystem.h"
#include "OrganizationModels.h"

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
// whose name is that of a filed file, or a copy name of it, and whose bytes
// are the same. Filed means one of:
// - filed by an earlier run of the journal and still there, unchanged;
// - in the target folder under the file's own name or its original's;
// - filed earlier in the same plan.
// Sizes decide first; bytes are compared only where sizes are equal, and an
// empty file is never filed already (browsers make their names empty first).
class AlreadyFiled
{
public:
    // `moves`: the plan's, in name order; the journal may be null.
    AlreadyFiled(FileSystem &files, RunJournal *journal, const std::vector<PlannedMove> &moves);

    // The filed file that holds the bytes of `move`, if any. `inTargetFolder`:
    // the files of the move's target folder that hold its name or its
    // original's. Moves are asked about originals first, then copy names:
    // of "report.pdf" and an identical "report (1).pdf", the first is filed.
    std::optional<Path> filedCopyOf(const PlannedMove &move, const std::vector<Path> &inTargetFolder);

    // The order to ask in: originals first, then copy names, each in plan order.
    static std::vector<std::size_t> askingOrder(const std::vector<PlannedMove> &moves);

private:
    struct Filed
    {
        Path path; // where its bytes lie now
        Path filedAs; // where it is filed, or will be once the plan is carried out
        FileIdentity identity;
        std::int64_t size = -1;
        std::int64_t modifiedNs = 0;
    };

    void readJournal(RunJournal &journal, const std::vector<PlannedMove> &moves);
    bool holdsSameBytes(const Path &filed, const PlannedMove &move, const Filed *expected);

    FileSystem &m_files;
    // By original name: what the journal filed, then this plan's own files.
    std::unordered_multimap<std::string, Filed> m_filed;
};

} // namespace sorvanel
