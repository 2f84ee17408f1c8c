#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QString>

#include <optional>

/// Reading JSON that a stranger wrote. Pure.
namespace json {

/// How deep arrays and objects may stand in each other.
inline constexpr int maximumDepth = 1024;

/// The object or array in a JSON text, UTF-8. Of members with the same name the last one counts. Nothing if
/// it is no JSON or nested too deep; `error` (may be null) then tells why.
///
/// QJsonDocument's own parser loses memory with every array or object whose name comes again, as much as the
/// sender likes, so it is not used for what comes from the network.
[[nodiscard]] std::optional<QJsonValue> parse(const QByteArray &text, QString *error = nullptr);

} // namespace json
