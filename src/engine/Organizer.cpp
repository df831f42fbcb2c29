// SPDX-License-Identifier: GPL-3.0-or-later
#include "Organizer.h"

#include "Localization.h"
#include "NameCollator.h"
#include "OrganizerExecutionLock.h"

#include <QFile>

#include <cerrno>
#include <unordered_set>

namespace sorvanel {

namespace {

// The names taken in each target folder of one plan: what is on disk (read
// once per folder) and the counter names the plan has handed out. A source
// file's own name never clashes with another source file's (one folder holds
// each name once); only a counter name could, so a counter candidate must also
// be free in the source folder. No set of every planned name is kept.
class PlannedNames
{
public:
    PlannedNames(FileSystem &fileSystem, Path sourceFolder)
        : m_fileSystem(fileSystem)
        , m_sourceFolder(std::move(sourceFolder))
    {
    }

    Path reserve(const Path &source, const Path &directory)
    {
        if (directory.native() != m_lastDirectory) {
            m_lastDirectory = directory.native();
            m_folder = &m_folders[m_lastDirectory];
            if (!m_folder->loaded) {
                m_folder->loaded = true;
                if (auto names = m_fileSystem.namesInDirectory(directory))
                    m_folder->taken = std::move(*names);
            }
        }
        Folder &folder = *m_folder;
        const std::string &path = source.native();
        const std::string_view filename = std::string_view(path).substr(path.rfind('/') + 1);
        if (folder.taken.empty() || !folder.taken.count(std::string(filename)))
            return directory / filename; // the usual case: the name is free
        const Path destination = Organizer::uniqueDestination(
            std::string(filename), directory,
            [&](const Path &candidate) {
                const std::string name = candidate.native().substr(candidate.native().rfind('/') + 1);
                return folder.taken.count(name) > 0 || m_fileSystem.itemExists(m_sourceFolder / name);
            },
            &folder.hints);
        folder.taken.insert(destination.filename().native());
        return destination;
    }

private:
    struct Folder
    {
        bool loaded = false;
        std::unordered_set<std::string> taken; // on disk, and counter names handed out
        Organizer::CounterHints hints;
    };

    FileSystem &m_fileSystem;
    Path m_sourceFolder;
    std::unordered_map<std::string, Folder> m_folders;
    std::string m_lastDirectory;
    Folder *m_folder = nullptr;
};

// Day folder names by quarter hour: every zone's offset is a whole number of
// quarter hours today, so a quarter hour that starts and ends on one local
// day lies wholly in it, and its name is worked out once per plan.
class DayFolders
{
public:
    explicit DayFolders(const Calendar &calendar) : m_calendar(calendar) {}

    const std::string &name(const QDateTime &date)
    {
        constexpr qint64 quarter = 15 * 60 * 1000;
        const qint64 ms = date.toMSecsSinceEpoch();
        const qint64 bucket = ms >= 0 ? ms / quarter : (ms - quarter + 1) / quarter;
        m_lastUncached = false;
        const auto found = m_names.find(bucket);
        if (found != m_names.end())
            return found->second;
        const QDateTime start = QDateTime::fromMSecsSinceEpoch(bucket * quarter, Qt::UTC);
        const QString first = Organizer::dateFolderName(start, m_calendar);
        if (first == Organizer::dateFolderName(start.addMSecs(quarter - 1), m_calendar))
            return m_names.emplace(bucket, first.toStdString()).first->second;
        // A quarter hour across local midnight (an odd historical offset): this file alone.
        m_uncached = Organizer::dateFolderName(date, m_calendar).toStdString();
        m_lastUncached = true;
        return m_uncached;
    }

