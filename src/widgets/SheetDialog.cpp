// SPDX-License-Identifier: GPL-3.0-or-later
#include "SheetDialog.h"

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

QStackedWidget *SheetDialog::listWithPlaceholder(QListView *list, const QString &placeholderTitle,
                                                 const QString &symbolName)
{
    auto *stack = new QStackedWidget(this);
    stack->addWidget(list);
    auto *placeholder = new QWidget(stack);
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
    stack->addWidget(placeholder);
    return stack;
}

void SheetDialog::showPlaceholder(QStackedWidget *stack, bool empty)
{
    stack->setCurrentIndex(empty ? 1 : 0);
}

} // namespace sorvanel
