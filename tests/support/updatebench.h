#pragma once

#include "fleet.h"
#include "form.h"
#include "operations/updatethread.h"
#include "thisprocess.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <chrono>
#include <memory>

class Device;
class TestEnvironment;
class TransferBench;

/// Milliseconds for a whole run, by a build with sanitizers too.
inline constexpr int patience = 30000;
/// Milliseconds in which nothing may come that would come at once.
inline constexpr int silence = 150;

inline constexpr std::chrono::milliseconds shortRestart{30};
inline constexpr int complete = 100;

inline const QString savingConfig = QStringLiteral("Saving config");
inline const QString uploadingFirmware = QStringLiteral("Uploading firmware");
inline const QString activatingFirmware = QStringLiteral("Activating firmware");
inline const QString waitingTenSeconds = QStringLiteral("Waiting 10 seconds");
inline const QString waitingForDevice = QStringLiteral("Waiting for device");
inline const QString restoringConfig = QStringLiteral("Restoring config");
inline const QString finished = QStringLiteral("Finished");
inline const QString httpError = QStringLiteral("Error for HTTP-Request: ");

inline const QString admin = QStringLiteral("admin");
inline const QByteArray configuration("[system]\r\nname=lab\r\nlocation=\xC3\xBC\xFF--\r\n");

/// A worker, and all that it tells in its order: a message as it is, a progress as "10".
class Run final : public QObject
{
public:
    Run(const Device &device, const UpdateThread::Job &job, int row = 0)
        : m_thread(device, row, job, nullptr)
    {
        connect(&m_thread, &UpdateThread::message, this, [this](const QString &text) {
            m_events += text;
            m_messages += text;
        });
        connect(&m_thread, &UpdateThread::changeProgress, this, [this](int value) {
            m_events += QString::number(value);
            m_progress += value;
        });
        connect(&m_thread, &QThread::finished, this, [this] { m_hasEnded = true; });
        m_probe.moveToThread(&m_thread);
    }
    ~Run() override
    {
        m_thread.stop();
        m_thread.wait();
    }
    Q_DISABLE_COPY_MOVE(Run)

    UpdateThread &thread() { return m_thread; }
    void start() { m_thread.start(); }
    bool hasEnded() const { return m_hasEnded; }
    [[nodiscard]] bool awaitEnd() const;
    /// Whether the message has come for the `count`th time.
    [[nodiscard]] bool awaitMessage(const QString &text, int count = 1) const;
    /// Whether the worker waits for something, and not for anything that has been told to it so far: its
    /// event loop turns, and goes on turning.
    [[nodiscard]] bool waits();
    /// Stops the worker; whether it ended. What it may be waiting for lasts longer than anybody waits here.
    [[nodiscard]] bool stop()
    {
        m_thread.stop();
        return m_thread.wait(patience) && awaitEnd();
    }

    const QStringList &events() const { return m_events; }
    const QStringList &messages() const { return m_messages; }
    QString lastMessage() const { return m_messages.isEmpty() ? QString() : m_messages.constLast(); }
    const QList<int> &progress() const { return m_progress; }
    int lastProgress() const { return m_progress.isEmpty() ? -1 : m_progress.constLast(); }
    /// The events with the progress during the upload left out.
    QStringList milestones() const
    {
        QStringList texts = m_events;
        const int begin = texts.indexOf(uploadingFirmware) + 1;
        int end = begin;
        while (end < texts.size() && texts.at(end) != activatingFirmware) {
            ++end;
        }
        // The last one tells that the upload is over.
        for (; end - begin > 1; --end) {
            texts.removeAt(begin);
        }
        return texts;
    }

private:
    UpdateThread m_thread;
    /// Lives in the thread of the worker, whose event loop it can be asked through.
    QObject m_probe;
    QStringList m_events;
    QStringList m_messages;
    QList<int> m_progress;
    bool m_hasEnded = false;
};

using thisprocess::threadCount;

/// "POST http://login.cgi": the address left out.
QString requestLine(const simulator::HttpRecord &record);
simulator::FieldMap partsOf(const simulator::HttpRecord &record);

/// Simulated devices, somebody logged in at each, and an image for them.
class UpdateBench
{
public:
    UpdateBench();
    ~UpdateBench();
    Q_DISABLE_COPY_MOVE(UpdateBench)

    /// Every request and every answer to discovery would be a line.
    static void omitDebugOutput();
    void open();
    void close();
    int addDevice(const QByteArray &name, simulator::DeviceOptions options = {}) const;
    void begin() const;
    void setUp(int index, const QString &user = admin) const;
    bool writeImage(const QByteArray &image) const;
    UpdateThread::Job job() const;
    void answerDiscovery(std::chrono::milliseconds interval = std::chrono::milliseconds(10));
    bool comesToRest() const;
    QStringList lines(int index = 0) const;
    std::size_t requestCount(int index = 0) const;

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<TransferBench> m_bench;
    std::unique_ptr<QTimer> m_discovery;
};
