// SPDX-License-Identifier: GPL-3.0-or-later
#include "NameCollator.h"

#include <unicode/ucol.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <thread>

namespace sorvanel {

namespace {

QByteArray icuLocaleName(const QLocale &locale)
{
    // The C locale has no collation rules of its own; English keeps a9 before a10.
    if (locale.language() == QLocale::C)
        return "en_US";
    return locale.name().toLatin1();
}

UCollator *openCollator(const QByteArray &localeName)
{
    UErrorCode status = U_ZERO_ERROR;
    UCollator *collator = ucol_open(localeName.constData(), &status);
    if (U_FAILURE(status)) {
        status = U_ZERO_ERROR;
        collator = ucol_open("", &status); // the root rules
    }
    if (!collator)
        return nullptr;
    status = U_ZERO_ERROR;
    ucol_setAttribute(collator, UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
    ucol_setAttribute(collator, UCOL_STRENGTH, UCOL_SECONDARY, &status); // case-insensitive
    return collator;
}

const UChar *utf16(const QString &text)
{
    return reinterpret_cast<const UChar *>(text.utf16());
}

// All sort keys of a list in one block, with the first eight bytes of each as
// a number: most comparisons end there without touching the block.
struct SortKeys
{
    std::vector<std::uint64_t> prefix;
    std::vector<std::uint32_t> offset;
    std::vector<std::uint32_t> length;
    std::vector<std::uint8_t> bytes;
};

void makeKeys(const UCollator *collator, const std::vector<QString> &names, std::size_t from, std::size_t to,
              SortKeys &keys)
{
    std::vector<std::uint8_t> buffer(256);
    for (std::size_t i = from; i < to; ++i) {
        const QString &name = names[i];
        int32_t needed = ucol_getSortKey(collator, utf16(name), int32_t(name.size()), buffer.data(), int32_t(buffer.size()));
        if (needed > int32_t(buffer.size())) {
            buffer.resize(std::size_t(needed));
            needed = ucol_getSortKey(collator, utf16(name), int32_t(name.size()), buffer.data(), int32_t(buffer.size()));
        }
        const std::size_t length = std::size_t(std::max(needed, 0));
        std::uint64_t prefix = 0;
        for (std::size_t b = 0; b < 8; ++b)
            prefix = (prefix << 8) | (b < length ? buffer[b] : 0);
        keys.prefix[i] = prefix;
        keys.offset[i] = std::uint32_t(keys.bytes.size());
        keys.length[i] = std::uint32_t(length);
        keys.bytes.insert(keys.bytes.end(), buffer.begin(), buffer.begin() + std::ptrdiff_t(length));
    }
}

} // namespace

NameCollator::NameCollator(const QLocale &locale)
    : m_collator(openCollator(icuLocaleName(locale)))
{
}

NameCollator::~NameCollator()
{
    if (m_collator)
        ucol_close(m_collator);
}

int NameCollator::compare(const QString &a, const QString &b) const
{
    if (!m_collator)
        return QString::compare(a, b, Qt::CaseInsensitive);
    return int(ucol_strcoll(m_collator, utf16(a), int32_t(a.size()), utf16(b), int32_t(b.size())));
}

std::vector<std::size_t> NameCollator::stableOrder(const std::vector<QString> &names) const
{
    const std::size_t count = names.size();
    std::vector<std::size_t> order(count);
    std::iota(order.begin(), order.end(), std::size_t(0));
    if (!m_collator) {
        std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return compare(names[a], names[b]) < 0; });
        return order;
    }

    // Each thread writes its own block of keys, with a collator of its own.
    const std::size_t threads = count < 4096 ? 1 : std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, 8);
    const std::size_t share = (count + threads - 1) / threads;
    std::vector<SortKeys> parts(threads);
    std::vector<std::thread> workers;
    for (std::size_t t = 0; t < threads; ++t) {
        SortKeys &part = parts[t];
        part.prefix.resize(count);
        part.offset.resize(count);
        part.length.resize(count);
        part.bytes.reserve(std::min(count, share) * 48);
    }
    for (std::size_t t = 1; t < threads; ++t) {
        workers.emplace_back([&, t] {
            UErrorCode status = U_ZERO_ERROR;
            UCollator *clone = ucol_clone(m_collator, &status);
            makeKeys(clone ? clone : m_collator, names, std::min(count, t * share), std::min(count, (t + 1) * share), parts[t]);
            if (clone)
                ucol_close(clone);
        });
    }
    makeKeys(m_collator, names, 0, std::min(count, share), parts[0]);
    for (auto &worker : workers)
        worker.join();

    // Sort (prefix, index) pairs packed together; only names whose keys share
    // the first eight bytes are then compared in full.
    struct Item
    {
        std::uint64_t prefix;
        std::uint32_t index;
    };
    std::vector<Item> items(count);
    for (std::size_t i = 0; i < count; ++i)
        items[i] = {parts[i / share].prefix[i], std::uint32_t(i)};
    std::sort(items.begin(), items.end(), [](const Item &a, const Item &b) {
        return a.prefix != b.prefix ? a.prefix < b.prefix : a.index < b.index;
    });
    const auto fullKeyLess = [&](const Item &a, const Item &b) {
        const SortKeys &ka = parts[a.index / share];
        const SortKeys &kb = parts[b.index / share];
        const int byKey = std::memcmp(ka.bytes.data() + ka.offset[a.index], kb.bytes.data() + kb.offset[b.index],
                                      std::min(ka.length[a.index], kb.length[b.index]));
        if (byKey != 0)
            return byKey < 0;
        if (ka.length[a.index] != kb.length[b.index])
            return ka.length[a.index] < kb.length[b.index];
        return a.index < b.index; // equal names keep their listing order
    };
    for (std::size_t first = 0; first < count;) {
        std::size_t last = first + 1;
        while (last < count && items[last].prefix == items[first].prefix)
            ++last;
        if (last - first > 1)
            std::sort(items.begin() + std::ptrdiff_t(first), items.begin() + std::ptrdiff_t(last), fullKeyLess);
        first = last;
    }
    for (std::size_t i = 0; i < count; ++i)
        order[i] = items[i].index;
    return order;
}

} // namespace sorvanel
