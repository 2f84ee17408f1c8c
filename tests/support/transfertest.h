#pragma once

#include "transferbench.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <vector>

class QDialog;
class TestEnvironment;

/// Simulated devices and a dialog that transfers files from or to all of them. A test has them between
/// begin() and end().
class TransferTest
{
public:
    TransferTest();
    ~TransferTest();
    Q_DISABLE_COPY_MOVE(TransferTest)

    /// Milliseconds for what the devices do.
    static constexpr int patience = 20000;
    static const QString finished;
    static const QString canceled;
    static const QString errorWriting;

    void begin();
    void end();

    /// Rows "hostName" and "directory" with which no file can be written, the latter one beside the bench's.
    static void addUnwritableFiles();
    /// Whether nothing was written anywhere, and no directory made.
    void verifyNothingWritten() const;

    /// A device for each of misbehaviours().
    void addMisbehavingDevices(const simulator::DeviceOptions &options) const;
    /// What becomes of one: its status, and what is in its file for "(own)".
    struct Outcome
    {
        QString Misbehaviour::*status;
        bool writesFiles;
        QByteArray ownContent;
    };
    /// "name: status" for each row, "name: content" for each file, and how many rows end only by Cancel.
    struct Expectation
    {
        QStringList statuses;
        QStringList files;
        int hanging = 0;
    };
    /// The devices misbehave from now on.
    void misbehave(const Outcome &outcome, Expectation &expected) const;
    static QStringList namedStatuses(const DialogUser &user);
    /// "name: content" for each file; each has to end with the suffix.
    QStringList namedFiles(const QString &suffix) const;

    /// Rows "how" and "when": a dialog is left by each of these ways and at each of these times.
    static void addLeavings(const std::vector<const char *> &ways);
    /// Six devices that are at that point until they are left.
    void startUntil(const QString &when, const simulator::Fault &drip,
                    const simulator::DeviceOptions &options) const;
    /// Waits until the dialog has got there.
    void awaitPoint(const QString &when, const DialogUser &user) const;
    /// By "Escape", "close" or "reject".
    static void leave(QDialog &dialog, const QString &how);

    /// Six devices that hang are asked by a dialog, and the program ends meanwhile. `useDialog` opens the
    /// dialog and does in it what it is given after what it does there itself.
    void verifyGoesWithTheProgram(
        const std::function<void(const std::function<void()> &inDialog)> &useDialog) const;

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<TransferBench> m_bench;
};

/// The same with the history dialog.
class HistoryTest : public TransferTest
{
public:
    static constexpr qint64 daySeconds = 86400;
    static const QString downloading;

    void begin();
    /// Opens the dialog for all devices of the bench, with the bench's directory.
    void run(const std::function<void(DialogUser &)> &use) const;

    static QDate dateAgo(qint64 days);
    static qint64 secondsAgo(qint64 days);
    /// The name of the file of a device: "lab-sensor-0E5A11000001".
    static QString suffixed(const char *stem);
};

/// The same with the dialog for configurations.
class ConfigurationTest : public TransferTest
{
public:
    enum class Operation { Download, DownloadWithPasswords, Upload };

    static const QString downloading;
    static const QString uploading;
    /// What is uploaded.
    static const QByteArray uploaded;

    /// A row "operation" for each of them.
    static void addOperations();
    /// Opens the dialog for all devices of the bench.
    void open(Operation operation) const;
    /// The same, with something to do while it is open.
    void run(Operation operation, const std::function<void(DialogUser &)> &use) const;

    static QString suffixed(const char *stem);
};

Q_DECLARE_METATYPE(ConfigurationTest::Operation)
