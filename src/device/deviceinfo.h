#pragma once

#include "device/devicecolumns.h"
#include "device/timespan.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <array>
#include <optional>

/// What a device tells about itself: the template that it is asked to fill, and the reading of its answer.
/// Pure.
namespace deviceinfo {

/// An answer longer than this is no answer of a device; bytes.
inline constexpr int maximumAnswerSize = 64 * 1024;

/// Characters of an answer that are kept, readings first; devices send some hundred. Whoever pretends to be
/// tens of thousands of devices must not fill the memory with their texts.
inline constexpr int maximumKeptText = 16384;

/// The body of the information query, UTF-8. The device's template engine fills it and answers with JSON.
[[nodiscard]] QByteArray queryTemplate();

/// One sensor as it is shown.
struct SensorReading
{
    /// Value, unit and status mark: "21.5 °C ↥".
    QString text;
    /// The device reports the sensor as not in order.
    bool alarm = false;
};

struct DeviceInfo
{
    /// Texts of the columns that have a template; empty for the others and for what the device left out.
    std::array<QString, Column::Count> texts;
    /// By sensor number, counting from 0; nothing where the device has no such sensor.
    std::array<std::optional<SensorReading>, sensorColumns> sensors;
    Timespan uptime;
    /// "Nembra XY2" or "Nembra WLAN XY2".
    QString deviceType;
    /// 0 to 3, or whatever else the device said.
    qint32 loginGroup = 0;
    /// Local time.
    QDateTime historyStart;
    /// The device's own clock at the time of the answer; local time.
    QDateTime deviceTime;
};

/// Reads a device's answer. What is missing or of another type reads as empty or 0. Nothing if it is no JSON
/// document; `parseError` (may be null) then tells why.
[[nodiscard]] std::optional<DeviceInfo> parseAnswer(const QByteArray &answer, bool preferExtended,
                                                    QString *parseError = nullptr);

/// The text of an access level, translated: "Read data". Empty for a level that doesn't exist.
[[nodiscard]] QString accessRightsText(qint32 loginGroup);

} // namespace deviceinfo
