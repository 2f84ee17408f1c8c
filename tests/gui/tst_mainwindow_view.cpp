#include "common/settings.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "mainwindow/mainwindow.h"
#include "testenvironment.h"
#include "windowbench.h"

#include <QAction>
#include <QApplication>
#include <QCompleter>
#include <QFontDialog>
#include <QHeaderView>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>
#include <QtTest>

#include <memory>

namespace {

/// Milliseconds for what the window does by itself.
constexpr int patience = 20000;
/// Of a widget that may be as high as it likes.
constexpr int anyHeight = 16777215;

DiscoveryDevice answerOf(const char *mac, const char *hostname)
{
    DiscoveryDevice record;
    record.setMacText(QLatin1String(mac));
    record.setHostname(QLatin1String(hostname));
    record.setVariant(16);
    return record;
}

QImage imageOf(const QIcon &icon)
{
    return icon.pixmap(22).toImage();
}

/// Object names from top to bottom, "-" for a separator, "?" for what has none.
QString entriesOf(const QWidget &menuOrBar)
{
    QStringList entries;
    const QList<QAction *> actions = menuOrBar.actions();
    for (const QAction *const action : actions) {
        const QString name = action->menu() ? action->menu()->objectName() : action->objectName();
        entries += action->isSeparator() ? QStringLiteral("-") : name.isEmpty() ? QStringLiteral("?") : name;
    }
    return entries.join(QLatin1Char(' '));
}

QVariant stored(const char *key)
{
    return settings::store().value(QLatin1String(key));
}

} // namespace

class TestMainWindowView : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void looksAsDesigned();
    void namesItsActions_data();
    void namesItsActions();
    void checksItsActions();
    void fillsItsMenus_data();
    void fillsItsMenus();
    void fillsItsToolBars();
    void startsInEnglish();
    void tellsAboutItself();
    void tellsAboutQt();

    void namesItsColumns();
    void offersAnActionPerColumn();
    void showsAndHidesColumns();
    void keepsOneColumnVisible();
    void recoversFromNoVisibleColumn();
    void resizesVisibleColumns();
    void showsTheFirstColumnInItsWidth();
    void offersColumnsInTheHeader();

    void switchesIconSizes_data();
    void switchesIconSizes();
    void takesOtherIconSizes();
    void keepsOneIconSizeChecked();
    void switchesTheToolBar();
    void switchesTheStatusBar();
    void switchesFullScreen();
    void showsTheMenuBarInFullScreenWhileInUse();
    void startsWithTheStoredFont_data();
    void startsWithTheStoredFont();
    void takesAnotherFont();
    void keepsTheFontWhenCancelled();

    void restoresItsLook();
    void storesItsLookWhenClosed();
    void storesNothingWithoutBeingClosed();
    void startsAnewWithoutItsSettings();
    void restoresAHiddenToolBar();
    void neverStartsInFullScreen();
    void startsFromDamagedSettings();
    void asksBeforeResetting_data();
    void asksBeforeResetting();

    void filtersRows_data();
    void filtersRows();
    void filtersByKeys();
    void filtersOnlyVisibleColumns();
    void filtersNewRowsAtOnce();
    void showsAllRowsWhenTheBarCloses_data();
    void showsAllRowsWhenTheBarCloses();
    void ignoresEscapeElsewhere();
    void appliesNothingWhileTheBarIsHidden();
    void restoresTheFilterWhenOpenedAgain();
    void remembersPatterns();
    void remembersTenPatterns();
    void loadsTheHistory();
    void opensTheBarAsItWas();

private:
    /// Closes the window as a user does, and opens a new one.
    void restart();
    template <typename T>
    T *find(const char *objectName) const
    {
        return m_bench->window().findChild<T *>(QLatin1String(objectName));
    }
    QLineEdit *filterEdit() const { return find<QToolBar>("filterToolBar")->findChild<QLineEdit *>(); }
    void addRows();
    void applyFilter(const QString &pattern);
    /// Of the button of an action.
    QSize shownIconSize(const char *toolBar, const char *action) const;
    /// System names of the rows that are not hidden, in the order of the alphabet.
    QString shownRows() const;
    QString history() const;

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<WindowBench> m_bench;
};

void TestMainWindowView::init()
{
    m_environment = std::make_unique<TestEnvironment>();
    m_bench = std::make_unique<WindowBench>();
}

void TestMainWindowView::cleanup()
{
    m_bench.reset();
    m_environment.reset();
}

void TestMainWindowView::restart()
{
    if (m_bench) {
        m_bench->window().close();
    }
    m_bench.reset();
    m_bench = std::make_unique<WindowBench>();
}

void TestMainWindowView::addRows()
{
    m_bench->window().onDevice(answerOf("0E:5A:11:00:00:01", "roof"));
    m_bench->window().onDevice(answerOf("0E:5A:11:00:00:02", "cellar"));
    m_bench->window().onDevice(answerOf("0E:5A:11:00:00:03", "Lab (old)"));
}

void TestMainWindowView::applyFilter(const QString &pattern)
{
    m_bench->trigger("actionFilter");
    filterEdit()->setText(pattern);
    m_bench->trigger("actionApply");
}

QSize TestMainWindowView::shownIconSize(const char *toolBar, const char *action) const
{
    const auto *const button =
        qobject_cast<QToolButton *>(find<QToolBar>(toolBar)->widgetForAction(m_bench->action(action)));
    return button ? button->iconSize() : QSize();
}

QString TestMainWindowView::shownRows() const
{
    QStringList names;
    for (int i = 0; i < m_bench->list().topLevelItemCount(); ++i) {
        const QTreeWidgetItem *const item = m_bench->list().topLevelItem(i);
        if (!item->isHidden()) {
            names += item->text(0);
        }
    }
    names.sort(Qt::CaseInsensitive);
    return names.join(QLatin1String(", "));
}

QString TestMainWindowView::history() const
{
    QStringList patterns;
    const int size = stored("MainWindow/FilterHistory/size").toInt();
    for (int i = 1; i <= size; ++i) {
        patterns +=
            settings::store().value(QStringLiteral("MainWindow/FilterHistory/%1/String").arg(i)).toString();
    }
    return patterns.join(QLatin1Char(' '));
}

