#include "common/json.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

namespace json {

namespace {

using Parsed = nlohmann::json;

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

/// The code unit of an escape "\uD83D" at a place; 0 if none stands there.
uint codeUnitAt(const QByteArray &text, int place)
{
    return text.mid(place, 2) == "\\u" ? text.mid(place + 2, 4).toUInt(nullptr, 16) : 0;
}

/// Whether a byte stands there that is no ASCII and begins no character of UTF-8: behind a backslash, a
/// letter of Latin-1. Qt's parser takes it there, too.
bool isLoneByteAt(const QByteArray &text, int place)
{
    const auto isContinuation = [](char byte) { return (static_cast<uchar>(byte) & 0xC0U) == 0x80U; };
    return place < text.size() && static_cast<uchar>(text.at(place)) > 0x7FU &&
           !(place + 1 < text.size() && isContinuation(text.at(place + 1)));
}

/// Appends what an escape means in strict JSON, and tells where it ends.
int appendEscape(QByteArray &strict, const QByteArray &text, int place)
{
    constexpr int length = 6;
    static const QByteArray known = "\"\\/bfnrt";
    if (isLoneByteAt(text, place + 1)) {
        strict += "\\u00" + text.mid(place + 1, 1).toHex();
        return place + 2;
    }
    if (text.mid(place + 1, 1) != "u") {
        // Of any other letter the backslash is left out.
        const bool isKnown = place + 1 < text.size() && known.contains(text.at(place + 1));
        strict += isKnown ? text.mid(place, 2) : QByteArray();
        return isKnown ? place + 2 : place + 1;
    }
    const uint unit = codeUnitAt(text, place);
    if (QChar::isHighSurrogate(unit) && QChar::isLowSurrogate(codeUnitAt(text, place + length))) {
        strict += text.mid(place, 2 * length);
        return place + 2 * length;
    }
    strict += QChar::isSurrogate(unit) ? QByteArray("\\uFFFD") : text.mid(place, length);
    return place + length;
}

/// Devices write texts into their JSON as they are: with tabs, line breaks and backslashes. Qt's parser takes
/// that, and numbers that begin or end with their point. In this form every parser does.
QByteArray strictForm(const QByteArray &text)
{
    constexpr uchar firstPrintable = 0x20;
    QByteArray strict;
    strict.reserve(text.size());
    bool isInText = false;
    for (int i = 0; i < text.size();) {
        const char character = text.at(i);
        if (isInText && character == '\\') {
            i = appendEscape(strict, text, i);
            continue;
        }
        ++i;
        if (isInText && static_cast<uchar>(character) < firstPrintable) {
            strict += "\\u00" + QByteArray(1, character).toHex();
        } else if (!isInText && character == '.') {
            strict += !strict.isEmpty() && isDigit(strict.back()) ? "." : "0.";
            strict += i < text.size() && isDigit(text.at(i)) ? "" : "0";
        } else {
            isInText = isInText != (character == '"');
            strict += character;
        }
    }
    return strict;
}

/// Throws what tells why it can't.
Parsed parseLeniently(const QByteArray &text)
{
    // The parser takes a zero byte for the end of the text.
    constexpr char zero = '\0';
    if (!text.contains(zero)) {
        // Most answers are strict as they are.
        Parsed document = Parsed::parse(text.begin(), text.end(), nullptr, false);
        if (!document.is_discarded()) {
            return document;
        }
    }
    const QByteArray strict = strictForm(text);
    if (strict.contains(zero)) {
        throw std::invalid_argument("a zero byte");
    }
    return Parsed::parse(strict.begin(), strict.end());
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

const Parsed &parsed(const void *value)
{
    return *static_cast<const Parsed *>(value);
}

} // namespace

Value Value::operator[](const char *name) const
{
    Value member;
    if (m_value && parsed(m_value).is_object()) {
        const auto found = parsed(m_value).find(name);
        if (found != parsed(m_value).end()) {
            member.m_document = m_document;
            member.m_value = &*found;
        }
    }
    return member;
}

Value Value::at(int index) const
{
    Value element;
    if (index >= 0 && index < size()) {
        element.m_document = m_document;
        element.m_value = &parsed(m_value)[static_cast<std::size_t>(index)];
    }
    return element;
}

int Value::size() const
{
    return m_value && parsed(m_value).is_array() ? static_cast<int>(parsed(m_value).size()) : 0;
}

QString Value::text() const
{
    if (!m_value || !parsed(m_value).is_string()) {
        return {};
    }
    const auto &bytes = parsed(m_value).get_ref<const std::string &>();
    return QString::fromUtf8(bytes.data(), static_cast<int>(bytes.size()));
}

std::optional<Value> parse(const QByteArray &text, QString *error)
{
    const auto refuse = [error](const QString &reason) {
        if (error) {
            *error = reason;
        }
        return std::nullopt;
    };
    try {
        const auto document = std::make_shared<const Parsed>(parseLeniently(text));
        if (!document->is_structured()) {
            return refuse(QStringLiteral("neither an object nor an array"));
        }
        if (isDeeperThan(*document, maximumDepth)) {
            return refuse(QStringLiteral("nested too deep"));
        }
        Value value;
        value.m_document = document;
        value.m_value = document.get();
        return value;
    } catch (const std::exception &exception) {
        return refuse(QString::fromUtf8(exception.what()));
    }
}

} // namespace json
