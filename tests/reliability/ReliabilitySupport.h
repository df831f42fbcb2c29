// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "SettingsStore.h"
#include "TestSupport.h"

#include <QCryptographicHash>
#include <QHash>
#include <QProcess>
#include <QRandomGenerator>

#include <csignal>
#include <sys/stat.h>

namespace sorvanel::test {

// A set of files with distinct contents, to be found again after any run.
class Originals
{
public:
    // Writes `count` files with unique contents (some large) into `folder`.
    void create(const Path &folder, int count, quint32 seed, int largeEvery = 50)
    {
        QRandomGenerator random(seed);
        const QDateTime old = QDateTime::currentDateTimeUtc().addDays(-2);
        for (int i = 0; i < count; ++i) {
            QByteArray content = "file " + QByteArray::number(i) + " of seed " + QByteArray::number(seed) + "\n";
            const int extra =
                (i % largeEvery == 0) ? 1024 * 1024 + int(random.bounded(65536)) : int(random.bounded(8192));
            content.append(QByteArray(extra, char('a' + i % 26)));
            static const char *extensions[] = {".pdf", ".jpg", ".txt", ".zip", ""};
            const std::string name = "f" + std::to_string(i) + extensions[i % 5];
            writeFile(folder / name, content, old);
            m_hashes.insert(hash(content), 0);
        }
    }

    static QByteArray hash(const QByteArray &content)
    {
        return QCryptographicHash::hash(content, QCryptographicHash::Sha1);
    }

    struct Census
    {
        int foreign = 0; // visible files whose content is no original (half-copied, changed)
        int empty = 0; // visible empty files: a name reserved for a copy, before the next run clears it
        int missing = 0; // originals found nowhere
        int duplicated = 0; // originals found more than once
        int found = 0;
        QStringList twice; // the paths of files found more than once, to tell what happened
    };

    // Looks at every visible file in the given trees. Our own hidden partial
    // files and the lock file are not visible files.
    Census census(const std::vector<Path> &trees) const
    {
        QHash<QByteArray, int> seen;
        QHash<QByteArray, QStringList> where;
        Census result;
        for (const Path &tree : trees) {
            if (!std::filesystem::exists(tree))
                continue;
            for (const auto &entry : std::filesystem::recursive_directory_iterator(tree)) {
                if (entry.is_symlink() || !entry.is_regular_file())
                    continue;
                const std::string name = entry.path().filename().native();
                if (name.empty() || name[0] == '.')
                    continue;
                const QByteArray content = readFile(Path(entry.path()));
                if (content.isEmpty()) {
                    ++result.empty; // every original has content
                    continue;
                }
                const QByteArray digest = hash(content);
                if (!m_hashes.contains(digest))
                    ++result.foreign;
                else {
                    ++seen[digest];
                    where[digest] << QString::fromStdString(entry.path().native());
                }
            }
        }
        for (auto it = m_hashes.constBegin(); it != m_hashes.constEnd(); ++it) {
            const int times = seen.value(it.key());
            result.missing += times == 0;
            result.duplicated += times > 1;
            if (times > 1)
                result.twice << where.value(it.key());
            result.found += times > 0;
        }
        return result;
    }

    int size() const { return int(m_hashes.size()); }

private:
    QHash<QByteArray, int> m_hashes;
};

// Stores the folders the programs run on, and gives the trees in which to
// look for the files: a destination inside the source is walked with it.
inline std::vector<Path> useFolders(const Path &source, const Path &destination)
{
    SettingsStore store;
    store.saveFolder(source, std::nullopt, true);
    store.saveFolder(destination, std::nullopt, false);
    const bool nested = destination.native().rfind(source.native() + "/", 0) == 0;
    return nested ? std::vector<Path>{source} : std::vector<Path>{source, destination};
}

// Undoes the latest run until none is left; false when that never ends.
inline bool undoEveryRun(int most = 1000)
{
    for (int undos = 0; cli({QStringLiteral("undo")}).status != 2;) {
        if (++undos >= most)
            return false;
    }
    return true;
}

} // namespace sorvanel::test
