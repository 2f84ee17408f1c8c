#include "deviceoptions.h"

#include "form.h"

#include <arpa/inet.h>
#include <cstdio>

namespace simulator {

std::string addressText(Address address)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string((address >> static_cast<unsigned>(shift)) & 0xFFU);
        if (shift > 0) {
            text += '.';
        }
    }
    return text;
}

std::optional<Address> addressFromText(std::string_view text)
{
    in_addr parsed{};
    if (inet_pton(AF_INET, std::string(text).c_str(), &parsed) != 1) {
        return std::nullopt;
    }
    return ntohl(parsed.s_addr);
}

std::string macText(const MacAddress &mac)
{
    std::array<char, 18> text{};
    std::snprintf(text.data(), text.size(), "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1], mac[2], mac[3],
                  mac[4], mac[5]);
    return text.data();
}

std::optional<MacAddress> macFromText(std::string_view text)
{
    MacAddress mac{};
    if (text.size() != mac.size() * 3 - 1) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < mac.size(); ++i) {
        const int high = hexDigit(text[i * 3]);
        const int low = hexDigit(text[i * 3 + 1]);
        if (high < 0 || low < 0 || (i > 0 && text[i * 3 - 1] != ':')) {
            return std::nullopt;
        }
        mac[i] = static_cast<std::uint8_t>(high * 16 + low);
    }
    return mac;
}

} // namespace simulator
