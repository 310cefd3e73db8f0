#pragma once

#include <QColor>
#include <QStyledItemDelegate>

// Draws one cell of an item grid: the image centred in its square, below it the title (cut in the middle
// when too long) and the subtitle, in the colours the window gives. A stack's image carries a badge with its
// number of files.
class VNBrowserCellDelegate : public QStyledItemDelegate {
    Q_OBJECT

public:
    enum Role { SubtitleRole = Qt::UserRole + 1, StackCountRole };

    static constexpr int imageSide = 96;
    static QSize cellSize();

    explicit VNBrowserCellDelegate(QObject *parent = nullptr);

    void setTitleColour(const QColor &colour) { m_titleColour = colour; }
    void setHighlightedTitleColour(const QColor &colour) { m_highlightedTitleColour = colour; }
    void setSubtitleColour(const QColor &colour) { m_subtitleColour = colour; }
    QColor titleColour() const { return m_titleColour; }
    QColor highlightedTitleColour() const { return m_highlightedTitleColour; }
    QColor subtitleColour() const { return m_subtitleColour; }

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

private:
    static void paintBadge(QPainter *painter, const QRect &imageRect, int count);

    QColor m_titleColour = Qt::white;
    QColor m_highlightedTitleColour = Qt::white;
    QColor m_subtitleColour = QColor(160, 160, 160);
};
