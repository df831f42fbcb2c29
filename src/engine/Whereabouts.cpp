// SPDX-License-Identifier: GPL-3.0-or-later
#include "Whereabouts.h"

#include "Localization.h"
#include "Recovery.h"

#include <QFile>

#include <algorithm>
#include <fnmatch.h>
#include <unordered_map>

namespace sorvanel {

namespace {

bool isAscii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? char(c + ('a' - 'A')) : c;
}

// Whether `needle` (lower case) lies in `name`, ignoring the case of ASCII letters.
bool containsIgnoringCase(std::string_view name, const QByteArray &needle)
{
    const auto found = std::search(name.begin(), name.end(), needle.begin(), needle.end(),
                                   [](char a, char b) { return lower(a) == b; });
    return found != name.end() || needle.isEmpty();
}

} // namespace

NameMatch::NameMatch(const QString &text)
    : m_folded(folded(text))
{
    if (const QByteArray utf8 = m_folded.toUtf8(); isAscii(std::string_view(utf8.constData(), utf8.size())))
        m_ascii = utf8;
    if (text.contains(u'*') || text.contains(u'?')) {
        m_pattern.emplace(QRegularExpression::wildcardToRegularExpression(m_folded));
        m_folded.clear();
    }
}

QString NameMatch::folded(const QString &text)
{
    QString decomposed = text.normalized(QString::NormalizationForm_KD);
    decomposed.removeIf([](QChar c) {
        const auto category = c.category();
        return category == QChar::Mark_NonSpacing || category == QChar::Mark_SpacingCombining
            || category == QChar::Mark_Enclosing;
    });
    return decomposed.toCaseFolded();
}

bool NameMatch::matches(std::string_view name) const
{
    if (!m_ascii.isNull() && isAscii(name)) {
        if (!m_pattern)
            return containsIgnoringCase(name, m_ascii);
        // The shell's own matching, for a pattern and a name in ASCII.
        return ::fnmatch(m_ascii.constData(), std::string(name).c_str(), FNM_CASEFOLD | FNM_PERIOD) == 0;
    }
    const QString shown = folded(QFile::decodeName(QByteArray(name.data(), qsizetype(name.size()))));
    return m_pattern ? m_pattern->match(shown).hasMatch() : shown.contains(m_folded);
}

QString rawValue(FiledState state)
{
    switch (state) {
    case FiledState::there:
        return u"there"_qs;
    case FiledState::changed:
        return u"changed"_qs;
    case FiledState::gone:
        return u"gone"_qs;
    case FiledState::undone:
        return u"undone"_qs;
    }
    return {};
}

QString localizedName(FiledState state)
{
    switch (state) {
    case FiledState::there:
        return L10n::text("there");
    case FiledState::changed:
        return L10n::text("changed since");
    case FiledState::gone:
        return L10n::text("gone from there");
    case FiledState::undone:
        return L10n::text("put back by an undo");
    }
    return {};
}

namespace {

// What lies at a moved file's filed place, told against what the journal knows of it.
FiledState stateOnDisk(FileSystem &files, const JournalMove &move, bool numbered)
{
    const auto stamp = files.stampOf(move.destination);
    if (!stamp || !stamp->isRegularFile || (numbered && stamp->identity != JournalFacts::placedOf(move)))
        return FiledState::gone;
    const bool same = stamp->size == move.size && stamp->modifiedNs == JournalFacts::placedTimeOf(move);
    return same ? FiledState::there : FiledState::changed;
}

} // namespace

std::vector<FiledFile> findFiled(RunJournal &journal, FileSystem &files, const NameMatch &match, std::size_t limit,
                                 bool withUndone)
{
    std::vector<FiledFile> found;
    std::unordered_map<std::string, bool> numbered; // by destination root
    const auto wanted = [&](std::string_view name) { return match.matches(name); };
    for (const JournalRun &run : journal.runs()) {
        auto moves = journal.moves(run.id, wanted);
        const auto [known, added] = numbered.try_emplace(run.destinationRoot.native(), true);
        if (added && !moves.empty())
            known->second = files.keepsFileNumbers(run.destinationRoot);
        for (auto move = moves.rbegin(); move != moves.rend() && found.size() < limit; ++move) {
            const bool undone = move->state == JournalMove::State::restored;
            // Never filed, or (a run cut short and not settled yet) not where it was to go.
            if (move->state == JournalMove::State::notMoved || (undone && !withUndone))
                continue;
            const FiledState state = undone ? FiledState::undone : stateOnDisk(files, *move, known->second);
            if (move->state == JournalMove::State::intended && state == FiledState::gone)
                continue;
            found.push_back(
                {move->source, move->destination, run.group.isNull() ? run.id : run.group, run.date, run.mode, state});
        }
        if (found.size() >= limit)
            break;
    }
    return found;
}

} // namespace sorvanel
