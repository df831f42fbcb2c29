// SPDX-License-Identifier: GPL-3.0-or-later
#include "ProgramOptions.h"

#include "Localization.h"

#include <QFileInfo>
#include <QTextStream>

namespace sorvanel {

namespace {
// The name the program was started by, as its messages give it.
QString programName()
{
    return QFileInfo(QCoreApplication::arguments().value(0)).fileName();
}
} // namespace

void addHelpAndVersion(QCommandLineParser &parser)
{
    parser.addOption(QCommandLineOption({QStringLiteral("h"), QStringLiteral("help")}, L10n::text("Show this help.")));
    parser.addOption(
        QCommandLineOption({QStringLiteral("v"), QStringLiteral("version")}, L10n::text("Show the version.")));
}

std::optional<int> answerHelpOrVersion(QCommandLineParser &parser, const QStringList &arguments)
{
    parser.parse(arguments);
    if (parser.isSet(QStringLiteral("help"))) {
        QTextStream(stdout) << parser.helpText();
        return 0;
    }
    if (parser.isSet(QStringLiteral("version"))) {
        QTextStream(stdout) << programName() << ' ' << QCoreApplication::applicationVersion() << '\n';
        return 0;
    }
    return std::nullopt;
}

std::optional<int> refuseUnknownArguments(QCommandLineParser &parser, const QStringList &arguments)
{
    const bool parsed = parser.parse(arguments);
    const QStringList positional = parser.positionalArguments();
    if (parsed && positional.isEmpty())
        return std::nullopt;
    QTextStream(stderr) << (positional.isEmpty() ? parser.errorText()
                                                 : L10n::format("Unknown argument: %@", {positional.constFirst()}))
                        << '\n'
                        << L10n::format("Run \"%@ --help\" for its options.", {programName()}) << '\n';
    return 64;
}

} // namespace sorvanel
