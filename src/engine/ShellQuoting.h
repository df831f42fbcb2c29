// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

#include <string>
#include <string_view>

namespace sorvanel {

// Names are written the way ls writes them to a terminal (its "shell-escape"
// quoting): as they are when nothing in them needs care; in single quotes
// when they hold spaces or characters a shell would act on; and control
// characters or bytes that are not UTF-8 as $'\n' or $'\033' outside the
// quotes. An escape sequence in a downloaded file's name is shown, not
// obeyed, one name is always one line, and every name can be pasted into a shell.
void appendQuoted(std::string &out, std::string_view bytes);
// The same for a text made of a name.
QString terminalSafe(const QString &text);
// A name for a window: as it is, or where it holds control characters or
// bytes that are not UTF-8 (a newline, say), as the command line writes it,
// so that nothing in it is dropped or turned into a replacement character.
QString shownName(std::string_view bytes);

} // namespace sorvanel
