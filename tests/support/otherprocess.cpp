#include "otherprocess.h"

#include "onwindows.h"

OtherProcess::OtherProcess()
{
    // Either of them waits for what it should read.
    m_process.start(onWindows ? QStringLiteral("cmd") : QStringLiteral("cat"), QStringList());
    m_number = m_process.waitForStarted() ? m_process.processId() : 0;
}

OtherProcess::~OtherProcess()
{
    if (!end()) {
        m_process.kill();
        m_process.waitForFinished();
    }
}

bool OtherProcess::end()
{
    m_process.closeWriteChannel();
    return m_process.state() == QProcess::NotRunning || m_process.waitForFinished();
}
