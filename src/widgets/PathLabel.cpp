// SPDX-License-Identifier: GPL-3.0-or-later
#include "PathLabel.h"

#include <QFocusEvent>
#include <QStyle>

namespace sorvanel {

PathLabel::PathLabel(QWidget *parent)
    : QLineEdit(parent)
{
    setReadOnly(true);
    setFrame(false);
    setAttribute(Qt::WA_MacShowFocusRect, false);
    QPalette palette = this->palette();
    palette.setColor(QPalette::Base, Qt::transparent);
    setPalette(palette);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setMinimumWidth(120);
}

void PathLabel::setPath(const QString &path)
{
    m_path = path;
    setToolTip(path);
    if (hasFocus())
        setText(path);
    else
        showElided();
}

void PathLabel::resizeEvent(QResizeEvent *event)
{
    QLineEdit::resizeEvent(event);
    if (!hasFocus())
        showElided();
}

void PathLabel::focusInEvent(QFocusEvent *event)
{
    setText(m_path);
    QLineEdit::focusInEvent(event);
}

void PathLabel::focusOutEvent(QFocusEvent *event)
{
    QLineEdit::focusOutEvent(event);
    showElided();
}

void PathLabel::showElided()
{
    const int room = contentsRect().width() - 2 * style()->pixelMetric(QStyle::PM_DefaultFrameWidth) - 6;
    setText(fontMetrics().elidedText(m_path, Qt::ElideMiddle, std::max(room, 20)));
    setCursorPosition(0);
}

} // namespace sorvanel
