#include "device/deviceitem.h"
#include "dialogseries.h"
#include "failingcalls.h"
#include "mainwindow/mainwindow.h"
#include "syslog/loglist.h"
#include "torturebench.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QListWidget>
#include <QMessageBox>
#include <QUdpSocket>
#include <QtTest>

using namespace dialogstep;

/// The main window and the one for messages, in need.
class TestTortureWindow final : public QObject, private TortureBench
{
    Q_OBJECT

private slots:
    void initTestCase() { begin(); }
    void cleanupTestCase() { end(); }
    void init() { open(); }
    void cleanup() { close(); }

    void scans();
    void savesTheList();
    void showsMessages();
    void goes();
};

void TestTortureWindow::scans()
{
    openWindow();
    Action action;
    action.run = [this] {
        m_bench.reset();
        m_bench = std::make_unique<WindowBench>(path(QStringLiteral("devices.json")));
        return QStringList{comesToRest() ? QStringLiteral("all") : rows()};
    };
    action.good = QStringList{QStringLiteral("all")};
    torture(action);
}

void TestTortureWindow::savesTheList()
{
    openWindow();
    const QString file = path(QStringLiteral("devices.json"));
    const QByteArray old(R"({"devices":[]})");
    Action action;
    action.prepare = [file, old] {
        QFile before(file);
        QVERIFY(before.open(QIODevice::WriteOnly) && before.write(old) == old.size());
    };
    action.run = [this] {
        BoxAnswerer boxes(QMessageBox::Ok);
        m_bench->trigger("actionSave_list");
        return boxes.texts().isEmpty() ? QStringList{QStringLiteral("saved")} : boxes.texts();
    };
    action.good = QStringList{QStringLiteral("saved")};
    action.bad = QStringLiteral("Error (writing|opening) file .*/devices.json( for writing)?");
    action.checkFiles = [this, file, old, good = action.good](const QStringList &outcome) {
        const QByteArray content = contentOf(file);
        const int count =
            QJsonDocument::fromJson(content).object().value(QLatin1String("devices")).toArray().size();
        const bool isRight = outcome == good ? count == deviceCount : content == old;
        const QStringList names =
            QDir(path(QString())).entryList({QStringLiteral("devices*")}, QDir::Files | QDir::Hidden);
        return isRight && names.size() == 1
                   ? QString()
                   : names.join(QLatin1Char(' ')) + QLatin1String(": ") + QString::fromUtf8(content);
    };
    torture(action);
}

void TestTortureWindow::showsMessages()
{
    openWindow();
    Action action;
    action.run = [this] {
        BoxAnswerer boxes(QMessageBox::Ok);
        m_bench->trigger("actionSyslog");
        CLogList *log = nullptr;
        const QWidgetList windows = QApplication::topLevelWidgets();
        for (QWidget *const window : windows) {
            log = log ? log : qobject_cast<CLogList *>(window);
        }
        const auto *const list = in<QListWidget>(log, "logListWidget");
        QUdpSocket device;
        const bool shown = QTest::qWaitFor(
            [&] {
                device.writeDatagram("<13>hello", QHostAddress(QStringLiteral("10.77.0.1")), 514);
                return list->count() > 0 || !boxes.texts().isEmpty();
            },
            patience);
        const QStringList told = boxes.texts();
        log->close();
        const bool isGone =
            QTest::qWaitFor([this] { return !m_bench->action("actionSyslog")->isChecked(); }, patience);
        return told.isEmpty() ? QStringList{QStringLiteral("%1 %2").arg(shown).arg(isGone)} : told;
    };
    action.good = QStringList{QStringLiteral("1 1")};
    action.bad = QStringLiteral("Could not bind to syslog port 514.");
    torture(action);
}

void TestTortureWindow::goes()
{
    openWindow();
    Action action;
    action.prepare = [this] {
        const QList<Device *> all = devices();
        for (Device *const device : all) {
            device->updateInfo();
            QVERIFY(device->requestOutstanding());
        }
    };
    action.run = [this] {
        m_bench->window().close();
        m_bench.reset();
        const bool isQuiet = QTest::qWaitFor([] { return orphanedManagers().isEmpty(); }, patience);
        return QStringList{isQuiet ? QStringLiteral("gone") : QStringLiteral("something is left")};
    };
    action.good = QStringList{QStringLiteral("gone")};
    action.checkFiles = [this](const QStringList &outcome) {
        Q_UNUSED(outcome)
        failingcalls::stop();
        openWindow();
        return QString();
    };
    torture(action);
}

NEMBRA_GUI_TEST_MAIN(TestTortureWindow)

#include "tst_torture_window.moc"
