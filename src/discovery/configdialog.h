#pragma once

#include <QDialog>

#include <memory>

namespace Ui {
class ConfigDialog;
}
class DiscoveryDevice;

/// Edits the network configuration of one device: a fixed address or DHCP and, where it is unlocked by a
/// double click, the MAC.
class CConfigDialog final : public QDialog
{
    Q_OBJECT

public:
    explicit CConfigDialog(QWidget *parent);
    ~CConfigDialog() override;

    /// Shows what the device has now.
    void showRecord(const DiscoveryDevice &record);
    /// Puts what was entered into the record. False if an address can't be read; then nothing must be sent.
    [[nodiscard]] bool applyTo(DiscoveryDevice &record) const;

    void saveGeometrySettings() const;

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void makeRoomForTitle();
    void unlockMac();
    [[nodiscard]] bool applyAddressesTo(DiscoveryDevice &record) const;

    std::unique_ptr<Ui::ConfigDialog> ui;
};