void TestMainWindowView::looksAsDesigned()
{
    const MainWindow &window = m_bench->window();
    QCOMPARE(window.windowTitle(), QStringLiteral("Nembra Hub"));
    QCOMPARE(window.size(), QSize(435, 293));
    QCOMPARE(imageOf(window.windowIcon()), imageOf(QIcon(QStringLiteral(":/Icons/Resources/logo.png"))));
    QVERIFY(!window.windowIcon().isNull());
    QVERIFY(find<QWidget>("centralWidget")->layout());
    QCOMPARE(find<QWidget>("centralWidget")->layout()->objectName(), QStringLiteral("verticalLayout"));
    QCOMPARE(m_bench->list().contextMenuPolicy(), Qt::CustomContextMenu);
    QCOMPARE(m_bench->list().autoFillBackground(), true);
    QCOMPARE(m_bench->list().sortColumn(), 0);
    QCOMPARE(m_bench->list().header()->sortIndicatorOrder(), Qt::AscendingOrder);
}

void TestMainWindowView::namesItsActions_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("statusTip");
    QTest::addColumn<QString>("shortcut");
    QTest::addColumn<QString>("icon");
    QTest::addColumn<bool>("checkable");

    QTest::newRow("actionExit") << "Exit"
                                << "Quit Nembra Hub"
                                << "Ctrl+Q"
                                << "exit.png" << false;
    QTest::newRow("actionDiscover_devices") << "Refresh list"
                                            << "Search for devices and update information about them"
                                            << "F5"
                                            << "refresh.png" << false;
    QTest::newRow("actionSave_Configs")
        << "Con&figuration"
        << "Save the configuration of the selected devices excluding passwords"
        << ""
        << "" << false;
    QTest::newRow("actionUpdate_Firmware") << "Firm&ware"
                                           << "Update the firmware for the selected devices"
                                           << ""
                                           << "" << false;
    QTest::newRow("actionToolbar") << "Show"
                                   << "Show or hide the toolbar"
                                   << "Alt+T"
                                   << "" << true;
    QTest::newRow("actionAbout_NembraHub") << "About Nembra Hub"
                                           << "Display information about this program"
                                           << "Alt+F1"
                                           << "logo.png" << false;
    QTest::newRow("actionProgram_options") << "Scan options"
                                           << "Edit scan options"
                                           << "F7"
                                           << "configure.png" << false;
    QTest::newRow("actionSave_list") << "Save list"
                                     << "Save current list of devices"
                                     << "Ctrl+S"
                                     << "save.png" << false;
    QTest::newRow("actionRemove") << "Remove selected"
                                  << "Remove the selected devices from the list"
                                  << "Del"
                                  << "clear.png" << false;
    QTest::newRow("actionResize_columns") << "&Resize columns"
                                          << "Resize the columns to fit their content"
                                          << ""
                                          << "edithlayoutsplit.png" << false;
    QTest::newRow("actionAuto") << "Auto Update"
                                << "Enable or disable automatic update of list"
                                << ""
                                << "timer.png" << true;
    QTest::newRow("actionWeb_interface") << "Web interface"
                                         << "Access the web interface of the selected devices"
                                         << "Alt+W"
                                         << "browser.png" << false;
    QTest::newRow("actionUpload_config") << "Confi&guration"
                                         << "Upload a configuration file to the selected devices"
                                         << ""
                                         << "" << false;
    QTest::newRow("actionConfigureDevice") << "Network"
                                           << "Edit network configuration of the selected device"
                                           << "F3"
                                           << "edit.png" << false;
    QTest::newRow("actionApply") << "Apply"
                                 << "Apply the filter to the list"
                                 << ""
                                 << "" << false;
    QTest::newRow("actionFilter") << "Filter"
                                  << "Show the filter"
                                  << "Ctrl+F"
                                  << "" << false;
    QTest::newRow("actionSet_Login") << "User &login"
                                     << "Enter login for the selected devices"
                                     << ""
                                     << "" << false;
    QTest::newRow("actionAbout_QT") << "About &Qt"
                                    << "Display information about Qt"
                                    << ""
                                    << "qtlogo32x32.png" << false;
    QTest::newRow("actionFont") << "&Font"
                                << "Change the font of Nembra Hub"
                                << ""
                                << "textfont.png" << false;
    QTest::newRow("actionSmall") << "Small icons"
                                 << "Use small sized icons"
                                 << ""
                                 << "" << true;
    QTest::newRow("actionNormal") << "Normal  icons"
                                  << "Use medium sized icons"
                                  << ""
                                  << "" << true;
    QTest::newRow("actionLarge") << "Large icons"
                                 << "Use large sized icons"
                                 << ""
                                 << "" << true;
    QTest::newRow("actionSave_with_passwords")
        << "Configuration + &passwords"
        << "Save the configuration of the selected devices including passwords"
        << ""
        << "" << false;
    QTest::newRow("actionDownload_CSV") << "D&ata (CSV format)"
                                        << "Download history of sensor data for the selected devices"
                                        << ""
                                        << "" << false;
    QTest::newRow("actionReset_configuration") << "&Reset to defaults"
                                               << "Reset configuration of Nembra Hub"
                                               << ""
                                               << "" << false;
    QTest::newRow("actionSelect_all") << "Select all"
                                      << "Select all devices"
                                      << "Ctrl+A"
                                      << "" << false;
    QTest::newRow("actionFilterClose") << "Close"
                                       << "Close the filter"
                                       << ""
                                       << "close.png" << false;
    QTest::newRow("actionStatusbar") << "Show statusbar"
                                     << "Show or hide the statusbar"
                                     << ""
                                     << "" << true;
    QTest::newRow("actionFullscreen") << "Fullscreen"
                                      << "Enable or disable fullscreen mode"
                                      << "F11"
                                      << "" << true;
    QTest::newRow("actionSyslog") << "Syslog"
                                  << ""
                                  << ""
                                  << "scrollarea.png" << true;
}

void TestMainWindowView::namesItsActions()
{
    QFETCH(QString, icon);
    const QAction *const action = m_bench->action(QTest::currentDataTag());
    QVERIFY(action);
    QTEST(action->text(), "text");
    QTEST(action->statusTip(), "statusTip");
    QTEST(action->shortcut().toString(QKeySequence::PortableText), "shortcut");
    QTEST(action->isCheckable(), "checkable");
    QCOMPARE(action->icon().isNull(), icon.isEmpty());
    if (!icon.isEmpty()) {
        const QIcon expected(QStringLiteral(":/Icons/Resources/") + icon);
        QVERIFY(!expected.pixmap(22).isNull());
        QCOMPARE(imageOf(action->icon()), imageOf(expected));
    }
    if (!action->shortcut().isEmpty()) {
        QCOMPARE(action->isShortcutVisibleInContextMenu(), true);
    }
    if (action == m_bench->action("actionConfigureDevice")) {
        QCOMPARE(action->toolTip(), QStringLiteral("Device's network configuration"));
    }
}

