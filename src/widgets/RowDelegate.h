// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QStyledItemDelegate>

namespace sorvanel {

// Draws the sheets' list rows from the roles of SheetDialog: a symbol in a
// fixed box, a primary line, a dimmed secondary line (shortened in the middle
// for paths, or wrapped over as many lines as it needs), and on the right
// optional details and a warning count.
class RowDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    struct Layout
    {
        int symbolBox = 22;
        int spacing = 12;
        int lineSpacing = 2;
        bool boldPrimary = false;
        Qt::TextElideMode secondaryElide = Qt::ElideMiddle;
        // File names lose their middle, never their extension.
        Qt::TextElideMode primaryElide = Qt::ElideMiddle;
        // The secondary text is read whole (a message): it wraps to the
        // row's width, and rows grow with it. The list must then lay its
        // rows out one by one and again on each resize.
        bool wrapSecondary = false;
    };

    explicit RowDelegate(Layout layout, QObject *parent = nullptr);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

private:
    void paintSymbol(QPainter *painter, const QModelIndex &index, const QRect &area) const;
    void paintDetails(QPainter *painter, const QFont &font, const QModelIndex &index, const QColor &secondaryColor,
                      QRect &area) const;
    void paintText(QPainter *painter, const QFont &font, const QModelIndex &index, const QColor &primaryColor,
                   const QColor &secondaryColor, const QRect &area) const;

    Layout m_layout;
};

} // namespace sorvanel
