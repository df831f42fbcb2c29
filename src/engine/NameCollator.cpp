// SPDX-License-Identifier: GPL-3.0-or-later
#include "NameCollator.h"

#include <QCollatorSortKey>

#include <algorithm>
#include <numeric>

namespace sorvanel {

namespace {
QLocale collationLocale(const QLocale &locale)
{
    // Qt's collator drops numeric mode for C/POSIX; English keeps a9 before a10.
    if (locale.language() == QLocale::C)
        return QLocale(QLocale::English, QLocale::UnitedStates);
    return locale;
}
} // namespace

NameCollator::NameCollator(const QLocale &locale)
    : m_collator(collationLocale(locale))
{
    m_collator.setNumericMode(true);
    m_collator.setCaseSensitivity(Qt::CaseInsensitive);
}

int NameCollator::compare(const QString &a, const QString &b) const
{
    return m_collator.compare(a, b);
}

std::vector<std::size_t> NameCollator::stableOrder(const std::vector<QString> &names) const
{
    std::vector<QCollatorSortKey> keys;
    keys.reserve(names.size());
    for (const auto &name : names)
        keys.push_back(m_collator.sortKey(name));
    std::vector<std::size_t> order(names.size());
    std::iota(order.begin(), order.end(), std::size_t(0));
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return keys[a].compare(keys[b]) < 0; });
    return order;
}

} // namespace sorvanel
