#include "common/settings.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "device/devicelist.h"
#include "mainwindow/mainwindow.h"
#include "mainwindow/settingsdialog.h"
#include "testenvironment.h"
#include "widgets/fileselectorwidget.h"
#include "windowbench.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QScopeGuard>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>
#include <QtTest>

#include <memory>

namespace {

const QString english = QStringLiteral("en");
const QString german = QStringLiteral("de");

QString i18n()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/i18n");
}

/// A translation file beside this test, as long as it lives.
class FurtherFile final
{
public:
    explicit FurtherFile(const char *name)
        : m_path(i18n() + QLatin1Char('/') + QLatin1String(name))
    {
        QFile::remove(m_path);
        m_made = QFile::copy(i18n() + QStringLiteral("/NembraHub_en.qm"), m_path);
    }
    ~FurtherFile() { QFile::remove(m_path); }
    Q_DISABLE_COPY_MOVE(FurtherFile)
    bool isMade() const { return m_made; }

private:
    QString m_path;
    bool m_made;
};

/// The letter after the ampersand, in upper case; null where there is none.
QChar mnemonicOf(const QString &text)
{
    const QKeySequence key = QKeySequence::mnemonic(text);
    return key.isEmpty() ? QChar() : key.toString(QKeySequence::PortableText).back().toUpper();
}

/// Those that come twice, as "letter: first text, second text".
QStringList doubleMnemonics(const QWidget &menuOrBar)
{
    QMap<QChar, QString> seen;
    QStringList twice;
    const QList<QAction *> actions = menuOrBar.actions();
    for (const QAction *const action : actions) {
        const QChar letter = mnemonicOf(action->text());
        if (letter.isNull()) {
            continue;
        }
        if (seen.contains(letter)) {
            twice += QString(letter) + QLatin1String(": ") + seen.value(letter) + QLatin1String(", ") +
                     action->text();
        }
        seen.insert(letter, action->text());
    }
    return twice;
}

/// Everything below the menu bar, submenus included.
QList<const QAction *> actionsBelow(const QWidget &menuOrBar)
{
    QList<const QAction *> all;
    const QList<QAction *> actions = menuOrBar.actions();
    for (const QAction *const action : actions) {
        all += action;
        if (action->menu()) {
            all += actionsBelow(*action->menu());
        }
    }
    return all;
}

/// What a screen reader calls the fields of a window that can have the focus; "?" for those without a name.
QStringList namesOfFields(const QWidget &window)
{
    QStringList names;
    const QList<QWidget *> widgets = window.findChildren<QWidget *>();
    for (QWidget *const widget : widgets) {
        // The line edit in a spin box speaks for it, and a field for what it hands the focus on to.
        if (!(widget->focusPolicy() & Qt::TabFocus) || widget->focusProxy() ||
            qobject_cast<QAbstractSpinBox *>(widget->parentWidget())) {
            continue;
        }
        const QAccessibleInterface *const accessible = QAccessible::queryAccessibleInterface(widget);
        const QString name = accessible ? accessible->text(QAccessible::Name) : QString();
        names += (name.isEmpty() ? QStringLiteral("?") : name) + QLatin1Char('/') + widget->objectName();
    }
    return names;
}

} // namespace

class TestMainWindowLanguage : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void offersTheLanguagesThatAreThere();
    void offersFurtherLanguages();
    void offersTranslationsOfThisProgramOnly();
    void checksTheStoredLanguage();
    void switchesEverythingAtOnce();
    void switchesBack();
    void speaksGermanInEveryText();
    void keepsTheViewWhenSwitched();
    void changesNothingForTheActiveLanguage();
    void startsInTheStoredLanguage();
    void switchesTheTextsOfQt();
    void tellsRowsFromNowOnInTheLanguage();

    void usesNoMnemonicTwice_data();
    void usesNoMnemonicTwice();
    void usesNoShortcutTwice_data();
    void usesNoShortcutTwice();
    void explainsEachAction_data();
    void explainsEachAction();
    void reachesEachActionFromTheMenuBar();
    void opensItsMenusByKeys_data();
    void opensItsMenusByKeys();
    void namesItsFields_data();
    void namesItsFields();
    void translatesTheScanOptions();
    void translatesTheFileSelector();
    void tellsAboutItself_data();
    void tellsAboutItself();
    void linksToTheInstalledHandbook();

