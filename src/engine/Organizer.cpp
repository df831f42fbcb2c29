// SPDX-License-Identifier: GPL-3.0-or-later
#include "Organizer.h"

#include "AlreadyFiled.h"
#include "Execution.h"
#include "OrganizerExecutionLock.h"
#include "Recovery.h"

#include "Localization.h"
#include "NameCollator.h"
#include "Parallel.h"
#include "Trash.h"

#include <QFile>

#include <algorithm>
#include <deque>
#include <limits>
#include <mutex>
#include <unordered_set>

namespace sorvanel {

namespace {

// Day folder names by quarter hour: every zone's offset is a whole number of
// quarter hours today, so a quarter hour that starts and ends on one local
// day lies wholly in it, and its name is worked out once per plan. Each
// planning thread keeps its own cache; the calendar itself is only asked
// under a lock shared by all of them.
class DayFolders
{
public:
    DayFolders(const Calendar &calendar, std::mutex &calendarLock)
        : m_calendar(calendar)
        , m_calendarLock(calendarLock)
    {
    }

    // The index of the date's day in names().
    std::uint32_t index(const QDateTime &date)
    {
        constexpr qint64 quarter = 15 * 60 * 1000;
        const qint64 ms = date.toMSecsSinceEpoch();
        const qint64 bucket = ms >= 0 ? ms / quarter : (ms - quarter + 1) / quarter;
        if (bucket == m_lastBucket)
            return m_lastIndex;
        const auto found = m_buckets.find(bucket);
        if (found != m_buckets.end()) {
            m_lastBucket = bucket;
            m_lastIndex = found->second;
            return m_lastIndex;
        }
        const std::lock_guard lock(m_calendarLock);
        const QDateTime start = QDateTime::fromMSecsSinceEpoch(bucket * quarter, Qt::UTC);
        const QString first = Organizer::dateFolderName(start, m_calendar);
        if (first != Organizer::dateFolderName(start.addMSecs(quarter - 1), m_calendar)) {
            // A quarter hour across local midnight (an odd historical offset): this file alone.
            return add(Organizer::dateFolderName(date, m_calendar));
        }
        m_lastBucket = bucket;
        m_lastIndex = add(first);
        m_buckets.emplace(bucket, m_lastIndex);
        return m_lastIndex;
    }

    const std::vector<std::string> &names() const { return m_names; }

private:
    std::uint32_t add(const QString &name)
    {
        const auto [found, added] = m_indices.emplace(name.toStdString(), std::uint32_t(m_names.size()));
        if (added)
            m_names.push_back(found->first);
        return found->second;
    }

