// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>
#include <QDateTime>
#include <QFont>
#include <QIcon>
#include <QSize>
#include <QString>

#include <optional>

class QLabel;
class QPushButton;
class QWidget;

namespace sorvanel::Style {

// A symbol by its name: the desktop theme's icon where a freedesktop name
// fits, otherwise our own drawing, tinted with `tint` (the text colour when none).
QIcon symbol(const QString &name, const std::optional<QColor> &tint = std::nullopt);
QIcon applicationIcon();

QColor secondaryTextColor();
void makeSecondary(QWidget *widget);
QFont titleFont(qreal scale, bool bold = true);
QFont captionFont();

// "7 Mar 2024, 21:30" in the user's locale; with seconds for the history.
QString abbreviatedDateTime(const QDateTime &date, bool withSeconds = false);

// The filled, accent-coloured look of a window's main action.
void makeProminent(QPushButton *button);

// A row of an icon and a text, as a label.
QWidget *iconLabel(const QString &symbolName, QLabel *text, QWidget *parent = nullptr);

// What a window manager adds around a window (borders, a title bar), kept
// free when a window or a sheet is fitted into the screen's available area.
inline const QSize windowFrameAllowance(16, 48);

} // namespace sorvanel::Style
