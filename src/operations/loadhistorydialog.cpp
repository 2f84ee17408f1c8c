#include "operations/loadhistorydialog.h"

#include "ui_loadhistorydialog.h"

#include "common/settings.h"
#include "device/device.h"
#include "operations/devicetable.h"
#include "web/deviceprotocol.h"
#include "widgets/contrast.h"
#include "widgets/savedstate.h"

#include <QCalendarWidget>
#include <QDateTime>
#include <QEvent>
#include <QHeaderView>
#include <QStandardPaths>
#include <QTextCharFormat>

#include <algorithm>
#include <array>
#include <initializer_list>

namespace {

constexpr int historyStartColumn = 1;
constexpr int historyStatusColumn = 2;
constexpr int usualSpan = 7; // days
constexpr qint64 bytesPerKilobyte = 1024;

/// By index of the combo box.
constexpr std::array<qint64, 2> secondsPerUnit{60, 3600};

} // namespace

LoadHistoryDialog::LoadHistoryDialog(const QList<Device *> &devices, QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::LoadHistoryDialog>())
    , m_devices(devices)
{
    ui->setupUi(this);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    ui->fileSelectorOutput->setSelectDirectory(true);
    ui->fileSelectorOutput->setCaption(tr("Save in directory"));
    ui->fileSelectorOutput->setSettingsKey(settings::path(settings::historyDirectory),
                                           QStandardPaths::writableLocation(QStandardPaths::AppDataLocation));
    addDevices(devices);
    setUpCalendars(devices);
    restoreView();
    ui->pushButtonCancel->setEnabled(false);
    connect(&m_transfer, &Transfer::rowChanged, this, &LoadHistoryDialog::showRow);
    connect(&m_transfer, &Transfer::received, this, &LoadHistoryDialog::showReceived);
    connect(&m_transfer, &Transfer::ended, this, &LoadHistoryDialog::endRun);
}

LoadHistoryDialog::~LoadHistoryDialog() = default;

void LoadHistoryDialog::downloadHistory(const QList<Device *> &devices, QWidget *parent)
{
    LoadHistoryDialog dialog(devices, parent);
    dialog.setWindowTitle(tr("Downloading CSV"));
    dialog.exec();
}

void LoadHistoryDialog::addDevices(const QList<Device *> &devices)
{
    QTableWidget *const table = ui->tableWidget;
    devicetable::showAsLines(table);
    table->setRowCount(devices.size());
    for (int row = 0; row < devices.size(); ++row) {
        const Device *const device = devices.at(row);
        devicetable::fillRow(table, row, {device->record().hostname()});
        table->item(row, historyStartColumn)->setData(Qt::DisplayRole, device->historyStart());
    }
    devicetable::fitHostnames(table);
    table->resizeColumnToContents(historyStartColumn);
}

void LoadHistoryDialog::setUpCalendars(const QList<Device *> &devices)
{
    const QDateTime now = QDateTime::currentDateTime();
    QDateTime earliest = now;
    QDateTime latest = now;
    for (const Device *const device : devices) {
        for (const QDateTime &time : {device->historyStart(), device->deviceTime()}) {
            // A device that was never asked has none.
            if (time.isValid()) {
                earliest = std::min(earliest, time);
                latest = std::max(latest, time);
            }
        }
    }
    const QDateTime start = std::max(now.addDays(-usualSpan), earliest);
    for (QCalendarWidget *const calendar : {ui->calendarWidgetStart, ui->calendarWidgetEnd}) {
        // A clock may be wrong by more than a calendar can show.
        calendar->setDateRange(std::max(calendar->minimumDate(), earliest.date()),
                               std::min(calendar->maximumDate(), latest.date()));
    }
    colorWeekends();
    nameParts(*ui->calendarWidgetStart, ui->label->text());
    nameParts(*ui->calendarWidgetEnd, ui->label_3->text());
    ui->calendarWidgetStart->setSelectedDate(start.date());
    ui->calendarWidgetEnd->setSelectedDate(ui->calendarWidgetEnd->maximumDate());
}

/// The toolkit's own red can't be read on dark ground.
void LoadHistoryDialog::colorWeekends()
{
    for (QCalendarWidget *const calendar : {ui->calendarWidgetStart, ui->calendarWidgetEnd}) {
        for (const Qt::DayOfWeek day : {Qt::Saturday, Qt::Sunday}) {
            QTextCharFormat format = calendar->weekdayTextFormat(day);
            // Days stand on the one, their names on the other.
            const QColor onDays = contrast::readable(Qt::red, calendar->palette().color(QPalette::Base));
            format.setForeground(
                contrast::readable(onDays, calendar->palette().color(QPalette::AlternateBase)));
            calendar->setWeekdayTextFormat(day, format);
        }
    }
}

