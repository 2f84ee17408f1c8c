#include "discovery/configdialog.h"

#include "ui_configdialog.h"

#include "common/settings.h"
#include "discovery/discoverydevice.h"

#include <QEvent>
#include <QGuiApplication>
#include <QHostAddress>
#include <QStyle>

#include <algorithm>

namespace {

/// What a device reports that was never given a MAC.
const QLatin1String unassignedMac("02:00:00:00:00:00");
const QLatin1String makersMacPrefix("0E:5A:11:");
const QLatin1String usualMask("255.255.255.0");
const QLatin1String noGateway("0.0.0.0");

QString textOr(const QString &text, QLatin1String fallback)
{
    const QString trimmed = text.trimmed();
    return trimmed.isEmpty() ? QString(fallback) : trimmed;
}

} // namespace

CConfigDialog::CConfigDialog(QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::ConfigDialog>())
{
    ui->setupUi(this);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    for (QLineEdit *const field : {ui->ipAddress, ui->ipMask, ui->ipGate}) {
        connect(ui->manualIpCheck, &QCheckBox::toggled, field, &QWidget::setEnabled);
    }
    connect(ui->okButton, &QPushButton::clicked, this, &QDialog::accept);
    connect(ui->cancelButton, &QPushButton::clicked, this, &QDialog::reject);
    makeRoomForTitle();
    restoreGeometry(settings::bytes(settings::configGeometry));
    ui->macEdit->installEventFilter(this);
}

CConfigDialog::~CConfigDialog() = default;

/// The title is longer than all that the dialog holds. The system sets it in a font of its own, which is
/// often bold, adds the name of the program to it, and has an icon and some buttons beside it.
void CConfigDialog::makeRoomForTitle()
{
    constexpr int partsBeside = 5;
    QFont bold = font();
    bold.setBold(true);
    const int height = std::max(style()->pixelMetric(QStyle::PM_TitleBarHeight), fontMetrics().height());
    const QString title =
        windowTitle() + QStringLiteral(" \u2014 ") + QGuiApplication::applicationDisplayName();
    setMinimumWidth(QFontMetrics(bold).horizontalAdvance(title) + partsBeside * height);
}

void CConfigDialog::saveGeometrySettings() const
{
    settings::setValue(settings::configGeometry, saveGeometry());
}

void CConfigDialog::showRecord(const DiscoveryDevice &record)
{
    const bool manual = record.staticAddress().toIPv4Address() != 0;
    ui->manualIpCheck->setChecked(manual);
    ui->ipAddress->setText((manual ? record.staticAddress() : record.address()).toString());
    ui->ipMask->setText(record.netmask().toString());
    ui->ipGate->setText(record.gateway().toString());
    for (QLineEdit *const field : {ui->ipAddress, ui->ipMask, ui->ipGate}) {
        field->setEnabled(manual);
    }
    ui->macEdit->setText(record.macText());
    if (record.macText() == unassignedMac) {
        ui->macEdit->setEnabled(true);
    }
}

bool CConfigDialog::applyTo(DiscoveryDevice &record) const
{
    if (ui->manualIpCheck->isChecked()) {
        if (!applyAddressesTo(record)) {
            return false;
        }
    } else {
        // The device takes its address by DHCP.
        record.setStaticAddress(QHostAddress(quint32{0}));
        record.setNetmask(QHostAddress(quint32{0}));
        record.setGateway(QHostAddress(quint32{0}));
    }
    record.setMacText(ui->macEdit->text());
    return true;
}

bool CConfigDialog::applyAddressesTo(DiscoveryDevice &record) const
{
    QHostAddress address;
    QHostAddress mask;
    QHostAddress gateway;
    const bool valid = address.setAddress(ui->ipAddress->text()) &&
                       mask.setAddress(textOr(ui->ipMask->text(), usualMask)) &&
                       gateway.setAddress(textOr(ui->ipGate->text(), noGateway));
    record.setStaticAddress(address);
    record.setNetmask(mask);
    record.setGateway(gateway);
    return valid;
}

bool CConfigDialog::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == ui->macEdit && event->type() == QEvent::MouseButtonDblClick) {
        unlockMac();
        return true;
    }
    return QDialog::eventFilter(watched, event);
}

void CConfigDialog::unlockMac()
{
    if (!ui->macEdit->isEnabled()) {
        ui->macEdit->setEnabled(true);
    } else if (ui->macEdit->text() == unassignedMac) {
        ui->macEdit->setText(makersMacPrefix);
    } else {
        ui->macEdit->setText(unassignedMac);
    }
}