private:
    void start(const QString &language);
    void choose(const QString &language) const;
    QList<QAction *> languageActions() const { return find<QMenu>("menuLanguage")->actions(); }
    template <typename T>
    T *find(const char *objectName) const
    {
        return m_bench->window().findChild<T *>(QLatin1String(objectName));
    }
    /// All that the window says, as "what: text".
    QStringList texts() const;

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<WindowBench> m_bench;
};

void TestMainWindowLanguage::initTestCase()
{
    // The translations of this build, beside this test.
    // A run that was killed may have left files.
    QVERIFY(QDir(i18n()).removeRecursively());
    QVERIFY(QDir().mkpath(i18n()));
    const QDir built(QStringLiteral(NEMBRA_TRANSLATIONS));
    for (const char *const name : {"NembraHub_de.qm", "NembraHub_en.qm", "qtbase_de.qm", "qtbase_en.qm"}) {
        const QString copy = i18n() + QLatin1Char('/') + QLatin1String(name);
        QVERIFY2(QFile::copy(built.filePath(QLatin1String(name)), copy), name);
    }
}

void TestMainWindowLanguage::init()
{
    m_environment = std::make_unique<TestEnvironment>();
}

void TestMainWindowLanguage::cleanup()
{
    m_bench.reset();
    m_environment.reset();
}

void TestMainWindowLanguage::start(const QString &language)
{
    m_bench.reset();
    settings::setValue(settings::language, language);
    m_bench = std::make_unique<WindowBench>();
}

void TestMainWindowLanguage::choose(const QString &language) const
{
    const QList<QAction *> actions = languageActions();
    for (QAction *const action : actions) {
        if (action->data().toString() == language) {
            action->trigger();
        }
    }
}

QStringList TestMainWindowLanguage::texts() const
{
    QStringList texts;
    const QString gap = QStringLiteral(": ");
    const QList<QAction *> actions = m_bench->window().findChildren<QAction *>();
    for (int i = 0; i < actions.size(); ++i) {
        const QAction &action = *actions.at(i);
        const QString name =
            action.objectName().isEmpty() ? QStringLiteral("action %1").arg(i) : action.objectName();
        texts += name + gap + action.text();
        texts += name + QLatin1String(" tool tip") + gap + action.toolTip();
        texts += name + QLatin1String(" status tip") + gap + action.statusTip();
    }
    for (int i = 0; i < Column::Count; ++i) {
        texts += QStringLiteral("column %1").arg(i) + gap + m_bench->list().headerItem()->text(i);
    }
    texts += QLatin1String("status") + gap + m_bench->statusText();
    for (const char *const name : {"mainToolBar", "filterToolBar"}) {
        texts += QLatin1String(name) + gap + find<QToolBar>(name)->windowTitle();
        texts += QLatin1String(name) + QLatin1String(" tool tip") + gap + find<QToolBar>(name)->toolTip();
    }
    texts +=
        QLatin1String("filter label") + gap + find<QToolBar>("filterToolBar")->findChild<QLabel *>()->text();
    texts += QLatin1String("filter name") + gap +
             find<QToolBar>("filterToolBar")->findChild<QLineEdit *>()->accessibleName();
    texts += QLatin1String("list name") + gap + m_bench->list().accessibleName();
    return texts;
}

