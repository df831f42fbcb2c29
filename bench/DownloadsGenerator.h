// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>

namespace sorvanel::bench {

struct GeneratedFolder
{
    std::size_t files = 0; // plain files, movable or not
    std::size_t movable = 0; // what a cleanup should move
    std::size_t preexisting = 0; // files already in the destination, to clash with
};

// Fills `source` with a deterministic, realistic downloads folder of `count`
// entries (same seed, same folder): mixed extensions and cases, hidden files,
// subfolders, symbolic links, unfinished downloads, files modified just now,
// sizes around `thresholdBytes` (sparse, so big files cost no disk), and
// modification times over two months. Into `destination` it puts files whose
// names the new ones will clash with, hundreds of them on one name.
GeneratedFolder generateDownloads(const std::filesystem::path &source, const std::filesystem::path &destination,
                                  std::size_t count, std::uint64_t seed, std::int64_t thresholdBytes);

} // namespace sorvanel::bench
