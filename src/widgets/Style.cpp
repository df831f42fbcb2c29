// SPDX-License-Identifier: GPL-3.0-or-later
#include "Style.h"

#include <QApplication>
#include <QFile>
#include <QHBoxLayout>
#include <QHash>
#include <QLabel>
#include <QLocale>
#include <QPainter>
#include <QPalette>
#include <QPushButton>
#include <QRegularExpression>
#include <QSvgRenderer>

namespace sorvanel::Style {

namespace {
// Symbols whose freedesktop names say the same thing.
const QHash<QString, QString> &themeNames()
{
    static const QHash<QString, QString> names{
        {u"info.circle"_qs, u"help-about"_qs},
        {u"exclamationmark.triangle"_qs, u"dialog-warning"_qs},
        {u"externaldrive.fill"_qs, u"drive-harddisk"_qs},
        {u"photo.fill"_qs, u"image-x-generic"_qs},
        {u"doc.fill"_qs, u"x-office-document"_qs},
        {u"shippingbox.fill"_qs, u"package-x-generic"_qs},
        {u"arrow.right.circle"_qs, u"go-next"_qs},
        {u"forward.circle"_qs, u"media-skip-forward"_qs},
    };
    return names;
}

QIcon render(const QString &name, const QColor &tint)
{
    QFile file(u":/symbols/"_qs + name + u".svg"_qs);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray svg = file.readAll().replace("#000000", tint.name().toLatin1());
    QSvgRenderer renderer(svg);
    QIcon icon;
    const qreal ratio = qApp ? qApp->devicePixelRatio() : 1.0;
    for (int size : {16, 22, 24, 32, 48, 64}) {
        QPixmap pixmap(QSize(size, size) * ratio);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        renderer.render(&painter);
        painter.end();
        pixmap.setDevicePixelRatio(ratio);
        icon.addPixmap(pixmap);
    }
    return icon;
}
} // namespace

QIcon symbol(const QString &name, const std::optional<QColor> &tint)
{
    const QString themeName = themeNames().value(name);
    if (!tint && !themeName.isEmpty() && QIcon::hasThemeIcon(themeName))
        return QIcon::fromTheme(themeName);
    return render(name, tint.value_or(QApplication::palette().color(QPalette::WindowText)));
}

QIcon applicationIcon()
{
    return QIcon::fromTheme(u"io.github.sorvanel.Sorvanel"_qs, render(u"tray.and.arrow.down.fill"_qs, Qt::black));
}

QColor secondaryTextColor()
{
    // The placeholder colour is translucent; drawings (SVG) need it opaque.
    const QPalette palette = QApplication::palette();
    const QColor text = palette.color(QPalette::PlaceholderText);
    const QColor window = palette.color(QPalette::Window);
    const qreal a = text.alphaF();
    return QColor::fromRgbF(text.redF() * a + window.redF() * (1 - a), text.greenF() * a + window.greenF() * (1 - a),
                            text.blueF() * a + window.blueF() * (1 - a));
}

void makeSecondary(QWidget *widget)
{
    QPalette palette = widget->palette();
    palette.setColor(QPalette::WindowText, secondaryTextColor());
    palette.setColor(QPalette::Text, secondaryTextColor());
    widget->setPalette(palette);
}

QFont titleFont(qreal scale, bool bold)
{
    QFont font = QApplication::font();
    font.setPointSizeF(font.pointSizeF() * scale);
    font.setBold(bold);
    return font;
}

QFont captionFont()
{
    QFont font = QApplication::font();
    font.setPointSizeF(font.pointSizeF() * 0.85);
    return font;
}

QString abbreviatedDateTime(const QDateTime &date, bool withSeconds)
{
    const QLocale locale;
    // The locale's long date without the weekday and with the short month name.
    QString dateFormat = locale.dateFormat(QLocale::LongFormat);
    dateFormat.remove(QRegularExpression(u"dddd[,.]?\\s*"_qs));
    dateFormat.replace(u"MMMM"_qs, u"MMM"_qs);
    QString timeFormat = locale.timeFormat(QLocale::ShortFormat);
    if (withSeconds && !timeFormat.contains(u"ss"))
        timeFormat.replace(u"mm"_qs, u"mm:ss"_qs);
    else if (!withSeconds)
        timeFormat.remove(QRegularExpression(u"[:.]ss?"_qs)); // some short formats (C) carry seconds
    const QDateTime local = date.toLocalTime();
    return locale.toString(local.date(), dateFormat.trimmed()) + QStringLiteral(", ")
        + locale.toString(local.time(), timeFormat);
}

void makeProminent(QPushButton *button)
{
    button->setStyleSheet(
        u"QPushButton { background: palette(highlight); color: palette(highlighted-text); border-radius: 6px;"
        " padding: 6px 16px; font-weight: 600; }"
        " QPushButton:disabled { background: palette(mid); color: palette(window); }"
        // The keyboard's focus: a ring the blue can't hide.
        " QPushButton:focus { border: 2px solid palette(text); padding: 4px 14px; }"_qs);
}

QWidget *iconLabel(const QString &symbolName, QLabel *text, QWidget *parent)
{
    auto *row = new QWidget(parent);
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(5);
    auto *icon = new QLabel(row);
    const int size = text->fontMetrics().height();
    icon->setPixmap(symbol(symbolName, text->palette().color(QPalette::WindowText)).pixmap(size, size));
    // Beside the first line of a text that wraps; the text takes any room left.
    icon->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    layout->addWidget(icon, 0, Qt::AlignTop);
    layout->addWidget(text);
    text->setParent(row);
    return row;
}

} // namespace sorvanel::Style
