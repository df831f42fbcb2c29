// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FileSystem.h"
#include "OrganizationModels.h"
#include "RunJournal.h"

#include <QRegularExpression>
#include <QString>

#include <cstddef>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

namespace sorvanel {

// A name as the user types it: without * or ?, any part of the name; with
// them, the whole name, as the shell matches it. Either way without regard
// to case, accents or Unicode composition ("resume" finds "Résumé.pdf").
class NameMatch
{
public:
    explicit NameMatch(const QString &text);
    bool matches(std::string_view name) const;
    bool isEmpty() const { return m_folded.isEmpty() && !m_pattern; }

    // What the comparison sees of a text: decomposed, without its marks, case-folded.
    static QString folded(const QString &text);

private:
    QString m_folded;
    QByteArray m_ascii; // the folded text, where it is ASCII: names in ASCII are searched as bytes
    std::optional<QRegularExpression> m_pattern;
};

// Where a file a run filed is now.
enum class FiledState : std::uint8_t {
    there, // at its filed place, as it was filed
    changed, // at its filed place, but its size or time differ
    gone, // no longer at its filed place
    undone, // put back by an undo
};

QString rawValue(FiledState state);
QString localizedName(FiledState state);

struct FiledFile
{
    Path source;
    Path destination;
    QUuid run; // the history entry's ID: the run's own, or the watcher's day
    QDateTime runDate;
    OrganizationRunMode mode = OrganizationRunMode::manual;
    FiledState state = FiledState::gone;

    // Where it is now, as far as the journal knows: back at its source once undone.
    const Path &whereNow() const { return state == FiledState::undone ? source : destination; }
};

// Every file of the journal's runs whose original name `match` takes, newest
// first: the latest run first, its last move first. At most `limit`; undone
// ones only with `withUndone`.
std::vector<FiledFile> findFiled(RunJournal &journal, FileSystem &files, const NameMatch &match,
                                 std::size_t limit = std::numeric_limits<std::size_t>::max(), bool withUndone = true);

} // namespace sorvanel