    const Calendar m_calendar;
    std::mutex &m_calendarLock;
    std::unordered_map<qint64, std::uint32_t> m_buckets;
    std::unordered_map<std::string, std::uint32_t> m_indices; // of the names
    std::vector<std::string> m_names;
    qint64 m_lastBucket = std::numeric_limits<qint64>::min();
    std::uint32_t m_lastIndex = 0;
};

// What the first pass over the listing decides for one entry.
struct Sorting
{
    enum Verdict : std::uint8_t { move, skip, issue, untouched };
    Verdict verdict = skip;
    SkipReason reason = SkipReason::notRegularFile;
    FileCategory category = FileCategory::other;
    std::uint16_t part = 0; // the planning thread, whose day names `day` indexes
    std::uint32_t day = 0;
    std::uint32_t companion = 0; // a download's control file beside it: that file's entry
};

// One folder files are planned into, and the names taken in it: what is on
// disk (read once) and the counter names handed out.
struct TargetFolder
{
    Path path;
    bool needed = false;
    std::unordered_set<std::string> taken;
    Organizer::CounterHints hints;
    bool hasClash = false;
    // The names of the files planned into it, once a name clashes: views of
    // the moves' paths, or of `foldedNames` where the destination ignores case.
    std::unordered_set<std::string_view> ownNames;
    std::deque<std::string> foldedNames;
};

std::vector<QString> pathComponents(const Path &path)
{
    std::vector<QString> components;
    const QString text = QFile::decodeName(QByteArray::fromStdString(path.native()));
    for (const QString &part : text.split(u'/', Qt::SkipEmptyParts))
        components.push_back(part);
    return components;
}

} // namespace

Organizer::Organizer(std::shared_ptr<FileSystem> fileManager, std::shared_ptr<WriterProbe> writerProbe)
    : m_fileManager(std::move(fileManager))
    , m_writerProbe(std::move(writerProbe))
    , m_calendarProvider(Calendar::current)
{
}

Organizer::~Organizer() = default;
Organizer::Organizer(Organizer &&) noexcept = default;
Organizer &Organizer::operator=(Organizer &&) noexcept = default;

void Organizer::setCalendarProvider(std::function<Calendar()> provider)
{
    m_calendarProvider = std::move(provider);
}

const QSet<QString> &Organizer::graphicExtensions()
{
    static const QSet<QString> set{u"jpg"_qs,  u"jpeg"_qs, u"png"_qs,  u"gif"_qs, u"webp"_qs, u"svg"_qs, u"heic"_qs,
                                   u"heif"_qs, u"tif"_qs,  u"tiff"_qs, u"bmp"_qs, u"ico"_qs,  u"avif"_qs};
    return set;
}

const QSet<QString> &Organizer::documentExtensions()
{
    static const QSet<QString> set{u"pdf"_qs,   u"doc"_qs,  u"docx"_qs, u"txt"_qs, u"rtf"_qs,     u"odt"_qs,
                                   u"pages"_qs, u"xls"_qs,  u"xlsx"_qs, u"ods"_qs, u"numbers"_qs, u"csv"_qs,
                                   u"ppt"_qs,   u"pptx"_qs, u"odp"_qs,  u"key"_qs, u"md"_qs,      u"epub"_qs};
    return set;
}

const QSet<QString> &Organizer::incompleteExtensions()
{
    // Browsers (Safari, Chrome, Firefox, GNOME Web), qBittorrent, yt-dlp and
    // aria2 (whose ".aria2" control file lies beside the file it fills).
    static const QSet<QString> set{u"download"_qs,   u"crdownload"_qs, u"part"_qs, u"partial"_qs, u"tmp"_qs,
                                   u"wkdownload"_qs, u"!qb"_qs,        u"ytdl"_qs, u"aria2"_qs};
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
    const std::string_view name =
        slash == std::string::npos ? std::string_view(path) : std::string_view(path).substr(slash + 1);
    const auto dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size())
        return ExtensionKind::other;
    const std::string_view extension = name.substr(dot + 1);
    // yt-dlp's fragments: "video.mp4.part-Frag12".
    constexpr std::string_view fragment = "part-frag";
    if (extension.size() >= fragment.size()
        && std::equal(fragment.begin(), fragment.end(), extension.begin(),
                      [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? char(b + ('a' - 'A')) : b); }))
        return ExtensionKind::incomplete;
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

std::string_view Organizer::finishedName(std::string_view unfinishedName)
{
    const auto dot = unfinishedName.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || extensionKind(Path(unfinishedName)) != ExtensionKind::incomplete)
        return {};
    return unfinishedName.substr(0, dot);
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

namespace {
// Planning, step by step: list the source folder; classify each entry;
// hold back what unfinished downloads need; leave what this run is not to
// file (names not asked for, files an undo put back); lay out the target folders;
// collect the verdicts in name order; assign each move its name.
class Planning
{
public:
    Planning(const OrganizerConfiguration &configuration, FileSystem &files, WriterProbe *writerProbe,
             const Calendar &calendar, const NameCollator &collator)
        : m_configuration(configuration)
        , m_files(files)
        , m_writerProbe(writerProbe)
        , m_calendar(calendar)
        , m_collator(collator)
    {
        m_plan.generatedAt = configuration.now();
        m_plan.destinationRoot = configuration.destinationURL;
    }

