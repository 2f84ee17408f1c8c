#include "common/tlsdefaults.h"

#include <QSslConfiguration>
#include <QSslSocket>

void applyDeviceTlsDefaults()
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    QSslConfiguration::setDefaultConfiguration(configuration);
}
