#include "VNPreferencesController.h"

#include "ColourButton.h"
#include "DPOpenAtLogin.h"
#include "DefaultsTable.h"
#include "RuleListEditor.h"
#include "VNRecentFilesRules.h"
#include "XPHotKeyControl.h"

#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QEvent>
#include <QFormLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QStackedWidget>
#include <QTabWidget>
#include <QVBoxLayout>

namespace {

// Shows the default in `box` and writes every change at once; `inverted` for a box that reads as the
// opposite of its key. The box is named after its key.
QCheckBox *checkBox(const QString &text, UserDefaults &defaults, const QString &key, bool inverted = false)
{
    auto *box = new QCheckBox(text);
    box->setObjectName(key);
    const auto show = [box, &defaults, key, inverted] {
        const QSignalBlocker blocker(box);
        box->setChecked(defaults.boolValue(key) != inverted);
    };
    show();
    QObject::connect(box, &QCheckBox::toggled, box, [&defaults, key, inverted](bool checked) {
        defaults.setValue(key, checked != inverted);
    });
    defaults.observe(key, box, show);
    return box;
}

// Two radio buttons for one boolean default; the one that stands for YES is named after the key and is the
// only one that writes, so that the other's unchecking does not write the value a second time.
QWidget *choice(const QString &noText, const QString &yesText, UserDefaults &defaults, const QString &key,
                bool yesFirst = false)
{
    auto *pair = new QWidget;
    auto *no = new QRadioButton(noText, pair);
    auto *yes = new QRadioButton(yesText, pair);
    yes->setObjectName(key);
    auto *group = new QButtonGroup(yes);
    group->addButton(no);
    group->addButton(yes);
    const auto show = [no, yes, &defaults, key] {
        const QSignalBlocker blockNo(no);
        const QSignalBlocker blockYes(yes);
        (defaults.boolValue(key) ? yes : no)->setChecked(true);
    };
    show();
    QObject::connect(yes, &QRadioButton::toggled, yes,
                     [&defaults, key](bool checked) { defaults.setValue(key, checked); });
    defaults.observe(key, yes, show);
    auto *column = new QVBoxLayout(pair);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(2);
    column->addWidget(yesFirst ? yes : no);
    column->addWidget(yesFirst ? no : yes);
    return pair;
}

void enableWith(QWidget *widget, UserDefaults &defaults, const QString &key)
{
    const auto show = [widget, &defaults, key] { widget->setEnabled(defaults.boolValue(key)); };
    show();
    defaults.observe(key, widget, show);
}

QVBoxLayout *column(std::initializer_list<QWidget *> widgets)
{
    auto *layout = new QVBoxLayout;
    layout->setSpacing(2);
    for (QWidget *widget : widgets)
        layout->addWidget(widget);
    return layout;
}

QLabel *note(const QString &text)
{
    auto *label = new QLabel(text);
    label->setWordWrap(true);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

QFormLayout *form(QWidget *page)
{
    auto *layout = new QFormLayout(page);
    layout->setLabelAlignment(Qt::AlignRight);
    layout->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    layout->setRowWrapPolicy(QFormLayout::DontWrapRows);
    return layout;
}

QWidget *spacer()
{
    auto *gap = new QWidget;
    gap->setFixedHeight(6);
    return gap;
}

} // namespace

VNPreferencesController &VNPreferencesController::singleInstance()
{
    static QPointer<VNPreferencesController> instance;
    if (!instance) {
        instance = new VNPreferencesController(UserDefaults::standard());
        // Widgets must go before the application object does.
        connect(qApp, &QCoreApplication::aboutToQuit, instance, &QObject::deleteLater);
    }
    return *instance;
}

VNPreferencesController::VNPreferencesController(UserDefaults &defaults, QObject *parent)
    : QObject(parent), m_defaults(defaults), m_window(new QDialog)
{
    m_window->setWindowTitle(tr("Vantry Preferences"));
    m_pages = new QTabWidget(m_window);
    m_pages->setDocumentMode(true);
    m_pages->addTab(generalPage(), tr("&General"));
    m_pages->addTab(hotKeyPage(), tr("Hot &Key"));
    m_pages->addTab(foldersPage(), tr("&Folders"));
    m_pages->addTab(coloursPage(), tr("C&olours"));
    m_pages->addTab(dropZonePage(), tr("&Drop Zone"));
    m_pages->addTab(tagsPage(), tr("&Tags"));

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close, m_window);
    buttons->button(QDialogButtonBox::Close)->setText(tr("Close")); // its mnemonic would clash with a page's
    connect(buttons, &QDialogButtonBox::rejected, m_window, &QDialog::reject);

    auto *layout = new QVBoxLayout(m_window);
    layout->addWidget(m_pages, 1);
    layout->addWidget(buttons);
    m_window->installEventFilter(this);
}

