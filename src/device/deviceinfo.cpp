#include "device/deviceinfo.h"

#include "common/json.h"
#include "web/deviceprotocol.h"

#include <QCoreApplication>

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

SensorReading readSensor(const json::Value &sensor, bool preferExtended)
{
    QString value = sensor["v"].text();
    const QString extended = sensor["e"].text();
    const QString unit = withDegreeSign(sensor["u"].text());
    const QString mark = statusMark(sensor["s"].text().toInt());

    if (extended != unknownExtendedValue && preferExtended && value.size() <= extended.size()) {
        value = extended;
    }
    return {value + QLatin1Char(' ') + unit + mark, !mark.isEmpty()};
}

Timespan readUptime(const json::Value &parts)
{
    const auto number = [&parts](int index) { return parts.at(index).text().toInt(); };
    return {number(0), number(1), number(2), number(3)};
}

QDateTime readTime(const json::Value &secondsSinceEpoch)
{
    return QDateTime::fromSecsSinceEpoch(secondsSinceEpoch.text().toLongLong());
}

/// Where the texts of one answer go, until there are too many of them.
class KeptTexts final
{
public:
    QString keep(const QString &text)
    {
        QString kept = text.left(m_room);
        m_room -= kept.size();
        return kept;
    }

private:
    int m_room = maximumKeptText;
};

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
    const std::optional<json::Value> document = json::parse(answer, parseError);
    if (!document) {
        return std::nullopt;
    }
    const json::Value &object = *document;
    DeviceInfo info;
    KeptTexts texts;
    for (std::size_t i = 0; i < info.sensors.size(); ++i) {
        const json::Value sensor = object[deviceColumns[Column::Sensor1 + i].header];
        if (sensor.exists()) {
            info.sensors[i] = readSensor(sensor, preferExtended);
            info.sensors[i]->text = texts.keep(info.sensors[i]->text);
        }
    }
    info.uptime = readUptime(object["uptime"]);
    // A second interface is a wireless one; which addresses they have doesn't matter here.
    const bool wireless = object["netiftab"].size() > 1;
    info.deviceType = (wireless ? QStringLiteral("Nembra WLAN ") : QStringLiteral("Nembra ")) +
                      texts.keep(object["dev_type"].text());
    info.loginGroup = object["login_group"].text().toInt();
    info.historyStart = readTime(object["histo_start"]);
    info.deviceTime = readTime(object["systimestamp"]);
    for (std::size_t i = 0; i < deviceColumns.size(); ++i) {
        if (deviceColumns[i].informationTemplate) {
            info.texts[i] = texts.keep(withDegreeSign(object[deviceColumns[i].header].text()));
        }
    }
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
