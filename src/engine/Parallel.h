// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstddef>
#include <exception>
#include <system_error>
#include <thread>
#include <vector>

namespace sorvanel {

// How many contiguous parts parallelFor cuts `count` items into: one per core
// (at most eight), and just one for small jobs, where starting threads costs
// more than it saves.
inline std::size_t parallelParts(std::size_t count, std::size_t minimumPerPart = 2048)
{
    if (count < 2 * minimumPerPart)
        return 1;
    const std::size_t cores = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, 8);
    return std::clamp<std::size_t>(count / minimumPerPart, 1, cores);
}

// Calls work(part, from, to) for the parallelParts(count) contiguous ranges
// of [0, count), the first on the calling thread and the others on threads of
// their own, and returns when all are done. The first exception a part throws
// is thrown again here, once every part has finished.
template<typename Work> void parallelFor(std::size_t count, Work &&work, std::size_t minimumPerPart = 2048)
{
    const std::size_t parts = parallelParts(count, minimumPerPart);
    const std::size_t share = parts == 0 ? 0 : (count + parts - 1) / parts;
    std::vector<std::exception_ptr> failures(parts);
    const auto runPart = [&](std::size_t part) {
        try {
            work(part, std::min(count, part * share), std::min(count, (part + 1) * share));
        } catch (...) {
            failures[part] = std::current_exception();
        }
    };
    std::vector<std::thread> helpers;
    helpers.reserve(parts);
    for (std::size_t part = 1; part < parts; ++part) {
        try {
            helpers.emplace_back(runPart, part);
        } catch (const std::system_error &) {
            runPart(part); // no thread to be had: do this part here
        }
    }
    runPart(0);
    for (auto &helper : helpers)
        helper.join();
    for (const auto &failure : failures) {
        if (failure)
            std::rethrow_exception(failure);
    }
}

} // namespace sorvanel
