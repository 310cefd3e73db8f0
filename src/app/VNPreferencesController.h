#pragma once

#include "UserDefaults.h"

#include <QObject>
#include <QString>

class QCheckBox;
class QComboBox;
class QDialog;
class QStackedWidget;
class QTabWidget;
class QWidget;

// The preferences window. Every control writes its user default as soon as it changes and follows changes
// made to that default elsewhere, so the window has nothing to apply or cancel.
class VNPreferencesController : public QObject {
    Q_OBJECT

public:
    // The one controller of the application, made on first use and ended when the application quits.
    static VNPreferencesController &singleInstance();

    explicit VNPreferencesController(UserDefaults &defaults, QObject *parent = nullptr);
    ~VNPreferencesController() override;

    QDialog *window() const { return m_window; }
    // Shows the window in front and gives it the keyboard.
    void showWindow();
    // Shows the window at the list of folders that never appear.
    void unwantedDirectoriesAction();

    // The exclusions offered by the recent list's menus. Each appends to its list unless the entry is there.
    static void addUnwantedExtensionFromFilePath(const QString &path,
                                                 UserDefaults &defaults = UserDefaults::standard());
    static void addUnwantedItem(const QString &path, UserDefaults &defaults = UserDefaults::standard());
    static void addUnwantedDirectory(const QString &path, UserDefaults &defaults = UserDefaults::standard());

    // Returns the four colours to their registered values.
    static void resetColours(UserDefaults &defaults = UserDefaults::standard());

private:
    bool eventFilter(QObject *watched, QEvent *event) override;
    QWidget *generalPage();
    QWidget *hotKeyPage();
    QWidget *foldersPage();
    QWidget *coloursPage();
    QWidget *dropZonePage();
    QWidget *tagsPage();
    void showOpenAtLogin();

    UserDefaults &m_defaults;
    QDialog *m_window;
    QTabWidget *m_pages = nullptr;
    QWidget *m_foldersPage = nullptr;
    QComboBox *m_ruleListChoice = nullptr;
    QStackedWidget *m_ruleLists = nullptr;
    QCheckBox *m_openAtLogin = nullptr;
};
