#pragma once

#include <system_error>

/// What the system's number for the failure of a socket means, such as std::errc::connection_refused; the
/// number itself if there is no word for it.
[[nodiscard]] std::errc socketError(long systemError);
