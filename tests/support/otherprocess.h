#pragma once

#include <QProcess>

/// A process of another program, which runs until end() or until the object goes.
class OtherProcess final
{
public:
    OtherProcess();
    ~OtherProcess();
    Q_DISABLE_COPY_MOVE(OtherProcess)

    /// The system's number for it, also after its end. 0 if it couldn't be started.
    qint64 number() const { return m_number; }
    /// False if it doesn't end.
    [[nodiscard]] bool end();

private:
    QProcess m_process;
    qint64 m_number = 0;
};
