#include "windowbench.h"

#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "mainwindow/mainwindow.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QDesktopServices>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QStatusBar>
#include <QtTest>

#include <chrono>

using namespace std::chrono_literals;

namespace {

/// How often it is looked whether a menu or box has come up.
constexpr std::chrono::milliseconds lookInterval = 5ms;

const QStringList browserSchemes{QStringLiteral("http"), QStringLiteral("https")};

} // namespace

WindowBench::WindowBench(const QString &deviceListPath)
    : m_window(std::make_unique<MainWindow>(deviceListPath))
{
    m_window->show();
    m_window->activateWindow();
    if (!QTest::qWaitForWindowActive(m_window.get())) {
        QTest::qFail("The window did not become the active one.", __FILE__, __LINE__);
    }
}

WindowBench::~WindowBench() = default;

void WindowBench::destroyWindow()
{
    m_window.reset();
}

DeviceList &WindowBench::list() const
{
    return *m_window->findChild<DeviceList *>(QStringLiteral("devList"));
}

QAction *WindowBench::action(const char *objectName) const
{
    return m_window->findChild<QAction *>(QLatin1String(objectName));
}

void WindowBench::trigger(const char *objectName) const
{
    action(objectName)->trigger();
}

QString WindowBench::statusText() const
{
    const QStatusBar *const bar = m_window->findChild<QStatusBar *>(QStringLiteral("statusBar"));
    QStringList texts;
    const QList<QLabel *> labels = bar->findChildren<QLabel *>();
    for (const QLabel *const label : labels) {
        texts += label->text();
    }
    return texts.join(QLatin1Char('|'));
}

DeviceItem *WindowBench::row(const QString &mac) const
{
    const QList<QTreeWidgetItem *> items = list().findItems(mac, Qt::MatchExactly, Column::Mac);
    return items.isEmpty() ? nullptr : static_cast<DeviceItem *>(items.first());
}

QString WindowBench::cell(const QString &mac, int column) const
{
    const DeviceItem *const item = row(mac);
    return item ? item->text(column) : QString();
}

QStringList WindowBench::column(int column) const
{
    QStringList texts;
    for (int i = 0; i < list().topLevelItemCount(); ++i) {
        texts += list().topLevelItem(i)->text(column);
    }
    return texts;
}

void WindowBench::select(const QStringList &macs) const
{
    list().clearSelection();
    for (const QString &mac : macs) {
        row(mac)->setSelected(true);
    }
}

QStringList WindowBench::selectedMacs() const
{
    QStringList macs;
    const QList<QTreeWidgetItem *> items = list().selectedItems();
    for (const QTreeWidgetItem *const item : items) {
        macs += item->text(Column::Mac);
    }
    macs.sort();
    return macs;
}

QPoint WindowBench::middleOf(const QString &mac, int column) const
{
    const QModelIndex index =
        list().model()->index(list().indexOfTopLevelItem(row(mac)), column, QModelIndex());
    return list().visualRect(index).center();
}

WindowTest::WindowTest() = default;
WindowTest::~WindowTest() = default;

void WindowTest::open()
{
    m_environment = std::make_unique<TestEnvironment>();
}

void WindowTest::close()
{
    constexpr int patience = 10000; // milliseconds
    m_bench.reset();
    // Requests that were out end with the fleet.
    m_fleet.reset();
    QTRY_COMPARE_WITH_TIMEOUT(orphanedManagers().size(), 0, patience);
    m_environment.reset();
}

QString menuText(const QMenu &menu)
{
    QStringList entries;
    const QList<QAction *> actions = menu.actions();
    for (const QAction *const action : actions) {
        QString text = action->text();
        text.remove(QLatin1Char('&'));
        if (action->isSeparator()) {
            entries += QStringLiteral("-");
        } else if (action->menu()) {
            entries += text + QLatin1String(" (") + menuText(*action->menu()) + QLatin1Char(')');
        } else {
            entries += text;
        }
    }
    return entries.join(QLatin1String(" | "));
}

PopupReader::PopupReader()
{
    connect(&m_timer, &QTimer::timeout, this, &PopupReader::look);
    m_timer.start(lookInterval);
}

void PopupReader::look()
{
    if (auto *const menu = qobject_cast<QMenu *>(QApplication::activePopupWidget())) {
        m_menus += menuText(*menu);
        menu->close();
    }
}

BoxAnswerer::BoxAnswerer(int standardButton)
    : m_button(standardButton)
{
    connect(&m_timer, &QTimer::timeout, this, &BoxAnswerer::look);
    m_timer.start(lookInterval);
}

void BoxAnswerer::look()
{
    auto *const box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
    if (!box) {
        return;
    }
    m_texts += box->text();
    m_titles += box->windowTitle();
    m_allPlain = m_allPlain && box->textFormat() == Qt::PlainText;
    QAbstractButton *const button = box->button(static_cast<QMessageBox::StandardButton>(m_button));
    if (button) {
        button->click();
    } else {
        m_texts += QStringLiteral("(the button is missing)");
        box->close();
    }
}

BrowserCatcher::BrowserCatcher()
{
    for (const QString &scheme : browserSchemes) {
        QDesktopServices::setUrlHandler(scheme, this, "open");
    }
}

BrowserCatcher::~BrowserCatcher()
{
    for (const QString &scheme : browserSchemes) {
        QDesktopServices::unsetUrlHandler(scheme);
    }
}
