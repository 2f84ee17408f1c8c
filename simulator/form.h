#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace simulator {

using FieldMap = std::map<std::string, std::string>;

/// The value of a hexadecimal digit in either case; -1 of any other character.
[[nodiscard]] int hexDigit(char digit);
/// Undoes percent-encoding; a broken escape stays as it is. In forms a plus is a blank.
[[nodiscard]] std::string percentDecoded(std::string_view text);
/// "a=1&b=2" as the query of a URL or the body of a form. The last one of equal names wins.
[[nodiscard]] FieldMap formFields(std::string_view text);
/// The parts of a multipart body by their names, or nothing when the body isn't well formed and complete.
[[nodiscard]] std::optional<FieldMap> multipartFields(std::string_view contentType, std::string_view body);
/// The value of one cookie of a Cookie header.
[[nodiscard]] std::optional<std::string> cookieValue(std::string_view header, std::string_view name);

} // namespace simulator
