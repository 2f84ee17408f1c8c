#pragma once

#include "device/devicelist.h"
#include "fleet.h"
#include "testenvironment.h"

#include <QObject>
#include <QPoint>
#include <QStringList>
#include <QTimer>
#include <QUrl>

#include <functional>
#include <memory>

class DeviceItem;
class MainWindow;
class QAction;
class QMenu;

/// The main window on the screen, with what a user finds in it. Needs a TestEnvironment.
class WindowBench final
{
public:
    /// Shows a new window and waits until it is the active one.
    explicit WindowBench(const QString &deviceListPath = QString());
    ~WindowBench();
    Q_DISABLE_COPY_MOVE(WindowBench)

    MainWindow &window() { return *m_window; }
    /// The window goes, without being closed.
    void destroyWindow();

    DeviceList &list() const;
    /// Null where there is none of that name.
    QAction *action(const char *objectName) const;
    void trigger(const char *objectName) const;
    QString statusText() const;

    /// The row of a device; null while there is none.
    DeviceItem *row(const QString &mac) const;
    /// Empty while the device has no row.
    QString cell(const QString &mac, int column) const;
    /// The texts of a column, from top to bottom.
    QStringList column(int column) const;
    /// Selects exactly these rows.
    void select(const QStringList &macs) const;
    QStringList selectedMacs() const;
    /// The middle of a cell, in the coordinates of the list's viewport.
    QPoint middleOf(const QString &mac, int column) const;

private:
    std::unique_ptr<MainWindow> m_window;
};

/// A simulated fleet and the main window in front of it. A test makes what it needs of them between open()
/// and close(), which drops all of it.
class WindowTest
{
public:
    WindowTest();
    ~WindowTest();
    Q_DISABLE_COPY_MOVE(WindowTest)

    void open();
    void close();

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<simulator::Fleet> m_fleet;
    std::unique_ptr<WindowBench> m_bench;
};

/// A menu in one line: "Refresh list | - | Download (Configuration | Data)"; mnemonics left out.
QString menuText(const QMenu &menu);

/// Deals with the next popup menus: notes what is in them and closes them, as long as it lives.
class PopupReader final : public QObject
{
public:
    PopupReader();
    QStringList menus() const { return m_menus; }

private:
    void look();

    QStringList m_menus;
    QTimer m_timer;
};

/// Deals with the next message boxes: notes their texts as they are shown, and presses a button, as long as
/// it lives.
class BoxAnswerer final : public QObject
{
public:
    /// `standardButton`: a QMessageBox::StandardButton.
    explicit BoxAnswerer(int standardButton);
    QStringList texts() const { return m_texts; }
    QStringList titles() const { return m_titles; }
    /// Whether each box showed its text as it is, markup and all.
    bool allPlain() const { return m_allPlain; }

private:
    void look();

    const int m_button;
    QStringList m_texts;
    QStringList m_titles;
    bool m_allPlain = true;
    QTimer m_timer;
};

/// Catches what would be opened in the browser, as long as it lives.
class BrowserCatcher final : public QObject
{
    Q_OBJECT

public:
    BrowserCatcher();
    ~BrowserCatcher() override;
    QStringList urls() const { return m_urls; }

public slots:
    void open(const QUrl &url) { m_urls += url.toString(); }

private:
    QStringList m_urls;
};