void TestMainWindowView::checksItsActions()
{
    QStringList checked;
    const QList<QAction *> actions = m_bench->window().findChildren<QAction *>(
        QRegularExpression(QStringLiteral("^action")), Qt::FindDirectChildrenOnly);
    for (const QAction *const action : actions) {
        if (action->isChecked()) {
            checked += action->objectName();
        }
    }
    checked.sort();
    QCOMPARE(actions.size(), 30);
    QCOMPARE(checked.join(QLatin1Char(' ')), QStringLiteral("actionNormal actionStatusbar actionToolbar"));
}

void TestMainWindowView::fillsItsMenus_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("icon");
    QTest::addColumn<QString>("entries");
    QTest::newRow("menuDevice")
        << "&Devices"
        << ""
        << "actionDiscover_devices actionSelect_all actionRemove actionFilter - actionWeb_interface "
           "menuConfigure menuConfiguration menuUpload - actionSave_list actionExit";
    QTest::newRow("menuConfigure") << "&Configure"
                                   << ""
                                   << "actionConfigureDevice actionSet_Login";
    QTest::newRow("menuConfiguration") << "Down&load"
                                       << "down.png"
                                       << "actionSave_Configs actionSave_with_passwords actionDownload_CSV";
    QTest::newRow("menuUpload") << "&Upload"
                                << "up.png"
                                << "actionUpload_config actionUpdate_Firmware";
    QTest::newRow("menuList") << "&View"
                              << ""
                              << "menuVisible_columns actionResize_columns - menu_Icons actionStatusbar "
                                 "actionSyslog - actionFont actionFullscreen";
    QTest::newRow("menuVisible_columns") << "Show &columns"
                                         << "edithlayout.png"
                                         << "? ? ? ? ? ? ? ? ? ? ? ? ? ? ? ? ? ? ? ? ? ? ? ? ? ? ?";
    QTest::newRow("menu_Icons") << "Toolbar"
                                << ""
                                << "actionToolbar - actionLarge actionNormal actionSmall";
    QTest::newRow("menuProgram") << "&Setup"
                                 << ""
                                 << "actionProgram_options menuLanguage - actionReset_configuration";
    QTest::newRow("menuHelp") << "&Help"
                              << ""
                              << "actionAbout_NembraHub actionAbout_QT";
}

void TestMainWindowView::fillsItsMenus()
{
    QFETCH(QString, icon);
    const QMenu *const menu = find<QMenu>(QTest::currentDataTag());
    QVERIFY(menu);
    QTEST(menu->title(), "title");
    QTEST(entriesOf(*menu), "entries");
    QCOMPARE(menu->icon().isNull(), icon.isEmpty());
    if (!icon.isEmpty()) {
        QCOMPARE(imageOf(menu->icon()), imageOf(QIcon(QStringLiteral(":/Icons/Resources/") + icon)));
    }
}

void TestMainWindowView::fillsItsToolBars()
{
    QCOMPARE(entriesOf(*find<QMenuBar>("menuBar")),
             QStringLiteral("menuDevice menuList menuProgram menuHelp"));
    QCOMPARE(find<QMenu>("menuLanguage")->title(), QStringLiteral("&Language"));
    QCOMPARE(find<QMenu>("menuLanguage")->statusTip(), QStringLiteral("Change the language of Nembra Hub"));

    auto *const bar = find<QToolBar>("mainToolBar");
    QCOMPARE(bar->windowTitle(), QStringLiteral("ToolBar"));
    QCOMPARE(bar->toolTip(), QStringLiteral("You can hide this toolbar in the view menu"));
    QCOMPARE(m_bench->window().toolBarArea(bar), Qt::LeftToolBarArea);
    QCOMPARE(bar->iconSize(), QSize(22, 22));
    QCOMPARE(bar->isFloatable(), false);
    QCOMPARE(bar->contextMenuPolicy(), Qt::PreventContextMenu);
    QCOMPARE(entriesOf(*bar), QStringLiteral("actionDiscover_devices actionAuto actionSave_list actionRemove "
                                             "actionWeb_interface actionConfigureDevice"));

    auto *const filterBar = find<QToolBar>("filterToolBar");
    QCOMPARE(filterBar->windowTitle(), QStringLiteral("Filter"));
    QCOMPARE(m_bench->window().toolBarArea(filterBar), Qt::TopToolBarArea);
    QCOMPARE(filterBar->iconSize(), QSize(16, 16));
    QCOMPARE(filterBar->isVisible(), false);
    QCOMPARE(entriesOf(*filterBar), QStringLiteral("? ? actionApply actionFilterClose"));
    const auto *const label = qobject_cast<QLabel *>(filterBar->widgetForAction(filterBar->actions().at(0)));
    QVERIFY(label);
    QCOMPARE(label->text(), QStringLiteral("Filter"));
    QVERIFY(qobject_cast<QLineEdit *>(filterBar->widgetForAction(filterBar->actions().at(1))));
}

void TestMainWindowView::startsInEnglish()
{
    QCOMPARE(stored("Language").toString(), QStringLiteral("en"));
    QCOMPARE(QLocale().language(), QLocale::English);
    // There are no translations beside this test.
    QCOMPARE(find<QMenu>("menuLanguage")->actions().size(), 0);
}

void TestMainWindowView::tellsAboutItself()
{
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Nembra Hub"));
    QCoreApplication::setApplicationVersion(QStringLiteral("3.0.0"));
    const BoxAnswerer boxes(QMessageBox::Ok);
    QTest::keyClick(&m_bench->window(), Qt::Key_F1, Qt::AltModifier);
    QCOMPARE(boxes.texts().size(), 1);
    QVERIFY2(boxes.titles().constFirst().startsWith(QLatin1String("About Nembra Hub")),
             qPrintable(boxes.titles().constFirst()));
    const QString text = boxes.texts().constFirst();
    QVERIFY2(text.startsWith(QLatin1String("Nembra Hub Version 3.0.0<br><br>")), qPrintable(text));
    for (const char *const sentence :
         {"<br><br>This software is licensed to you without charge. ostrel GmbH retains ownership of all "
          "copies of the software and reserves all rights not expressly granted to you.<br><br>",
          "<br><br>You may use the software without charge.<br><br>",
          "<br><br>You may distribute exact copies of the software to anyone.<br><br>"}) {
        QVERIFY2(text.contains(QLatin1String(sentence)), qPrintable(text));
    }
    QVERIFY2(text.endsWith(QLatin1String(" for more information about how to use this software.")),
             qPrintable(text));
}

