#include "platform/sockets.h"

#include <winsock2.h>

std::errc socketError(long systemError)
{
    switch (systemError) {
    case WSAEACCES:
        return std::errc::permission_denied;
    case WSAECONNABORTED:
    case WSAECONNRESET:
        return std::errc::connection_reset;
    case WSAECONNREFUSED:
        return std::errc::connection_refused;
    case WSAEHOSTUNREACH:
        return std::errc::host_unreachable;
    case WSAENETUNREACH:
        return std::errc::network_unreachable;
    case WSAESHUTDOWN:
        return std::errc::broken_pipe;
    case WSAETIMEDOUT:
        return std::errc::timed_out;
    default:
        return static_cast<std::errc>(systemError);
    }
}