VNPreferencesController::~VNPreferencesController()
{
    delete m_window;
}

void VNPreferencesController::showWindow()
{
    showOpenAtLogin();
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void VNPreferencesController::unwantedDirectoriesAction()
{
    m_pages->setCurrentWidget(m_foldersPage);
    m_ruleListChoice->setCurrentIndex(m_ruleListChoice->findData(QStringLiteral("unwantedDirectories")));
    showWindow();
    m_ruleLists->currentWidget()->setFocus();
}

void VNPreferencesController::addUnwantedExtensionFromFilePath(const QString &path, UserDefaults &defaults)
{
    const QString extension = VNRecentFilesRules::pathExtension(path);
    if (!extension.isEmpty())
        RuleListEditor::append(defaults, QStringLiteral("unwantedExtensions"),
                               RuleListEditor::Kind::Extensions, {extension});
}

void VNPreferencesController::addUnwantedItem(const QString &path, UserDefaults &defaults)
{
    RuleListEditor::append(defaults, QStringLiteral("unwantedItems"), RuleListEditor::Kind::Items, {path});
}

void VNPreferencesController::addUnwantedDirectory(const QString &path, UserDefaults &defaults)
{
    RuleListEditor::append(defaults, QStringLiteral("unwantedDirectories"), RuleListEditor::Kind::Folders,
                           {path});
}

void VNPreferencesController::resetColours(UserDefaults &defaults)
{
    const QStringList keys = DefaultsTable::colourDefaults().keys();
    for (const QString &key : keys)
        defaults.removeValue(key);
}

bool VNPreferencesController::eventFilter(QObject *watched, QEvent *event)
{
    // The login item can change from the tray menu while the window is open.
    if (watched == m_window && event->type() == QEvent::WindowActivate)
        showOpenAtLogin();
    return QObject::eventFilter(watched, event);
}

void VNPreferencesController::showOpenAtLogin()
{
    const QSignalBlocker blocker(m_openAtLogin);
    m_openAtLogin->setChecked(DPOpenAtLogin::openAtLoginEnabled());
}

QWidget *VNPreferencesController::generalPage()
{
    auto *page = new QWidget;
    QFormLayout *layout = form(page);
    layout->addRow(tr("Show Vantry in:"), choice(tr("The system tra&y"), tr("The task&bar"), m_defaults,
                                                 QStringLiteral("KPRunInDock")));
    layout->addRow(spacer());

    m_openAtLogin = new QCheckBox(tr("Open Vantry at &login"));
    m_openAtLogin->setObjectName(QStringLiteral("openAtLogin"));
    showOpenAtLogin();
    connect(m_openAtLogin, &QCheckBox::toggled, this, [this](bool checked) {
        // On failure (logged) the box goes back to what is really set.
        if (!DPOpenAtLogin::setOpenAtLoginEnabled(checked))
            showOpenAtLogin();
    });
    layout->addRow(tr("Start:"), m_openAtLogin);
    layout->addRow(
        tr("Recent list:"),
        column({checkBox(tr("&Include files that were only opened"), m_defaults,
                         QStringLiteral("VNIncludeFileOpenedEvents")),
                checkBox(tr("Fade the &window in and out"), m_defaults, QStringLiteral("VNFadeIn"))}));
    layout->addRow(tr("Files:"),
                   column({checkBox(tr("&Copy files dragged out of Vantry, rather than moving them"),
                                    m_defaults, QStringLiteral("VNAlwaysCopyOnDrag")),
                           checkBox(tr("Wa&rn before moving files to the trash"), m_defaults,
                                    QStringLiteral("KPDONTWarnAboutTrashingFiles"), true)}));
    return page;
}

QWidget *VNPreferencesController::hotKeyPage()
{
    auto *page = new QWidget;
    QFormLayout *layout = form(page);
    layout->addRow(checkBox(tr("&Use a global hot key to show and hide Vantry"), m_defaults,
                            QStringLiteral("XPUseGlobalHotKey")));
    auto *recorder = new XPHotKeyControl;
    recorder->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    enableWith(recorder, m_defaults, QStringLiteral("XPUseGlobalHotKey"));
    auto *label = new QLabel(tr("&Combination:"));
    label->setBuddy(recorder);
    layout->addRow(label, recorder);
    layout->addRow(QString(), note(tr("Click the field, then press the new key combination.")));
    return page;
}

QWidget *VNPreferencesController::foldersPage()
{
    struct RuleList {
        const char *key;
        RuleListEditor::Kind kind;
        QString title;
        QString description;
    };
    const RuleList ruleLists[] = {
        {"unwantedDirectories", RuleListEditor::Kind::Folders, tr("Folders never shown"),
         tr("Nothing in these folders or their subfolders appears in the recent list.")},
        {"wantedDirectories", RuleListEditor::Kind::Folders, tr("Folders always shown"),
         tr("Files in these folders appear even where another rule would leave them out.")},
        {"unwantedItems", RuleListEditor::Kind::Items, tr("Items never shown"),
         tr("These files and folders never appear themselves.")},
        {"unwantedExtensions", RuleListEditor::Kind::Extensions, tr("Extensions never shown"),
         tr("Files with these extensions never appear. Type an extension without its dot, such as tmp.")},
        {"unwantedPathFragments", RuleListEditor::Kind::Fragments, tr("Path fragments never shown"),
         tr("Files whose path contains one of these texts never appear, such as /build/. Case is ignored.")},
    };

    m_foldersPage = new QWidget;
    m_ruleListChoice = new QComboBox;
    m_ruleLists = new QStackedWidget;
    for (const RuleList &ruleList : ruleLists) {
        const QString key = QString::fromLatin1(ruleList.key);
        m_ruleListChoice->addItem(ruleList.title, key);
        m_ruleLists->addWidget(new RuleListEditor(m_defaults, key, ruleList.kind, ruleList.description));
    }
    connect(m_ruleListChoice, &QComboBox::currentIndexChanged, m_ruleLists, &QStackedWidget::setCurrentIndex);

    auto *label = new QLabel(tr("&Rules:"));
    label->setBuddy(m_ruleListChoice);
    auto *top = new QHBoxLayout;
    top->addWidget(label);
    top->addWidget(m_ruleListChoice);
    top->addStretch();
    auto *layout = new QVBoxLayout(m_foldersPage);
    layout->addLayout(top);
    layout->addWidget(m_ruleLists, 1);
    return m_foldersPage;
}

QWidget *VNPreferencesController::coloursPage()
{
    auto *page = new QWidget;
    QFormLayout *layout = form(page);
    const auto add = [&](const QString &label, const QString &title, const char *key) {
        auto *button = new ColourButton(m_defaults, QString::fromLatin1(key), title);
        button->setObjectName(QString::fromLatin1(key));
        button->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
        auto *buddy = new QLabel(label);
        buddy->setBuddy(button);
        layout->addRow(buddy, button);
    };
    add(tr("Recent list &background:"), tr("Recent List Background"), "VNVantryBackgroundColour");
    add(tr("Recent list te&xt:"), tr("Recent List Text"), "VNVantryTextColour");
    add(tr("Cooler b&ackground:"), tr("Cooler Background"), "VNCoolerBackgroundColour");
    add(tr("Coo&ler text:"), tr("Cooler Text"), "VNCoolerTextColour");

    auto *reset = new QPushButton(tr("&Reset Colours"));
    reset->setObjectName(QStringLiteral("resetColours"));
    reset->setAutoDefault(false);
    reset->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    connect(reset, &QPushButton::clicked, this, [this] { resetColours(m_defaults); });
    layout->addRow(spacer());
    layout->addRow(QString(), reset);
    return page;
}

QWidget *VNPreferencesController::dropZonePage()
{
    const QString use = QStringLiteral("KPShowDropZone2");
    auto *page = new QWidget;
    QFormLayout *layout = form(page);
    layout->addRow(note(tr("The drop zone slides in from the edge of the screen while you drag files, "
                           "so that you can drop them into the cooler.")));
    layout->addRow(checkBox(tr("&Use the drop zone"), m_defaults, use));
    const auto addDependent = [&](const QString &text, QWidget *field) {
        auto *label = new QLabel(text);
        enableWith(label, m_defaults, use);
        enableWith(field, m_defaults, use);
        layout->addRow(label, field);
    };
    addDependent(tr("Screen edge:"),
                 choice(tr("&Right edge of the rightmost screen"), tr("&Left edge of the leftmost screen"),
                        m_defaults, QStringLiteral("KPDropZoneLeftEdge")));
    addDependent(tr("When parked:"), checkBox(tr("&Peek onto the screen"), m_defaults,
                                              QStringLiteral("KPDropZoneOverlapWithScreen")));
    addDependent(tr("While dragging:"),
                 checkBox(tr("&Slide in only when the pointer comes close to the edge"), m_defaults,
                          QStringLiteral("KPUseSmallDropZoneActiveZone")));
    return page;
}

QWidget *VNPreferencesController::tagsPage()
{
    auto *page = new QWidget;
    QFormLayout *layout = form(page);
    layout->addRow(tr("Separate tags with:"),
                   choice(tr("&Spaces"), tr("Co&mmas"), m_defaults, QStringLiteral("KPUseCommas"), true));
    layout->addRow(tr("Typing:"), checkBox(tr("&Complete tags as you type"), m_defaults,
                                           QStringLiteral("XPSkipTagAutoComplete"), true));
    return page;
}
