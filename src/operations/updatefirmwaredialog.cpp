#include "operations/updatefirmwaredialog.h"

#include "ui_updatefirmwaredialog.h"

#include "common/plainline.h"
#include "common/settings.h"
#include "device/device.h"
#include "discovery/discovery.h"
#include "operations/devicetable.h"
#include "platform/process.h"
#include "widgets/savedstate.h"

#include <QDebug>
#include <QHeaderView>
#include <QProgressBar>
#include <QStandardPaths>

#include <algorithm>
#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr int messageColumn = 1;
constexpr int progressColumn = 2;
constexpr int progressWidth = 200; // pixels
constexpr int progressEnd = 100;
constexpr std::chrono::milliseconds refreshInterval = 1s;

const QLatin1String firmwareUrl("https://www.ostrel.example/nembra/firmware");

/// The updates that the process has descriptors for. The toolkit ends the program where a thread gets none
/// for its event loop.
int updatesThatFit()
{
    // For the event loop, the image, the connection and the configuration that is kept.
    constexpr int perUpdate = 4;
    constexpr int reserved = 48;
    return std::max((descriptorLimit() - reserved) / perUpdate, 1);
}

} // namespace

UpdateFirmwareDialog::UpdateFirmwareDialog(const QList<Device *> &devices, Discovery &discovery,
                                           QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::UpdateFirmwareDialog>())
    , m_devices(devices)
{
    ui->setupUi(this);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    ui->labelDownloadUrl->setText(tr("Download the Nembra firmware here: ") +
                                  QStringLiteral("<a href=\"%1\">%1</a>").arg(firmwareUrl));
    ui->firmwareFile->setCaption(tr("Firmware"));
    ui->firmwareFile->setSettingsKey(settings::path(settings::firmwareDirectory));
    ui->configsDir->setSelectDirectory(true);
    ui->configsDir->setCaption(ui->checkBoxSaveConfig->text());
    ui->configsDir->setSettingsKey(settings::path(settings::configDirectory),
                                   QStandardPaths::writableLocation(QStandardPaths::AppDataLocation));
    devicetable::showAsLines(ui->tableWidget);
    ui->tableWidget->setRowCount(m_devices.size());
    for (int row = 0; row < m_devices.size(); ++row) {
        devicetable::fillRow(ui->tableWidget, row, {m_devices.at(row)->record().hostname()});
    }
    restoreView();
    m_refreshTimer.setInterval(refreshInterval);
    connect(&m_refreshTimer, &QTimer::timeout, &discovery, &Discovery::refresh);
}

UpdateFirmwareDialog::~UpdateFirmwareDialog()
{
    endThreads();
}

void UpdateFirmwareDialog::restoreView()
{
    ui->tableWidget->setColumnWidth(messageColumn, devicetable::statusWidth(ui->tableWidget));
    ui->tableWidget->setColumnWidth(progressColumn, progressWidth);
    devicetable::fitHostnames(ui->tableWidget);
    restoreGeometry(settings::bytes(settings::firmwareGeometry));
    // The toolkit leaves the lines of a broken text out of the smallest size of a window.
    const int wide = std::max(width(), minimumSizeHint().width());
    resize(wide, std::max(height(), ui->verticalLayout->minimumHeightForWidth(wide)));
    savedstate::restoreHeader(ui->tableWidget->horizontalHeader(), settings::bytes(settings::firmwareHeader),
                              settings::bytes(settings::firmwareHeaderState));
}

void UpdateFirmwareDialog::saveView()
{
    const QHeaderView *const header = ui->tableWidget->horizontalHeader();
    settings::setValue(settings::firmwareGeometry, saveGeometry());
    settings::setValue(settings::firmwareHeader, header->saveGeometry());
    settings::setValue(settings::firmwareHeaderState, header->saveState());
}

void UpdateFirmwareDialog::setUpdating(bool updating)
{
    ui->comboBoxBuffer->setEnabled(!updating);
    ui->firmwareFile->setEnabled(!updating);
    ui->configsDir->setEnabled(!updating);
    ui->pushButtonUpdate->setEnabled(!updating);
    ui->pushButtonCancel->setEnabled(updating);
}

void UpdateFirmwareDialog::on_pushButtonUpdate_clicked()
{
    setUpdating(true);
    for (int row = 0; row < m_devices.size(); ++row) {
        addThread(row);
    }
    // Until then all bars lie upon each other, and the first step of each one would paint them all.
    ui->tableWidget->doItemsLayout();
    const int fitting = updatesThatFit();
    for (UpdateThread *const thread : qAsConst(m_threads)) {
        if (thread->row() < fitting) {
            thread->start(QThread::InheritPriority);
        }
        if (!thread->isRunning() && !thread->isFinished()) {
            emit thread->message(tr("The system has no room for another thread"));
        }
    }
    m_refreshTimer.start();
}

void UpdateFirmwareDialog::addThread(int row)
{
    UpdateThread::Job job;
    job.firmwareFile = ui->firmwareFile->text();
    job.buffer = ui->comboBoxBuffer->currentIndex() + 1;
    job.configsDir = ui->checkBoxSaveConfig->isChecked() ? ui->configsDir->text() : QString();
    job.httpPort = settings::value(settings::scanHttpPort);
    job.httpsPort = settings::value(settings::scanHttpsPort);
    job.restartTime = m_restartTime;
    auto *const thread = new UpdateThread(*m_devices.at(row), row, job, this);
    m_threads.append(thread);
    connect(thread, &UpdateThread::message, this, &UpdateFirmwareDialog::onThreadMessage);

    auto *const bar = new QProgressBar;
    bar->setTextVisible(false);
    bar->setAccessibleName(ui->tableWidget->item(row, 0)->text());
    bar->setRange(0, progressEnd);
    ui->tableWidget->setCellWidget(row, progressColumn, bar);
    connect(thread, &UpdateThread::changeProgress, bar, &QProgressBar::setValue);
}

void UpdateFirmwareDialog::onThreadMessage(const QString &text)
{
    // What was on its way when the threads were ended belongs to a row that is empty again.
    auto *const thread = qobject_cast<UpdateThread *>(sender());
    if (!m_threads.contains(thread)) {
        return;
    }
    qDebug().noquote() << forLog(text);
    ui->tableWidget->item(thread->row(), messageColumn)->setText(text);
}

void UpdateFirmwareDialog::endThreads()
{
    m_refreshTimer.stop();
    for (UpdateThread *const thread : qAsConst(m_threads)) {
        thread->stop();
    }
    for (UpdateThread *const thread : qAsConst(m_threads)) {
        thread->wait();
        thread->deleteLater();
    }
    m_threads.clear();
}

void UpdateFirmwareDialog::on_pushButtonCancel_clicked()
{
    endThreads();
    setUpdating(false);
    for (int row = 0; row < m_devices.size(); ++row) {
        ui->tableWidget->removeCellWidget(row, progressColumn);
        ui->tableWidget->item(row, messageColumn)->setText(QString());
    }
}

void UpdateFirmwareDialog::on_pushButtonClose_clicked()
{
    close();
}

void UpdateFirmwareDialog::done(int result)
{
    on_pushButtonCancel_clicked();
    saveView();
    QDialog::done(result);
}
