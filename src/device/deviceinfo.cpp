#include "device/deviceinfo.h"

#include "common/json.h"
#include "web/deviceprotocol.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonObject>

namespace deviceinfo {

namespace {

/// What a device answers that doesn't know values of extended resolution: the name of the variable.
const QLatin1String unknownExtendedValue("sensortab_value_ex");

struct StatusMark
{
    int bit;
    const char *mark;
};

/// The first that is set is shown.
constexpr std::array<StatusMark, 5> statusMarks{{
    {0x80, " \u2716"},
    {0x01, " \u21A7"},
    {0x02, " \u21A5"},
    {0x04, " \u2198"},
    {0x08, " \u2197"},
}};

QString withDegreeSign(QString text)
{
    return text.replace(QLatin1String("&deg;"), QStringLiteral("°"));
}

QString statusMark(int status)
{
    for (const StatusMark &candidate : statusMarks) {
        if ((status & candidate.bit) != 0) {
            return QString::fromUtf8(candidate.mark);
        }
    }
    return {};
}

SensorReading readSensor(const QJsonObject &sensor, bool preferExtended)
{
    QString value = sensor.value(QLatin1String("v")).toString();
    const QString extended = sensor.value(QLatin1String("e")).toString();
    const QString unit = withDegreeSign(sensor.value(QLatin1String("u")).toString());
    const QString mark = statusMark(sensor.value(QLatin1String("s")).toString().toInt());

    if (extended != unknownExtendedValue && preferExtended && value.size() <= extended.size()) {
        value = extended;
    }
    return {value + QLatin1Char(' ') + unit + mark, !mark.isEmpty()};
}

Timespan readUptime(const QJsonArray &parts)
{
    const auto number = [&parts](int index) { return parts.at(index).toString().toInt(); };
    return {number(0), number(1), number(2), number(3)};
}

QDateTime readTime(const QJsonValue &secondsSinceEpoch)
{
    return QDateTime::fromSecsSinceEpoch(secondsSinceEpoch.toString().toLongLong());
}

} // namespace

QByteArray queryTemplate()
{
    QByteArray text = "{\n"
                      "{%for sensortab%}\"Sensor {{loop.index}}\": {\"v\": \"{{sensortab_value}}\", "
                      "\"e\": \"{{sensortab_value_ex}}\", \"u\": \"{{sensortab_unit}}\", "
                      "\"s\": \"{{sensortab_status}}\"},\n"
                      "{%endfor%}";
    for (const DeviceColumn &column : deviceColumns) {
        if (column.informationTemplate) {
            text += QByteArray("\"") + column.header + "\": \"" + column.informationTemplate + "\",\n";
        }
    }
    text += "\"uptime\": [\"{{uptime_d}}\", \"{{uptime_h}}\", \"{{uptime_m}}\", \"{{uptime_s}}\"],\n"
            "\"netiftab\": [{%for netiftab%}{%if loop.index != 1%}, "
            "{%endif%}\"{{netiftab_ip_addr}}\"{%endfor%}],\n"
            "\"dev_type\":\"{{dev_type}}\",\n"
            "\"login_group\":\"{{login_group}}\",\n"
            "\"histo_start\":\"{{histo_start}}\",\n"
            "\"systimestamp\":\"{{systimestamp}}\"\n"
            "}\n";
    return text;
}

std::optional<DeviceInfo> parseAnswer(const QByteArray &answer, bool preferExtended, QString *parseError)
{
    const std::optional<QJsonValue> document = json::parse(answer, parseError);
    if (!document) {
        return std::nullopt;
    }
    const QJsonObject object = document->toObject();
    DeviceInfo info;
    for (std::size_t i = 0; i < deviceColumns.size(); ++i) {
        if (deviceColumns[i].informationTemplate) {
            info.texts[i] = withDegreeSign(object.value(QLatin1String(deviceColumns[i].header)).toString());
        }
    }
    for (std::size_t i = 0; i < info.sensors.size(); ++i) {
        const auto sensor = object.constFind(QLatin1String(deviceColumns[Column::Sensor1 + i].header));
        if (sensor != object.constEnd()) {
            info.sensors[i] = readSensor(sensor->toObject(), preferExtended);
        }
    }
    info.uptime = readUptime(object.value(QLatin1String("uptime")).toArray());
    // A second interface is a wireless one; which addresses they have doesn't matter here.
    const bool wireless = object.value(QLatin1String("netiftab")).toArray().size() > 1;
    info.deviceType = (wireless ? QStringLiteral("Nembra WLAN ") : QStringLiteral("Nembra ")) +
                      object.value(QLatin1String("dev_type")).toString();
    info.loginGroup = object.value(QLatin1String("login_group")).toString().toInt();
    info.historyStart = readTime(object.value(QLatin1String("histo_start")));
    info.deviceTime = readTime(object.value(QLatin1String("systimestamp")));
    return info;
}

QString accessRightsText(qint32 loginGroup)
{
    switch (static_cast<AccessLevel>(loginGroup)) {
    case AccessLevel::None:
        return QCoreApplication::translate("Device", "None");
    case AccessLevel::ReadData:
        return QCoreApplication::translate("Device", "Read data");
    case AccessLevel::ReadConfig:
        return QCoreApplication::translate("Device", "Read data / Read config");
    case AccessLevel::WriteConfig:
        return QCoreApplication::translate("Device", "Read data / Write config");
    default:
        return {};
    }
}

} // namespace deviceinfo
