#include "form.h"

namespace simulator {

namespace {

template <typename Function>
void forEachPart(std::string_view text, char separator, Function function)
{
    while (!text.empty()) {
        const std::size_t end = text.find(separator);
        function(text.substr(0, end));
        if (end == std::string_view::npos) {
            return;
        }
        text.remove_prefix(end + 1);
    }
}

/// The value of name="..." (or without the quotation marks) in a header line.
std::optional<std::string> parameter(std::string_view line, std::string_view name)
{
    std::optional<std::string> found;
    forEachPart(line, ';', [&](std::string_view part) {
        while (!part.empty() && (part.front() == ' ' || part.front() == '\t')) {
            part.remove_prefix(1);
        }
        const std::size_t equals = part.find('=');
        if (equals == std::string_view::npos || part.substr(0, equals) != name) {
            return;
        }
        std::string_view value = part.substr(equals + 1);
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
            value = value.substr(1, value.size() - 2);
        }
        found = std::string(value);
    });
    return found;
}

std::optional<std::string> partName(std::string_view headers)
{
    std::optional<std::string> name;
    forEachPart(headers, '\n', [&](std::string_view line) {
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        constexpr std::string_view wanted = "content-disposition:";
        if (line.size() < wanted.size()) {
            return;
        }
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            const char lower =
                line[i] >= 'A' && line[i] <= 'Z' ? static_cast<char>(line[i] - 'A' + 'a') : line[i];
            if (lower != wanted[i]) {
                return;
            }
        }
        name = parameter(line.substr(wanted.size()), "name");
    });
    return name;
}

} // namespace

int hexDigit(char digit)
{
    constexpr std::string_view lower = "0123456789abcdef";
    constexpr std::string_view upper = "0123456789ABCDEF";
    std::size_t value = lower.find(digit);
    if (value == std::string_view::npos) {
        value = upper.find(digit);
    }
    return value == std::string_view::npos ? -1 : static_cast<int>(value);
}

std::string percentDecoded(std::string_view text)
{
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
        const int low = high >= 0 ? hexDigit(text[i + 2]) : -1;
        if (low >= 0) {
            decoded += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            decoded += text[i] == '+' ? ' ' : text[i];
        }
    }
    return decoded;
}

FieldMap formFields(std::string_view text)
{
    FieldMap fields;
    forEachPart(text, '&', [&fields](std::string_view pair) {
        const std::size_t equals = pair.find('=');
        const std::string_view value =
            equals == std::string_view::npos ? std::string_view() : pair.substr(equals + 1);
        fields[percentDecoded(pair.substr(0, equals))] = percentDecoded(value);
    });
    return fields;
}

std::optional<FieldMap> multipartFields(std::string_view contentType, std::string_view body)
{
    const std::optional<std::string> boundary = parameter(contentType, "boundary");
    if (contentType.substr(0, 19) != "multipart/form-data" || !boundary || boundary->empty()) {
        return std::nullopt;
    }
    const std::string delimiter = "--" + *boundary;
    FieldMap fields;
    std::size_t position = body.find(delimiter);
    while (position != std::string_view::npos) {
        position += delimiter.size();
        if (body.substr(position, 2) == "--") {
            return fields;
        }
        const std::size_t headersEnd = body.find("\r\n\r\n", position);
        if (headersEnd == std::string_view::npos) {
            return std::nullopt;
        }
        const std::size_t end = body.find("\r\n" + delimiter, headersEnd + 2);
        const std::optional<std::string> name = partName(body.substr(position, headersEnd - position));
        if (end == std::string_view::npos || !name) {
            return std::nullopt;
        }
        // An empty part may share its line end with the blank line above it.
        const std::size_t begin = headersEnd + 4;
        fields[*name] = end > begin ? std::string(body.substr(begin, end - begin)) : std::string();
        position = end + 2;
    }
    return std::nullopt;
}

std::optional<std::string> cookieValue(std::string_view header, std::string_view name)
{
    return parameter(header, name);
}

} // namespace simulator
