// SPDX-License-Identifier: GPL-3.0-or-later
#include "RowDelegate.h"

#include "SheetDialog.h"
#include "Style.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QIcon>
#include <QPainter>
#include <QTextLayout>
#include <QtMath>

#include <optional>

namespace sorvanel {

namespace {
constexpr int horizontalMargin = 8;
constexpr int verticalMargin = 5;
// Between the texts and the columns on the right, and between those columns.
constexpr int columnGap = 14;

// Lays `text` out in lines no wider than `width`: between words where it
// can, anywhere (a long path) where it must. Returns the height it takes.
qreal wrap(QTextLayout &layout, int width)
{
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    qreal height = 0;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        line.setPosition(QPointF(0, height));
        height += line.height();
    }
    layout.endLayout();
    return height;
}

// The width of a row's warning count: its symbol, a gap and the number.
int warningWidth(const QFontMetrics &metrics, const QString &count)
{
    return metrics.horizontalAdvance(count) + metrics.height() + 4;
}

// What the warning count and the details take on the right of a row,
// with their gaps: paint lays them out the same way.
int rightColumnsWidth(const QFontMetrics &metrics, const QModelIndex &index)
{
    int width = 0;
    if (const int warning = index.data(SheetDialog::WarningRole).toInt(); warning > 0)
        width += warningWidth(metrics, QLocale().toString(warning)) + columnGap;
    if (const QString details = index.data(SheetDialog::DetailTextRole).toString(); !details.isEmpty())
        width += metrics.horizontalAdvance(details) + columnGap;
    return width;
}
} // namespace

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
    background.state &= ~QStyle::State_HasFocus; // the style's own dotted frame is barely seen
    QApplication::style()->drawControl(QStyle::CE_ItemViewItem, &background, painter, option.widget);
    // The keyboard's current row, where the list has the focus: a clear frame.
    if ((option.state & QStyle::State_HasFocus) && option.widget && option.widget->hasFocus()) {
        painter->save();
        painter->setPen(QPen(option.palette.color(QPalette::Highlight), 2));
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(QRectF(option.rect).adjusted(1, 1, -1, -1), 4, 4);
        painter->restore();
    }

    const bool selected = option.state & QStyle::State_Selected;
    const QColor primaryColor = option.palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
    const QColor secondaryColor = selected ? primaryColor : Style::secondaryTextColor();
    QRect area = option.rect.adjusted(horizontalMargin, verticalMargin, -horizontalMargin, -verticalMargin);

    painter->save();
    paintSymbol(painter, index, area);
    area.setLeft(area.left() + m_layout.symbolBox + m_layout.spacing);
    painter->setFont(option.font);
    paintDetails(painter, option.font, index, secondaryColor, area);
    paintText(painter, option.font, index, primaryColor, secondaryColor, area);
    painter->restore();
}

void RowDelegate::paintSymbol(QPainter *painter, const QModelIndex &index, const QRect &area) const
{
    const QIcon icon = index.data(SheetDialog::SymbolRole).value<QIcon>();
    if (icon.isNull())
        return;
    const int size = std::min(m_layout.symbolBox - 4, 20);
    const QRect box(area.left(), area.top(), m_layout.symbolBox, area.height());
    icon.paint(painter, QRect(box.center() - QPoint(size / 2, size / 2), QSize(size, size)));
}

// Right-hand details and the warning count; `area` loses what they take.
void RowDelegate::paintDetails(QPainter *painter, const QFont &font, const QModelIndex &index,
                               const QColor &secondaryColor, QRect &area) const
{
    const QFontMetrics metrics(font);
    const int warning = index.data(SheetDialog::WarningRole).toInt();
    if (warning > 0) {
        const QString text = QLocale().toString(warning);
        const int width = warningWidth(metrics, text);
        const QRect box(area.right() - width, area.top(), width, area.height());
        const int iconSize = metrics.height();
        Style::symbol(u"exclamationmark.triangle.fill"_qs)
            .paint(painter, QRect(box.left(), box.center().y() - iconSize / 2, iconSize, iconSize));
        painter->setPen(QColor(0xd9, 0x73, 0x06));
        painter->drawText(box.adjusted(iconSize + 4, 0, 0, 0), Qt::AlignVCenter | Qt::AlignLeft, text);
        area.setRight(box.left() - columnGap);
    }
    const QString details = index.data(SheetDialog::DetailTextRole).toString();
    if (!details.isEmpty()) {
        const int width = metrics.horizontalAdvance(details);
        painter->setPen(secondaryColor);
        painter->drawText(QRect(area.right() - width, area.top(), width, area.height()), Qt::AlignVCenter, details);
        area.setRight(area.right() - width - columnGap);
    }
}

// The primary line and below it the secondary one (or lines, wrapped).
void RowDelegate::paintText(QPainter *painter, const QFont &font, const QModelIndex &index, const QColor &primaryColor,
                            const QColor &secondaryColor, const QRect &area) const
{
    QFont primaryFont = font;
    primaryFont.setBold(m_layout.boldPrimary);
    const QFont secondaryFont = Style::captionFont();
    const QFontMetrics primaryMetrics(primaryFont);
    const QFontMetrics secondaryMetrics(secondaryFont);
    const QString secondary = index.data(SheetDialog::SecondaryTextRole).toString();
    std::optional<QTextLayout> wrapped;
    int secondaryHeight = secondaryMetrics.height();
    if (m_layout.wrapSecondary)
        secondaryHeight = qCeil(wrap(wrapped.emplace(secondary, secondaryFont, painter->device()), area.width()));
    const int textHeight = primaryMetrics.height() + m_layout.lineSpacing + secondaryHeight;
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
    if (m_layout.wrapSecondary)
        wrapped->draw(painter, QPointF(area.left(), y));
    else
        painter->drawText(QPoint(area.left(), y + secondaryMetrics.ascent()),
                          secondaryMetrics.elidedText(secondary, m_layout.secondaryElide, area.width()));
}

QSize RowDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QFont primaryFont = option.font;
    primaryFont.setBold(m_layout.boldPrimary);
    const QFontMetrics primaryMetrics(primaryFont);
    int secondaryHeight = QFontMetrics(Style::captionFont()).height();
    int width = 200;
    const auto *view = qobject_cast<const QAbstractItemView *>(option.widget);
    if (m_layout.wrapSecondary && view) {
        // As wide as the list: the text wraps, and the list never scrolls sideways.
        width = view->viewport()->width();
        const int textWidth = width - 2 * horizontalMargin - m_layout.symbolBox - m_layout.spacing
            - rightColumnsWidth(QFontMetrics(option.font), index);
        QTextLayout wrapped(index.data(SheetDialog::SecondaryTextRole).toString(), Style::captionFont(),
                            view->viewport());
        secondaryHeight = std::max(secondaryHeight, qCeil(wrap(wrapped, std::max(textWidth, 1))));
    }
    const int height = primaryMetrics.height() + m_layout.lineSpacing + secondaryHeight + 2 * verticalMargin;
    return {width, std::max(height, m_layout.symbolBox + 2 * verticalMargin)};
}

} // namespace sorvanel
