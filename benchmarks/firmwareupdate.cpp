#include "cases.h"
#include "common/settings.h"
#include "curlrun.h"
#include "dialoguser.h"
#include "fleetprocess.h"
#include "heartbeat.h"
#include "mainwindow/mainwindow.h"
#include "processusage.h"
#include "report.h"
#include "waiting.h"
#include "widgets/fileselectorwidget.h"

#include <QDialog>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMessageBox>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTableWidget>
#include <QTemporaryDir>

#include <algorithm>

using namespace std::chrono_literals;

namespace cases {

namespace {

constexpr int devices = 100;
/// Those that are in the list, but not part of the run.
constexpr int others = 20;
constexpr int imageSize = 32 * 1024 * 1024;
constexpr double timeBound = 1.5;      // of the reference
constexpr double memoryBound = 200.0;  // MiB
constexpr double stallBound = 100.0;   // milliseconds
constexpr double broadcastBound = 1.2; // a second
constexpr auto lookInterval = 50ms;
constexpr int patience = 240000; // milliseconds

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush()) {
        report::giveUp(QStringLiteral("can't write ") + path);
    }
}

/// Devices of one type, to which their network interfaces belong, that let anybody write and restart quickly.
/// Without the limit the journal would hold a part of each image.
QByteArray scenario()
{
    const QJsonObject defaults{{QStringLiteral("anonymous_level"), 3},
                               {QStringLiteral("device_type"), QStringLiteral("bench")},
                               {QStringLiteral("interfaces"), QJsonArray{QJsonObject()}},
                               {QStringLiteral("restart_ms"), 2000}};
    const QJsonObject fleet{{QStringLiteral("journal_body_limit"), 0}};
    return QJsonDocument(
               QJsonObject{{QStringLiteral("defaults"), defaults}, {QStringLiteral("fleet"), fleet}})
        .toJson();
}

QByteArray madeUpImage()
{
    QByteArray image("version=9.9.9\n");
    image.resize(imageSize);
    std::generate(image.begin() + 14, image.end(),
                  [generator = QRandomGenerator(1)]() mutable { return static_cast<char>(generator()); });
    return image;
}

/// The files of a measurement.
class Place final
{
public:
    Place()
    {
        writeFile(scenario(), cases::scenario());
        writeFile(image(), madeUpImage());
    }

    QString scenario() const { return m_directory.filePath(QStringLiteral("scenario.json")); }
    QString image() const { return m_directory.filePath(QStringLiteral("image.bin")); }
    QString journal() const { return m_directory.filePath(QStringLiteral("journal")); }
    QString configurations() const { return m_directory.path(); }

private:
    const QTemporaryDir m_directory;
};

/// What the fleet received.
struct Traffic
{
    int broadcasts = 0;
    int wholeImages = 0;
    /// Requests to devices that are not part of the run.
    int strayRequests = 0;
};

Traffic readJournal(const QString &path, qint64 begin, const QSet<QString> &members)
{
    Traffic traffic;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || !file.seek(begin)) {
        report::giveUp(QStringLiteral("can't read ") + path);
    }
    while (!file.atEnd()) {
        const QJsonObject line = QJsonDocument::fromJson(file.readLine()).object();
        if (line.value(QLatin1String("kind")) == QLatin1String("datagram")) {
            // The program sends each a second time, to the broadcast address of the interface.
            traffic.broadcasts +=
                line.value(QLatin1String("destination")) == QLatin1String("255.255.255.255") ? 1 : 0;
        } else if (!members.contains(line.value(QLatin1String("mac")).toString())) {
            ++traffic.strayRequests;
        } else if (line.value(QLatin1String("target")) == QLatin1String("/admin/upload.cgi") &&
                   line.value(QLatin1String("body_size")).toInt() > imageSize) {
            ++traffic.wholeImages;
        }
    }
    return traffic;
}

struct Run
{
    double time = 0.0; // milliseconds
    Heartbeat::Result stalls;
    ProcessUsage before;
    /// At most.
    ProcessUsage held;
    ProcessUsage after;
    Traffic traffic;
};

void startUpdate(const QDialog &dialog, const QString &image)
{
    auto *const file = dialog.findChild<FileSelectorWidget *>(QStringLiteral("firmwareFile"));
    if (!file) {
        const auto *const box = qobject_cast<const QMessageBox *>(&dialog);
        report::giveUp(QStringLiteral("instead of the update this opens: ") +
                       (box ? box->text() : dialog.windowTitle()));
    }
    file->setText(image);
    DialogUser::button(dialog, "pushButtonUpdate")->click();
}

bool allFinished(const QDialog &dialog)
{
    constexpr int messageColumn = 1;
    const auto *const table = dialog.findChild<QTableWidget *>(QStringLiteral("tableWidget"));
    for (int row = 0; row < table->rowCount(); ++row) {
        if (table->item(row, messageColumn)->text() != QLatin1String("Finished")) {
            return false;
        }
    }
    return true;
}