    void list()
    {
        m_entries = m_files.contentsOfDirectory(m_configuration.sourceURL);
        m_order =
            m_collator.stableOrder(m_entries.size(), [&](std::size_t i) { return displayName(m_entries[i].url); });
        // Who is writing what, read after the listing: a download that starts
        // later is caught again right before its move.
        if (m_writerProbe)
            m_writers = m_writerProbe->openForWriting().byIdentity;
    }

    // On every core: what becomes of each entry, and for a move its category and day.
    void classify()
    {
        const std::size_t parts = parallelParts(m_entries.size());
        m_dayFolders.reserve(parts);
        for (std::size_t part = 0; part < parts; ++part)
            m_dayFolders.emplace_back(m_calendar, m_calendarLock);
        m_sortings.resize(m_entries.size());
        m_unfinished.resize(parts);
        const qint64 nowMs = m_plan.generatedAt.toMSecsSinceEpoch();
        parallelFor(m_entries.size(), [&](std::size_t part, std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                m_sortings[i].part = std::uint16_t(part);
                classify(i, part, nowMs);
            }
        });
    }

    // Unfinished downloads hold back what belongs to them: the file a control
    // file is named for ("movie.mp4" beside "movie.mp4.part" or ".aria2"), and
    // any empty file, since browsers make the final name empty first and write
    // the data under another name ("paper.pdf" while "paper.Xy3.pdf.part" grows).
    void holdBackWhatDownloadsNeed()
    {
        std::unordered_map<std::string_view, std::uint32_t> companions; // finished name → control file
        for (const auto &indices : m_unfinished) {
            for (const std::uint32_t i : indices)
                companions.emplace(Organizer::finishedName(filenameOf(m_entries[i].url)), i);
        }
        if (companions.empty())
            return;
        for (std::size_t i = 0; i < m_entries.size(); ++i) {
            Sorting &sorting = m_sortings[i];
            if (sorting.verdict != Sorting::move)
                continue;
            const auto found = companions.find(filenameOf(m_entries[i].url));
            if (found != companions.end()) {
                sorting.verdict = Sorting::skip;
                sorting.reason = SkipReason::downloadBeside;
                sorting.companion = found->second;
            } else if (m_entries[i].properties.size == 0) {
                sorting.verdict = Sorting::skip;
                sorting.reason = SkipReason::emptyWhileDownloading;
            }
        }
    }

    // yt-dlp fetches a video's streams one after the other as "NAME.f137.mp4"
    // and "NAME.f140.m4a", then merges them through "NAME.temp.mp4" into
    // "NAME.mp4": a finished stream waits while anything else of NAME is
    // unfinished by its name or being written. Time can't decide this: the
    // other stream takes as long as it takes.
    void holdBackStreamsBeforeTheirMerge()
    {
        std::vector<std::size_t> streams;
        for (std::size_t i = 0; i < m_entries.size(); ++i) {
            if (m_sortings[i].verdict == Sorting::move && !streamStem(filenameOf(m_entries[i].url)).empty())
                streams.push_back(i);
        }
        if (streams.empty())
            return;
        std::vector<std::string_view> unfinished;
        for (std::size_t i = 0; i < m_entries.size(); ++i) {
            const SkipReason reason = m_sortings[i].reason;
            const bool skipped = m_sortings[i].verdict == Sorting::skip;
            const std::string_view name = filenameOf(m_entries[i].url);
            if ((skipped && (reason == SkipReason::unfinishedDownload || reason == SkipReason::beingWritten))
                || isMergeOutput(name))
                unfinished.push_back(name);
        }
        std::sort(unfinished.begin(), unfinished.end());
        for (const std::size_t i : streams) {
            const std::string_view name = filenameOf(m_entries[i].url);
            const std::string prefix = std::string(streamStem(name)) + '.';
            for (auto other = std::lower_bound(unfinished.begin(), unfinished.end(), std::string_view(prefix));
                 other != unfinished.end() && other->starts_with(prefix); ++other) {
                if (*other != name) {
                    m_sortings[i].verdict = Sorting::skip;
                    m_sortings[i].reason = SkipReason::waitingForMerge;
                    break;
                }
            }
        }
    }

