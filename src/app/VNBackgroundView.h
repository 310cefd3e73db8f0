#pragma once

#include <QColor>
#include <QWidget>

// A rounded panel painted in a user-chosen colour, behind a grid.
class VNBackgroundView : public QWidget {
    Q_OBJECT

public:
    explicit VNBackgroundView(QWidget *parent = nullptr);

    QColor backgroundColour() const { return m_colour; }
    void setBackgroundColour(const QColor &colour);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QColor m_colour;
};
