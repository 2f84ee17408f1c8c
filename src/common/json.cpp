#include "common/json.h"

#include <QJsonArray>
#include <QJsonObject>

#include <nlohmann/json.hpp>

namespace json {

namespace {

using Parsed = nlohmann::json;

QString toText(const std::string &text)
{
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

/// The depth that is still allowed decides when it ends, not the stack of the thread.
bool isDeeperThan(const Parsed &value, int depth)
{
    if (!value.is_structured()) {
        return false;
    }
    return depth == 0 || std::any_of(value.begin(), value.end(), [depth](const Parsed &element) {
               return isDeeperThan(element, depth - 1);
           });
}

QJsonValue toQt(const Parsed &value)
{
    switch (value.type()) {
    case Parsed::value_t::object: {
        QJsonObject object;
        for (const auto &[name, member] : value.items()) {
            object.insert(toText(name), toQt(member));
        }
        return object;
    }
    case Parsed::value_t::array: {
        QJsonArray array;
        for (const Parsed &element : value) {
            array.append(toQt(element));
        }
        return array;
    }
    case Parsed::value_t::string:
        return toText(value.get_ref<const std::string &>());
    case Parsed::value_t::boolean:
        return value.get<bool>();
    case Parsed::value_t::number_integer:
    case Parsed::value_t::number_unsigned:
    case Parsed::value_t::number_float:
        return value.get<double>();
    default:
        return QJsonValue::Null;
    }
}

} // namespace

std::optional<QJsonValue> parse(const QByteArray &text, QString *error)
{
    const auto refuse = [error](const QString &reason) {
        if (error) {
            *error = reason;
        }
        return std::nullopt;
    };
    // The parser would take one for the end of the text.
    if (text.contains('\0')) {
        return refuse(QStringLiteral("a zero byte"));
    }
    try {
        const Parsed parsed = Parsed::parse(text.begin(), text.end());
        if (!parsed.is_structured()) {
            return refuse(QStringLiteral("neither an object nor an array"));
        }
        if (isDeeperThan(parsed, maximumDepth)) {
            return refuse(QStringLiteral("nested too deep"));
        }
        return toQt(parsed);
    } catch (const Parsed::exception &exception) {
        return refuse(QString::fromUtf8(exception.what()));
    }
}

} // namespace json