    // "NAME" of a stream named "NAME.fID.EXT" (ID: letters, digits, - and _);
    // empty for any other name.
    static std::string_view streamStem(std::string_view name)
    {
        const auto last = name.rfind('.');
        if (last == std::string_view::npos || last == 0)
            return {};
        const auto before = name.rfind('.', last - 1);
        if (before == std::string_view::npos || before == 0 || last - before < 3 || name[before + 1] != 'f')
            return {};
        const std::string_view id = name.substr(before + 2, last - before - 2);
        const bool formatId = std::all_of(id.begin(), id.end(), [](char c) {
            return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '_';
        });
        return formatId ? name.substr(0, before) : std::string_view();
    }

    // "NAME.temp.EXT": what ffmpeg writes while it merges the streams.
    static bool isMergeOutput(std::string_view name)
    {
        const auto last = name.rfind('.');
        return last != std::string_view::npos && last >= 5 && name.substr(last - 5, 6) == ".temp.";
    }

    // The watcher files the names it was told of, and neither it nor the
    // daily run files again what an undo put back until it changes. Only now,
    // when every entry has been seen: an unfinished download not asked for
    // still holds back what belongs to it.
    void leaveWhatIsNotAskedFor()
    {
        const auto *only = m_configuration.onlyNames.get();
        const auto *putBack = m_configuration.putBack.get();
        if (!only && (!putBack || putBack->empty()))
            return;
        for (std::size_t i = 0; i < m_entries.size(); ++i) {
            const std::string name(filenameOf(m_entries[i].url));
            Sorting &sorting = m_sortings[i];
            if (only && !only->count(name)) {
                sorting.verdict = Sorting::untouched;
                continue;
            }
            if (sorting.verdict != Sorting::move || !putBack)
                continue;
            const auto found = putBack->find(name);
            const FileProperties &p = m_entries[i].properties;
            if (found != putBack->end() && found->second.size == p.size.value_or(-1)
                && found->second.modifiedNs == p.modifiedNs) {
                sorting.verdict = Sorting::skip;
                sorting.reason = SkipReason::putBackByUndo;
            }
        }
    }

    // The target folders: four per day (three categories and the day itself).
    void layOutFolders()
    {
        m_firstFolderOfDay.resize(m_dayFolders.size());
        std::unordered_map<std::string, std::uint32_t> firstFolderByName;
        for (std::size_t part = 0; part < m_dayFolders.size(); ++part) {
            for (const std::string &day : m_dayFolders[part].names()) {
                const auto [found, added] = firstFolderByName.emplace(day, std::uint32_t(m_folders.size()));
                if (added) {
                    const Path dateFolder = m_configuration.destinationURL / day;
                    for (auto category :
                         {FileCategory::big, FileCategory::graphic, FileCategory::docs, FileCategory::other}) {
                        const auto folderName = directoryName(category);
                        m_folders.emplace_back().path =
                            folderName ? dateFolder / folderName->toStdString() : dateFolder;
                    }
                }
                m_firstFolderOfDay[part].push_back(found->second);
            }
        }
    }

    // In name order: the issues, the skipped files, and each move's place;
    // then the names already taken in each folder a move goes to.
    void collectInNameOrder()
    {
        m_placeOf.resize(m_entries.size());
        m_movers.reserve(m_entries.size());
        for (const std::size_t index : m_order) {
            switch (m_sortings[index].verdict) {
            case Sorting::skip: {
                ++m_plan.skipped;
                SkippedFile &skipped = m_plan.skippedFiles.emplace_back();
                skipped.url = m_entries[index].url;
                skipped.reason = m_sortings[index].reason;
                if (skipped.reason == SkipReason::beingWritten)
                    skipped.writer = m_writers.at(m_entries[index].properties.identity);
                else if (skipped.reason == SkipReason::downloadBeside)
                    skipped.companion = filenameOf(m_entries[m_sortings[index].companion].url);
                break;
            }
            case Sorting::issue: {
                const FileError error =
                    m_entries[index].error ? m_entries[index].error : FileError(FileError::unknownRead);
                m_plan.issues.append(
                    OrganizationIssue(displayName(m_entries[index].url), error.localizedDescription()));
                break;
            }
            case Sorting::untouched:
                break;
            case Sorting::move:
                m_placeOf[index] = std::uint32_t(m_movers.size());
                m_movers.push_back(std::uint32_t(index));
                m_folders[folderOf(index)].needed = true;
                break;
            }
        }
        for (TargetFolder &folder : m_folders) {
            if (folder.needed) {
                if (auto names = m_files.namesInDirectory(folder.path))
                    folder.taken = std::move(*names);
            }
        }
    }