void TestMainWindowView::tellsAboutQt()
{
    const BoxAnswerer boxes(QMessageBox::Ok);
    QTimer::singleShot(0, this, [this] { m_bench->trigger("actionAbout_QT"); });
    QTRY_COMPARE_WITH_TIMEOUT(boxes.titles().size(), 1, patience);
    QVERIFY2(boxes.titles().constFirst().startsWith(QLatin1String("About Qt")),
             qPrintable(boxes.titles().constFirst()));
}

void TestMainWindowView::namesItsColumns()
{
    const QStringList headers{QStringLiteral("System name"),   QStringLiteral("IP"),
                              QStringLiteral("MAC"),           QStringLiteral("First Seen"),
                              QStringLiteral("Last Seen"),     QStringLiteral("Firmware Manufacturer"),
                              QStringLiteral("Firmware Name"), QStringLiteral("Version"),
                              QStringLiteral("Type"),          QStringLiteral("Sensor 1"),
                              QStringLiteral("Sensor 2"),      QStringLiteral("Sensor 3"),
                              QStringLiteral("Sensor 4"),      QStringLiteral("Uptime"),
                              QStringLiteral("Date"),          QStringLiteral("Time"),
                              QStringLiteral("Location"),      QStringLiteral("Contact"),
                              QStringLiteral("WLAN SSID"),     QStringLiteral("Network Interface"),
                              QStringLiteral("HTTP Type"),     QStringLiteral("Status"),
                              QStringLiteral("Login User"),    QStringLiteral("Access Rights"),
                              QStringLiteral("Memory usage"),  QStringLiteral("History start"),
                              QStringLiteral("History usage")};
    QCOMPARE(m_bench->list().columnCount(), 27);
    for (int i = 0; i < headers.size(); ++i) {
        QCOMPARE(m_bench->list().headerItem()->text(i), headers.at(i));
        QCOMPARE(m_bench->list().isColumnHidden(i), i > 2);
    }
}

void TestMainWindowView::offersAnActionPerColumn()
{
    const QList<QAction *> actions = find<QMenu>("menuVisible_columns")->actions();
    QCOMPARE(actions.size(), 27);
    QCOMPARE(actions.at(0)->text(), QStringLiteral("System name"));
    QCOMPARE(actions.at(0)->statusTip(), QStringLiteral("Show or hide column System name"));
    QCOMPARE(actions.at(18)->text(), QStringLiteral("WLAN SSID"));
    QCOMPARE(actions.at(26)->text(), QStringLiteral("History usage"));
    QCOMPARE(actions.at(26)->statusTip(), QStringLiteral("Show or hide column History usage"));
    for (int i = 0; i < actions.size(); ++i) {
        QCOMPARE(actions.at(i)->isCheckable(), true);
        QCOMPARE(actions.at(i)->isChecked(), i <= 2);
    }
}

void TestMainWindowView::showsAndHidesColumns()
{
    const QList<QAction *> actions = find<QMenu>("menuVisible_columns")->actions();
    QTreeWidget &list = m_bench->list();
    list.setColumnWidth(Column::Uptime, 300);
    actions.at(Column::Uptime)->trigger();
    QCOMPARE(list.isColumnHidden(Column::Uptime), false);
    const int width = list.columnWidth(Column::Uptime);
    QVERIFY2(width > 0 && width < 300, qPrintable(QString::number(width)));
    actions.at(Column::Ip)->trigger();
    QCOMPARE(list.isColumnHidden(Column::Ip), true);
    QCOMPARE(list.isColumnHidden(Column::Uptime), false);
    QCOMPARE(list.isColumnHidden(Column::SystemName), false);
}

void TestMainWindowView::keepsOneColumnVisible()
{
    const QList<QAction *> actions = find<QMenu>("menuVisible_columns")->actions();
    for (int i = 0; i <= 2; ++i) {
        actions.at(i)->trigger();
    }
    QCOMPARE(actions.at(0)->isChecked(), true);
    QCOMPARE(m_bench->list().isColumnHidden(0), false);
    QCOMPARE(m_bench->list().isColumnHidden(1), true);
    QCOMPARE(m_bench->list().isColumnHidden(2), true);
    // The first column's own action doesn't hide it either.
    actions.at(0)->trigger();
    QCOMPARE(actions.at(0)->isChecked(), true);
    QCOMPARE(m_bench->list().isColumnHidden(0), false);
}

void TestMainWindowView::recoversFromNoVisibleColumn()
{
    for (int i = 0; i < Column::Count; ++i) {
        m_bench->list().setColumnHidden(i, true);
    }
    restart();
    QCOMPARE(m_bench->list().isColumnHidden(0), false);
    QCOMPARE(find<QMenu>("menuVisible_columns")->actions().at(0)->isChecked(), true);
    QCOMPARE(m_bench->list().isColumnHidden(1), true);
}

void TestMainWindowView::resizesVisibleColumns()
{
    QTreeWidget &list = m_bench->list();
    list.setColumnWidth(Column::Ip, 300);
    list.setColumnHidden(Column::Uptime, false);
    list.setColumnWidth(Column::Uptime, 300);
    list.setColumnHidden(Column::Uptime, true);
    m_bench->trigger("actionResize_columns");
    QVERIFY2(list.columnWidth(Column::Ip) < 300, qPrintable(QString::number(list.columnWidth(Column::Ip))));
    list.setColumnHidden(Column::Uptime, false);
    QCOMPARE(list.columnWidth(Column::Uptime), 300);
}

void TestMainWindowView::showsTheFirstColumnInItsWidth()
{
    const QList<QAction *> actions = find<QMenu>("menuVisible_columns")->actions();
    m_bench->list().setColumnWidth(0, 400);
    actions.at(0)->trigger();
    actions.at(1)->trigger();
    QCOMPARE(m_bench->list().isColumnHidden(0), true);
    // The last one: the first comes back, as wide as it needs to be.
    actions.at(2)->trigger();
    QCOMPARE(m_bench->list().isColumnHidden(0), false);
    QCOMPARE(actions.at(0)->isChecked(), true);
    QCOMPARE(actions.at(2)->isChecked(), false);
    m_bench->list().header()->setStretchLastSection(false);
    const int width = m_bench->list().columnWidth(0);
    QVERIFY2(width > 0 && width < 400, qPrintable(QString::number(width)));
}

