#pragma once

#include <QDialog>

#include <memory>

namespace Ui {
class SettingsDialog;
}

/// Edits the scan options: where the program looks for devices, and how often. Shows what is stored, and
/// stores what it shows when the user accepts it; who opened it applies it.
class SettingsDialog final : public QDialog
{
    Q_OBJECT

public:
    explicit SettingsDialog(QWidget *parent = nullptr);
    ~SettingsDialog() override;

public slots:
    void on_pushButtonOK_clicked();
    void on_pushButtonCancel_clicked();

private:
    std::unique_ptr<Ui::SettingsDialog> ui;
};
