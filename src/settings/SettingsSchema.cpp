// SPDX-License-Identifier: GPL-3.0-or-later
#include "SettingsSchema.h"

#include "Localization.h"
#include "OrganizationModels.h"

#include <QJsonDocument>
#include <QTime>

#include <algorithm>
#include <cmath>
#include <vector>

namespace sorvanel::SettingsSchema {

namespace {
Definition plain(const QString &key, ValueType type)
{
    return {key, type, false, std::nullopt, std::nullopt};
}

const std::vector<Definition> &definitions()
{
    static const std::vector<Definition> all{
        {Key::sourcePath, ValueType::string, true, std::nullopt, std::nullopt},
        {Key::destinationPath, ValueType::string, true, std::nullopt, std::nullopt},
        {Key::thresholdMB, ValueType::integer, false, minimumThresholdMB, maximumThresholdMB},
        plain(Key::automaticEnabled, ValueType::boolean),
        plain(Key::automaticTime, ValueType::date),
        plain(Key::notifyAfterAutomatic, ValueType::boolean),
        plain(Key::watchEnabled, ValueType::boolean),
        plain(Key::trashDuplicates, ValueType::boolean),
        plain(Key::sourceBookmark, ValueType::data),
        plain(Key::destinationBookmark, ValueType::data),
        plain(Key::lastAutomaticDay, ValueType::string),
        plain(Key::lastRun, ValueType::date),
        plain(Key::lastMoved, ValueType::integer),
        plain(Key::lastSkipped, ValueType::integer),
        plain(Key::lastFailed, ValueType::integer),
        plain(Key::lastIssues, ValueType::data),
        plain(Key::runHistory, ValueType::data),
        plain(Key::migrationDone, ValueType::boolean),
    };
    return all;
}

std::optional<DefaultsValue> parseAs(ValueType type, const QString &given)
{
    const QString text = type == ValueType::string ? given : given.trimmed();
    bool ok = false;
    switch (type) {
    case ValueType::string:
        return DefaultsValue::string(text);
    case ValueType::integer: {
        const qint64 number = text.toLongLong(&ok);
        return ok ? std::optional(DefaultsValue::integer(number)) : std::nullopt;
    }
    case ValueType::boolean: {
        const QString lower = text.toLower();
        if (lower == u"true" || lower == u"1")
            return DefaultsValue::boolean(true);
        if (lower == u"false" || lower == u"0")
            return DefaultsValue::boolean(false);
        return std::nullopt;
    }
    case ValueType::real: {
        const double number = text.toDouble(&ok);
        return ok && std::isfinite(number) ? std::optional(DefaultsValue::real(number)) : std::nullopt;
    }
    case ValueType::date: {
        // With or without fractional seconds and offset; without one it is local time.
        const QDateTime date = QDateTime::fromString(text, Qt::ISODateWithMs);
        return date.isValid() ? std::optional(DefaultsValue::date(date.toUTC())) : std::nullopt;
    }
    case ValueType::data: {
        static const QString digits = QStringLiteral("0123456789abcdefABCDEF");
        if (text.size() % 2 != 0 || !std::all_of(text.begin(), text.end(), [](QChar c) { return digits.contains(c); }))
            return std::nullopt;
        return DefaultsValue::data(QByteArray::fromHex(text.toLatin1()));
    }
    }
    return std::nullopt;
}
} // namespace

const Definition *definition(const QString &key)
{
    const auto &all = definitions();
    const auto found = std::find_if(all.begin(), all.end(), [&](const Definition &d) { return d.key == key; });
    return found == all.end() ? nullptr : &*found;
}

std::variant<DefaultsValue, QString> parse(const QString &key, const QString &text, ValueType type)
{
    const Definition *known = definition(key);
    if (known)
        type = known->type;
    // A time of day alone is today's, in local time: what the window sets.
    if (known && key == Key::automaticTime) {
        const QTime time = QTime::fromString(text.trimmed(), u"H:mm");
        if (time.isValid())
            return DefaultsValue::date(QDateTime(QDate::currentDate(), time).toUTC());
    }
    const auto value = parseAs(type, text);
    if (!value) {
        if (known && key == Key::automaticTime)
            return L10n::format("“%@” is not a time: use HH:MM (22:00) or an ISO 8601 date.", {text});
        return L10n::format("“%@” is not a valid %@ value.", {text, typeName(type)});
    }
    if (known && type == ValueType::integer && known->minimum && known->maximum) {
        const qint64 number = value->value.toLongLong();
        if (number < *known->minimum || number > *known->maximum)
            return L10n::format("%@ must be between %d and %d.", {key, *known->minimum, *known->maximum});
    }
    return *value;
}

QString displayText(const DefaultsValue &value)
{
    switch (value.type) {
    case ValueType::string:
        return value.value.toString();
    case ValueType::integer:
        return QString::number(value.value.toLongLong());
    case ValueType::boolean:
        return value.value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case ValueType::real:
        return QString::number(value.value.toDouble(), 'g', 17);
    case ValueType::date:
        return Json::isoDate(value.value.toDateTime());
    case ValueType::data: {
        const QByteArray bytes = value.value.toByteArray();
        QJsonParseError error;
        const QJsonDocument json = QJsonDocument::fromJson(bytes, &error);
        if (error.error == QJsonParseError::NoError && !json.isNull())
            return QString::fromUtf8(json.toJson(QJsonDocument::Compact));
        return QString::fromLatin1(bytes.toHex());
    }
    }
    return {};
}

} // namespace sorvanel::SettingsSchema
