#pragma once

#include "fleet.h"

#include <QColor>
#include <QDateTime>
#include <QDialog>
#include <QMap>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <memory>
#include <vector>

class Device;
class DeviceRow;
class QAbstractButton;
class QTableWidget;

/// Simulated devices with a row each, in the order of adding, and a directory for what is fetched from them.
/// Needs a TestEnvironment.
class TransferBench final
{
public:
    explicit TransferBench(const simulator::FleetOptions &options = {});
    ~TransferBench();
    Q_DISABLE_COPY_MOVE(TransferBench)

    /// Only before start(). The first device has the MAC 0E:5A:11:00:00:01 and the address 10.77.128.1, the
    /// next ones count up. Returns the index.
    int addDevice(const QByteArray &hostName, simulator::DeviceOptions options = {});
    /// A device that lets everybody do everything, so that it needs no login.
    int addOpenDevice(const QByteArray &hostName, simulator::DeviceOptions options = {});
    void start();
    /// The rows go, and with them the devices.
    void dropRows();

    simulator::Fleet &fleet() { return *m_fleet; }
    Device &device(int index) const;
    QList<Device *> devices() const;
    /// A cell of the row of a device.
    QString text(int index, int column) const;
    /// Whether a device has sent its readings, whereby it is known whether it wants HTTPS.
    [[nodiscard]] bool ask(int index) const;
    [[nodiscard]] bool logIn(int index, const QString &user) const;

    QString directory() const;
    /// Everything in the directory and around it, hidden files included, by name. The time in a name is
    /// "TIME" if it lies between the start of the test and now.
    QMap<QString, QByteArray> files() const;
    QStringList fileNames() const { return files().keys(); }

    /// The requests that devices got of operations; of all devices if the index is negative.
    std::vector<simulator::HttpRecord> operations(int index = -1) const;
    /// Whether within some seconds nobody is left who could send anything. A device that was asked or logged
    /// in to keeps a connection as long as it has its row.
    [[nodiscard]] bool comesToRest() const;
    /// Whether within some seconds no connection is open, and none on its way.
    [[nodiscard]] bool areAllClosed() const;

private:
    QTemporaryDir m_root;
    const QDateTime m_begin;
    std::unique_ptr<simulator::Fleet> m_fleet;
    std::vector<std::unique_ptr<DeviceRow>> m_rows;
};

/// A dialog on the screen with a row for each device, whose last column tells how far it is.
class DialogUser final
{
public:
    explicit DialogUser(QDialog &dialog);
    ~DialogUser();
    Q_DISABLE_COPY_MOVE(DialogUser)

    QDialog &dialog() const { return m_dialog; }
    QTableWidget &table() const { return m_table; }
    template <typename T>
    T &find(const char *objectName) const
    {
        return *m_dialog.findChild<T *>(QLatin1String(objectName));
    }
    QAbstractButton &button(const char *objectName) const;
    /// The names of the buttons that can be pressed: "Cancel Close".
    QString enabledButtons() const;

    QString status(int row) const;
    /// "#ff0000", or "none" where nobody set one.
    QString color(int row) const;
    /// "Finished, #00ff00" for each row.
    QStringList statuses() const;
    /// All that a row has shown since the dialog came up, each as in statuses(), without what it shows
    /// longest.
    QStringList past(int row) const { return m_past.value(row); }

    /// Whether within some seconds no row is at work any more.
    [[nodiscard]] bool awaitEnd() const;

private:
    QString shown(int row) const;

    QDialog &m_dialog;
    QTableWidget &m_table;
    QMap<int, QStringList> m_past;
    QMetaObject::Connection m_connection;
};

/// The object names of everything in the history dialog that can be changed or pressed before a run.
extern const QString allHistoryInputs;
/// Those that can be now, in the same order, and pushButtonCancel at the end.
QString enabledHistoryInputs(const DialogUser &user);
/// Chooses days and step in the history dialog. `unit`: 0 for minutes, 1 for hours.
void chooseHistory(const DialogUser &user, const QDate &first, const QDate &last, int step, int unit);

/// Calls `open`, which is to open a modal dialog and to return when it is closed. `use` is called once the
/// dialog is there; where that leaves it open it is closed. Tells whether there was a dialog.
bool withDialog(const std::function<void()> &open, const std::function<void(DialogUser &)> &use);

/// A misbehaviour of one device, and what must become of its row.
struct Misbehaviour
{
    const char *name;
    std::vector<simulator::Fault> faults;
    /// At the end of a download.
    QString downloadStatus;
    /// The content of the file, and whether there is one at all; "(own)": what the device would send anyway.
    bool hasFile = false;
    QByteArray content{};
    /// At the end of an upload.
    QString uploadStatus;
    bool overHttps = false;
    /// Ends only by Cancel.
    bool hangs = false;
};

/// Everything that can go wrong with a device, except for answers without an end.
std::vector<Misbehaviour> misbehaviours();

/// The application has a palette with light text on dark ground, until the object goes.
class DarkPalette final
{
public:
    DarkPalette();
    ~DarkPalette();
    Q_DISABLE_COPY_MOVE(DarkPalette)
};

/// The colours in which a cell is painted, wherever they come from, differ in brightness by so much, of 255.
int contrast(const QTableWidget &table, int row, int column);