Run update(FleetWindow &window, const Place &place, int count)
{
    const QSet<QString> members = window.select(count);
    Run run;
    run.before = ProcessUsage::now();
    Heartbeat heartbeat;
    QElapsedTimer clock;
    qint64 journalBegin = 0;
    const DialogUser user(
        [&](const QDialog &dialog) {
            if (!clock.isValid()) {
                journalBegin = QFileInfo(place.journal()).size();
                clock.start();
                heartbeat.start();
                startUpdate(dialog, place.image());
                return false;
            }
            const ProcessUsage now = ProcessUsage::now();
            run.held.threads = std::max(run.held.threads, now.threads);
            run.held.descriptors = std::max(run.held.descriptors, now.descriptors);
            run.held.resident = std::max(run.held.resident, now.resident);
            if (!allFinished(dialog)) {
                if (clock.elapsed() > patience) {
                    report::giveUp(QStringLiteral("not every device says that it has finished"));
                }
                return false;
            }
            run.time = static_cast<double>(clock.elapsed());
            run.stalls = heartbeat.stop();
            run.traffic = readJournal(place.journal(), journalBegin, members);
            return true;
        },
        lookInterval);
    window.window().on_actionUpdate_Firmware_triggered();
    // The window refreshes its list then.
    window.waitForQueries();
    settle(2s);
    window.waitForQueries();
    waitUntil([&run] { return ProcessUsage::now().threads <= run.before.threads; }, 5s);
    run.after = ProcessUsage::now();
    return run;
}

/// Every device is to be asked as soon as it answers discovery, except that an update forbids it.
void leaveQueriesPending(FleetWindow &window)
{
    window.hearFleet(false);
    window.refresh();
    window.hearFleet(true);
}

void print(const Run &run, const Run &single, double transfer, const Heartbeat::Result &idle,
           const Heartbeat::Result &busy)
{
    const double seconds = run.time / 1000.0;
    report::ratio(QStringLiteral("update 100 devices (reference: one + transfer)"), run.time,
                  single.time + transfer, timeBound, QStringLiteral("ms"));
    report::note(QStringLiteral("one device %1 ms; curl sends 100 images within %2 ms")
                     .arg(single.time, 0, 'f', 0)
                     .arg(transfer, 0, 'f', 0));
    report::count(QStringLiteral("    images that arrived whole (reference: wanted)"),
                  run.traffic.wholeImages, devices, devices);
    report::figure(QStringLiteral("    growth of memory (reference: with one device)"),
                   run.held.resident - run.before.resident, single.held.resident - single.before.resident,
                   memoryBound, QStringLiteral("MiB"));
    report::figure(QStringLiteral("    longest stall (reference: at rest)"), run.stalls.longestGap,
                   idle.longestGap, stallBound, QStringLiteral("ms"));
    report::note(QStringLiteral("the thread's own longest work between two beats %1 ms; in all %2 ms within "
                                "%3 ms; at rest while curl sends, a stall of %4 ms")
                     .arg(run.stalls.longestWork, 0, 'f', 1)
                     .arg(run.stalls.work, 0, 'f', 0)
                     .arg(run.stalls.wallTime, 0, 'f', 0)
                     .arg(busy.longestGap, 0, 'f', 1));
    report::figure(QStringLiteral("    discovery broadcasts a second (reference: one device)"),
                   run.traffic.broadcasts / seconds, single.traffic.broadcasts / (single.time / 1000.0),
                   broadcastBound, QString());
    report::count(QStringLiteral("    requests to %1 devices outside the run").arg(others),
                  run.traffic.strayRequests, 0, 0);
    report::count(QStringLiteral("    threads after it (reference: before)"), run.after.threads,
                  run.before.threads, run.before.threads);
    report::note(QStringLiteral("at most %1 threads, %2 descriptors; descriptors before %3, after %4")
                     .arg(run.held.threads)
                     .arg(run.held.descriptors)
                     .arg(run.before.descriptors)
                     .arg(run.after.descriptors));
}

} // namespace

void firmwareUpdate(FleetWindow::View view)
{
    const Place place;
    const FleetProcess fleet(devices + others, {QStringLiteral("--scenario"), place.scenario(),
                                                QStringLiteral("--journal"), place.journal()});
    FleetWindow window(view);
    settings::store().setValue(QStringLiteral("ConfigDir"), place.configurations());
    window.hearFleet(true);
    window.refreshWholly(devices + others);
    settle(2s);
    Heartbeat heartbeat;
    heartbeat.start();
    settle(3s);
    const Heartbeat::Result idle = heartbeat.stop();
    const CurlRun curl = CurlRun::firmwareUploads(devices, place.image());
    heartbeat.start();
    const double transfer = std::min(curl.run(), curl.run());
    const Heartbeat::Result busy = heartbeat.stop();

    leaveQueriesPending(window);
    const Run single = update(window, place, 1);
    leaveQueriesPending(window);
    print(update(window, place, devices), single, transfer, idle, busy);
}

} // namespace cases