void TestMainWindowLanguage::offersTheLanguagesThatAreThere()
{
    start(english);
    const QList<QAction *> actions = languageActions();
    QCOMPARE(actions.size(), 2);
    // In the order of their files.
    QCOMPARE(actions.at(0)->text(), QStringLiteral("German"));
    QCOMPARE(actions.at(0)->data().toString(), german);
    QCOMPARE(actions.at(1)->text(), QStringLiteral("English"));
    QCOMPARE(actions.at(1)->data().toString(), english);
    for (QAction *const action : actions) {
        QVERIFY(action->isCheckable());
        QVERIFY(action->actionGroup());
        QVERIFY(action->actionGroup()->isExclusive());
        QVERIFY(!action->icon().isNull());
    }
    const auto imageOf = [](const QIcon &icon) { return icon.pixmap(22).toImage(); };
    QCOMPARE(imageOf(actions.at(0)->icon()), imageOf(QIcon(QStringLiteral(":/Icons/Resources/german.png"))));
    QCOMPARE(imageOf(actions.at(1)->icon()),
             imageOf(QIcon(QStringLiteral(":/Icons/Resources/usenglish.png"))));
}

void TestMainWindowLanguage::offersFurtherLanguages()
{
    const FurtherFile french("NembraHub_fr.qm");
    const FurtherFile portuguese("NembraHub_pt_BR.qm");
    const FurtherFile unknown("NembraHub_x.y.qm");
    QVERIFY(french.isMade() && portuguese.isMade() && unknown.isMade());
    start(english);
    QStringList offered;
    const QList<QAction *> actions = languageActions();
    for (const QAction *const action : actions) {
        offered += action->data().toString() + QLatin1Char('=') + action->text() +
                   (action->icon().isNull() ? QString() : QStringLiteral(" with a flag"));
    }
    QCOMPARE(offered.join(QLatin1String(", ")),
             QStringLiteral("de=German with a flag, en=English with a flag, fr=French, pt_BR=Portuguese, "
                            "x.y=C"));
    choose(QStringLiteral("pt_BR"));
    QCOMPARE(settings::value(settings::language), QStringLiteral("pt_BR"));
    QCOMPARE(QLocale().language(), QLocale::Portuguese);
    QCOMPARE(QLocale().country(), QLocale::Brazil);
}

void TestMainWindowLanguage::offersTranslationsOfThisProgramOnly()
{
    const FurtherFile other("Other_fr.qm");
    const FurtherFile source("NembraHub_fr.ts");
    const FurtherFile without("NembraHub.qm");
    QVERIFY(other.isMade() && source.isMade() && without.isMade());
    start(english);
    QCOMPARE(languageActions().size(), 2);
}

void TestMainWindowLanguage::checksTheStoredLanguage()
{
    start(german);
    QCOMPARE(languageActions().at(0)->isChecked(), true);
    QCOMPARE(languageActions().at(1)->isChecked(), false);
    start(QStringLiteral("fr"));
    QCOMPARE(languageActions().at(0)->isChecked(), false);
    QCOMPARE(languageActions().at(1)->isChecked(), false);
    m_bench.reset();
    settings::store().clear();
    m_bench = std::make_unique<WindowBench>();
    QCOMPARE(languageActions().at(1)->isChecked(), true);
}

void TestMainWindowLanguage::switchesEverythingAtOnce()
{
    start(english);
    m_bench->trigger("actionFilter");
    choose(german);
    QCOMPARE(settings::value(settings::language), german);
    QCOMPARE(QLocale().language(), QLocale::German);
    QCOMPARE(languageActions().at(0)->isChecked(), true);
    QCOMPARE(languageActions().at(1)->isChecked(), false);
    QCOMPARE(find<QMenu>("menuDevice")->title(), QStringLiteral("&Geräte"));
    QCOMPARE(find<QMenu>("menuLanguage")->title(), QStringLiteral("&Sprache"));
    QCOMPARE(find<QMenu>("menuLanguage")->statusTip(), QStringLiteral("Die Sprache von Nembra Hub ändern"));
    QCOMPARE(m_bench->action("actionExit")->text(), QStringLiteral("Beenden"));
    QCOMPARE(m_bench->action("actionExit")->statusTip(), QStringLiteral("Nembra Hub beenden"));
    QCOMPARE(m_bench->action("actionExit")->shortcut(), QKeySequence(QStringLiteral("Ctrl+Q")));
    QCOMPARE(m_bench->action("actionConfigureDevice")->toolTip(),
             QStringLiteral("Netzwerkkonfiguration des Geräts"));
    QCOMPARE(m_bench->list().headerItem()->text(0), QStringLiteral("Systemname"));
    QCOMPARE(m_bench->list().headerItem()->text(26), QStringLiteral("Belegung der Historie"));
    const QList<QAction *> columns = find<QMenu>("menuVisible_columns")->actions();
    QCOMPARE(columns.at(3)->text(), QStringLiteral("Zuerst gesehen"));
    QCOMPARE(columns.at(3)->statusTip(), QStringLiteral("Die Spalte Zuerst gesehen ein- oder ausblenden"));
    QCOMPARE(m_bench->statusText(), QStringLiteral("Aktive Geräte: 0/0"));
    QCOMPARE(find<QToolBar>("mainToolBar")->toolTip(),
             QStringLiteral("Diese Werkzeugleiste lässt sich im Menü „Ansicht“ ausblenden"));
    QCOMPARE(m_bench->list().accessibleName(), QStringLiteral("Geräte"));
    QCOMPARE(m_bench->window().windowTitle(), QStringLiteral("Nembra Hub"));
    // The languages keep their own names.
    QCOMPARE(languageActions().at(0)->text(), QStringLiteral("German"));
}

