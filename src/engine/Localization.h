// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCoreApplication>
#include <QString>
#include <QVariant>

#include <initializer_list>

namespace sorvanel {

// Every user-facing text goes through here. The English text is its own key;
// where no translation exists the English text is shown.
class L10n
{
    // For lupdate: text() and format() are this class's tr(), in its context.
    Q_DECLARE_TR_FUNCTIONS(sorvanel::L10n)

public:
    static QString text(const char *english);

    // Looks the printf-style format up with text(), then fills "%@", "%d",
    // "%ld", "%f" and "%.Nf" (and their positional forms "%1$@" …) with the
    // arguments, numbers formatted for the user's locale.
    static QString format(const char *english, std::initializer_list<QVariant> arguments);
    static QString formatTranslated(const QString &format, std::initializer_list<QVariant> arguments);

    // Loads Qt's own and Sorvanel's translations for the user's locale.
    static void installTranslations(QCoreApplication &app);
};

} // namespace sorvanel
