#include "fleetprocess.h"

#include "report.h"

#include <QCoreApplication>

namespace {

constexpr int startTimeout = 60000; // milliseconds
constexpr int endTimeout = 10000;   // milliseconds

} // namespace

FleetProcess::FleetProcess(int devices, const QStringList &options)
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QCoreApplication::applicationDirPath() + QStringLiteral("/nembra-simulator"),
                    QStringList{QStringLiteral("--devices"), QString::number(devices)} + options);
    QByteArray said;
    while (!said.startsWith("ready:")) {
        if (!m_process.waitForReadyRead(startTimeout)) {
            report::giveUp(QStringLiteral("the simulated fleet does not start: ") + m_process.errorString());
        }
        said += m_process.readAllStandardOutput();
    }
}

FleetProcess::~FleetProcess()
{
    m_process.terminate();
    if (!m_process.waitForFinished(endTimeout)) {
        m_process.kill();
        m_process.waitForFinished(endTimeout);
    }
}
