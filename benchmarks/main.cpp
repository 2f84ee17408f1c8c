#include "app/application.h"
#include "app/messagelog.h"
#include "cases.h"
#include "common/settings.h"
#include "common/tlsdefaults.h"
#include "common/translations.h"
#include "device/timespan.h"
#include "platform/process.h"
#include "report.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTemporaryDir>

#include <cstdlib>
#include <functional>
#include <map>

namespace {

using View = FleetWindow::View;

const std::map<QString, std::function<void(View)>> &knownCases()
{
    static const std::map<QString, std::function<void(View)>> known{
        {QStringLiteral("burst"), cases::burst},
        {QStringLiteral("first-scan"), cases::firstScan},
        {QStringLiteral("answer-cost"), cases::answerCost},
        {QStringLiteral("stalls-1000"), [](View view) { cases::stalls(1000, 16.0, view); }},
        {QStringLiteral("stalls-10000"), [](View view) { cases::stalls(10000, 30.0, view); }},
        {QStringLiteral("refresh-time"), cases::refreshTime},
        {QStringLiteral("readings-time"), cases::readingsTime},
        {QStringLiteral("use-in-refresh"), cases::useInRefresh},
        {QStringLiteral("automatic"), cases::automaticRefresh},
        {QStringLiteral("idle"), cases::idle},
        {QStringLiteral("endurance"), cases::endurance},
        {QStringLiteral("list-work"), cases::listWork},
        {QStringLiteral("paint"), cases::paint},
        {QStringLiteral("start-time"), cases::startTime},
        {QStringLiteral("syslog"), [](View) { cases::syslogLoad(); }},
        {QStringLiteral("transfer-time"), cases::transferTime},
        {QStringLiteral("transfer-memory"), cases::transferMemory},
        {QStringLiteral("firmware"), cases::firmwareUpdate},
    };
    return known;
}

QString caseNames()
{
    QStringList names;
    for (const auto &known : knownCases()) {
        names.append(known.first);
    }
    return names.join(QLatin1String(", "));
}

} // namespace

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("NEMBRA_PRIVATE_NETWORK")) {
        report::giveUp(QStringLiteral("it broadcasts; run it by way of scripts/bench"));
    }
    // What the program does at its start.
    installMessageLog();
    raiseDescriptorLimit();
    pinTimeZone();
    Timespan::registerMetaType();
    QApplication application(argc, argv);
    startup::setIdentity();
    const Translations translations;
    applyDeviceTlsDefaults();

    QCommandLineParser parser;
    const QCommandLineOption everything(QStringLiteral("everything"),
                                        QStringLiteral("All columns in a big window."));
    const QCommandLineOption untilPainted(QStringLiteral("until-painted"),
                                          QStringLiteral("Shows a list of devices and ends."),
                                          QStringLiteral("file"));
    const QCommandLineOption curves(QStringLiteral("curves"),
                                    QStringLiteral("Measures fleets of all sizes and draws what they cost."),
                                    QStringLiteral("directory"));
    const QCommandLineOption soak(QStringLiteral("soak"),
                                  QStringLiteral("Looks every minute at what the program holds."),
                                  QStringLiteral("minutes"));
    const QCommandLineOption table(QStringLiteral("table"), QStringLiteral("For the figures of --soak."),
                                   QStringLiteral("file"));
    parser.addOptions({everything, untilPainted, curves, soak, table});
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("case"), caseNames());
    parser.process(application);
    const QTemporaryDir directory;
    settings::open(directory.filePath(QStringLiteral("settings.ini")));
    if (parser.isSet(untilPainted)) {
        cases::runUntilPainted(parser.value(untilPainted));
        return EXIT_SUCCESS;
    }

    const View view = parser.isSet(everything) ? View::Everything : View::Default;
    if (parser.isSet(curves)) {
        cases::curves(view, parser.value(curves));
        return report::allReached() ? EXIT_SUCCESS : 2;
    }
    if (parser.isSet(soak)) {
        cases::soak(view, parser.value(soak).toInt(), parser.value(table));
        return report::allReached() ? EXIT_SUCCESS : 2;
    }
    const auto wanted = knownCases().find(parser.positionalArguments().value(0));
    if (wanted == knownCases().end()) {
        report::giveUp(QStringLiteral("the case is one of: ") + caseNames());
    }
    wanted->second(view);
    return report::allReached() ? EXIT_SUCCESS : 2;
}
