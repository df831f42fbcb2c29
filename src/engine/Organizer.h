// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Calendar.h"
#include "FileSystem.h"
#include "OrganizationModels.h"
#include "WriterProbe.h"

#include <QSet>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace sorvanel {

// The organizing engine: validates a configuration, plans the moves and
// carries a plan out under the destination lock. Calls are synchronous; the
// desktop app runs them one at a time on a worker thread.
class Organizer
{
public:
    explicit Organizer(std::shared_ptr<FileSystem> fileManager = std::make_shared<PosixFileSystem>(),
                       std::shared_ptr<WriterProbe> writerProbe = std::make_shared<SystemWriterProbe>());

    // Planning asks for the calendar once per plan; tests pin one.
    void setCalendarProvider(std::function<Calendar()> provider);

    // Throws OrganizerFailure for an invalid configuration or an unreadable source.
    OrganizationPlan makePlan(const OrganizerConfiguration &configuration);
    // Never throws: every failure becomes an issue of the result.
    OrganizationResult execute(const OrganizationPlan &plan);
    // Plans, then executes. Throws what makePlan throws.
    OrganizationResult organize(const OrganizerConfiguration &configuration);

    // Throws the first failed check as OrganizerFailure.
    void validate(const OrganizerConfiguration &configuration);

    static const QSet<QString> &graphicExtensions();
    static const QSet<QString> &documentExtensions();
    static const QSet<QString> &incompleteExtensions();

    static FileCategory category(const Path &url, std::int64_t size, std::int64_t threshold);
    static bool isIncomplete(const Path &url);
    static std::optional<QDateTime> effectiveFileDate(const std::optional<QDateTime> &creation,
                                                      const std::optional<QDateTime> &modification);
    static QString dateFolderName(const QDateTime &date, const Calendar &calendar);

    // The name an unfinished download will have once done: "movie.mp4" for
    // "movie.mp4.part"; empty when the name is no unfinished download.
    static std::string_view finishedName(std::string_view unfinishedName);

    // The lower-cased text after the last dot of the name; empty when there is none.
    static QString pathExtension(const Path &url);

    // What a name's extension says, from one look at it.
    enum class ExtensionKind : std::uint8_t { other, graphic, document, incomplete };
    static ExtensionKind extensionKind(const Path &url);

    // Where the counter search for a name left off, so that many clashes on one
    // name cost one pass, not one pass per file.
    using CounterHints = std::unordered_map<std::string, std::uint64_t>;

    // The first free name for `filename` in `directory`: the name itself, then
    // base-2.ext, base-3.ext and so on.
    static Path uniqueDestination(const std::string &filename, const Path &directory,
                                  const std::function<bool(const Path &)> &isTaken, CounterHints *hints = nullptr);

private:
    OrganizationResult executeNormalized(const OrganizationPlan &plan);

    std::shared_ptr<FileSystem> m_fileManager;
    std::shared_ptr<WriterProbe> m_writerProbe;
    std::function<Calendar()> m_calendarProvider;
};

} // namespace sorvanel
