#include "app/application.h"
#include "app/messagelog.h"
#include "app/singleapplication.h"
#include "common/settings.h"
#include "common/tlsdefaults.h"
#include "common/translations.h"
#include "device/timespan.h"
#include "platform/process.h"

int main(int argc, char *argv[])
{
    installMessageLog();
    raiseDescriptorLimit();
    pinTimeZone();
    Timespan::registerMetaType();

    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    // One and a half is one and a half, not two.
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    SingleApplication application(argc, argv);
    // After the application object, whose guard takes its key from the program's file name.
    startup::setIdentity();
    Translations translations;
    const startup::Arguments arguments = startup::parseArguments(application);
    applyDeviceTlsDefaults();
    settings::open(arguments.configFile);
    return startup::runMainWindow(application, arguments.devicesFile);
}
