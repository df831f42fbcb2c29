// SPDX-License-Identifier: GPL-3.0-or-later
#include "Localization.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

#include <algorithm>
#include <vector>

namespace sorvanel {

namespace {
// The context lupdate gives the texts of L10n::text and L10n::format (it
// reads them as aliases of tr(), which takes the qualifying class).
constexpr const char *context = "sorvanel::L10n";

QString formatArgument(const QVariant &value, QChar conversion, int precision)
{
    const QLocale locale;
    switch (conversion.unicode()) {
    case 'd':
    case 'i':
        return locale.toString(value.toLongLong());
    case 'f':
        return locale.toString(value.toDouble(), 'f', precision < 0 ? 6 : precision);
    default:
        return value.toString();
    }
}
} // namespace

QString L10n::text(const char *english)
{
    return QCoreApplication::translate(context, english);
}

QString L10n::format(const char *english, std::initializer_list<QVariant> arguments)
{
    return formatTranslated(text(english), arguments);
}

QString L10n::formatTranslated(const QString &format, std::initializer_list<QVariant> arguments)
{
    const std::vector<QVariant> args(arguments);
    QString out;
    out.reserve(format.size() + 16);
    std::size_t next = 0;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format.at(i);
        if (c != u'%' || i + 1 >= format.size()) {
            out += c;
            continue;
        }
        qsizetype j = i + 1;
        if (format.at(j) == u'%') {
            out += u'%';
            i = j;
            continue;
        }
        // Optional position "N$".
        std::size_t index = next;
        qsizetype k = j;
        int position = 0;
        // Digits beyond any real position or precision are read but capped:
        // a translation with "%99999999999$d" must not overflow.
        constexpr int cap = 1000;
        while (k < format.size() && format.at(k).isDigit())
            position = std::min(cap, position * 10 + format.at(k++).digitValue());
        bool positional = false;
        if (k > j && k < format.size() && format.at(k) == u'$') {
            index = std::size_t(position - 1);
            positional = true;
            j = k + 1;
        }
        // Optional precision ".N".
        int precision = -1;
        if (j < format.size() && format.at(j) == u'.') {
            precision = 0;
            ++j;
            while (j < format.size() && format.at(j).isDigit())
                precision = std::min(cap, precision * 10 + format.at(j++).digitValue());
        }
        // Length modifiers are accepted and ignored.
        while (j < format.size() && (format.at(j) == u'l' || format.at(j) == u'q'))
            ++j;
        if (j >= format.size() || QStringLiteral("@dif").indexOf(format.at(j)) < 0) {
            out += c; // not a placeholder: keep the text as written
            continue;
        }
        if (index < args.size())
            out += formatArgument(args[index], format.at(j), precision);
        if (!positional)
            ++next;
        i = j;
    }
    return out;
}

void L10n::installTranslations(QCoreApplication &app)
{
    const QLocale locale;
    auto *qtTranslator = new QTranslator(&app);
    if (qtTranslator->load(locale, QStringLiteral("qtbase"), QStringLiteral("_"),
                           QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(qtTranslator);
    auto *ownTranslator = new QTranslator(&app);
    if (ownTranslator->load(locale, QStringLiteral("sorvanel"), QStringLiteral("_"), QStringLiteral(":/i18n")))
        QCoreApplication::installTranslator(ownTranslator);
}

} // namespace sorvanel