void TestMainWindowLanguage::switchesBack()
{
    start(english);
    const QStringList before = texts();
    choose(german);
    QVERIFY(texts() != before);
    choose(english);
    QCOMPARE(texts(), before);
    QCOMPARE(settings::value(settings::language), english);
    QCOMPARE(QLocale().language(), QLocale::English);
}

void TestMainWindowLanguage::speaksGermanInEveryText()
{
    start(english);
    const QStringList before = texts();
    choose(german);
    const QStringList after = texts();
    QCOMPARE(after.size(), before.size());
    QStringList equal;
    for (int i = 0; i < before.size(); ++i) {
        const QString text = before.at(i).section(QStringLiteral(": "), 1);
        if (before.at(i) == after.at(i) && !text.isEmpty() && !equal.contains(text)) {
            equal += text;
        }
    }
    equal.sort();
    QCOMPARE(
        equal.join(QLatin1String(", ")),
        QStringLiteral(
            "English, Filter, Firm&ware, Firmware, German, IP, MAC, Sensor 1, Sensor 2, Sensor 3, Sensor 4, "
            "Status, Syslog, Version"));
}

void TestMainWindowLanguage::keepsTheViewWhenSwitched()
{
    start(english);
    DiscoveryDevice record;
    record.setMacText(QStringLiteral("0E:5A:11:00:00:01"));
    record.setHostname(QStringLiteral("Filter"));
    record.setVariant(16);
    m_bench->window().onDevice(record);
    m_bench->list().selectAll();
    m_bench->list().setColumnWidth(0, 123);
    m_bench->list().header()->moveSection(2, 0);
    find<QMenu>("menuVisible_columns")->actions().at(Column::Uptime)->trigger();
    m_bench->list().sortByColumn(Column::Mac, Qt::DescendingOrder);
    m_bench->trigger("actionLarge");
    m_bench->trigger("actionAuto");
    m_bench->trigger("actionStatusbar");
    m_bench->trigger("actionFilter");
    find<QToolBar>("filterToolBar")->findChild<QLineEdit *>()->setText(QStringLiteral("no such device"));
    m_bench->trigger("actionApply");
    choose(german);
    const QTreeWidget &list = m_bench->list();
    QCOMPARE(list.topLevelItem(0)->text(0), QStringLiteral("Filter"));
    QCOMPARE(list.topLevelItem(0)->isHidden(), true);
    QCOMPARE(list.visualItemRect(list.topLevelItem(0)), QRect());
    QCOMPARE(list.selectionModel()->hasSelection(), true);
    QCOMPARE(list.columnWidth(0), 123);
    QCOMPARE(list.header()->visualIndex(2), 0);
    QCOMPARE(list.columnViewportPosition(2), 0);
    QCOMPARE(list.isColumnHidden(Column::Uptime), false);
    QCOMPARE(list.sortColumn(), 2);
    QCOMPARE(find<QToolBar>("mainToolBar")->iconSize(), QSize(44, 44));
    const QWidget *const button =
        find<QToolBar>("mainToolBar")->widgetForAction(m_bench->action("actionAuto"));
    QCOMPARE(qobject_cast<const QAbstractButton *>(button)->iconSize(), QSize(44, 44));
    QCOMPARE(m_bench->action("actionLarge")->isChecked(), true);
    QCOMPARE(m_bench->action("actionAuto")->isChecked(), true);
    QCOMPARE(find<QStatusBar>("statusBar")->isVisible(), false);
    QCOMPARE(m_bench->action("actionStatusbar")->isChecked(), false);
    QCOMPARE(find<QToolBar>("filterToolBar")->findChild<QLineEdit *>()->text(),
             QStringLiteral("no such device"));
    QCOMPARE(m_bench->action("actionRemove")->isEnabled(), true);
    QCOMPARE(m_bench->action("actionSave_Configs")->shortcut(), QKeySequence());
}

