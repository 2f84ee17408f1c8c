#include "device/deviceinfo.h"
#include "fuzztarget.h"

#include <QJsonDocument>

#include <algorithm>

namespace {

void checkTexts(const deviceinfo::DeviceInfo &info)
{
    int kept = 0;
    for (std::size_t column = 0; column < info.texts.size(); ++column) {
        require(deviceColumns[column].informationTemplate != nullptr || info.texts[column].isEmpty(),
                "only a column with a template has a text");
        require(!info.texts[column].contains(QLatin1String("&deg;")), "no degree sign is left in HTML");
        kept += info.texts[column].size();
    }
    require(kept <= deviceinfo::maximumKeptText, "an answer takes no more memory than it may");
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

bool isSame(const std::optional<deviceinfo::SensorReading> &left,
            const std::optional<deviceinfo::SensorReading> &right)
{
    return left.has_value() == right.has_value() &&
           (!left || (left->text == right->text && left->alarm == right->alarm));
}

/// Members of all objects of a document that is known to be one.
int memberCount(const QByteArray &document)
{
    int count = 0;
    bool isInText = false;
    for (int i = 0; i < document.size(); ++i) {
        const char character = document.at(i);
        if (character == '"') {
            isInText = !isInText;
        } else if (character == '\\') {
            // Only a text has it, and what comes behind it ends no text.
            ++i;
        } else if (character == ':' && !isInText) {
            ++count;
        }
    }
    return count;
}

/// Of a byte beyond ASCII behind a backslash Qt makes two surrogates that the device never sent.
bool hasOddEscape(const QByteArray &document)
{
    for (int i = 0; i + 1 < document.size(); ++i) {
        if (document.at(i) == '\\' && static_cast<unsigned char>(document.at(i + 1)) > 0x7FU) {
            return true;
        }
    }
    return false;
}

/// What Qt's parser takes is taken here as well, and shows the same.
void compareWithQt(const QByteArray &answer, const std::optional<deviceinfo::DeviceInfo> &ours)
{
    const LeaksOfQt allowed;
    const QJsonDocument document = QJsonDocument::fromJson(answer);
    const QByteArray written = document.toJson();
    // Of two members with one name Qt keeps either, as its sorting happens to leave them.
    if (document.isNull() || memberCount(written) != memberCount(answer)) {
        return;
    }
    const auto theirs = deviceinfo::parseAnswer(written, true);
    require(ours && theirs, "what Qt's parser takes is taken");
    if (hasOddEscape(answer)) {
        return;
    }
    require(ours->texts == theirs->texts, "texts read as Qt reads them");
    require(std::equal(ours->sensors.begin(), ours->sensors.end(), theirs->sensors.begin(), isSame),
            "sensors read as Qt reads them");
    require(ours->uptime == theirs->uptime && ours->deviceType == theirs->deviceType &&
                ours->loginGroup == theirs->loginGroup && ours->historyStart == theirs->historyStart &&
                ours->deviceTime == theirs->deviceTime,
            "all the rest reads as Qt reads it");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray answer(reinterpret_cast<const char *>(data), static_cast<int>(size));
    for (const bool preferExtended : {false, true}) {
        QString parseError;
        const auto info = deviceinfo::parseAnswer(answer, preferExtended, &parseError);
        require(info.has_value() == parseError.isEmpty(), "either there is a result or a reason");
        if (preferExtended) {
            compareWithQt(answer, info);
        }
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
