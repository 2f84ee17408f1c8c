#include "common/tlsdefaults.h"

#include <QSslConfiguration>
#include <QSslSocket>

void applyDeviceTlsDefaults()
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    configuration.setProtocol(QSsl::TlsV1_0OrLater);
    // Today's default security level refuses TLS 1.0 and 1.1 and short keys even where nothing is verified.
    configuration.setBackendConfigurationOption(QByteArrayLiteral("CipherString"),
                                                QByteArrayLiteral("DEFAULT@SECLEVEL=0"));
    QSslConfiguration::setDefaultConfiguration(configuration);
}
