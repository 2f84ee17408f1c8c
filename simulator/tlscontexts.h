#pragma once

#include "deviceoptions.h"

#include <boost/asio/ssl/context.hpp>
#include <map>
#include <memory>

namespace simulator {

/// The TLS set-ups that the devices use, each with a key and a self-signed certificate made at its first use.
class TlsContexts
{
public:
    [[nodiscard]] boost::asio::ssl::context &forMode(TlsMode mode);

private:
    std::map<TlsMode, std::unique_ptr<boost::asio::ssl::context>> m_contexts;
};

} // namespace simulator
