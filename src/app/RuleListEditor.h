#pragma once

#include <QString>
#include <QStringList>
#include <QWidget>

class QListWidget;
class QListWidgetItem;
class QPushButton;
class UserDefaults;

// Edits one of the lists of inclusion and exclusion rules, a list of strings in the user defaults, and
// follows changes made to it elsewhere. Paths are shown with "~" for the home folder but stored expanded;
// extensions and path fragments are typed in place.
class RuleListEditor : public QWidget {
    Q_OBJECT

public:
    enum class Kind { Folders, Items, Extensions, Fragments };

    RuleListEditor(UserDefaults &defaults, const QString &key, Kind kind, const QString &description,
                   QWidget *parent = nullptr);

    // Appends the entries that `key` does not yet hold, in order, in the form the rules compare: paths
    // absolute with "~" expanded, extensions lower case without a dot, nothing blank.
    static void append(UserDefaults &defaults, const QString &key, Kind kind, const QStringList &entries);

    QString key() const { return m_key; }
    QListWidget *list() const { return m_list; }

    void addEntries(const QStringList &entries); // and selects the last one
    void removeSelected();

private:
    bool typed() const { return m_kind == Kind::Extensions || m_kind == Kind::Fragments; }
    void add();
    QStringList choosePaths();
    void editCurrent();
    void store();
    void reload();
    QStringList shownEntries() const;
    QListWidgetItem *newItem(const QString &entry) const;
    void updateButtons();

    UserDefaults &m_defaults;
    const QString m_key;
    const Kind m_kind;
    QListWidget *m_list;
    QPushButton *m_removeButton;
    QPushButton *m_editButton = nullptr;
    bool m_storing = false;
};