void TestMainWindowLanguage::changesNothingForTheActiveLanguage()
{
    start(german);
    const QStringList before = texts();
    m_bench->list().headerItem()->setText(0, QStringLiteral("as it is"));
    choose(german);
    QCOMPARE(m_bench->list().headerItem()->text(0), QStringLiteral("as it is"));
    QCOMPARE(languageActions().at(0)->isChecked(), true);
    choose(english);
    choose(german);
    QCOMPARE(texts(), before);
    // And for the next time.
    m_bench->window().close();
    m_bench = std::make_unique<WindowBench>();
    QCOMPARE(texts(), before);
}

void TestMainWindowLanguage::startsInTheStoredLanguage()
{
    start(german);
    QCOMPARE(m_bench->statusText(), QStringLiteral("Aktive Geräte: 0/0"));
    QVERIFY(m_bench->list().hint().startsWith(QLatin1String("Noch hat kein")));
    QCOMPARE(find<QMenu>("menuHelp")->title(), QStringLiteral("&Hilfe"));
    QCOMPARE(find<QMenu>("menuVisible_columns")->actions().at(0)->text(), QStringLiteral("Systemname"));
    QCOMPARE(QLocale().language(), QLocale::German);
}

void TestMainWindowLanguage::switchesTheTextsOfQt()
{
    start(english);
    const auto cancel = [] { return QCoreApplication::translate("QPlatformTheme", "Cancel"); };
    QCOMPARE(cancel(), QStringLiteral("Cancel"));
    choose(german);
    QCOMPARE(cancel(), QStringLiteral("Abbrechen"));
    choose(english);
    QCOMPARE(cancel(), QStringLiteral("Cancel"));
}

void TestMainWindowLanguage::tellsRowsFromNowOnInTheLanguage()
{
    start(english);
    choose(german);
    m_bench->window().onDevice(DiscoveryDevice());
    QCOMPARE(m_bench->statusText(), QStringLiteral("Aktive Geräte: 1/1"));
    const BoxAnswerer boxes(QMessageBox::No);
    m_bench->trigger("actionReset_configuration");
    QCOMPARE(boxes.texts(), QStringList{QStringLiteral(
                                "Die Einstellungen von Nembra Hub auf die Standardwerte zurücksetzen?")});
}

void TestMainWindowLanguage::usesNoMnemonicTwice_data()
{
    QTest::addColumn<QString>("language");
    QTest::newRow("English") << english;
    QTest::newRow("German") << german;
}