void TestMainWindowView::offersColumnsInTheHeader()
{
    PopupReader reader;
    QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(5, 5));
    QCoreApplication::sendEvent(m_bench->list().header()->viewport(), &event);
    QCOMPARE(reader.menus(),
             QStringList{QStringLiteral(
                 "Resize columns | - | System name | IP | MAC | First Seen | Last Seen | "
                 "Firmware Manufacturer | Firmware Name | Version | Type | Sensor 1 | Sensor 2 | Sensor 3 | "
                 "Sensor 4 | Uptime | Date | Time | Location | Contact | WLAN SSID | Network Interface | "
                 "HTTP Type | Status | Login User | Access Rights | Memory usage | History start | "
                 "History usage")});
}

void TestMainWindowView::switchesIconSizes_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("actionSmall") << 11;
    QTest::newRow("actionNormal") << 22;
    QTest::newRow("actionLarge") << 44;
}

void TestMainWindowView::switchesIconSizes()
{
    QFETCH(int, size);
    // From another size.
    m_bench->trigger(size == 44 ? "actionSmall" : "actionLarge");
    m_bench->trigger(QTest::currentDataTag());
    QCOMPARE(shownIconSize("mainToolBar", "actionSave_list"), QSize(size, size));
    QCOMPARE(shownIconSize("filterToolBar", "actionFilterClose"), QSize(16, 16));
    QCOMPARE(stored("MainWindow/IconSize").toInt(), size);
    restart();
    QCOMPARE(shownIconSize("mainToolBar", "actionSave_list"), QSize(size, size));
    QCOMPARE(m_bench->action("actionSmall")->isChecked(), size == 11);
    QCOMPARE(m_bench->action("actionNormal")->isChecked(), size == 22);
    QCOMPARE(m_bench->action("actionLarge")->isChecked(), size == 44);
}

void TestMainWindowView::takesOtherIconSizes()
{
    m_bench.reset();
    settings::setValue(settings::iconSize, 30);
    m_bench = std::make_unique<WindowBench>();
    QCOMPARE(find<QToolBar>("mainToolBar")->iconSize(), QSize(30, 30));
    for (const char *const name : {"actionSmall", "actionNormal", "actionLarge"}) {
        QVERIFY2(!m_bench->action(name)->isChecked(), name);
    }
}

void TestMainWindowView::keepsOneIconSizeChecked()
{
    m_bench->trigger("actionLarge");
    m_bench->trigger("actionLarge");
    QCOMPARE(m_bench->action("actionLarge")->isChecked(), true);
    QCOMPARE(m_bench->action("actionNormal")->isChecked(), false);
    QCOMPARE(stored("MainWindow/IconSize"), QVariant(44));
    QCOMPARE(find<QToolBar>("mainToolBar")->iconSize(), QSize(44, 44));
}

void TestMainWindowView::switchesTheToolBar()
{
    auto *const bar = find<QToolBar>("mainToolBar");
    const QAction *const action = m_bench->action("actionToolbar");
    QTest::keyClick(&m_bench->window(), Qt::Key_T, Qt::AltModifier);
    QCOMPARE(bar->isVisible(), false);
    QCOMPARE(action->isChecked(), false);
    m_bench->trigger("actionToolbar");
    QCOMPARE(bar->isVisible(), true);
    // However it is hidden.
    bar->hide();
    QCOMPARE(action->isChecked(), false);
    bar->show();
    QCOMPARE(action->isChecked(), true);
}

void TestMainWindowView::switchesTheStatusBar()
{
    m_bench->trigger("actionStatusbar");
    QCOMPARE(find<QStatusBar>("statusBar")->isVisible(), false);
    restart();
    QCOMPARE(stored("MainWindow/Statusbar").toBool(), false);
    QCOMPARE(find<QStatusBar>("statusBar")->isVisible(), false);
    QCOMPARE(m_bench->action("actionStatusbar")->isChecked(), false);
    m_bench->trigger("actionStatusbar");
    QCOMPARE(find<QStatusBar>("statusBar")->isVisible(), true);
    restart();
    QCOMPARE(find<QStatusBar>("statusBar")->isVisible(), true);
}

void TestMainWindowView::switchesFullScreen()
{
    const auto *const menuBar = find<QMenuBar>("menuBar");
    const QAction *const action = m_bench->action("actionFullscreen");
    const int usualHeight = menuBar->height();
    QVERIFY(usualHeight > 0);
    QTest::keyClick(&m_bench->window(), Qt::Key_F11);
    QVERIFY(m_bench->window().isFullScreen());
    QTRY_COMPARE_WITH_TIMEOUT(menuBar->height(), 0, patience);
    QCOMPARE(action->isChecked(), true);
    QTest::keyClick(&m_bench->window(), Qt::Key_F11);
    QVERIFY(!m_bench->window().isFullScreen());
    QTRY_COMPARE_WITH_TIMEOUT(menuBar->height(), usualHeight, patience);
    QCOMPARE(menuBar->maximumHeight(), anyHeight);
    QCOMPARE(action->isChecked(), false);
}

void TestMainWindowView::showsTheMenuBarInFullScreenWhileInUse()
{
    auto *const menuBar = find<QMenuBar>("menuBar");
    MainWindow &window = m_bench->window();
    m_bench->list().setFocus();
    m_bench->trigger("actionFullscreen");
    QCOMPARE(menuBar->maximumHeight(), 0);
    menuBar->setFocus();
    QCOMPARE(menuBar->maximumHeight(), anyHeight);
    m_bench->list().setFocus();
    QCOMPARE(menuBar->maximumHeight(), 0);
    // A menu in a menu of the bar counts, any other menu doesn't.
    window.onFocusChanged(nullptr, find<QMenu>("menuConfigure"));
    QCOMPARE(menuBar->maximumHeight(), anyHeight);
    QMenu stranger;
    window.onFocusChanged(nullptr, &stranger);
    QCOMPARE(menuBar->maximumHeight(), 0);
    window.onFocusChanged(nullptr, nullptr);
    QCOMPARE(menuBar->maximumHeight(), 0);

    m_bench->trigger("actionFullscreen");
    window.onFocusChanged(nullptr, &m_bench->list());
    QCOMPARE(menuBar->maximumHeight(), anyHeight);
}