    // Names in target folders that execution frees before it moves.
    void free(const std::vector<Path> &names)
    {
        for (const Path &name : names) {
            const Path folder = name.parent_path();
            for (TargetFolder &target : m_folders) {
                if (target.path == folder)
                    target.taken.erase(name.filename().native());
            }
        }
    }

    // The moves, on every core, in listing order (the paths lie in memory in
    // that order). A file keeps its name unless the folder already holds it:
    // files of one source folder never share a name, and a counter name
    // handed out for a clash is never the name of a file in it.
    void assignNames()
    {
        m_plan.moves.resize(m_movers.size());
        m_clashes.resize(m_movers.size());
        parallelFor(m_entries.size(), [&](std::size_t, std::size_t from, std::size_t to) {
            for (std::size_t index = from; index < to; ++index) {
                if (m_sortings[index].verdict == Sorting::move)
                    fillMove(index);
            }
        });
        m_foldCase = !m_plan.moves.empty() && m_files.ignoresCase(m_plan.destinationRoot);
        if (m_foldCase)
            findClashesIgnoringCase();
        if (std::find(m_clashes.begin(), m_clashes.end(), 1) != m_clashes.end())
            renameClashes();
        m_plan.executionOrder.reserve(m_movers.size());
        for (std::size_t index = 0; index < m_entries.size(); ++index) {
            if (m_sortings[index].verdict == Sorting::move)
                m_plan.executionOrder.push_back(m_placeOf[index]);
        }
    }

    // A file whose very bytes are filed already goes to the Trash instead of
    // beside them under a counter name (see AlreadyFiled.h), under a name
    // free in the trash's files and infos.
    void sendWhatIsFiledToTheTrash()
    {
        if (!m_configuration.trash || m_plan.moves.empty())
            return;
        AlreadyFiled filed(m_files, m_configuration.filedBy, m_plan.moves);
        const Path trash = Trash::forFolder(m_configuration.sourceURL, *m_configuration.trash);
        std::unordered_set<std::string> trashNames;
        Organizer::CounterHints hints;
        for (const std::size_t k : filed.askingOrder()) {
            PlannedMove &move = m_plan.moves[k];
            const std::string_view name = filenameOf(move.sourceURL);
            const TargetFolder &folder = m_folders[folderOf(m_movers[k])];
            std::vector<Path> inTargetFolder;
            if (!folder.taken.empty() && move.sourceSize > 0) {
                if (folder.taken.count(key(name)))
                    inTargetFolder.push_back(folder.path / name);
                if (const std::string original = filed.isCopy(k) ? originalName(name) : std::string();
                    !original.empty() && folder.taken.count(key(original)))
                    inTargetFolder.push_back(folder.path / original);
            }
            auto filedAs = filed.filedCopyOf(k, inTargetFolder);
            if (!filedAs)
                continue;
            move.toTrash = true;
            m_plan.filedAs.emplace_back(std::uint32_t(k), std::move(*filedAs));
            move.destinationURL = Organizer::uniqueDestination(
                std::string(name), trash / "files",
                [&](const Path &candidate) {
                    return trashNames.count(candidate.filename().native()) || m_files.itemExists(candidate)
                        || m_files.itemExists(Trash::infoOf(candidate));
                },
                &hints);
            trashNames.insert(move.destinationURL.filename().native());
        }
        std::sort(m_plan.filedAs.begin(), m_plan.filedAs.end(),
                  [](const auto &a, const auto &b) { return a.first < b.first; });
    }

