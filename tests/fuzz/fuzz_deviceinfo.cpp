#include "device/deviceinfo.h"
#include "fuzztarget.h"

namespace {

void checkTexts(const deviceinfo::DeviceInfo &info)
{
    for (std::size_t column = 0; column < info.texts.size(); ++column) {
        require(deviceColumns[column].informationTemplate != nullptr || info.texts[column].isEmpty(),
                "only a column with a template has a text");
        require(!info.texts[column].contains(QLatin1String("&deg;")), "no degree sign is left in HTML");
    }
}

void checkSensors(const deviceinfo::DeviceInfo &info)
{
    static const QString marks = QString::fromUtf8("\u2716\u21A7\u21A5\u2198\u2197");
    for (const auto &sensor : info.sensors) {
        if (sensor) {
            require(sensor->text.contains(QLatin1Char(' ')), "value and unit are apart");
            require(!sensor->alarm || marks.contains(sensor->text.back()),
                    "an alarm has its mark at the end");
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray answer(reinterpret_cast<const char *>(data), static_cast<int>(size));
    for (const bool preferExtended : {false, true}) {
        QString parseError;
        const auto info = deviceinfo::parseAnswer(answer, preferExtended, &parseError);
        require(info.has_value() == parseError.isEmpty(), "either there is a result or a reason");
        if (info) {
            checkTexts(*info);
            checkSensors(*info);
            require(info->deviceType.startsWith(QLatin1String("Nembra ")), "every type names the maker");
            // Whatever the device said must be fit to be shown.
            (void)info->uptime.toString();
            (void)info->historyStart.toString(Qt::ISODate);
            (void)info->deviceTime.toString(Qt::ISODate);
            (void)deviceinfo::accessRightsText(info->loginGroup);
        }
    }
    return 0;
}
