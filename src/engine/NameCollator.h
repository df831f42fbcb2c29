// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLocale>
#include <QString>

#include <functional>
#include <vector>

struct UCollator;

namespace sorvanel {

// The comparison a file browser uses for names: case-insensitive, digit runs
// by value, following the user's locale. ICU, as Qt's collator uses it, but
// called directly: sorting 100,000 names wants the raw sort keys.
class NameCollator
{
public:
    explicit NameCollator(const QLocale &locale = QLocale());
    ~NameCollator();
    NameCollator(const NameCollator &) = delete;
    NameCollator &operator=(const NameCollator &) = delete;

    int compare(const QString &a, const QString &b) const;
    // The locale it collates for.
    const QLocale &locale() const { return m_locale; }

    // The stable order of the names: indices into `names`, equal names keep
    // their order. One sort key per name, made on every core for big lists.
    std::vector<std::size_t> stableOrder(const std::vector<QString> &names) const;
    // The same for `count` names handed out by `nameAt`, which is called from
    // several threads at once, once per name.
    std::vector<std::size_t> stableOrder(std::size_t count, const std::function<QString(std::size_t)> &nameAt) const;

private:
    QLocale m_locale;
    UCollator *m_collator = nullptr;
};

} // namespace sorvanel
