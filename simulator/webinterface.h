#pragma once

#include "devicestate.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace simulator {

using HeaderList = std::vector<std::pair<std::string, std::string>>;

struct Request
{
    bool https = false;
    std::string method;
    std::string target;
    HeaderList headers;
    std::string body;

    /// Value of the first header of that name (case-insensitive), or empty.
    [[nodiscard]] std::string header(std::string_view name) const;
};

/// Puts the next piece of a body into `piece`; false when there is none left.
using BodySource = std::function<bool(std::string &piece)>;

struct Response
{
    int status = 200;
    std::string reason = "OK";
    HeaderList headers;
    std::string body;
    /// Instead of `body`: sent piece by piece, as long as the receiver takes it.
    BodySource source;
    /// The device restarts when the answer is out.
    bool restarts = false;
};

[[nodiscard]] std::string headerValue(const HeaderList &headers, std::string_view name);
[[nodiscard]] std::string reasonPhrase(int status);

/// Answers as the device's web server would. `httpsPort` is where a redirect leads to.
[[nodiscard]] Response answerTo(const Request &request, DeviceState &device, std::uint16_t httpsPort);

} // namespace simulator
