// SPDX-License-Identifier: GPL-3.0-or-later
#include "BusyIndicator.h"

#include <QPainter>

namespace sorvanel {

BusyIndicator::BusyIndicator(QWidget *parent)
    : QWidget(parent)
{
    setFixedSize(sizeHint());
    m_timer.setInterval(50);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        m_angle = (m_angle + 30) % 360;
        update();
    });
}

void BusyIndicator::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPen pen(palette().color(QPalette::Highlight), 2.5, Qt::SolidLine, Qt::RoundCap);
    painter.setPen(pen);
    const QRectF box = QRectF(rect()).adjusted(3, 3, -3, -3);
    painter.drawArc(box, -m_angle * 16, 270 * 16);
}

void BusyIndicator::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    m_timer.start();
}

void BusyIndicator::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    m_timer.stop();
}

} // namespace sorvanel