    OrganizationPlan takePlan() { return std::move(m_plan); }

private:
    void classify(std::size_t i, std::size_t part, qint64 nowMs)
    {
        const DirectoryEntry &entry = m_entries[i];
        Sorting &sorting = m_sortings[i];
        if (entry.error) {
            sorting.verdict = Sorting::issue;
            return;
        }
        const FileProperties &p = entry.properties;
        if (p.isSymbolicLink) {
            sorting.reason = SkipReason::symbolicLink;
            return;
        }
        if (!p.isRegularFile) {
            sorting.reason = p.isDirectory ? SkipReason::folder : SkipReason::notRegularFile;
            return;
        }
        if (p.isHidden) {
            sorting.reason = SkipReason::hidden;
            return;
        }
        const Organizer::ExtensionKind kind = Organizer::extensionKind(entry.url);
        if (kind == Organizer::ExtensionKind::incomplete) {
            sorting.reason = SkipReason::unfinishedDownload;
            m_unfinished[part].push_back(std::uint32_t(i));
            return;
        }
        if (!m_writers.empty() && m_writers.count(p.identity)) {
            sorting.reason = SkipReason::beingWritten;
            return;
        }
        if (m_configuration.minimumFileAge > 0 && p.modificationDate) {
            const double age = double(nowMs - p.modificationDate->toMSecsSinceEpoch()) / 1000.0;
            if (age < m_configuration.minimumFileAge) {
                sorting.reason = SkipReason::tooRecent;
                return;
            }
        }
        const auto date = Organizer::effectiveFileDate(p.creationDate, p.modificationDate);
        if (!date || !p.size) {
            sorting.verdict = Sorting::issue;
            return;
        }
        if (hasGaps(entry)) {
            sorting.reason = SkipReason::unwrittenGaps;
            return;
        }
        sorting.verdict = Sorting::move;
        sorting.day = m_dayFolders[part].index(*date);
        sorting.category = categoryFor(*p.size, m_configuration.largeFileThresholdBytes, kind);
    }

    // Asked only where a hole can matter: a big file, or one whose data takes
    // less room on the drive than its size.
    bool hasGaps(const DirectoryEntry &entry) const
    {
        const FileProperties &p = entry.properties;
        constexpr std::int64_t mebibyte = std::int64_t(1) << 20;
        if (*p.size < mebibyte && (p.allocatedBytes < 0 || p.allocatedBytes >= *p.size))
            return false;
        return m_files.hasGaps(entry.url, *p.size);
    }

    std::uint32_t folderOf(std::size_t index) const
    {
        const Sorting &sorting = m_sortings[index];
        return m_firstFolderOfDay[sorting.part][sorting.day] + std::uint32_t(sorting.category);
    }

    void fillMove(std::size_t index)
    {
        DirectoryEntry &entry = m_entries[index];
        const TargetFolder &folder = m_folders[folderOf(index)];
        const std::string_view filename = filenameOf(entry.url);
        const std::uint32_t place = m_placeOf[index];
        m_clashes[place] = !folder.taken.empty() && folder.taken.count(std::string(filename));
        PlannedMove &move = m_plan.moves[place];
        move.id = newIdentifier();
        move.destinationURL = folder.path / filename;
        move.category = m_sortings[index].category;
        move.fileDate = *Organizer::effectiveFileDate(entry.properties.creationDate, entry.properties.modificationDate);
        move.sourceIdentity = entry.properties.identity;
        move.sourceSize = entry.properties.size.value_or(-1);
        move.sourceModifiedNs = entry.properties.modifiedNs;
        move.sourceBornNs = entry.properties.bornNs;
        move.sourceURL = std::move(entry.url);
    }

    // A name as the destination compares it.
    std::string key(std::string_view name) const
    {
        return m_foldCase ? QString::fromUtf8(name.data(), qsizetype(name.size())).toCaseFolded().toStdString()
                          : std::string(name);
    }

