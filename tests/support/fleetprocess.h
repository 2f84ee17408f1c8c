#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// The simulator as a process of its own, for tests of what the program takes of the system. It ends with the
/// object, and can be started again after stop().
class FleetProcess final
{
public:
    FleetProcess() = default;
    ~FleetProcess();
    Q_DISABLE_COPY_MOVE(FleetProcess)

    /// Starts it and waits until its devices answer. Tells what went wrong, empty if nothing did.
    [[nodiscard]] QString start(const QStringList &arguments);
    /// The same with a scenario, which is written into a file beside the test's own.
    [[nodiscard]] QString startScenario(const QByteArray &scenario, const QStringList &more = {});
    /// Whether it has ended.
    bool stop();
    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    /// What it said of itself: "ready: 3 devices" and where.
    QByteArray readyLine() const { return m_readyLine; }

private:
    QProcess m_process;
    QTemporaryDir m_directory;
    QByteArray m_readyLine;
};
