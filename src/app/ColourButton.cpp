#include "ColourButton.h"

#include "UserDefaults.h"

#include <QColorDialog>
#include <QPainter>
#include <QPixmap>

namespace {

const QSize swatchSize(44, 18);

// A checkerboard under the colour, so that translucency shows.
QPixmap swatch(const QColor &colour, qreal devicePixelRatio)
{
    QPixmap pixmap(swatchSize * devicePixelRatio);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    pixmap.fill(Qt::white);
    QPainter painter(&pixmap);
    const int square = 6;
    for (int y = 0; y < swatchSize.height(); y += square)
        for (int x = (y / square % 2) * square; x < swatchSize.width(); x += 2 * square)
            painter.fillRect(x, y, square, square, QColor(0xcc, 0xcc, 0xcc));
    painter.fillRect(QRect(QPoint(), swatchSize), colour);
    painter.setPen(QColor(0, 0, 0, 0x60));
    painter.drawRect(QRect(QPoint(), swatchSize).adjusted(0, 0, -1, -1));
    return pixmap;
}

} // namespace

ColourButton::ColourButton(UserDefaults &defaults, const QString &key, const QString &dialogTitle,
                           QWidget *parent)
    : QPushButton(parent), m_defaults(defaults), m_key(key), m_dialogTitle(dialogTitle)
{
    setIconSize(swatchSize);
    setAccessibleName(dialogTitle);
    connect(this, &QPushButton::clicked, this, &ColourButton::choose);
    m_defaults.observe(m_key, this, [this] { showColour(); });
    showColour();
}

QColor ColourButton::colour() const
{
    return m_defaults.colourValue(m_key);
}

void ColourButton::setColour(const QColor &colour)
{
    if (colour.isValid())
        m_defaults.setColour(m_key, colour);
}

void ColourButton::choose()
{
    setColour(QColorDialog::getColor(colour(), window(), m_dialogTitle, QColorDialog::ShowAlphaChannel));
}

void ColourButton::showColour()
{
    const QColor current = colour();
    setIcon(swatch(current.isValid() ? current : QColor(Qt::transparent), devicePixelRatioF()));
    setToolTip(current.isValid() ? tr("Red %1, green %2, blue %3, opacity %4%")
                                       .arg(current.red())
                                       .arg(current.green())
                                       .arg(current.blue())
                                       .arg(qRound(current.alphaF() * 100))
                                 : QString());
}
