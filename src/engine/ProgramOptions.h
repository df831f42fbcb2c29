// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCommandLineParser>

#include <optional>

namespace sorvanel {

// For the programs that read their options with QCommandLineParser (the app
// and the agent). Each parses `arguments` and returns the exit status when
// the program should end here.

// -h/--help and -v/--version. (Not QCommandLineParser's own help option: its
// --help-all would list Qt's options, which only the app takes.)
void addHelpAndVersion(QCommandLineParser &parser);

// --help and --version, answered on standard output with status 0.
std::optional<int> answerHelpOrVersion(QCommandLineParser &parser, const QStringList &arguments);

// An option the program does not know or a value it does not take, or any
// argument besides options, named on standard error with a pointer to
// --help; status 64, as for the command line.
std::optional<int> refuseUnknownArguments(QCommandLineParser &parser, const QStringList &arguments);

} // namespace sorvanel
