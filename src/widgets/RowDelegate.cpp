// SPDX-License-Identifier: GPL-3.0-or-later
#include "RowDelegate.h"

#include "SheetDialog.h"
#include "Style.h"

#include <QApplication>
#include <QIcon>
#include <QPainter>

namespace sorvanel {

RowDelegate::RowDelegate(Layout layout, QObject *parent)
    : QStyledItemDelegate(parent)
    , m_layout(layout)
{
}

void RowDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem background = option;
    initStyleOption(&background, index);
    background.text.clear();
    background.icon = QIcon();
    background.state &= ~QStyle::State_HasFocus; // rows are read, not picked: no focus highlight
    QApplication::style()->drawControl(QStyle::CE_ItemViewItem, &background, painter, option.widget);

    const bool selected = option.state & QStyle::State_Selected;
    const QColor primaryColor = option.palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
    const QColor secondaryColor = selected ? primaryColor : Style::secondaryTextColor();
    QRect area = option.rect.adjusted(8, 5, -8, -5);

    painter->save();
    const QIcon icon = index.data(SheetDialog::SymbolRole).value<QIcon>();
    if (!icon.isNull()) {
        const int size = std::min(m_layout.symbolBox - 4, 20);
        const QRect box(area.left(), area.top(), m_layout.symbolBox, area.height());
        icon.paint(painter, QRect(box.center() - QPoint(size / 2, size / 2), QSize(size, size)));
    }
    area.setLeft(area.left() + m_layout.symbolBox + m_layout.spacing);

    // Right-hand details and the warning count.
    const QFont baseFont = option.font;
    painter->setFont(baseFont);
    const QFontMetrics metrics(baseFont);
    const int warning = index.data(SheetDialog::WarningRole).toInt();
    if (warning > 0) {
        const QString text = QLocale().toString(warning);
        const int width = metrics.horizontalAdvance(text) + metrics.height() + 4;
        const QRect box(area.right() - width, area.top(), width, area.height());
        const int iconSize = metrics.height();
        Style::symbol(u"exclamationmark.triangle.fill"_qs)
            .paint(painter, QRect(box.left(), box.center().y() - iconSize / 2, iconSize, iconSize));
        painter->setPen(QColor(0xd9, 0x73, 0x06));
        painter->drawText(box.adjusted(iconSize + 4, 0, 0, 0), Qt::AlignVCenter | Qt::AlignLeft, text);
        area.setRight(box.left() - 14);
    }
    const QString details = index.data(SheetDialog::DetailTextRole).toString();
    if (!details.isEmpty()) {
        const int width = metrics.horizontalAdvance(details);
        painter->setPen(secondaryColor);
        painter->drawText(QRect(area.right() - width, area.top(), width, area.height()), Qt::AlignVCenter, details);
        area.setRight(area.right() - width - 14);
    }

    QFont primaryFont = baseFont;
    primaryFont.setBold(m_layout.boldPrimary);
    const QFont secondaryFont = Style::captionFont();
    const QFontMetrics primaryMetrics(primaryFont);
    const QFontMetrics secondaryMetrics(secondaryFont);
    const QString secondary = index.data(SheetDialog::SecondaryTextRole).toString();
    const int textHeight = primaryMetrics.height() + m_layout.lineSpacing + secondaryMetrics.height();
    // Drawn on baselines, unclipped, so underscores and descenders stay whole.
    int y = area.top() + (area.height() - textHeight) / 2;
    painter->setFont(primaryFont);
    painter->setPen(primaryColor);
    painter->drawText(
        QPoint(area.left(), y + primaryMetrics.ascent()),
        primaryMetrics.elidedText(index.data(Qt::DisplayRole).toString(), m_layout.primaryElide, area.width()));
    y += primaryMetrics.height() + m_layout.lineSpacing;
    painter->setFont(secondaryFont);
    painter->setPen(secondaryColor);
    painter->drawText(QPoint(area.left(), y + secondaryMetrics.ascent()),
                      secondaryMetrics.elidedText(secondary, m_layout.secondaryElide, area.width()));
    painter->restore();
}

QSize RowDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const
{
    QFont primaryFont = option.font;
    primaryFont.setBold(m_layout.boldPrimary);
    const int height =
        QFontMetrics(primaryFont).height() + m_layout.lineSpacing + QFontMetrics(Style::captionFont()).height() + 10;
    return {200, std::max(height, m_layout.symbolBox + 10)};
}

} // namespace sorvanel