void TestMainWindowLanguage::usesNoMnemonicTwice()
{
    QFETCH(QString, language);
    const FurtherFile french("NembraHub_fr.qm");
    start(language);
    const auto *const bar = find<QMenuBar>("menuBar");
    QCOMPARE(doubleMnemonics(*bar), QStringList());
    const QList<QAction *> titles = bar->actions();
    for (const QAction *const action : titles) {
        QVERIFY2(!mnemonicOf(action->text()).isNull(), qPrintable(action->text()));
    }
    int menus = 0;
    const QList<const QAction *> actions = actionsBelow(*bar);
    for (const QAction *const action : actions) {
        if (action->menu()) {
            ++menus;
            QCOMPARE(doubleMnemonics(*action->menu()), QStringList());
        }
    }
    QCOMPARE(menus, 10);
    // The menu of the header: how to fit the columns, and the columns.
    QMenu headerMenu;
    headerMenu.addAction(m_bench->action("actionResize_columns"));
    headerMenu.addActions(find<QMenu>("menuVisible_columns")->actions());
    QCOMPARE(doubleMnemonics(headerMenu), QStringList());

    const SettingsDialog dialog;
    QStringList letters;
    const QList<QLabel *> labels = dialog.findChildren<QLabel *>();
    for (const QLabel *const label : labels) {
        letters += mnemonicOf(label->text());
    }
    const QList<QAbstractButton *> buttons = dialog.findChildren<QAbstractButton *>();
    for (const QAbstractButton *const button : buttons) {
        letters += mnemonicOf(button->text());
    }
    letters.removeAll(QString(QChar()));
    QCOMPARE(letters.removeDuplicates(), 0);
}

void TestMainWindowLanguage::usesNoShortcutTwice_data()
{
    usesNoMnemonicTwice_data();
}

void TestMainWindowLanguage::usesNoShortcutTwice()
{
    QFETCH(QString, language);
    start(language);
    QMap<QString, QString> users;
    const auto use = [&users](const QString &key, const QString &user) {
        QVERIFY2(!users.contains(key),
                 qPrintable(key + QLatin1String(": ") + users.value(key) + QLatin1String(", ") + user));
        users.insert(key, user);
    };
    const QList<QAction *> actions = m_bench->window().findChildren<QAction *>();
    for (const QAction *const action : actions) {
        const QList<QKeySequence> shortcuts = action->shortcuts();
        for (const QKeySequence &shortcut : shortcuts) {
            use(shortcut.toString(QKeySequence::PortableText), action->objectName());
        }
    }
    QCOMPARE(users.size(), 12);
    // The menus have keys of the same kind.
    const auto *const bar = find<QMenuBar>("menuBar");
    const QList<QAction *> titles = bar->actions();
    for (const QAction *const action : titles) {
        use(QKeySequence::mnemonic(action->text()).toString(QKeySequence::PortableText), action->text());
    }
    QCOMPARE(users.size(), 16);
}

void TestMainWindowLanguage::explainsEachAction_data()
{
    usesNoMnemonicTwice_data();
}

void TestMainWindowLanguage::explainsEachAction()
{
    QFETCH(QString, language);
    start(language);
    QStringList unexplained;
    QStringList tips;
    const QList<QAction *> actions = m_bench->window().findChildren<QAction *>(
        QRegularExpression(QStringLiteral("^action")), Qt::FindDirectChildrenOnly);
    QCOMPARE(actions.size(), 30);
    for (const QAction *const action : actions) {
        if (action->statusTip().isEmpty()) {
            unexplained += action->objectName();
        } else {
            tips += action->statusTip();
        }
    }
    QCOMPARE(unexplained, QStringList{QStringLiteral("actionSyslog")});
    const QList<QAction *> columns = find<QMenu>("menuVisible_columns")->actions();
    for (const QAction *const column : columns) {
        QVERIFY2(column->statusTip().contains(column->text()), qPrintable(column->statusTip()));
        tips += column->statusTip();
    }
    // Each its own.
    QCOMPARE(tips.removeDuplicates(), 0);
}

void TestMainWindowLanguage::reachesEachActionFromTheMenuBar()
{
    start(english);
    const QList<const QAction *> reached = actionsBelow(*find<QMenuBar>("menuBar"));
    QStringList others;
    const QList<QAction *> actions = m_bench->window().findChildren<QAction *>(
        QRegularExpression(QStringLiteral("^action")), Qt::FindDirectChildrenOnly);
    for (const QAction *const action : actions) {
        if (!reached.contains(action)) {
            others += action->objectName();
        }
    }
    others.sort();
    // They have other ways: the scan options, Return and Escape in the filter.
    QCOMPARE(others.join(QLatin1Char(' ')), QStringLiteral("actionApply actionAuto actionFilterClose"));
}

