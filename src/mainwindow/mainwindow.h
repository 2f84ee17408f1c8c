#pragma once

#include "discovery/discoverydevice.h"
#include "mainwindow/rowcounts.h"

#include <QList>
#include <QMainWindow>
#include <QMap>
#include <QPointer>
#include <QRegExp>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVector>

#include <memory>

enum class AccessLevel : qint32;
class Device;
class CLogList;
class DeviceItem;
class Discovery;
class QActionGroup;
class QItemSelection;
class QLabel;
class QLineEdit;
class QStringListModel;
class QTreeWidgetItem;
class QueryQueue;

namespace Ui {
class MainWindow;
}

/// The program's main window and the owner of everything that the user sees: the device list and its rows,
/// the discovery service, the refresh timer. Turns answers into rows, ages the rows with every refresh, and
/// decides which operations the selection allows. Its facets have a file each: filter, view, scan, language,
/// operations. GUI thread only.
class MainWindow final : public QMainWindow
{
    Q_OBJECT

public:
    /// `deviceListPath`: the file of known devices.
    explicit MainWindow(const QString &deviceListPath, QWidget *parent = nullptr);
    ~MainWindow() override;

    /// Ends the event loop with the wish to start over with all settings cleared.
    static constexpr int resetExitCode = -1001;

    // Whoever calls slots by their number finds them in this order.
public slots:
    void onDevice(const DiscoveryDevice &discoveryDevice);
    void onDevListHeaderContextMenu(const QPoint &pos);
    void resizeColumnsToContents();
    void on_devList_customContextMenuRequested(const QPoint &pos);
    void on_actionExit_triggered();
    void on_actionDiscover_devices_triggered();
    void on_devList_itemSelectionChanged();
    void on_actionSave_Configs_triggered();
    void on_actionUpdate_Firmware_triggered();
    void on_actionToolbar_triggered(bool checked);
    void on_actionAbout_NembraHub_triggered();
    void on_actionSave_list_triggered();
    void on_actionRemove_triggered();
    void on_actionProgram_options_triggered();
    void on_actionResize_columns_triggered();
    void on_actionAuto_triggered(bool checked);
    void on_actionWeb_interface_triggered();
    void on_devList_itemDoubleClicked(QTreeWidgetItem *item, int column);
    void on_actionUpload_config_triggered();
    void on_actionConfigureDevice_triggered();
    void on_actionFilter_triggered();
    void on_actionApply_triggered();
    /// Brings the window to the front.
    void showup();
    void on_actionSet_Login_triggered();
    void on_filterToolBar_visibilityChanged(bool visible);
    void on_mainToolBar_visibilityChanged(bool visible);
    void loadDevices();
    void on_actionAbout_QT_triggered();
    void onLanguageChanged();
    void on_actionFont_triggered();
    void onIconSizeChange();
    void on_actionSave_with_passwords_triggered();
    /// The second step of construction, once the window is shown.
    void lateInit();
    void on_actionDownload_CSV_triggered();
    void on_actionReset_configuration_triggered();
    void on_actionSelect_all_triggered();
    void updateStatusBarAndMenu();
    void updateVisibleColumns();
    void on_actionFilterClose_triggered();
    void on_actionStatusbar_triggered(bool checked);
    void on_actionFullscreen_triggered(bool checked);
    void onFocusChanged(QWidget *old, QWidget *now);
    void on_actionSyslog_triggered();
    void on_logClosed();

protected:
    void closeEvent(QCloseEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    // Construction, in this order.
    void setUpStatusBar();
    void setUpSelection();
    void setUpDiscovery();
    void setUpColumns();
    void setUpFilterBar();
    void setUpIconSizes();
    void restoreView();
    void setUpColumnActions();
    void setUpLanguageMenu();
    void setUpTimers();

    // Rows.
    /// Devices of rows. While a dialog closes, the user may already remove some.
    using Selection = QVector<QPointer<Device>>;
    void refreshDevices();
    /// Whatever the list says while it shows no rows.
    void updateHints();
    DeviceItem *findOrCreateItem(const QString &mac);
    void recount(DeviceItem *item);
    void recountSelection(const QItemSelection &selected, const QItemSelection &deselected);
    DeviceItem *itemAt(int row) const;
    /// Fills `out` with the selected devices, in the order of selecting. False, after telling the user which
    /// device can't be reached, if one lacks the address or the answer that is needed; false if nothing is
    /// selected.
    bool selectReachable(Selection &out, bool needAddress, bool needAnswer);
    /// Those whose rows are still there.
    static QList<Device *> present(const Selection &selection);
    static void openWebInterface(const Device &device);

    // Operations.
    void enableOperations(const SelectionRules &rules);
    /// Has the user log in where a session may not do enough. False if that didn't succeed everywhere, or
    /// if nothing is left.
    bool ensureAccess(const Selection &devices, AccessLevel level);
    /// selectReachable() with everything that an operation needs, and ensureAccess().
    bool selectAuthorized(Selection &out, AccessLevel level);
    void saveConfigs(const Selection &devices, bool includePasswords);
    /// Asks what there is to ask before an update. False if it must not be.
    bool mayUpdateFirmware(const Selection &devices);
    void updateFirmware(const Selection &devices);
    bool mayRestart();

    // Filter.
    void loadFilterHistory();
    void rememberFilter(const QString &pattern);
    void filterAllRows();

    // View.
    void restorePlace();
    void restoreSorting();
    void restoreListFont();
    void saveView();

    // Scan.
    void applySettings();
    /// Has the refresh timer follow what is stored, and shows that.
    void applyAutoUpdate();
    void runAutoUpdate(bool on);

    // Language.
    void applyLanguage();
    void retranslate();

    std::unique_ptr<Ui::MainWindow> ui;
    Discovery *m_discovery = nullptr;
    QueryQueue *m_queryQueue = nullptr;
    /// By MAC text. The list owns the rows.
    QMap<QString, DeviceItem *> m_deviceItems;
    RowCounts m_rowCounts;
    /// One for each column, in column order.
    QList<QAction *> m_columnActions;
    const QString m_deviceListPath;
    QTimer m_autoUpdateTimer;
    /// The log says once, not with each answer, that there is no room for further devices.
    bool m_refusedDevices = false;
    /// While it is set only the devices that take part are asked for their readings.
    bool m_firmwareUpdateActive = false;

    /// The newest first.
    QStringList m_filterHistory;
    QLabel *m_filterLabel = nullptr;
    QLineEdit *m_filterEdit = nullptr;
    QStringListModel *m_filterHistoryModel = nullptr;
    QRegExp m_filterRegExp;

    /// Null while there is no such window; it deletes itself when it is closed.
    CLogList *m_logList = nullptr;

    QString m_appliedLanguage;
    QActionGroup *m_languageGroup = nullptr;
    QActionGroup *m_iconSizeGroup = nullptr;
    QLabel *m_statusLabel = nullptr;
};
