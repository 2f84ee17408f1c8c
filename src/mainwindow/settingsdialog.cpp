#include "mainwindow/settingsdialog.h"

#include "ui_settingsdialog.h"

#include "common/settings.h"

SettingsDialog::SettingsDialog(QWidget *parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui::SettingsDialog>())
{
    ui->setupUi(this);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    ui->spinBoxDiscoveryPort->setValue(settings::value(settings::scanPort));
    // It has the focus at first; what is typed replaces the number, as it does after a Tab.
    ui->spinBoxDiscoveryPort->selectAll();
    ui->spinBoxHTTPPort->setValue(settings::value(settings::scanHttpPort));
    ui->spinBoxHTTPSPort->setValue(settings::value(settings::scanHttpsPort));
    ui->checkBoxAutoUpdate->setChecked(settings::value(settings::scanAutoUpdate));
    ui->doubleSpinBoxUpdateInterval->setValue(settings::value(settings::scanAutoUpdateInterval));
    ui->checkBoxPreferExtended->setChecked(settings::value(settings::preferExtended));
}

SettingsDialog::~SettingsDialog() = default;

void SettingsDialog::on_pushButtonOK_clicked()
{
    settings::setValue(settings::scanPort, ui->spinBoxDiscoveryPort->value());
    settings::setValue(settings::scanHttpPort, ui->spinBoxHTTPPort->value());
    settings::setValue(settings::scanHttpsPort, ui->spinBoxHTTPSPort->value());
    settings::setValue(settings::scanAutoUpdate, ui->checkBoxAutoUpdate->isChecked());
    settings::setValue(settings::scanAutoUpdateInterval, ui->doubleSpinBoxUpdateInterval->value());
    settings::setValue(settings::preferExtended, ui->checkBoxPreferExtended->isChecked());
    accept();
}

void SettingsDialog::on_pushButtonCancel_clicked()
{
    reject();
}
