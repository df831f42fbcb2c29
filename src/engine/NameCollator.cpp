// SPDX-License-Identifier: GPL-3.0-or-later
#include "NameCollator.h"

#include "Parallel.h"

#include <unicode/ucol.h>

#include <algorithm>
#include <cstring>
#include <numeric>

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

// A name's sort key, with its first eight bytes as a number: most
// comparisons end there without touching the key itself.
struct Item
{
    std::uint64_t prefix;
    const std::uint8_t *key;
    std::uint32_t length;
    std::uint32_t index;
};

bool operator<(const Item &a, const Item &b)
{
    if (a.prefix != b.prefix)
        return a.prefix < b.prefix;
    const int byKey = std::memcmp(a.key, b.key, std::min(a.length, b.length));
    if (byKey != 0)
        return byKey < 0;
    if (a.length != b.length)
        return a.length < b.length;
    return a.index < b.index; // equal names keep their listing order
}

} // namespace

NameCollator::NameCollator(const QLocale &locale)
    : m_locale(locale)
    , m_collator(openCollator(icuLocaleName(locale)))
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

namespace {

// The sort keys of names `from` to `to` into `block`, and their items.
void keysOf(const UCollator *collator, std::size_t from, std::size_t to,
            const std::function<QString(std::size_t)> &nameAt, std::vector<Item> &items,
            std::vector<std::uint8_t> &block)
{
    block.reserve((to - from) * 48);
    std::vector<std::uint8_t> buffer(256);
    std::vector<std::size_t> offsets(to - from);
    for (std::size_t i = from; i < to; ++i) {
        const QString name = nameAt(i);
        const UChar *text = utf16(name);
        int32_t needed = ucol_getSortKey(collator, text, int32_t(name.size()), buffer.data(), int32_t(buffer.size()));
        if (needed > int32_t(buffer.size())) {
            buffer.resize(std::size_t(needed));
            needed = ucol_getSortKey(collator, text, int32_t(name.size()), buffer.data(), int32_t(buffer.size()));
        }
        const std::size_t length = std::size_t(std::max(needed, 0));
        std::uint64_t prefix = 0;
        for (std::size_t b = 0; b < 8; ++b)
            prefix = (prefix << 8) | (b < length ? buffer[b] : 0);
        items[i] = {prefix, nullptr, std::uint32_t(length), std::uint32_t(i)};
        offsets[i - from] = block.size(); // the block may still move as it grows
        block.insert(block.end(), buffer.begin(), buffer.begin() + std::ptrdiff_t(length));
    }
    for (std::size_t i = from; i < to; ++i)
        items[i].key = block.data() + offsets[i - from];
}

// Merges neighbouring sorted parts, pairwise, until one is left.
void mergeParts(std::vector<Item> &items, const std::vector<std::pair<std::size_t, std::size_t>> &ranges)
{
    for (std::size_t width = 1; width < ranges.size(); width *= 2) {
        for (std::size_t left = 0; left + width < ranges.size(); left += 2 * width) {
            const auto first = items.begin() + std::ptrdiff_t(ranges[left].first);
            const auto middle = items.begin() + std::ptrdiff_t(ranges[left + width].first);
            const auto last =
                items.begin() + std::ptrdiff_t(ranges[std::min(ranges.size(), left + 2 * width) - 1].second);
            std::inplace_merge(first, middle, last);
        }
    }

} // namespace
} // namespace

std::vector<std::size_t> NameCollator::stableOrder(const std::vector<QString> &names) const
{
    return stableOrder(names.size(), [&](std::size_t i) { return names[i]; });
}

std::vector<std::size_t> NameCollator::stableOrder(std::size_t count,
                                                   const std::function<QString(std::size_t)> &nameAt) const
{
    std::vector<std::size_t> order(count);
    if (!m_collator) {
        std::iota(order.begin(), order.end(), std::size_t(0));
        std::vector<QString> names(count);
        for (std::size_t i = 0; i < count; ++i)
            names[i] = nameAt(i);
        std::stable_sort(order.begin(), order.end(),
                         [&](std::size_t a, std::size_t b) { return compare(names[a], names[b]) < 0; });
        return order;
    }

    // Each part of the list gets its keys (in a block of its own, made with a
    // collator of its own) and is sorted on its own core; the sorted parts
    // are then merged.
    std::vector<Item> items(count);
    std::vector<std::vector<std::uint8_t>> keyBlocks(parallelParts(count));
    std::vector<std::pair<std::size_t, std::size_t>> ranges(keyBlocks.size());
    parallelFor(count, [&](std::size_t part, std::size_t from, std::size_t to) {
        ranges[part] = {from, to};
        UCollator *clone = nullptr;
        if (part > 0) {
            UErrorCode status = U_ZERO_ERROR;
            clone = ucol_clone(m_collator, &status);
        }
        keysOf(clone ? clone : m_collator, from, to, nameAt, items, keyBlocks[part]);
        if (clone)
            ucol_close(clone);
        std::sort(items.begin() + std::ptrdiff_t(from), items.begin() + std::ptrdiff_t(to));
    });
    mergeParts(items, ranges);
    for (std::size_t i = 0; i < count; ++i)
        order[i] = items[i].index;
    return order;
}

} // namespace sorvanel
