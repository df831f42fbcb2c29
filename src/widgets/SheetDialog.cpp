// SPDX-License-Identifier: GPL-3.0-or-later
#include "SheetDialog.h"

#include "Localization.h"
#include "Style.h"

#include <QLabel>
#include <QListView>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace sorvanel {

SheetDialog::SheetDialog(const QString &title, QWidget *parent)
    : QDialog(parent)
{
    setWindowModality(Qt::WindowModal);
    setWindowTitle(title);
    m_layout = new QVBoxLayout(this);
    m_layout->setContentsMargins(22, 22, 22, 22);
    m_layout->setSpacing(12);
    auto *heading = new QLabel(title, this);
    heading->setObjectName(u"sheetTitle"_qs);
    heading->setFont(Style::titleFont(1.4));
    m_layout->addWidget(heading);
}

void SheetDialog::setTitle(const QString &title)
{
    setWindowTitle(title);
    findChild<QLabel *>(u"sheetTitle"_qs)->setText(title);
}

QListView *SheetDialog::makeList(const QString &name, const RowDelegate::Layout &rows, QWidget *parent)
{
    auto *list = new QListView(parent);
    list->setObjectName(name);
    list->setUniformItemSizes(!rows.wrapSecondary);
    if (rows.wrapSecondary) {
        // Rows as wide as the list, as tall as their text: laid out again
        // on each resize, in batches so that a long list keeps the sheet alive.
        list->setResizeMode(QListView::Adjust);
        list->setLayoutMode(QListView::Batched);
        list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    }
    list->setSelectionMode(QAbstractItemView::NoSelection);
    list->setItemDelegate(new RowDelegate(rows, list));
    return list;
}

QListView *SheetDialog::addList(const QString &name, const RowDelegate::Layout &rows, const QString &placeholderTitle,
                                const QString &symbolName)
{
    m_stack = new QStackedWidget(this);
    m_list = makeList(name, rows, m_stack);
    m_stack->addWidget(m_list);
    auto *placeholder = new QWidget(m_stack);
    placeholder->setObjectName(u"placeholder"_qs);
    auto *layout = new QVBoxLayout(placeholder);
    layout->addStretch();
    auto *icon = new QLabel(placeholder);
    icon->setPixmap(Style::symbol(symbolName, Style::secondaryTextColor()).pixmap(48, 48));
    icon->setAlignment(Qt::AlignCenter);
    layout->addWidget(icon);
    auto *text = new QLabel(placeholderTitle, placeholder);
    text->setObjectName(u"placeholderTitle"_qs);
    text->setFont(Style::titleFont(1.25));
    text->setAlignment(Qt::AlignCenter);
    Style::makeSecondary(text);
    layout->addWidget(text);
    layout->addStretch();
    m_stack->addWidget(placeholder);
    m_layout->addWidget(m_stack, 1);
    return m_list;
}

void SheetDialog::showPlaceholder(bool empty)
{
    m_stack->setCurrentIndex(empty ? 1 : 0);
}

bool SheetDialog::showsPlaceholder() const
{
    return m_stack && m_stack->currentIndex() == 1;
}

void SheetListModel::reload()
{
    beginResetModel();
    endResetModel();
}

QVariant SheetListModel::data(const QModelIndex &index, int role) const
{
    if (role != Qt::ToolTipRole && role != Qt::AccessibleDescriptionRole)
        return rowData(index, role);
    QStringList parts;
    for (const int part : {SheetDialog::PrimaryTextRole, SheetDialog::SecondaryTextRole, SheetDialog::DetailTextRole}) {
        const QString text = rowData(index, part).toString();
        if (!text.isEmpty() && !(role == Qt::AccessibleDescriptionRole && part == SheetDialog::PrimaryTextRole))
            parts << text;
    }
    // Shown as a symbol and a number: said in words.
    if (const qint64 failed = rowData(index, SheetDialog::WarningRole).toLongLong();
        failed > 0 && role == Qt::AccessibleDescriptionRole)
        parts << L10n::format("%d failed", {failed});
    if (parts.isEmpty())
        return {};
    return parts.join(u'\n');
}

} // namespace sorvanel