    // Where the destination ignores case, "Report.PDF" and "report.pdf" are
    // one name: against the folder's names and among the files planned into
    // it, the later one in name order clashes.
    void findClashesIgnoringCase()
    {
        for (TargetFolder &folder : m_folders) {
            std::unordered_set<std::string> folded;
            for (const std::string &name : folder.taken)
                folded.insert(key(name));
            folder.taken = std::move(folded);
        }
        std::vector<std::unordered_set<std::string>> planned(m_folders.size());
        for (std::size_t k = 0; k < m_movers.size(); ++k) {
            const std::string folded = key(filenameOf(m_plan.moves[k].sourceURL));
            const std::size_t f = folderOf(m_movers[k]);
            m_clashes[k] = m_folders[f].taken.count(folded) > 0 || !planned[f].insert(folded).second;
        }
    }

    // The clashes, in name order: each gets the first counter name that is
    // free on disk, among the files planned into its folder and in the
    // source folder.
    void renameClashes()
    {
        for (std::size_t k = 0; k < m_movers.size(); ++k) {
            if (m_clashes[k])
                m_folders[folderOf(m_movers[k])].hasClash = true;
        }
        for (std::size_t k = 0; k < m_movers.size(); ++k) {
            TargetFolder &folder = m_folders[folderOf(m_movers[k])];
            if (!folder.hasClash || m_clashes[k])
                continue;
            const std::string_view name = filenameOf(m_plan.moves[k].sourceURL);
            folder.ownNames.emplace(m_foldCase ? std::string_view(folder.foldedNames.emplace_back(key(name))) : name);
        }
        for (std::size_t k = 0; k < m_movers.size(); ++k) {
            if (!m_clashes[k])
                continue;
            TargetFolder &folder = m_folders[folderOf(m_movers[k])];
            PlannedMove &move = m_plan.moves[k];
            move.destinationURL = Organizer::uniqueDestination(
                std::string(filenameOf(move.sourceURL)), folder.path,
                [&](const Path &candidate) {
                    const std::string name(filenameOf(candidate));
                    return folder.taken.count(key(name)) > 0 || folder.ownNames.count(key(name)) > 0
                        || m_files.itemExists(m_configuration.sourceURL / name);
                },
                &folder.hints);
            folder.taken.emplace(key(filenameOf(move.destinationURL)));
        }
    }

    const OrganizerConfiguration &m_configuration;
    FileSystem &m_files;
    WriterProbe *m_writerProbe;
    const Calendar m_calendar;
    const NameCollator &m_collator;
    OrganizationPlan m_plan;

    std::vector<DirectoryEntry> m_entries;
    std::vector<std::size_t> m_order; // entry indices in name order
    WriterTable m_writers;
    std::mutex m_calendarLock;
    std::vector<DayFolders> m_dayFolders; // by planning thread
    std::vector<Sorting> m_sortings; // by entry
    std::vector<std::vector<std::uint32_t>> m_unfinished; // by part: entries named as unfinished downloads
    std::vector<TargetFolder> m_folders;
    std::vector<std::vector<std::uint32_t>> m_firstFolderOfDay; // by part, then that part's day index
    std::vector<std::uint32_t> m_movers; // entry indices of the moves, in name order
    std::vector<std::uint32_t> m_placeOf; // by entry: its move's place in the plan
    std::vector<std::uint8_t> m_clashes; // by move: its name is taken
    bool m_foldCase = false;
};

} // namespace

