#include "fleetprocess.h"

#include <QFile>

namespace {

/// Milliseconds for its start with hundreds of devices, and for its end.
constexpr int patience = 50000;

} // namespace

FleetProcess::~FleetProcess()
{
    stop();
}

QString FleetProcess::start(const QStringList &arguments)
{
    m_process.start(QStringLiteral(NEMBRA_SIMULATOR_PROGRAM), arguments);
    if (!m_process.waitForReadyRead(patience)) {
        return m_process.errorString() + QLatin1String(": ") +
               QString::fromUtf8(m_process.readAllStandardError());
    }
    m_readyLine = m_process.readLine();
    return m_readyLine.startsWith("ready: ") ? QString()
                                             : QLatin1String("not ready: ") + QString::fromUtf8(m_readyLine);
}

QString FleetProcess::startScenario(const QByteArray &scenario, const QStringList &more)
{
    QFile file(m_directory.filePath(QStringLiteral("scenario.json")));
    if (!file.open(QIODevice::WriteOnly) || file.write(scenario) != scenario.size()) {
        return file.errorString();
    }
    file.close();
    return start(QStringList{QStringLiteral("--scenario"), file.fileName()} + more);
}

bool FleetProcess::stop()
{
    m_process.terminate();
    return !isRunning() || m_process.waitForFinished(patience);
}
