#pragma once

#include <QProcess>
#include <QStringList>

/// A simulated fleet in a process of its own, on the usual ports. Ends with this object.
class FleetProcess final
{
public:
    /// Returns when the fleet is ready; gives up the benchmark when it never is.
    FleetProcess(int devices, const QStringList &options);
    ~FleetProcess();
    Q_DISABLE_COPY_MOVE(FleetProcess)

private:
    QProcess m_process;
};