void TestMainWindowLanguage::opensItsMenusByKeys_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<int>("key");
    QTest::addColumn<QString>("first");
    QTest::newRow("devices") << english << int(Qt::Key_D) << "Refresh list";
    QTest::newRow("view") << english << int(Qt::Key_V) << "Show columns";
    QTest::newRow("setup") << english << int(Qt::Key_S) << "Scan options";
    QTest::newRow("help") << english << int(Qt::Key_H) << "About Nembra Hub";
    QTest::newRow("devices in German") << german << int(Qt::Key_G) << "Liste aktualisieren";
    QTest::newRow("view in German") << german << int(Qt::Key_A) << "Spalten anzeigen";
    QTest::newRow("setup in German") << german << int(Qt::Key_E) << "Suchoptionen";
    QTest::newRow("help in German") << german << int(Qt::Key_H) << QStringLiteral("Über Nembra Hub");
}

void TestMainWindowLanguage::opensItsMenusByKeys()
{
    QFETCH(QString, language);
    QFETCH(int, key);
    QFETCH(QString, first);
    start(language);
    const PopupReader reader;
    QTest::keyClick(&m_bench->window(), static_cast<Qt::Key>(key), Qt::AltModifier);
    QTRY_COMPARE(reader.menus().size(), 1);
    QVERIFY2(reader.menus().constFirst().startsWith(first), qPrintable(reader.menus().constFirst()));
}

void TestMainWindowLanguage::namesItsFields_data()
{
    usesNoMnemonicTwice_data();
}

void TestMainWindowLanguage::namesItsFields()
{
    QFETCH(QString, language);
    start(language);
    m_bench->trigger("actionFilter");
    const bool inGerman = language == german;
    const QStringList names = namesOfFields(m_bench->window());
    QCOMPARE(names.size(), 2);
    QVERIFY(names.contains(QStringLiteral("Filter/")));
    QVERIFY(names.contains(inGerman ? QStringLiteral("Geräte/devList") : QStringLiteral("Devices/devList")));
    QCOMPARE(find<QToolBar>("filterToolBar")->findChild<QLabel *>()->buddy(),
             static_cast<QWidget *>(find<QToolBar>("filterToolBar")->findChild<QLineEdit *>()));

    SettingsDialog dialog;
    dialog.show();
    const QStringList fields = namesOfFields(dialog);
    QCOMPARE(fields.size(), 8);
    QCOMPARE(fields.filter(QStringLiteral("?")), QStringList());
    QVERIFY2(fields.contains(inGerman ? QStringLiteral("HTTP-Port/spinBoxHTTPPort")
                                      : QStringLiteral("HTTP port/spinBoxHTTPPort")),
             qPrintable(fields.join(QLatin1Char(' '))));
    QVERIFY2(fields.contains(inGerman ? QStringLiteral("Automatisch aktualisieren/checkBoxAutoUpdate")
                                      : QStringLiteral("Auto update/checkBoxAutoUpdate")),
             qPrintable(fields.join(QLatin1Char(' '))));

    FileSelectorWidget selector;
    selector.setCaption(QStringLiteral("Firmware"));
    selector.show();
    QCOMPARE(namesOfFields(selector), (QStringList{QStringLiteral("Firmware/lineEdit"),
                                                   inGerman ? QStringLiteral("Durchsuchen/pushButton")
                                                            : QStringLiteral("Search/pushButton")}));
}

void TestMainWindowLanguage::translatesTheScanOptions()
{
    start(german);
    SettingsDialog dialog;
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Suchoptionen"));
    QStringList labels;
    const QList<QLabel *> found = dialog.findChildren<QLabel *>();
    for (const QLabel *const label : found) {
        labels += label->text();
    }
    QCOMPARE(labels.join(QLatin1String(", ")),
             QStringLiteral("UDP-Port für die Suche, HTTP-Port, HTTPS-Port, Automatisch aktualisieren, "
                            "Aktualisierungsintervall in Sekunden, Erweiterte Auflösung bevorzugen"));
    // Every text fits.
    dialog.show();
    for (const QLabel *const label : found) {
        QVERIFY2(label->width() >= label->sizeHint().width(), qPrintable(label->text()));
    }
}

