#pragma once

#include <QColor>
#include <QPushButton>
#include <QString>

class UserDefaults;

// A swatch showing one colour of the user defaults; clicking it picks a new colour, alpha included. Follows
// changes made to the colour elsewhere.
class ColourButton : public QPushButton {
    Q_OBJECT

public:
    ColourButton(UserDefaults &defaults, const QString &key, const QString &dialogTitle,
                 QWidget *parent = nullptr);

    QColor colour() const;
    void setColour(const QColor &colour); // writes the default

private:
    void choose();
    void showColour();

    UserDefaults &m_defaults;
    const QString m_key;
    const QString m_dialogTitle;
};
