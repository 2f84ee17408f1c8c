#include "app/application.h"

#include "app/singleapplication.h"
#include "common/identity.h"
#include "common/settings.h"
#include "common/translations.h"
#include "mainwindow/mainwindow.h"

#include <QCommandLineParser>
#include <QDir>
#include <QIcon>
#include <QLocale>
#include <QStandardPaths>

namespace startup {

namespace {

QString usualDevicesFile()
{
    const QDir directory(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation));
    directory.mkpath(QStringLiteral("."));
    return directory.filePath(QStringLiteral("devices.json"));
}

/// In every size that a desktop asks for, so that none is scaled.
QIcon applicationIcon()
{
    QIcon icon(QStringLiteral(":/Icons/Resources/logo.png"));
    for (const int size : {16, 24, 32, 48, 64, 128, 256}) {
        icon.addFile(QStringLiteral(":/Icons/Resources/logo-%1.png").arg(size), QSize(size, size));
    }
    return icon;
}

void loadTranslations(const QString &detectedLanguage)
{
    QString language = settings::value(settings::language);
    if (language.isEmpty()) {
        language = detectedLanguage;
        settings::setValue(settings::language, language);
    }
    Translations::instance()->load(language);
}

} // namespace

void setIdentity()
{
    QCoreApplication::setOrganizationName(QLatin1String(identity::organizationName));
    QCoreApplication::setOrganizationDomain(QLatin1String(identity::organizationDomain));
    QCoreApplication::setApplicationName(QLatin1String(identity::applicationName));
    QGuiApplication::setApplicationDisplayName(QLatin1String(identity::applicationDisplayName));
    QGuiApplication::setDesktopFileName(QLatin1String(identity::applicationId));
    QCoreApplication::setApplicationVersion(QLatin1String(identity::applicationVersion));
}

Arguments parseArguments(const QCoreApplication &application)
{
    const QCommandLineOption config(QStringLiteral("config"),
                                    QCoreApplication::translate("main", "Configfile."),
                                    QCoreApplication::translate("main", "directory"));
    const QCommandLineOption devices(QStringLiteral("devices"),
                                     QCoreApplication::translate("main", "Devices file."),
                                     QCoreApplication::translate("main", "file"));
    QCommandLineParser parser;
    parser.addOption(config);
    parser.addOption(devices);
    parser.process(application);

    Arguments arguments{parser.value(config), parser.value(devices)};
    if (arguments.devicesFile.isEmpty()) {
        arguments.devicesFile = usualDevicesFile();
    }
    return arguments;
}

int runMainWindow(SingleApplication &application, const QString &devicesFile)
{
    const QString detectedLanguage = Translations::detectLanguage(QLocale().uiLanguages());
    // Also for the dialogs that belong to no window.
    QApplication::setWindowIcon(applicationIcon());
    int result = 0;
    do {
        loadTranslations(detectedLanguage);
        MainWindow window(devicesFile);
        window.setWindowIcon(QApplication::windowIcon());
        window.show();
        QObject::connect(&application, &SingleApplication::showUp, &window, &MainWindow::showup);
        result = QApplication::exec();
        if (result == MainWindow::resetExitCode) {
            settings::store().clear();
        }
    } while (result == MainWindow::resetExitCode);
    return result;
}

} // namespace startup
