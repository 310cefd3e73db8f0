#include "VNBrowserCellDelegate.h"

#include <QApplication>
#include <QIcon>
#include <QPainter>
#include <QPainterPath>

namespace {

constexpr int margin = 6;
constexpr int lineGap = 2;

} // namespace

QSize VNBrowserCellDelegate::cellSize()
{
    const QFontMetrics metrics(QApplication::font());
    return {imageSide + 4 * margin + 8, imageSide + 2 * margin + 2 * metrics.height() + lineGap + margin};
}

VNBrowserCellDelegate::VNBrowserCellDelegate(QObject *parent) : QStyledItemDelegate(parent) {}

QSize VNBrowserCellDelegate::sizeHint(const QStyleOptionViewItem &, const QModelIndex &) const
{
    return cellSize();
}

void VNBrowserCellDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                                  const QModelIndex &index) const
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QRect cell = option.rect.adjusted(2, 2, -2, -2);
    const bool selected = option.state.testFlag(QStyle::State_Selected);
    const bool focused = option.state.testFlag(QStyle::State_HasFocus);
    const QColor highlight = option.palette.color(QPalette::Active, QPalette::Highlight);

    const QRect imageRect(cell.center().x() - imageSide / 2, cell.top() + margin, imageSide, imageSide);
    if (selected) {
        QColor halo = highlight;
        halo.setAlphaF(0.45);
        painter->setPen(Qt::NoPen);
        painter->setBrush(halo);
        painter->drawRoundedRect(imageRect.adjusted(-margin, -margin, margin, margin), 8, 8);
    }

    const QIcon icon = index.data(Qt::DecorationRole).value<QIcon>();
    icon.paint(painter, imageRect, Qt::AlignCenter, QIcon::Normal);
    if (const int count = index.data(StackCountRole).toInt(); count > 0)
        paintBadge(painter, imageRect, count);

    const QFontMetrics metrics(option.font);
    const int textWidth = cell.width() - 2 * margin;
    QRect titleRect(cell.left() + margin, imageRect.bottom() + margin + 1, textWidth, metrics.height());
    const QString title =
        metrics.elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideMiddle, titleRect.width());
    if (selected) {
        const int width = metrics.horizontalAdvance(title) + 2 * margin;
        const QRect pill(titleRect.center().x() - width / 2, titleRect.top(), width, titleRect.height());
        painter->setPen(Qt::NoPen);
        painter->setBrush(highlight);
        painter->drawRoundedRect(pill, pill.height() / 2.0, pill.height() / 2.0);
    }
    painter->setFont(option.font);
    painter->setPen(selected ? m_highlightedTitleColour : m_titleColour);
    painter->drawText(titleRect, Qt::AlignHCenter | Qt::AlignVCenter, title);

    const QRect subtitleRect = titleRect.translated(0, metrics.height() + lineGap);
    painter->setPen(m_subtitleColour);
    painter->drawText(subtitleRect, Qt::AlignHCenter | Qt::AlignVCenter,
                      metrics.elidedText(index.data(SubtitleRole).toString(), Qt::ElideRight, textWidth));

    if (focused && selected) {
        painter->setPen(QPen(highlight, 1.5));
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(imageRect.adjusted(-margin, -margin, margin, margin), 8, 8);
    }
    painter->restore();
}

void VNBrowserCellDelegate::paintBadge(QPainter *painter, const QRect &imageRect, int count)
{
    QFont font = painter->font();
    font.setBold(true);
    const QFontMetrics metrics(font);
    const QString text = QString::number(count);
    const int height = metrics.height() + 4;
    const int width = std::max(height, metrics.horizontalAdvance(text) + 10);
    const QRect badge(imageRect.right() - width + 4, imageRect.top() + 4, width, height);
    painter->setPen(QPen(Qt::white, 1.5));
    painter->setBrush(QColor(220, 50, 47));
    painter->drawRoundedRect(badge, height / 2.0, height / 2.0);
    painter->setFont(font);
    painter->drawText(badge, Qt::AlignCenter, text);
}
