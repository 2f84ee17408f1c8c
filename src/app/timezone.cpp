#include "app/timezone.h"

#include <QByteArray>
#include <QtGlobal>

void pinTimeZone()
{
    if (!qEnvironmentVariableIsSet("TZ")) {
        qputenv("TZ", QByteArrayLiteral(":/etc/localtime"));
    }
}
