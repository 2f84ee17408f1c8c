#pragma once

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

/// Reading JSON from the network. Pure.
namespace json {

/// How deep arrays and objects may stand in each other.
inline constexpr int maximumDepth = 1024;

/// A value in a JSON text. What is missing, or of another type than it is asked for, reads as empty. Keeps
/// the whole text's values alive.
class Value final
{
public:
    Value() = default;

    bool exists() const { return m_value != nullptr; }
    /// Of an object: its member of that name.
    Value operator[](const char *name) const;
    /// Of an array: an element, counting from 0, and how many there are.
    Value at(int index) const;
    int size() const;
    /// Of a text.
    QString text() const;

private:
    friend std::optional<Value> parse(const QByteArray &text, QString *error);

    /// Of a type that only the parser's side knows.
    std::shared_ptr<const void> m_document;
    const void *m_value = nullptr;
};

/// The object or array in a JSON text, UTF-8. Of members with the same name the last one counts. Nothing if
/// it is no JSON or nested too deep; `error` (may be null) then tells why.
///
/// QJsonDocument's own parser loses memory with every array or object whose name comes again, as much as the
/// sender likes, so it is not used for what comes from the network. What it takes is taken here as well.
[[nodiscard]] std::optional<Value> parse(const QByteArray &text, QString *error = nullptr);

} // namespace json
