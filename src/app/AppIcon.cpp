#include "AppIcon.h"

#include <QPainter>
#include <QPixmap>

namespace AppIcon {

namespace {

QPixmap drawIcon(int side)
{
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const double unit = side / 16.0;
    const QColor cards[] = {QColor(120, 140, 120), QColor(170, 190, 170), QColor(245, 245, 240)};
    for (int i = 0; i < 3; ++i) {
        const QRectF card(unit * (2 + i * 1.5), unit * (1.5 + i * 1.5), unit * 9, unit * 11);
        painter.setPen(QPen(QColor(30, 34, 30), std::max(1.0, unit * 0.6)));
        painter.setBrush(cards[i]);
        painter.drawRoundedRect(card, unit * 1.2, unit * 1.2);
    }
    return pixmap;
}

} // namespace

QIcon statusItemIcon()
{
    static const QIcon icon = [] {
        QIcon made;
        for (int side : {16, 22, 24, 32, 48, 64, 128})
            made.addPixmap(drawIcon(side));
        return made;
    }();
    return icon;
}

} // namespace AppIcon