OrganizationPlan Organizer::makePlan(const OrganizerConfiguration &given, PlanUse use, const std::vector<Path> &freed)
{
    // "~/Sorted/", "~/Sorted/." and "~/x/../Sorted" name one folder, and every
    // path built below must start exactly like the root it lies in.
    OrganizerConfiguration configuration = given;
    configuration.sourceURL = normalizedPath(given.sourceURL);
    configuration.destinationURL = normalizedPath(given.destinationURL);
    validate(configuration);
    m_watchAhead.reset();
    if (m_writerProbe && use == PlanUse::execution) {
        m_watchAhead =
            WatchAhead{configuration.sourceURL,
                       std::async(std::launch::async, [probe = m_writerProbe, folder = configuration.sourceURL] {
                           return probe->watch(folder);
                       })};
    }

    // A process that plans again and again keeps its collator while the locale stays.
    if (!m_collator || m_collator->locale() != QLocale())
        m_collator = std::make_unique<NameCollator>();
    Planning planning(configuration, *m_fileManager, m_writerProbe.get(), m_calendarProvider(), *m_collator);
    planning.list();
    planning.classify();
    planning.holdBackWhatDownloadsNeed();
    planning.holdBackStreamsBeforeTheirMerge();
    planning.leaveWhatIsNotAskedFor();
    planning.layOutFolders();
    planning.collectInNameOrder();
    planning.free(freed);
    planning.assignNames();
    planning.sendWhatIsFiledToTheTrash();
    OrganizationPlan plan = planning.takePlan();
    // A preview says so when the files have nowhere to go.
    if (use == PlanUse::preview)
        plan.missingDrive = m_fileManager->missingDrive(plan.destinationRoot);
    return plan;
}

namespace {

const Path &normalizedPlan(const OrganizationPlan &given, OrganizationPlan &copy, const OrganizationPlan *&planned)
{
    planned = &given;
    if (normalizedPath(given.destinationRoot) != given.destinationRoot) {
        copy = given; // made by hand; makePlan's are normal already
        copy.destinationRoot = normalizedPath(given.destinationRoot);
        planned = &copy;
    }
    return planned->destinationRoot;
}

} // namespace

std::optional<Path> Organizer::missingDrive(const Path &destination)
{
    return m_fileManager->missingDrive(normalizedPath(destination));
}

OrganizationResult Organizer::execute(const OrganizationPlan &given, ExecutionObserver *observer)
{
    OrganizationPlan copy;
    const OrganizationPlan *planned = nullptr;
    normalizedPlan(given, copy, planned);
    return Execution(*this, *planned, {}, observer).run();
}

OrganizationResult Organizer::execute(const OrganizationPlan &given, RunJournal &journal, const QUuid &runId,
                                      OrganizationRunMode mode, ExecutionObserver *observer)
{
    OrganizationPlan copy;
    const OrganizationPlan *planned = nullptr;
    normalizedPlan(given, copy, planned);
    return Execution(*this, *planned, {&journal, runId, mode}, observer).run();
}

void Organizer::recoverInterruptedRuns(RunJournal &journal, const Path &destinationRoot,
                                       std::unordered_set<std::string> *finished)
{
    Recovery(*m_fileManager, journal).recoverRuns(destinationRoot, finished);
}

std::vector<Path> Organizer::leftoverReservations(RunJournal &journal, const Path &destinationRoot)
{
    return Recovery(*m_fileManager, journal).leftoverReservations(normalizedPath(destinationRoot));
}

void Organizer::recoverBeforePlanning(RunJournal &journal, const Path &destinationRoot)
{
    const Path root = normalizedPath(destinationRoot);
    // Nothing to recover against a root that is not there (a drive not plugged in).
    if (!m_fileManager->folderReachable(root))
        return;
    const std::vector<JournalRun> runs = journal.runs();
    if (std::none_of(runs.begin(), runs.end(),
                     [&](const JournalRun &run) { return !run.finished && run.destinationRoot == root; })
        && journal.returnsUnderway(root).empty())
        return;
    try {
        const OrganizerExecutionLock lock(root, *m_fileManager);
        m_fileManager->removeLeftoverCopies(root);
        recoverInterruptedRuns(journal, root);
    } catch (const OrganizerFailure &) {
        // Held or out of reach: the run that follows says so, or recovers it.
    }
}

OrganizationResult Organizer::organize(const OrganizerConfiguration &configuration)
{
    return execute(makePlan(configuration, PlanUse::execution));
}

} // namespace sorvanel