void LoadHistoryDialog::changeEvent(QEvent *event)
{
    QDialog::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        colorWeekends();
    }
}

/// What a screen reader says of a calendar, which the toolkit leaves without words.
void LoadHistoryDialog::nameParts(const QCalendarWidget &calendar, const QString &label)
{
    const auto name = [&calendar](const char *part, const QString &text) {
        if (auto *const widget = calendar.findChild<QWidget *>(QLatin1String(part))) {
            widget->setAccessibleName(text);
        }
    };
    name("qt_calendar_prevmonth", tr("Previous month"));
    name("qt_calendar_nextmonth", tr("Next month"));
    name("qt_calendar_calendarview", label);
}

void LoadHistoryDialog::restoreView()
{
    ui->tableWidget->setColumnWidth(historyStatusColumn, devicetable::statusWidth(ui->tableWidget));
    restoreGeometry(settings::bytes(settings::historyGeometry));
    savedstate::restoreHeader(ui->tableWidget->horizontalHeader(), settings::bytes(settings::historyHeader),
                              settings::bytes(settings::historyHeaderState));
    ui->spinBoxStepSize->setValue(settings::value(settings::historyStepSize));
    ui->comboBoxStepUnit->setCurrentIndex(settings::value(settings::historyStepUnit) >= 1 ? 1 : 0);
}

void LoadHistoryDialog::saveView()
{
    const QHeaderView *const header = ui->tableWidget->horizontalHeader();
    settings::setValue(settings::historyGeometry, saveGeometry());
    settings::setValue(settings::historyHeader, header->saveGeometry());
    settings::setValue(settings::historyHeaderState, header->saveState());
    settings::setValue(settings::historyStepSize, ui->spinBoxStepSize->value());
    settings::setValue(settings::historyStepUnit, ui->comboBoxStepUnit->currentIndex());
}

void LoadHistoryDialog::setRunning(bool running)
{
    for (QWidget *const input : std::initializer_list<QWidget *>{
             ui->pushButtonClose, ui->pushButtonLoad, ui->fileSelectorOutput, ui->calendarWidgetStart,
             ui->calendarWidgetEnd, ui->spinBoxStepSize, ui->comboBoxStepUnit}) {
        input->setEnabled(!running);
    }
    ui->pushButtonCancel->setEnabled(running);
}

void LoadHistoryDialog::on_pushButtonLoad_clicked()
{
    const auto unit = static_cast<std::size_t>(ui->comboBoxStepUnit->currentIndex());
    const deviceprotocol::HistorySpan span{ui->calendarWidgetStart->selectedDate(),
                                           ui->calendarWidgetEnd->selectedDate(),
                                           ui->spinBoxStepSize->value() * secondsPerUnit.at(unit)};
    Transfer::Operation operation;
    operation.send = [span](QNetworkAccessManager *manager, const DeviceAccess &device) {
        return deviceprotocol::fetchHistory(manager, device.baseUrl, span);
    };
    operation.activity = tr("Downloading");
    operation.directory = ui->fileSelectorOutput->text();
    operation.suffix = QStringLiteral(".csv");
    setRunning(true);
    for (int row = 0; row < ui->tableWidget->rowCount(); ++row) {
        devicetable::clearStatus(ui->tableWidget->item(row, historyStatusColumn));
    }
    // As the devices are reached now; the dialog may have been open for long.
    QList<DeviceAccess> access;
    for (const Device *const device : m_devices) {
        access.append(DeviceAccess(*device));
    }
    m_transfer.start(access, operation);
}

void LoadHistoryDialog::showRow(int row, const QString &text, Transfer::Mark mark)
{
    devicetable::showStatus(ui->tableWidget->item(row, historyStatusColumn), text, mark);
}

void LoadHistoryDialog::showReceived(int row, qint64 bytes)
{
    const QString amount = QString::number(bytes / bytesPerKilobyte);
    ui->tableWidget->item(row, historyStatusColumn)
        ->setText(tr("Downloading") + QLatin1String(" (") + amount + QLatin1String(" kB)"));
}

void LoadHistoryDialog::endRun()
{
    setRunning(false);
}

void LoadHistoryDialog::on_pushButtonCancel_clicked()
{
    m_transfer.cancel();
    endRun();
}

void LoadHistoryDialog::on_pushButtonClose_clicked()
{
    close();
}

void LoadHistoryDialog::done(int result)
{
    m_transfer.cancel();
    saveView();
    QDialog::done(result);
}
