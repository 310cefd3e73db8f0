#include "VNBackgroundView.h"

#include <QPainter>

VNBackgroundView::VNBackgroundView(QWidget *parent) : QWidget(parent) {}

void VNBackgroundView::setBackgroundColour(const QColor &colour)
{
    m_colour = colour;
    update();
}

void VNBackgroundView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_colour);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 10, 10);
}