void TestMainWindowView::startsWithTheStoredFont_data()
{
    QTest::addColumn<QString>("font");
    QTest::addColumn<int>("fontSize");
    QTest::addColumn<int>("pointSize");
    QTest::newRow("nothing stored") << QString() << 0 << 9;
    QTest::newRow("a size") << QString() << 14 << 14;
    QTest::newRow("a font") << "DejaVu Sans,17,-1,5,50,0,0,0,0,0" << 14 << 17;
    QTest::newRow("no font at all") << "a,b,c" << 14 << 14;
}

void TestMainWindowView::startsWithTheStoredFont()
{
    QFETCH(QString, font);
    QFETCH(int, fontSize);
    m_bench.reset();
    if (!font.isEmpty()) {
        settings::store().setValue(QStringLiteral("MainWindow/Font"), font);
    }
    if (fontSize != 0) {
        settings::setValue(settings::listFontSize, fontSize);
    }
    const int windowPointSize = QApplication::font().pointSize();
    m_bench = std::make_unique<WindowBench>();
    QTEST(m_bench->list().font().pointSize(), "pointSize");
    QCOMPARE(m_bench->window().font().pointSize(), windowPointSize);
}

void TestMainWindowView::takesAnotherFont()
{
    addRows();
    const auto rowHeight = [this] {
        return m_bench->list().visualItemRect(m_bench->list().topLevelItem(0)).height();
    };
    const int before = rowHeight();
    bool answered = false;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&answered] {
        if (auto *const dialog = qobject_cast<QFontDialog *>(QApplication::activeModalWidget())) {
            answered = true;
            QFont font = dialog->currentFont();
            font.setPointSize(18);
            dialog->setCurrentFont(font);
            dialog->accept();
        }
    });
    timer.start(5);
    m_bench->trigger("actionFont");
    QVERIFY(answered);
    QCOMPARE(m_bench->list().font().pointSize(), 18);
    // Twice as large as the usual nine points, and so are the rows.
    QTRY_VERIFY_WITH_TIMEOUT(2 * rowHeight() > 3 * before, patience);
    const QString font = stored("MainWindow/Font").toString();
    QCOMPARE(font.section(QLatin1Char(','), 1, 1), QStringLiteral("18"));
    QVERIFY(!stored("MainWindow/FontSize").isValid());
    restart();
    QCOMPARE(m_bench->list().font().pointSize(), 18);
    addRows();
    QTRY_VERIFY_WITH_TIMEOUT(2 * rowHeight() > 3 * before, patience);
}

void TestMainWindowView::keepsTheFontWhenCancelled()
{
    QFont larger = m_bench->list().font();
    larger.setPointSize(14);
    m_bench->list().setFont(larger);
    int pointSize = 0;
    bool belongsToTheWindow = false;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&] {
        if (auto *const dialog = qobject_cast<QFontDialog *>(QApplication::activeModalWidget())) {
            pointSize = dialog->currentFont().pointSize();
            belongsToTheWindow = dialog->parent() == &m_bench->window();
            QFont font = dialog->currentFont();
            font.setPointSize(18);
            dialog->setCurrentFont(font);
            dialog->reject();
        }
    });
    timer.start(5);
    m_bench->trigger("actionFont");
    // The list's own, not the window's.
    QCOMPARE(pointSize, 14);
    QCOMPARE(belongsToTheWindow, true);
    QCOMPARE(m_bench->list().font().pointSize(), 14);
    QVERIFY(!stored("MainWindow/Font").isValid());
}

void TestMainWindowView::restoresItsLook()
{
    QTreeWidget &list = m_bench->list();
    m_bench->window().resize(610, 410);
    find<QMenu>("menuVisible_columns")->actions().at(Column::Uptime)->trigger();
    find<QMenu>("menuVisible_columns")->actions().at(Column::Ip)->trigger();
    list.setColumnWidth(Column::SystemName, 123);
    list.header()->moveSection(list.header()->visualIndex(Column::Uptime), 0);
    list.sortByColumn(Column::Mac, Qt::DescendingOrder);
    m_bench->trigger("actionAuto");
    restart();

    const QTreeWidget &restored = m_bench->list();
    QCOMPARE(m_bench->window().size(), QSize(610, 410));
    QCOMPARE(restored.isColumnHidden(Column::Uptime), false);
    QCOMPARE(restored.isColumnHidden(Column::Ip), true);
    QCOMPARE(restored.columnWidth(Column::SystemName), 123);
    QCOMPARE(restored.header()->visualIndex(Column::Uptime), 0);
    QCOMPARE(restored.sortColumn(), 2);
    QCOMPARE(restored.header()->sortIndicatorOrder(), Qt::DescendingOrder);
    QCOMPARE(find<QMenu>("menuVisible_columns")->actions().at(Column::Uptime)->isChecked(), true);
    QCOMPARE(find<QMenu>("menuVisible_columns")->actions().at(Column::Ip)->isChecked(), false);
    QCOMPARE(m_bench->action("actionAuto")->isChecked(), true);
    QCOMPARE(stored("MainWindow/SortColumn").toInt(), 2);
    QCOMPARE(stored("MainWindow/SortDescending").toInt(), 1);
    QCOMPARE(stored("Scan/AutoUpdate").toBool(), true);
}

void TestMainWindowView::storesItsLookWhenClosed()
{
    m_bench->window().close();
    QStringList keys = settings::store().allKeys();
    keys.sort();
    QCOMPARE(keys.join(QLatin1Char(' ')),
             QStringLiteral("Language MainWindow/Geometry MainWindow/SortColumn MainWindow/SortDescending "
                            "MainWindow/Statusbar MainWindow/WindowState MainWindow/tableHeader "
                            "MainWindow/tableHeaderState Scan/AutoUpdate"));
    QCOMPARE(stored("MainWindow/Geometry").type(), QVariant::ByteArray);
    QCOMPARE(stored("MainWindow/WindowState").type(), QVariant::ByteArray);
    QCOMPARE(stored("MainWindow/tableHeader").type(), QVariant::ByteArray);
    QCOMPARE(stored("MainWindow/tableHeaderState").type(), QVariant::ByteArray);
    QCOMPARE(stored("MainWindow/SortColumn"), QVariant(0));
    QCOMPARE(stored("MainWindow/SortDescending"), QVariant(0));
    QCOMPARE(stored("MainWindow/Statusbar"), QVariant(true));
    QCOMPARE(stored("Scan/AutoUpdate"), QVariant(false));
}

