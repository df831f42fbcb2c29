// SPDX-License-Identifier: GPL-3.0-or-later
// libFuzzer target: the stored JSON of issues and history, and the format
// strings of translations, from arbitrary bytes.
#include "Localization.h"
#include "OrganizationModels.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    if (const auto issues = sorvanel::Json::decodeIssues(bytes)) {
        // What decodes must survive its own round trip.
        const auto again = sorvanel::Json::decodeIssues(sorvanel::Json::encodeIssues(*issues));
        if (!again || again->size() != issues->size())
            std::abort();
    }
    if (const auto history = sorvanel::Json::decodeHistory(bytes)) {
        const auto again = sorvanel::Json::decodeHistory(sorvanel::Json::encodeHistory(*history));
        if (!again || again->size() != history->size())
            std::abort();
    }
    sorvanel::L10n::formatTranslated(QString::fromUtf8(bytes), {qint64(42), QStringLiteral("name"), 2.5});
    return 0;
}
