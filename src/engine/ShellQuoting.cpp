// SPDX-License-Identifier: GPL-3.0-or-later
#include "ShellQuoting.h"

#include <cstdio>

namespace sorvanel {

namespace {

// The length of the printable character at `i`, or 0 for a control character
// or a byte that does not start valid UTF-8.
std::size_t printableLength(std::string_view bytes, std::size_t i)
{
    const auto c = static_cast<unsigned char>(bytes[i]);
    if (c < 0x80)
        return c < 0x20 || c == 0x7f ? 0 : 1;
    const std::size_t length = c >= 0xf0 && c < 0xf5 ? 4 : c >= 0xe0 ? 3 : c >= 0xc2 && c < 0xe0 ? 2 : 0;
    if (length == 0 || i + length > bytes.size())
        return 0;
    for (std::size_t k = 1; k < length; ++k) {
        if ((static_cast<unsigned char>(bytes[i + k]) & 0xc0) != 0x80)
            return 0;
    }
    if (c == 0xc2 && static_cast<unsigned char>(bytes[i + 1]) < 0xa0)
        return 0; // a C1 control character
    return length;
}

bool plainCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')
        || std::string_view("%+,-./:=@_").find(c) != std::string_view::npos || static_cast<unsigned char>(c) >= 0x80;
}

struct Look
{
    bool plain = false; // nothing in it needs care
    bool control = false; // it holds a control character or a byte that is not UTF-8
};

Look lookAt(std::string_view bytes)
{
    Look look{!bytes.empty(), false};
    for (std::size_t i = 0; i < bytes.size();) {
        const std::size_t length = printableLength(bytes, i);
        if (length == 0) {
            look.control = true;
            ++i;
            continue;
        }
        look.plain = look.plain && plainCharacter(bytes[i]);
        i += length;
    }
    return look;
}

void appendEscaped(std::string &out, unsigned char c)
{
    if (c == '\n') {
        out += "$'\\n'";
    } else if (c == '\t') {
        out += "$'\\t'";
    } else {
        char escape[8];
        std::snprintf(escape, sizeof escape, "$'\\%03o'", c);
        out += escape;
    }
}

// In single quotes, with quotes and what is not printable outside them.
void appendSingleQuoted(std::string &out, std::string_view bytes)
{
    bool quoted = false;
    for (std::size_t i = 0; i < bytes.size();) {
        const std::size_t length = printableLength(bytes, i);
        if (length == 0 || bytes[i] == '\'') {
            if (quoted)
                out += '\'';
            quoted = false;
            if (length == 0)
                appendEscaped(out, static_cast<unsigned char>(bytes[i]));
            else
                out += "\\'";
            ++i;
            continue;
        }
        if (!quoted)
            out += '\'';
        quoted = true;
        out.append(bytes.substr(i, length));
        i += length;
    }
    if (quoted)
        out += '\'';
}

} // namespace

void appendQuoted(std::string &out, std::string_view bytes)
{
    const Look look = lookAt(bytes);
    if (look.plain && !look.control) {
        out += bytes; // nearly every name
        return;
    }
    // A quote and nothing a shell expands inside double quotes: "it's.pdf".
    if (!look.control && bytes.find('\'') != std::string_view::npos
        && bytes.find_first_of("$`\\\"!") == std::string_view::npos) {
        out += '"';
        out += bytes;
        out += '"';
        return;
    }
    appendSingleQuoted(out, bytes);
}

QString terminalSafe(const QString &text)
{
    std::string out;
    appendQuoted(out, text.toStdString());
    return QString::fromStdString(out);
}

QString shownName(std::string_view bytes)
{
    if (!lookAt(bytes).control)
        return QString::fromUtf8(bytes.data(), qsizetype(bytes.size()));
    std::string quoted;
    appendQuoted(quoted, bytes);
    return QString::fromStdString(quoted);
}

} // namespace sorvanel