void TestMainWindowView::storesNothingWithoutBeingClosed()
{
    m_bench->window().resize(610, 410);
    m_bench->trigger("actionStatusbar");
    m_bench->trigger("actionAuto");
    m_bench->list().sortByColumn(2, Qt::DescendingOrder);
    m_bench.reset();
    QCOMPARE(settings::store().allKeys(), QStringList{QStringLiteral("Language")});
}

void TestMainWindowView::startsAnewWithoutItsSettings()
{
    m_bench->window().resize(610, 410);
    find<QMenu>("menuVisible_columns")->actions().at(Column::Uptime)->trigger();
    m_bench->trigger("actionAuto");
    m_bench->trigger("actionStatusbar");
    m_bench->trigger("actionLarge");
    applyFilter(QStringLiteral("roof"));
    m_bench->window().close();
    m_bench.reset();
    settings::store().clear();
    m_bench = std::make_unique<WindowBench>();
    QCOMPARE(m_bench->window().size(), QSize(435, 293));
    for (int i = 0; i < Column::Count; ++i) {
        QCOMPARE(m_bench->list().isColumnHidden(i), i > 2);
    }
    QCOMPARE(filterEdit()->completer()->model()->rowCount(), 0);
    QCOMPARE(find<QToolBar>("filterToolBar")->isVisible(), false);
    QCOMPARE(find<QStatusBar>("statusBar")->isVisible(), true);
    QCOMPARE(find<QToolBar>("mainToolBar")->iconSize(), QSize(22, 22));
    QCOMPARE(m_bench->action("actionAuto")->isChecked(), false);
}

void TestMainWindowView::restoresAHiddenToolBar()
{
    m_bench->trigger("actionToolbar");
    restart();
    QCOMPARE(find<QToolBar>("mainToolBar")->isVisible(), false);
    QCOMPARE(m_bench->action("actionToolbar")->isChecked(), false);
}

void TestMainWindowView::neverStartsInFullScreen()
{
    m_bench->trigger("actionFullscreen");
    restart();
    QVERIFY(!m_bench->window().isFullScreen());
    QCOMPARE(m_bench->action("actionFullscreen")->isChecked(), false);
    QCOMPARE(find<QMenuBar>("menuBar")->maximumHeight(), anyHeight);
}

void TestMainWindowView::startsFromDamagedSettings()
{
    m_bench.reset();
    settings::store().clear();
    for (const char *const key : {"Geometry", "WindowState", "tableHeader", "tableHeaderState"}) {
        settings::store().setValue(QStringLiteral("MainWindow/") + QLatin1String(key),
                                   QByteArray("\x00\x01garbage\xff", 10));
    }
    settings::store().setValue(QStringLiteral("MainWindow/SortColumn"), 999);
    settings::store().setValue(QStringLiteral("MainWindow/FilterHistory/size"), -5);
    m_bench = std::make_unique<WindowBench>();
    QCOMPARE(m_bench->window().size(), QSize(435, 293));
    QCOMPARE(find<QToolBar>("mainToolBar")->isVisible(), true);
    addRows();
    QCOMPARE(shownRows(), QStringLiteral("cellar, Lab (old), roof"));
    for (int i = 0; i < Column::Count; ++i) {
        QCOMPARE(m_bench->list().isColumnHidden(i), i > 2);
    }
}

void TestMainWindowView::asksBeforeResetting_data()
{
    QTest::addColumn<int>("button");
    QTest::addColumn<int>("exitCode");
    QTest::newRow("yes") << int(QMessageBox::Yes) << -1001;
    QTest::newRow("no") << int(QMessageBox::No) << 7;
}

void TestMainWindowView::asksBeforeResetting()
{
    QFETCH(int, button);
    const BoxAnswerer boxes(button);
    QTimer::singleShot(0, this, [this] {
        m_bench->trigger("actionReset_configuration");
        // Where the first wish to end counts, this one comes too late.
        QTimer::singleShot(0, this, [] { QCoreApplication::exit(7); });
    });
    QTEST(QCoreApplication::exec(), "exitCode");
    QCOMPARE(boxes.texts(), QStringList{QStringLiteral("Restore the default configuration of Nembra Hub?")});
    QCOMPARE(boxes.titles(), QStringList{QString()});
    // Nothing is written on the way.
    QVERIFY(!stored("MainWindow/Geometry").isValid());
    QVERIFY(m_bench->window().isVisible());
}

void TestMainWindowView::filtersRows_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("rows");
    QTest::newRow("empty") << ""
                           << "cellar, Lab (old), roof";
    QTest::newRow("blanks") << "  \t "
                            << "cellar, Lab (old), roof";
    QTest::newRow("part of a name") << "ella"
                                    << "cellar";
    QTest::newRow("blanks around") << "  roof "
                                   << "roof";
    QTest::newRow("another case") << "LAB"
                                  << "Lab (old)";
    QTest::newRow("expression") << "^(roof|cellar)$"
                                << "cellar, roof";
    QTest::newRow("MAC") << "00:02$"
                         << "cellar";
    QTest::newRow("nothing fits") << "attic"
                                  << "";
    QTest::newRow("unbalanced parenthesis") << "(old"
                                            << "cellar, Lab (old), roof";
}

void TestMainWindowView::filtersRows()
{
    QFETCH(QString, pattern);
    addRows();
    applyFilter(QStringLiteral("roof"));
    QCOMPARE(shownRows(), QStringLiteral("roof"));
    applyFilter(pattern);
    QTEST(shownRows(), "rows");
    QCOMPARE(m_bench->statusText(), QStringLiteral("Active devices: 3/3"));
}

void TestMainWindowView::filtersByKeys()
{
    addRows();
    QTest::keyClick(&m_bench->window(), Qt::Key_F, Qt::ControlModifier);
    QCOMPARE(find<QToolBar>("filterToolBar")->isVisible(), true);
    QTRY_COMPARE_WITH_TIMEOUT(QApplication::focusWidget(), static_cast<QWidget *>(filterEdit()), patience);
    QTest::keyClicks(filterEdit(), QStringLiteral("cell"));
    QCOMPARE(shownRows(), QStringLiteral("cellar, Lab (old), roof"));
    QTest::keyClick(filterEdit(), Qt::Key_Return);
    QCOMPARE(shownRows(), QStringLiteral("cellar"));
    // What was typed is selected, to be typed over.
    m_bench->list().setFocus();
    QTest::keyClick(&m_bench->window(), Qt::Key_F, Qt::ControlModifier);
    QCOMPARE(filterEdit()->selectedText(), QStringLiteral("cell"));
}

