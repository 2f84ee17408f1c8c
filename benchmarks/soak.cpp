#include "cases.h"
#include "common/settings.h"
#include "fleetprocess.h"
#include "heartbeat.h"
#include "mainwindow/mainwindow.h"
#include "processusage.h"
#include "report.h"
#include "syslog/loglist.h"
#include "waiting.h"

#include <QAction>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QListWidget>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>

using namespace std::chrono_literals;

namespace cases {

namespace {

constexpr int honestDevices = 1000;
constexpr int faultyDevices = 800;
constexpr int syslogPort = 5514;
constexpr int linesPerSecond = 2000;
constexpr int secondsPerMinute = 60;
/// Minutes of which the most is taken: the first ones after all has been made once, and the last ones.
constexpr int compared = 5;
/// What differs between two looks without anything growing, as a factor.
constexpr double noise = 1.05;

/// What a device does wrong by the way it is.
const QByteArray oddGroups(R"([
    {"count": 25, "tls": "tls1.0", "redirect_to_https": true},
    {"count": 25, "tls": "rsa512", "redirect_to_https": true},
    {"count": 25, "tls": "expired", "redirect_to_https": true},
    {"count": 25, "tls": "other-name", "redirect_to_https": true},
    {"count": 25, "answers_once": true, "redirect_to_https": true},
    {"count": 25, "keep_alive": false},
    {"count": 25, "answer_copies": 5},
    {"count": 25, "loss_percent": 50}])");

/// What one does wrong when it is asked. There is a device for each, in turn.
const QByteArray misbehaviours(R"([
    {"kind": "refuse"}, {"kind": "hang"}, {"kind": "delay", "ms": 5000}, {"kind": "drip", "bytes": 1, "ms": 1},
    {"kind": "drip", "bytes": 1, "ms": 500}, {"kind": "cut"}, {"kind": "close"},
    {"kind": "reset", "place": "start"}, {"kind": "reset", "place": "head"}, {"kind": "reset", "place": "body"},
    {"kind": "reset", "place": "end"}, {"kind": "status", "status": 204}, {"kind": "status", "status": 403},
    {"kind": "status", "status": 503, "reason": "Busy"},
    {"kind": "status", "status": 303, "location": "http://10.77.128.1/elsewhere"}, {"kind": "garbage"},
    {"kind": "invalid-json"}, {"kind": "body", "body": "{}"}, {"kind": "inflating-body"},
    {"kind": "endless-body"}, {"kind": "endless-chunk-size"}, {"kind": "endless-headers"},
    {"kind": "extra", "body": "HTTP/1.1 100 Continue\r\n\r\n"},
    {"kind": "extra", "body": "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nother"},
    {"kind": "unasked", "body": "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nother"},
    {"kind": "verbatim", "body": "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nFF\r\nother\r\n0\r\n\r\n"},
    {"kind": "forget-session"}, {"kind": "hang", "after": 3}, {"kind": "close", "after": 3}])");

/// Devices of which half misbehave, as the simulator reads them.
QByteArray scenario()
{
    QJsonArray groups = QJsonDocument::fromJson(oddGroups).array();
    int firstFaulty = honestDevices;
    for (int i = 0; i < groups.size(); ++i) {
        firstFaulty += groups.at(i)[QStringLiteral("count")].toInt();
    }
    groups.append(QJsonObject{{QStringLiteral("count"), faultyDevices}});
    const QJsonArray kinds = QJsonDocument::fromJson(misbehaviours).array();
    QJsonArray faults;
    for (int i = 0; i < faultyDevices; ++i) {
        QJsonObject fault = kinds.at(i % kinds.size()).toObject();
        fault.insert(QStringLiteral("device"), firstFaulty + i);
        faults.append(fault);
    }
    const QJsonObject fleet{{QStringLiteral("devices"), honestDevices}};
    return QJsonDocument(QJsonObject{{QStringLiteral("fleet"), fleet},
                                     {QStringLiteral("groups"), groups},
                                     {QStringLiteral("faults"), faults}})
        .toJson();
}

struct Minute
{
    ProcessUsage usage;
    int rows = 0;
    int lines = 0;
    double longestGap = 0.0; // milliseconds
};

/// One line a minute: the minute, MiB, threads, descriptors, rows, lines received, longest stall.
void write(QFile &table, const QVector<Minute> &minutes)
{
    QTextStream stream(&table);
    const Minute &last = minutes.last();
    stream << minutes.size() << ' ' << last.usage.resident << ' ' << last.usage.threads << ' '
           << last.usage.descriptors << ' ' << last.rows << ' ' << last.lines << ' ' << last.longestGap
           << '\n';
}

ProcessUsage mostOf(const QVector<Minute> &minutes)
{
    ProcessUsage most;
    for (const Minute &minute : minutes) {
        most.threads = std::max(most.threads, minute.usage.threads);
        most.descriptors = std::max(most.descriptors, minute.usage.descriptors);
        most.resident = std::max(most.resident, minute.usage.resident);
    }
    return most;
}

} // namespace

void soak(FleetWindow::View view, int minutes, const QString &tablePath)
{
    const QTemporaryDir directory;
    QFile file(directory.filePath(QStringLiteral("scenario.json")));
    QFile table(tablePath);
    if (!file.open(QIODevice::WriteOnly) || file.write(scenario()) < 0 || !table.open(QIODevice::WriteOnly)) {
        report::giveUp(QStringLiteral("can't write its files"));
    }
    file.close();
    FleetWindow window(view);
    settings::setValue(settings::syslogPort, syslogPort);
    CLogList logWindow(nullptr);
    logWindow.show();
    settle(1s);
    auto *const lines = logWindow.findChild<QListWidget *>(QStringLiteral("logListWidget"));
    const FleetProcess fleet(honestDevices,
                             {QStringLiteral("--scenario"), file.fileName(), QStringLiteral("--syslog"),
                              QStringLiteral("10.77.0.1:%1").arg(syslogPort), QStringLiteral("--syslog-rate"),
                              QString::number(linesPerSecond)});
    window.hearFleet(true);
    window.window().findChild<QAction *>(QStringLiteral("actionAuto"))->trigger();
    QVector<Minute> all;
    while (all.size() < minutes) {
        Heartbeat heartbeat;
        heartbeat.start();
        settle(std::chrono::seconds(secondsPerMinute));
        Minute minute;
        minute.longestGap = heartbeat.stop().longestGap;
        minute.lines = lines->count();
        minute.rows = window.rowCount();
        // What the user keeps would be what grows.
        lines->clear();
        minute.usage = ProcessUsage::now();
        all.append(minute);
        write(table, all);
    }
    const ProcessUsage early = mostOf(all.mid(compared, compared));
    const ProcessUsage late = mostOf(all.mid(minutes - compared));
    const QString name = QStringLiteral("minutes %1 to %2 (reference: %3 to %4), ")
                             .arg(minutes - compared + 1)
                             .arg(minutes)
                             .arg(compared + 1)
                             .arg(2 * compared);
    report::ratio(name + QStringLiteral("resident"), late.resident, early.resident, noise,
                  QStringLiteral("MiB"));
    report::ratio(name + QStringLiteral("threads"), late.threads, early.threads, noise, {});
    report::ratio(name + QStringLiteral("descriptors"), late.descriptors, early.descriptors, noise, {});
}

} // namespace cases
