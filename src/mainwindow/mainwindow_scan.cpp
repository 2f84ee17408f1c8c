#include "mainwindow/mainwindow.h"

#include "ui_mainwindow.h"

#include "common/settings.h"
#include "device/deviceitem.h"
#include "discovery/discovery.h"
#include "mainwindow/settingsdialog.h"

#include <algorithm>
#include <limits>

namespace {

/// Milliseconds. The settings file may hold anything; whatever it is, the timer can take it and the network
/// is not flooded with requests.
int autoUpdateInterval()
{
    constexpr double millisecondsPerSecond = 1000.0;
    constexpr double shortest = 100.0;
    const double interval = settings::value(settings::scanAutoUpdateInterval) * millisecondsPerSecond;
    return interval > shortest ? static_cast<int>(std::min<double>(interval, std::numeric_limits<int>::max()))
                               : static_cast<int>(shortest);
}

/// Pixels. Without a size the tool bar would be out of reach, and beyond the screen's it would leave no room
/// for the list.
int toolBarIconSize()
{
    constexpr int biggest = 256;
    const int stored = settings::value(settings::iconSize);
    return stored > 0 && stored <= biggest ? stored : settings::iconSize.fallback;
}

} // namespace

void MainWindow::applySettings()
{
    m_discovery->setPort(static_cast<quint16>(settings::value(settings::scanPort)));
    updateHints();
    applyAutoUpdate();
    const int iconSize = toolBarIconSize();
    ui->mainToolBar->setIconSize(QSize(iconSize, iconSize));
}

void MainWindow::applyAutoUpdate()
{
    const bool autoUpdate = settings::value(settings::scanAutoUpdate);
    ui->actionAuto->setChecked(autoUpdate);
    runAutoUpdate(autoUpdate);
}

void MainWindow::on_actionAuto_triggered(bool checked)
{
    runAutoUpdate(checked);
}

void MainWindow::runAutoUpdate(bool on)
{
    if (on) {
        m_autoUpdateTimer.start(autoUpdateInterval());
    } else {
        m_autoUpdateTimer.stop();
    }
}

void MainWindow::on_actionProgram_options_triggered()
{
    // The dialog shows what is stored; let that be what the tool bar shows.
    settings::setValue(settings::scanAutoUpdate, ui->actionAuto->isChecked());
    SettingsDialog dialog;
    if (dialog.exec() != QDialog::Accepted) {
        return;
    }
    applySettings();
    refreshDevices();
    for (DeviceItem *const item : qAsConst(m_deviceItems)) {
        item->device().abortQuery();
    }
}
