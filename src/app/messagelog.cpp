#include "app/messagelog.h"

#include <QTime>
#include <QtGlobal>

namespace {

QtMessageHandler s_previousHandler = nullptr;

void writeMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    s_previousHandler(type, context,
                      QTime::currentTime().toString(Qt::TextDate) + QLatin1String(": ") + message);
}

} // namespace

void installMessageLog()
{
    s_previousHandler = qInstallMessageHandler(writeMessage);
}