void TestMainWindowView::filtersOnlyVisibleColumns()
{
    addRows();
    find<QMenu>("menuVisible_columns")->actions().at(Column::Mac)->trigger();
    applyFilter(QStringLiteral("0E:5A"));
    QCOMPARE(shownRows(), QString());
    find<QMenu>("menuVisible_columns")->actions().at(Column::Mac)->trigger();
    m_bench->trigger("actionApply");
    QCOMPARE(shownRows(), QStringLiteral("cellar, Lab (old), roof"));
}

void TestMainWindowView::filtersNewRowsAtOnce()
{
    applyFilter(QStringLiteral("roof"));
    addRows();
    QCOMPARE(shownRows(), QStringLiteral("roof"));
    // A row whose name changes is looked at again.
    m_bench->window().onDevice(answerOf("0E:5A:11:00:00:02", "old roof"));
    QCOMPARE(shownRows(), QStringLiteral("old roof, roof"));
}

void TestMainWindowView::showsAllRowsWhenTheBarCloses_data()
{
    QTest::addColumn<int>("way");
    QTest::newRow("by its button") << 0;
    QTest::newRow("by Escape") << 1;
    QTest::newRow("in another way") << 2;
}

void TestMainWindowView::showsAllRowsWhenTheBarCloses()
{
    QFETCH(int, way);
    addRows();
    applyFilter(QStringLiteral("roof"));
    QCOMPARE(shownRows(), QStringLiteral("roof"));
    if (way == 0) {
        m_bench->trigger("actionFilterClose");
    } else if (way == 1) {
        QTRY_COMPARE_WITH_TIMEOUT(QApplication::focusWidget(), static_cast<QWidget *>(filterEdit()),
                                  patience);
        QTest::keyClick(filterEdit(), Qt::Key_Escape);
    } else {
        find<QToolBar>("filterToolBar")->hide();
    }
    QCOMPARE(find<QToolBar>("filterToolBar")->isVisible(), false);
    QCOMPARE(shownRows(), QStringLiteral("cellar, Lab (old), roof"));
    QCOMPARE(filterEdit()->text(), QStringLiteral("roof"));
    m_bench->window().onDevice(answerOf("0E:5A:11:00:00:04", "attic"));
    QCOMPARE(shownRows(), QStringLiteral("attic, cellar, Lab (old), roof"));
}

void TestMainWindowView::ignoresEscapeElsewhere()
{
    addRows();
    applyFilter(QStringLiteral("roof"));
    m_bench->list().setFocus();
    QTest::keyClick(&m_bench->list(), Qt::Key_Escape);
    QCOMPARE(find<QToolBar>("filterToolBar")->isVisible(), true);
    QCOMPARE(shownRows(), QStringLiteral("roof"));
}

void TestMainWindowView::appliesNothingWhileTheBarIsHidden()
{
    addRows();
    filterEdit()->setText(QStringLiteral("roof"));
    m_bench->trigger("actionApply");
    QCOMPARE(shownRows(), QStringLiteral("cellar, Lab (old), roof"));
    QCOMPARE(history(), QString());
}

void TestMainWindowView::restoresTheFilterWhenOpenedAgain()
{
    addRows();
    applyFilter(QStringLiteral("roof"));
    m_bench->trigger("actionFilterClose");
    m_bench->trigger("actionFilter");
    QCOMPARE(shownRows(), QStringLiteral("cellar, Lab (old), roof"));
    m_bench->trigger("actionApply");
    QCOMPARE(shownRows(), QStringLiteral("roof"));
}

void TestMainWindowView::remembersPatterns()
{
    applyFilter(QStringLiteral("roof"));
    QCOMPARE(history(), QStringLiteral("roof"));
    applyFilter(QStringLiteral(" roof "));
    QCOMPARE(history(), QStringLiteral("roof"));
    applyFilter(QStringLiteral("Roof"));
    QCOMPARE(history(), QStringLiteral("Roof roof"));
    applyFilter(QStringLiteral("(broken"));
    QCOMPARE(history(), QStringLiteral("(broken Roof roof"));
    // A known one keeps its place, and blanks are no pattern.
    applyFilter(QStringLiteral("roof"));
    applyFilter(QStringLiteral("   "));
    QCOMPARE(history(), QStringLiteral("(broken Roof roof"));
}

void TestMainWindowView::remembersTenPatterns()
{
    for (int i = 1; i <= 11; ++i) {
        applyFilter(QStringLiteral("p%1").arg(i));
    }
    QCOMPARE(history(), QStringLiteral("p11 p10 p9 p8 p7 p6 p5 p4 p3 p2"));
    const QAbstractItemModel *const model = filterEdit()->completer()->model();
    QCOMPARE(model->rowCount(), 10);
    QCOMPARE(model->index(0, 0).data().toString(), QStringLiteral("p11"));
    QCOMPARE(model->index(9, 0).data().toString(), QStringLiteral("p2"));
    QCOMPARE(filterEdit()->completer()->caseSensitivity(), Qt::CaseInsensitive);
}

void TestMainWindowView::loadsTheHistory()
{
    applyFilter(QStringLiteral("first"));
    applyFilter(QStringLiteral("second"));
    restart();
    const QAbstractItemModel *const model = filterEdit()->completer()->model();
    QCOMPARE(model->rowCount(), 2);
    QCOMPARE(model->index(0, 0).data().toString(), QStringLiteral("second"));
    applyFilter(QStringLiteral("third"));
    QCOMPARE(history(), QStringLiteral("third second first"));
}

void TestMainWindowView::opensTheBarAsItWas()
{
    addRows();
    applyFilter(QStringLiteral("roof"));
    restart();
    QCOMPARE(find<QToolBar>("filterToolBar")->isVisible(), true);
    addRows();
    QCOMPARE(shownRows(), QStringLiteral("cellar, Lab (old), roof"));
}

NEMBRA_GUI_TEST_MAIN(TestMainWindowView)
#include "tst_mainwindow_view.moc"
