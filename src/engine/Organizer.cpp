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

// The names already taken in each target folder of one plan: what is on disk
// (read once per folder) plus what the plan itself has handed out, so that no
// two moves of a plan share a destination.
class PlannedNames
{
public:
    explicit PlannedNames(FileSystem &fileSystem) : m_fileSystem(fileSystem) {}

    Path reserve(const std::string &filename, const Path &directory)
    {
        Folder &folder = m_folders[directory.native()];
        if (!folder.loaded) {
            folder.loaded = true;
            if (auto names = m_fileSystem.namesInDirectory(directory))
                folder.taken = std::move(*names);
        }
        const Path destination = Organizer::uniqueDestination(
            filename, directory, [&](const Path &candidate) { return folder.taken.count(candidate.filename().native()) > 0; },
            &folder.hints);
        folder.taken.insert(destination.filename().native());
        return destination;
    }

private:
    struct Folder
    {
        bool loaded = false;
        std::unordered_set<std::string> taken;
        Organizer::CounterHints hints;
    };
    FileSystem &m_fileSystem;
    std::unordered_map<std::string, Folder> m_folders;
};

std::vector<QString> pathComponents(const Path &path)
{
    std::vector<QString> components;
    for (const auto &part : path) {
        if (!part.empty())
            components.push_back(QFile::decodeName(QByteArray::fromStdString(part.native())));
    }
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

FileCategory Organizer::category(const Path &url, std::int64_t size, std::int64_t threshold)
{
    if (size >= threshold)
        return FileCategory::big;
    const QString extension = pathExtension(url);
    if (graphicExtensions().contains(extension))
        return FileCategory::graphic;
    if (documentExtensions().contains(extension))
        return FileCategory::docs;
    return FileCategory::other;
}

bool Organizer::isIncomplete(const Path &url)
{
    return incompleteExtensions().contains(pathExtension(url));
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
    PlannedNames plannedNames(*m_fileManager);
    const auto recordIssue = [&](std::size_t index, const FileError &error) {
        plan.issues.append(OrganizationIssue(names[index], error.localizedDescription()));
    };

    plan.moves.reserve(entries.size());
    for (const std::size_t index : order) {
        const DirectoryEntry &entry = entries[index];
        if (entry.error) {
            recordIssue(index, entry.error);
            continue;
        }
        const FileProperties &p = entry.properties;
        if (!p.isRegularFile || p.isSymbolicLink || p.isHidden || isIncomplete(entry.url)) {
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
        const Path dateFolder = configuration.destinationURL / dateFolderName(*date, calendar).toStdString();
        const FileCategory fileCategory = category(entry.url, *p.size, configuration.largeFileThresholdBytes);
        const auto folderName = directoryName(fileCategory);
        const Path targetFolder = folderName ? dateFolder / folderName->toStdString() : dateFolder;

        PlannedMove move;
        move.id = QUuid::createUuid();
        move.sourceURL = entry.url;
        move.destinationURL = plannedNames.reserve(entry.url.filename().native(), targetFolder);
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
            const FileError error = m_fileManager->createDirectory(directory);
            if (!error)
                readyFolders.insert(directory.native());
            return error;
        };
        if (const FileError error = ensureFolder()) {
            fail(error);
            continue;
        }
        // The planned name first; when another program took it since planning,
        // the next free name made from the source's own name.
        Path target = move.destinationURL;
        FileError error;
        bool folderRechecked = false;
        for (int attempt = 0; attempt < maximumNameAttempts; ++attempt) {
            error = m_fileManager->moveItem(move.sourceURL, target);
            if (error.code() == EEXIST) {
                target = uniqueDestination(move.sourceURL.filename().native(), directory, taken,
                                           &hints[directory.native()]);
                continue;
            }
            if (error.code() == ENOENT && !folderRechecked && m_fileManager->itemExists(move.sourceURL)) {
                // The target folder vanished under us: make it again, once.
                folderRechecked = true;
                readyFolders.erase(directory.native());
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
    return result;
}

OrganizationResult Organizer::organize(const OrganizerConfiguration &configuration)
{
    return execute(makePlan(configuration));
}

} // namespace sorvanel
