// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCollator>
#include <QLocale>
#include <QString>

#include <vector>

namespace sorvanel {

// The comparison a file browser uses for names: case-insensitive, digit runs
// by value, following the user's locale.
class NameCollator
{
public:
    explicit NameCollator(const QLocale &locale = QLocale());

    int compare(const QString &a, const QString &b) const;

    // The stable order of the names: indices into `names`, equal names keep
    // their order. Sort keys make this one collation pass per name.
    std::vector<std::size_t> stableOrder(const std::vector<QString> &names) const;

private:
    QCollator m_collator;
};

} // namespace sorvanel
