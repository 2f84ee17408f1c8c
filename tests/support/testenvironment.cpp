#include "testenvironment.h"

#include "common/settings.h"
#include "common/tlsdefaults.h"
#include "device/timespan.h"

#include <QApplication>
#include <QNetworkAccessManager>
#include <QtTest>

#include <cstdio>
#include <cstdlib>

TestEnvironment::TestEnvironment()
{
    Q_ASSERT(m_directory.isValid());
    settings::open(settingsFile());
}

TestEnvironment::~TestEnvironment()
{
    // The store lets go of its file before the directory goes.
    settings::open(QString());
}

QString TestEnvironment::path(const QString &fileName) const
{
    return m_directory.filePath(fileName);
}

QString TestEnvironment::settingsFile() const
{
    return path(QStringLiteral("settings.ini"));
}

QList<QNetworkAccessManager *> orphanedManagers()
{
    return qApp->findChildren<QNetworkAccessManager *>(QString(), Qt::FindDirectChildrenOnly);
}

int runGuiTest(QObject *test, int argc, char **argv)
{
    if (qgetenv("NEMBRA_PRIVATE_NETWORK") != "1") {
        std::fputs("This test may broadcast: run it through scripts/private-network.\n", stderr);
        return EXIT_FAILURE;
    }
    QApplication application(argc, argv);
    Timespan::registerMetaType();
    applyDeviceTlsDefaults();
    return QTest::qExec(test, argc, argv);
}
