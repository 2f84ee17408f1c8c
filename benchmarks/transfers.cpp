#include "cases.h"
#include "common/settings.h"
#include "curlrun.h"
#include "device/deviceitem.h"
#include "dialoguser.h"
#include "fleetprocess.h"
#include "heartbeat.h"
#include "mainwindow/mainwindow.h"
#include "operations/loadhistorydialog.h"
#include "operations/networkoperationsdialog.h"
#include "processusage.h"
#include "report.h"
#include "waiting.h"

#include <QCalendarWidget>
#include <QDialog>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPushButton>
#include <QTemporaryDir>

#include <algorithm>

using namespace std::chrono_literals;

namespace cases {

namespace {

constexpr int configurationSize = 20 * 1024;

/// A fleet whose devices let anybody read and write.
QString writeScenario(const QTemporaryDir &directory)
{
    QString path = directory.filePath(QStringLiteral("scenario.json"));
    const QJsonObject defaults{
        {QStringLiteral("anonymous_level"), 3},
        {QStringLiteral("history_start"), 0},
        {QStringLiteral("configuration"), QString(configurationSize, QLatin1Char('x'))}};
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(QJsonDocument(QJsonObject{{QStringLiteral("defaults"), defaults}}).toJson()) < 0) {
        report::giveUp(QStringLiteral("can't write ") + path);
    }
    return path;
}

QList<Device *> devicesOf(const FleetWindow &window)
{
    QList<Device *> devices;
    const QVector<DeviceItem *> rows = window.rows();
    for (DeviceItem *const row : rows) {
        devices.append(&row->device());
    }
    return devices;
}

/// Milliseconds until everything is saved, as the dialog shows it.
double saveTimed(FleetWindow &window, const QList<Device *> &devices, const QString &directory)
{
    QElapsedTimer clock;
    double time = 0.0;
    const DialogUser user([&](const QDialog &dialog) {
        time = static_cast<double>(clock.elapsed());
        return DialogUser::button(dialog, "pushButtonClose")->isEnabled();
    });
    clock.start();
    NetworkOperationsDialog::downloadConfigs(directory, devices, false, &window.window());
    return time;
}

/// By how many MiB the program grew at most while it saved what the devices recorded since `start`.
double historyGrowth(FleetWindow &window, const QList<Device *> &devices, const QString &directory,
                     const QDate &start)
{
    settings::store().setValue(QStringLiteral("CSVDir"), directory);
    const double before = ProcessUsage::now().resident;
    double most = before;
    bool loading = false;
    const DialogUser user([&](const QDialog &dialog) {
        most = std::max(most, ProcessUsage::now().resident);
        if (!loading) {
            dialog.findChild<QCalendarWidget *>(QStringLiteral("calendarWidgetStart"))
                ->setSelectedDate(start);
            DialogUser::button(dialog, "pushButtonLoad")->click();
            loading = true;
            return false;
        }
        return DialogUser::button(dialog, "pushButtonClose")->isEnabled();
    });
    LoadHistoryDialog::downloadHistory(devices, &window.window());
    return most - before;
}

/// MiB in the files of a directory, which are then removed.
double takeFiles(const QString &directory, int *count)
{
    constexpr double bytesPerMebibyte = 1024.0 * 1024.0;
    const QFileInfoList files = QDir(directory).entryInfoList(QDir::Files | QDir::Hidden);
    double bytes = 0.0;
    for (const QFileInfo &file : files) {
        bytes += static_cast<double>(file.size());
        QFile::remove(file.filePath());
    }
    *count = files.size();
    return bytes / bytesPerMebibyte;
}

int filesIn(const QString &directory, int size)
{
    const QFileInfoList files = QDir(directory).entryInfoList({QStringLiteral("*.qini")}, QDir::Files);
    return static_cast<int>(std::count_if(files.begin(), files.end(),
                                          [size](const QFileInfo &file) { return file.size() == size; }));
}

} // namespace

void transferTime(FleetWindow::View view)
{
    constexpr int devices = 1000;
    constexpr double bound = 2.0;
    constexpr double stallBound = 100.0; // milliseconds
    const QTemporaryDir directory;
    const FleetProcess fleet(devices, {QStringLiteral("--delay"), QStringLiteral("50"),
                                       QStringLiteral("--scenario"), writeScenario(directory)});
    FleetWindow window(view);
    window.hearFleet(true);
    window.refreshWholly(devices);
    const CurlRun curl = CurlRun::downloads(devices, QStringLiteral("tpl/document.cgi?tpl/j/config.tpl"));
    const double reference = std::min(curl.run(), curl.run());
    for (const char *const run : {"first", "second"}) {
        const QTemporaryDir output;
        settle(500ms);
        Heartbeat heartbeat;
        heartbeat.start();
        const double time = saveTimed(window, devicesOf(window), output.path());
        settle(500ms);
        const Heartbeat::Result stall = heartbeat.stop();
        report::ratio(
            QStringLiteral("save 1000 configurations, %1 (reference: curl)").arg(QLatin1String(run)), time,
            reference, bound, QStringLiteral("ms"));
        report::figure(QStringLiteral("    longest stall"), stall.longestGap, 0, stallBound,
                       QStringLiteral("ms"));
        report::count(QStringLiteral("    whole files (reference: wanted)"),
                      filesIn(output.path(), configurationSize), devices, devices);
    }
}

void transferMemory(FleetWindow::View view)
{
    constexpr int devices = 200;
    constexpr double bound = 150.0; // MiB
    const QTemporaryDir directory;
    const FleetProcess fleet(devices, {QStringLiteral("--scenario"), writeScenario(directory)});
    FleetWindow window(view);
    window.hearFleet(true);
    window.refreshWholly(devices);
    const QTemporaryDir output;
    const auto measure = [&](const char *what, int saving, const QDate &start) {
        const double growth = historyGrowth(window, devicesOf(window).mid(0, saving), output.path(), start);
        int files = 0;
        const double size = takeFiles(output.path(), &files);
        report::figure(QStringLiteral("memory while saving histories, %1 (reference: their size)")
                           .arg(QLatin1String(what)),
                       growth, size, bound, QStringLiteral("MiB"));
        report::count(QStringLiteral("    files (reference: wanted)"), files, saving, saving);
    };
    const QDate today = QDate::currentDate();
    measure("200 devices", devices, today.addYears(-1));
    measure("one device", 1, today.addYears(-50));
}

} // namespace cases
