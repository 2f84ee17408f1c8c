#include "platform/sockets.h"

std::errc socketError(long systemError)
{
    return static_cast<std::errc>(systemError);
}