void TestMainWindowLanguage::translatesTheFileSelector()
{
    start(english);
    const FileSelectorWidget selector;
    const auto *const button = selector.findChild<QAbstractButton *>();
    QCOMPARE(button->text(), QStringLiteral("Search"));
    choose(german);
    // While it is there, too.
    QTRY_COMPARE(button->text(), QStringLiteral("Durchsuchen"));
}

void TestMainWindowLanguage::tellsAboutItself_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("sentence");
    QTest::addColumn<QString>("link");
    QTest::newRow("English") << english << "About Nembra Hub"
                             << "You may use the software without charge."
                             << ">tutorial</a> for more information about how to use this software.";
    QTest::newRow("German") << german << QStringLiteral("Über Nembra Hub")
                            << QStringLiteral("Sie dürfen die Software kostenlos nutzen.")
                            << ">Anleitung</a>.";
}

void TestMainWindowLanguage::tellsAboutItself()
{
    QFETCH(QString, title);
    QFETCH(QString, sentence);
    QFETCH(QString, link);
    QFETCH(QString, language);
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Nembra Hub"));
    QCoreApplication::setApplicationVersion(QStringLiteral("3.0.0"));
    start(language);
    int seen = 0;
    QString text;
    QString seenTitle;
    bool asDesigned = false;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&] {
        auto *const box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (!box) {
            return;
        }
        ++seen;
        text = box->text();
        seenTitle = box->windowTitle();
        asDesigned = !box->parent() && box->isModal() && box->textFormat() == Qt::RichText &&
                     box->standardButtons() == QMessageBox::Ok && !box->iconPixmap().isNull() &&
                     box->iconPixmap().width() >= 128 &&
                     box->windowFlags().testFlag(Qt::MSWindowsFixedSizeDialogHint);
        QTest::keyClick(box, Qt::Key_Return);
    });
    timer.start(5);
    m_bench->trigger("actionAbout_NembraHub");
    QCOMPARE(seen, 1);
    QVERIFY(asDesigned);
    QVERIFY2(seenTitle.startsWith(title), qPrintable(seenTitle));
    const QStringList parts = text.split(QStringLiteral("<br><br>"));
    QCOMPARE(parts.size(), 6);
    QCOMPARE(parts.at(0), QStringLiteral("Nembra Hub Version 3.0.0"));
    QVERIFY2(parts.at(1).contains(QStringLiteral("ostrel GmbH")), qPrintable(parts.at(1)));
    QCOMPARE(parts.at(3), sentence);
    QVERIFY2(parts.at(5).contains(QStringLiteral("<a href=\"https://")) && parts.at(5).endsWith(link),
             qPrintable(parts.at(5)));
}

void TestMainWindowLanguage::linksToTheInstalledHandbook()
{
    const QDir place(QCoreApplication::applicationDirPath() + QStringLiteral("/handbook"));
    const auto atTheEnd = qScopeGuard([&place] { QDir(place).removeRecursively(); });
    QVERIFY(QDir().mkpath(place.path()));
    for (const char *const name : {"nembrahub-handbook-en.html", "nembrahub-handbook-de.html"}) {
        QFile page(place.filePath(QLatin1String(name)));
        QVERIFY(page.open(QIODevice::WriteOnly));
    }
    start(german);
    QString text;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&text] {
        if (auto *const box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
            text = box->text();
            QTest::keyClick(box, Qt::Key_Return);
        }
    });
    timer.start(5);
    m_bench->trigger("actionAbout_NembraHub");
    const QUrl page = QUrl::fromLocalFile(place.filePath(QStringLiteral("nembrahub-handbook-de.html")));
    QVERIFY2(
        text.contains(QStringLiteral("<a href=\"%1\">Anleitung</a>").arg(page.toString(QUrl::FullyEncoded))),
        qPrintable(text));
}

NEMBRA_GUI_TEST_MAIN(TestMainWindowLanguage)
#include "tst_mainwindow_language.moc"
