#include "common/settings.h"
#include "device/device.h"
#include "dialogseries.h"
#include "mainwindow/mainwindow.h"
#include "operations/loadhistorydialog.h"
#include "operations/logindevicesdialog.h"
#include "operations/networkoperationsdialog.h"
#include "torturebench.h"

#include <QDialog>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QTableWidget>
#include <QtTest>

#include <algorithm>
#include <functional>

using namespace dialogstep;

namespace {

const QString admin = QStringLiteral("admin");
const QString finished = QStringLiteral("Finished");

} // namespace

/// Logins and transfers, in need.
class TestTortureTransfers final : public QObject, private TortureBench
{
    Q_OBJECT

private slots:
    void initTestCase() { begin(); }
    void cleanupTestCase() { end(); }
    void init() { open(); }
    void cleanup() { close(); }

    void logsIn();
    void downloadsConfigurations();
    void uploadsAConfiguration();
    void downloadsHistories();

private:
    static QStringList runTransfer(const std::function<void()> &open, DialogSeries::Step step);
};

void TestTortureTransfers::logsIn()
{
    openWindow();
    Action action;
    action.run = [this] {
        QStringList told;
        LoginDevicesDialog dialog(devices(), AccessLevel::WriteConfig, &m_bench->window());
        DialogSeries dialogs;
        dialogs.then([&told](QWidget *widget) {
            auto *const ok = in<QPushButton>(widget, "pushButtonOK");
            if (!ok->isEnabled()) {
                return;
            }
            const QString error = in<QLabel>(widget, "labelError")->text();
            if (!error.isEmpty()) {
                told += error;
                // And tries again.
            }
            logIn(admin, admin)(widget);
        });
        const bool isIn = dialog.exec() == QDialog::Accepted;
        const QList<Device *> all = devices();
        const auto sessions = std::count_if(
            all.begin(), all.end(), [](const Device *device) { return device->cookies().size() == 1; });
        return told + QStringList{QStringLiteral("%1 %2").arg(isIn).arg(sessions)};
    };
    action.good = QStringList{QStringLiteral("1 5")};
    action.bad = QStringLiteral("Network Problem: .+|Wrong login");
    torture(action);
}

QStringList TestTortureTransfers::runTransfer(const std::function<void()> &open, DialogSeries::Step step)
{
    DialogSeries dialogs;
    dialogs.then(std::move(step));
    open();
    return dialogs.seen().size() == 1 ? QStringList() : dialogs.seen();
}

void TestTortureTransfers::downloadsConfigurations()
{
    openWindow();
    Action action;
    action.run = [this] {
        QStringList told;
        const QStringList others = runTransfer(
            [this] {
                NetworkOperationsDialog::downloadConfigs(outputDirectory(), devices(), true,
                                                         &m_bench->window());
            },
            closeAtTheEnd(&told));
        return told.replaceInStrings(QRegularExpression(QStringLiteral("^.*?: ")), QString()) + others;
    };
    action.good = allDevices(finished);
    action.bad = QStringLiteral("Canceled|Error writing file");
    action.checkFiles = [this](const QStringList &outcome) {
        return checkOutput(outcome.count(finished),
                           [](const QByteArray &content) { return content.contains(configuration); });
    };
    torture(action);
}

void TestTortureTransfers::uploadsAConfiguration()
{
    openWindow();
    Action action;
    action.run = [this] {
        QStringList told;
        const QStringList others = runTransfer(
            [this] { NetworkOperationsDialog::uploadConfig(configuration, devices(), &m_bench->window()); },
            closeAtTheEnd(&told));
        return told.replaceInStrings(QRegularExpression(QStringLiteral("^.*?: ")), QString()) + others;
    };
    action.good = allDevices(finished);
    action.bad = QStringLiteral("Canceled");
    torture(action);
}

void TestTortureTransfers::downloadsHistories()
{
    openWindow();
    settings::store().setValue(QStringLiteral("CSVDir"), outputDirectory());
    // Minutes between two lines: some pieces for each file.
    settings::setValue(settings::historyStepSize, 5);
    Action action;
    action.run = [this] {
        QStringList told;
        const auto load = [&told, isLoading = false](QWidget *dialog) mutable {
            const auto *const close = in<QPushButton>(dialog, "pushButtonClose");
            if (!isLoading) {
                isLoading = true;
                in<QPushButton>(dialog, "pushButtonLoad")->click();
            } else if (close->isEnabled()) {
                const auto *const table = in<QTableWidget>(dialog, "tableWidget");
                for (int row = 0; row < table->rowCount(); ++row) {
                    told += table->item(row, table->columnCount() - 1)->text();
                }
                dialog->close();
            }
        };
        const QStringList others =
            runTransfer([this] { LoadHistoryDialog::downloadHistory(devices(), &m_bench->window()); }, load);
        return told + others;
    };
    action.good = allDevices(finished);
    action.bad = QStringLiteral("Canceled|Error writing file");
    action.checkFiles = [this](const QStringList &outcome) {
        return checkOutput(outcome.count(finished), [](const QByteArray &content) {
            return content.startsWith("Time;") && content.endsWith("\r\n");
        });
    };
    torture(action);
}

NEMBRA_GUI_TEST_MAIN(TestTortureTransfers)

#include "tst_torture_transfers.moc"
