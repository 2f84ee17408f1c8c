#pragma once

#include "fleet.h"

#include <nlohmann/json.hpp>
#include <set>

namespace simulator {

using Json = nlohmann::json;

/// Reads one JSON object key by key and, at the end, refuses the keys that nobody asked for. All its
/// functions throw ScenarioError with the place of the trouble.
class JsonReader
{
public:
    JsonReader(const Json &object, std::string place);

    /// The value, or null when there is no such key.
    [[nodiscard]] const Json *find(const char *key);
    [[nodiscard]] std::string placeOf(const char *key) const;
    void refuseUnknownKeys() const;

    void read(const char *key, bool &target);
    void read(const char *key, double &target);
    /// Text as UTF-8, {"latin1": text} or {"hex": digits}.
    void read(const char *key, std::string &target);
    void read(const char *key, MacAddress &target);
    void read(const char *key, TlsMode &target);
    void read(const char *key, std::chrono::milliseconds &target);
    void read(const char *key, std::chrono::seconds &target);
    void readAddress(const char *key, Address &target);
    template <typename Integer>
    std::enable_if_t<std::is_integral_v<Integer> && !std::is_same_v<Integer, bool>> read(const char *key,
                                                                                         Integer &target)
    {
        if (const Json *value = find(key)) {
            target = static_cast<Integer>(integer(*value, placeOf(key), std::numeric_limits<Integer>::min(),
                                                  std::numeric_limits<Integer>::max()));
        }
    }
    template <typename Value>
    void read(const char *key, std::optional<Value> &target)
    {
        if (!find(key)) {
            return;
        }
        Value value{};
        read(key, value);
        target = std::move(value);
    }
    void readAddress(const char *key, std::optional<Address> &target);

    [[nodiscard]] static std::string bytes(const Json &value, const std::string &place);

private:
    [[nodiscard]] static std::int64_t integer(const Json &value, const std::string &place,
                                              std::int64_t smallest, std::uint64_t biggest);

    const Json &m_object;
    std::string m_place;
    std::set<std::string> m_known;
};

} // namespace simulator
