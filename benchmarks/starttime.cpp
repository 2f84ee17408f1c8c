#include "cases.h"
#include "mainwindow/mainwindow.h"
#include "report.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeWidget>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <limits>

namespace cases {

namespace {

constexpr int devices = 10000;
constexpr int runs = 5;
/// Beyond an empty window; milliseconds.
constexpr double bound = 150.0;
constexpr int startTimeout = 60000; // milliseconds

/// Says a line and ends the program as soon as a widget has been painted with everything that it is to show.
class EndAfterPaint final : public QObject
{
public:
    EndAfterPaint(QWidget *watched, std::function<bool()> complete)
        : m_complete(std::move(complete))
    {
        watched->installEventFilter(this);
    }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint && m_complete()) {
            QTimer::singleShot(0, QCoreApplication::instance(), [] {
                std::puts("painted");
                std::fflush(stdout);
                QCoreApplication::quit();
            });
        }
        return QObject::eventFilter(watched, event);
    }

private:
    const std::function<bool()> m_complete;
};

void writeDeviceList(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        report::giveUp(QStringLiteral("can't write ") + path);
    }
    file.write("{ \"devices\": [");
    for (int i = 0; i < devices; ++i) {
        const QString mac = QStringLiteral("0E:5A:11:00:%1:%2")
                                .arg(i / 256, 2, 16, QLatin1Char('0'))
                                .arg(i % 256, 2, 16, QLatin1Char('0'))
                                .toUpper();
        file.write(i > 0 ? ",\n" : "\n");
        file.write(QStringLiteral("{ \"first_seen\": \"2021-03-04T05:06:07Z\", \"hostname\": \"device-%1\", "
                                  "\"last_seen\": \"2026-01-02T03:04:05Z\", \"mac\": \"%2\" }")
                       .arg(QString::number(i), mac)
                       .toUtf8());
    }
    file.write("\n] }\n");
}

/// Milliseconds from the start of a process until it has painted its window; the best of several.
double processTime(const QStringList &arguments)
{
    double best = std::numeric_limits<double>::max();
    for (int i = 0; i < runs; ++i) {
        constexpr double nanosecondsPerMillisecond = 1e6;
        QElapsedTimer time;
        time.start();
        QProcess process;
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(QCoreApplication::applicationFilePath(), arguments);
        const bool painted = process.waitForReadyRead(startTimeout);
        best = std::min(best, static_cast<double>(time.nsecsElapsed()) / nanosecondsPerMillisecond);
        if (!painted || !process.waitForFinished(startTimeout) || process.exitCode() != 0) {
            report::giveUp(
                QStringLiteral("the program that is to be timed does not start and end as it should"));
        }
    }
    return best;
}

} // namespace

void startTime(FleetWindow::View view)
{
    Q_UNUSED(view)
    const QTemporaryDir directory;
    const QString list = directory.filePath(QStringLiteral("devices.json"));
    writeDeviceList(list);
    const double empty = processTime({QStringLiteral("--until-painted"), QString()});
    const double value = processTime({QStringLiteral("--until-painted"), list});
    report::figure(QStringLiteral("start to painted list, 10000 devices, beyond an empty window"),
                   value - empty, empty, bound, QStringLiteral("ms"));
}

void runUntilPainted(const QString &deviceList)
{
    if (deviceList.isEmpty()) {
        QMainWindow window;
        const EndAfterPaint end(&window, [] { return true; });
        window.show();
        QCoreApplication::exec();
        return;
    }
    MainWindow window(deviceList);
    const auto *const list = window.findChild<QTreeWidget *>(QStringLiteral("devList"));
    const EndAfterPaint end(list->viewport(), [list] { return list->topLevelItemCount() == devices; });
    window.show();
    QCoreApplication::exec();
}

} // namespace cases