    // The last name came from the one-off slot, whose content changes.
    bool lastWasUncached() const { return m_lastUncached; }

private:
    const Calendar &m_calendar;
    std::unordered_map<qint64, std::string> m_names;
    std::string m_uncached;
    bool m_lastUncached = false;
};

std::vector<QString> pathComponents(const Path &path)
{
    std::vector<QString> components;
    const QString text = QFile::decodeName(QByteArray::fromStdString(path.native()));
    for (const QString &part : text.split(u'/', Qt::SkipEmptyParts))
        components.push_back(part);
    return components;
}

// How often a move retries with the next free name when other programs keep
// taking the one it picked.
constexpr int maximumNameAttempts = 1000;

} // namespace

Organizer::Organizer(std::shared_ptr<FileSystem> fileManager)
    : m_fileManager(std::move(fileManager))
    , m_calendarProvider(Calendar::current)
{
}

void Organizer::setCalendarProvider(std::function<Calendar()> provider)
{
    m_calendarProvider = std::move(provider);
}

const QSet<QString> &Organizer::graphicExtensions()
{
    static const QSet<QString> set{u"jpg"_qs,  u"jpeg"_qs, u"png"_qs, u"gif"_qs, u"webp"_qs, u"svg"_qs, u"heic"_qs,
                                   u"heif"_qs, u"tif"_qs,  u"tiff"_qs, u"bmp"_qs, u"ico"_qs,  u"avif"_qs};
    return set;
}

const QSet<QString> &Organizer::documentExtensions()
{
    static const QSet<QString> set{u"pdf"_qs, u"doc"_qs,  u"docx"_qs,    u"txt"_qs, u"rtf"_qs,  u"odt"_qs,
                                   u"pages"_qs, u"xls"_qs, u"xlsx"_qs, u"ods"_qs, u"numbers"_qs, u"csv"_qs,
                                   u"ppt"_qs, u"pptx"_qs, u"odp"_qs,  u"key"_qs,  u"md"_qs,    u"epub"_qs};
    return set;
}

const QSet<QString> &Organizer::incompleteExtensions()
{
    static const QSet<QString> set{u"download"_qs, u"crdownload"_qs, u"part"_qs, u"partial"_qs, u"tmp"_qs};
    return set;
}

QString Organizer::pathExtension(const Path &url)
{
    const std::string name = url.filename().native(); // a copy: filename() is a temporary
    const auto dot = name.rfind('.');
    // A leading dot marks a hidden name, not an extension; a trailing one has none.
    if (dot == std::string::npos || dot == 0 || dot + 1 == name.size())
        return {};
    return QString::fromUtf8(name.data() + dot + 1, qsizetype(name.size() - dot - 1)).toLower();
}

Organizer::ExtensionKind Organizer::extensionKind(const Path &url)
{
    const std::string &path = url.native();
    const auto slash = path.rfind('/');
    const std::string_view name = slash == std::string::npos ? std::string_view(path) : std::string_view(path).substr(slash + 1);
    const auto dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size())
        return ExtensionKind::other;
    const std::string_view extension = name.substr(dot + 1);
    // Every listed extension is short ASCII: lower-case it in place and look it up.
    char lower[12];
    if (extension.size() < sizeof lower) {
        bool ascii = true;
        for (std::size_t i = 0; i < extension.size(); ++i) {
            const auto c = static_cast<unsigned char>(extension[i]);
            ascii = ascii && c < 0x80;
            lower[i] = char(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
        }
        if (ascii) {
            static const std::unordered_map<std::string, ExtensionKind> kinds = [] {
                std::unordered_map<std::string, ExtensionKind> map;
                for (const auto &[set, kind] : {std::pair{&graphicExtensions(), ExtensionKind::graphic},
                                                std::pair{&documentExtensions(), ExtensionKind::document},
                                                std::pair{&incompleteExtensions(), ExtensionKind::incomplete}}) {
                    for (const QString &listed : *set)
                        map.emplace(listed.toStdString(), kind);
                }
                return map;
            }();
            const auto found = kinds.find(std::string(lower, extension.size())); // short: no allocation
            return found == kinds.end() ? ExtensionKind::other : found->second;
        }
    }
    // Rare: long or non-ASCII extensions get Unicode lower-casing.
    const QString text = pathExtension(url);
    if (graphicExtensions().contains(text))
        return ExtensionKind::graphic;
    if (documentExtensions().contains(text))
        return ExtensionKind::document;
    if (incompleteExtensions().contains(text))
        return ExtensionKind::incomplete;
    return ExtensionKind::other;
}

namespace {
FileCategory categoryFor(std::int64_t size, std::int64_t threshold, Organizer::ExtensionKind kind)
{
    if (size >= threshold)
        return FileCategory::big; // size wins over type; the extension is not even looked at
    switch (kind) {
    case Organizer::ExtensionKind::graphic:
        return FileCategory::graphic;
    case Organizer::ExtensionKind::document:
        return FileCategory::docs;
    default:
        return FileCategory::other;
    }
}
} // namespace

FileCategory Organizer::category(const Path &url, std::int64_t size, std::int64_t threshold)
{
    // The extension is only read when size doesn't decide.
    return categoryFor(size, threshold, size >= threshold ? ExtensionKind::other : extensionKind(url));
}

bool Organizer::isIncomplete(const Path &url)
{
    return extensionKind(url) == ExtensionKind::incomplete;
}

std::optional<QDateTime> Organizer::effectiveFileDate(const std::optional<QDateTime> &creation,
                                                      const std::optional<QDateTime> &modification)
{
    // A birth time at or before 1970 is a file system's "unknown", not a date.
    if (creation && creation->isValid() && creation->toMSecsSinceEpoch() > 0)
        return creation;
    if (modification && modification->isValid())
        return modification;
    return std::nullopt;
}

QString Organizer::dateFolderName(const QDateTime &date, const Calendar &calendar)
{
    return calendar.dayString(date);
}

Path Organizer::uniqueDestination(const std::string &filename, const Path &directory,
                                  const std::function<bool(const Path &)> &isTaken, CounterHints *hints)
{
    Path candidate = directory / filename;
    if (!isTaken(candidate))
        return candidate;
    const auto dot = filename.rfind('.');
    const bool hasExtension = dot != std::string::npos && dot != 0 && dot + 1 < filename.size();
    const std::string base = hasExtension ? filename.substr(0, dot) : filename;
    const std::string extension = hasExtension ? filename.substr(dot) : std::string();
    std::uint64_t n = 2;
    if (hints) {
        const auto found = hints->find(filename);
        if (found != hints->end())
            n = std::max<std::uint64_t>(n, found->second);
    }
    for (;; ++n) {
        candidate = directory / (base + "-" + std::to_string(n) + extension);
        if (!isTaken(candidate))
            break;
    }
    if (hints)
        (*hints)[filename] = n + 1;
    return candidate;
}

void Organizer::validate(const OrganizerConfiguration &configuration)
{
    if (configuration.largeFileThresholdBytes < 1)
        throw OrganizerFailure(OrganizerError::invalidThreshold);
    bool isDirectory = false;
    if (!m_fileManager->fileExists(configuration.sourceURL, &isDirectory))
        throw OrganizerFailure(OrganizerError::sourceDoesNotExist);
    if (!isDirectory)
        throw OrganizerFailure(OrganizerError::sourceIsNotDirectory);
    const auto source = pathComponents(m_fileManager->resolvingSymlinks(configuration.sourceURL));
    const auto destination = pathComponents(m_fileManager->resolvingSymlinks(configuration.destinationURL));
    if (source == destination)
        throw OrganizerFailure(OrganizerError::unsafeFolderRelationship);
    if (source.size() > destination.size() && std::equal(destination.begin(), destination.end(), source.begin()))
        throw OrganizerFailure(OrganizerError::unsafeFolderRelationship);
}

OrganizationPlan Organizer::makePlan(const OrganizerConfiguration &configuration)
{
    validate(configuration);
    const QDateTime now = configuration.now();
    OrganizationPlan plan;
    plan.generatedAt = now;
    plan.destinationRoot = configuration.destinationURL;

    std::vector<DirectoryEntry> entries = m_fileManager->contentsOfDirectory(configuration.sourceURL);
    std::vector<QString> names;
    names.reserve(entries.size());
    for (const auto &entry : entries)
        names.push_back(displayName(entry.url));
    const std::vector<std::size_t> order = NameCollator().stableOrder(names);

    const Calendar calendar = m_calendarProvider();
    const qint64 nowMs = now.toMSecsSinceEpoch();
    DayFolders dayFolders(calendar);
    PlannedNames plannedNames(*m_fileManager, configuration.sourceURL);
    const auto recordIssue = [&](std::size_t index, const FileError &error) {
        plan.issues.append(OrganizationIssue(names[index], error.localizedDescription()));
    };
    // The four target folders of the last day seen: most files share a day.
    const std::string *lastDay = nullptr;
    Path lastTargets[4];

    plan.moves.reserve(entries.size());
    for (const std::size_t index : order) {
        DirectoryEntry &entry = entries[index];
        if (entry.error) {
            recordIssue(index, entry.error);
            continue;
        }
        const FileProperties &p = entry.properties;
        if (!p.isRegularFile || p.isSymbolicLink || p.isHidden) {
            ++plan.skipped;
            continue;
        }
        const ExtensionKind kind = extensionKind(entry.url);
        if (kind == ExtensionKind::incomplete) {
            ++plan.skipped;
            continue;
        }
        if (configuration.minimumFileAge > 0 && p.modificationDate) {
            const double age = double(nowMs - p.modificationDate->toMSecsSinceEpoch()) / 1000.0;
            if (age < configuration.minimumFileAge) {
                ++plan.skipped;
                continue;
            }
        }
        const auto date = effectiveFileDate(p.creationDate, p.modificationDate);
        if (!date || !p.size) {
            recordIssue(index, FileError(FileError::unknownRead));
            continue;
        }
        const std::string &day = dayFolders.name(*date);
        if (&day != lastDay || dayFolders.lastWasUncached()) {
            lastDay = &day;
            const Path dateFolder = configuration.destinationURL / day;
            for (auto category : {FileCategory::big, FileCategory::graphic, FileCategory::docs, FileCategory::other}) {
                const auto folderName = directoryName(category);
                lastTargets[int(category)] = folderName ? dateFolder / folderName->toStdString() : dateFolder;
            }
        }
        const FileCategory fileCategory = categoryFor(*p.size, configuration.largeFileThresholdBytes, kind);

        PlannedMove move;
        move.id = newIdentifier();
        move.destinationURL = plannedNames.reserve(entry.url, lastTargets[int(fileCategory)]);
        move.sourceURL = std::move(entry.url);
        move.category = fileCategory;
        move.fileDate = *date;
        plan.moves.push_back(std::move(move));
    }
    return plan;
}

OrganizationResult Organizer::execute(const OrganizationPlan &plan)
{
    OrganizationResult result;
    result.runDate = plan.generatedAt;
    result.skipped = plan.skipped;
    result.issues = plan.issues;

    std::unique_ptr<OrganizerExecutionLock> lock;
    try {
        lock = std::make_unique<OrganizerExecutionLock>(plan.destinationRoot, *m_fileManager);
    } catch (const OrganizerFailure &failure) {
        result.issues.append(OrganizationIssue(L10n::text("Cleanup"), failure.errorDescription()));
        return result;
    }

    // Folders made or found in this run; re-checked when a move reports them gone.
    std::unordered_set<std::string> readyFolders;
    std::unordered_map<std::string, CounterHints> hints;
    const auto taken = [&](const Path &candidate) { return m_fileManager->itemExists(candidate); };

    for (const PlannedMove &move : plan.moves) {
        const Path directory = move.destinationURL.parent_path();
        const auto fail = [&](const FileError &error) {
            result.issues.append(OrganizationIssue(displayName(move.sourceURL), error.localizedDescription()));
        };
        const auto ensureFolder = [&]() -> FileError {
            if (readyFolders.count(directory.native()))
                return {};
            // Below the destination root no symbolic link is followed: a
            // planted link can't send a file outside it.
            const FileError error = m_fileManager->createDirectory(directory, plan.destinationRoot);
            if (!error)
                readyFolders.insert(directory.native());
            return error;
        };
        if (const FileError error = ensureFolder()) {
            fail(error);
            continue;
        }
        // A name taken since an earlier run may be that run's own copy, cut
        // short before the source was removed: finish that move instead.
        const std::string sourceName = move.sourceURL.filename().native();
        if (move.destinationURL.filename().native() != sourceName
            && m_fileManager->finishInterruptedMove(move.sourceURL, directory / sourceName)) {
            ++result.moved;
            continue;
        }
        // The planned name first; when another program took it since planning,
        // the next free name made from the source's own name.
        Path target = move.destinationURL;
        FileError error;
        bool folderRechecked = false;
        for (int attempt = 0; attempt < maximumNameAttempts; ++attempt) {
            error = m_fileManager->moveItem(move.sourceURL, target, plan.destinationRoot);
            if (error.code() == EEXIST) {
                target = uniqueDestination(move.sourceURL.filename().native(), directory, taken,
                                           &hints[directory.native()]);
                continue;
            }
            if (error.code() == ENOENT && !folderRechecked && m_fileManager->itemExists(move.sourceURL)) {
                // The target folder vanished under us: make it again, once.
                folderRechecked = true;
                readyFolders.erase(directory.native());
                m_fileManager->closeFolders();
                if (const FileError folderError = ensureFolder()) {
                    error = folderError;
                    break;
                }
                continue;
            }
            break;
        }
        if (error)
            fail(error);
        else
            ++result.moved;
    }
    m_fileManager->closeFolders();
    return result;
}

OrganizationResult Organizer::organize(const OrganizerConfiguration &configuration)
{
    return execute(makePlan(configuration));
}

} // namespace sorvanel
