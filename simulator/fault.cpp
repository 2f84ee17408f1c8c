#include "fault.h"

namespace simulator {

namespace {

Fault made(Fault::Kind kind)
{
    Fault fault;
    fault.kind = kind;
    return fault;
}

} // namespace

Fault Fault::refuse()
{
    return made(Kind::Refuse);
}

Fault Fault::hang()
{
    return made(Kind::Hang);
}

Fault Fault::answerAfter(std::chrono::milliseconds delay)
{
    Fault fault = made(Kind::Delay);
    fault.delay = delay;
    return fault;
}

Fault Fault::drip(std::size_t bytes, std::chrono::milliseconds every)
{
    Fault fault = made(Kind::Drip);
    fault.bytes = bytes;
    fault.delay = every;
    return fault;
}

Fault Fault::cut()
{
    return made(Kind::Cut);
}

Fault Fault::closeWithoutAnswer()
{
    return made(Kind::CloseWithoutAnswer);
}

Fault Fault::reset(Place place)
{
    Fault fault = made(Kind::Reset);
    fault.place = place;
    return fault;
}

Fault Fault::status(int code, std::string reason, std::string location)
{
    Fault fault = made(Kind::Status);
    fault.statusCode = code;
    fault.reason = std::move(reason);
    fault.location = std::move(location);
    return fault;
}

Fault Fault::garbage()
{
    return made(Kind::Garbage);
}

Fault Fault::invalidJson()
{
    return made(Kind::InvalidJson);
}

Fault Fault::answerWith(std::string body, std::vector<std::pair<std::string, std::string>> headers)
{
    Fault fault = made(Kind::Body);
    fault.body = std::move(body);
    fault.headers = std::move(headers);
    return fault;
}

Fault Fault::extra(std::string bytesInFront, std::vector<std::pair<std::string, std::string>> headers)
{
    Fault fault = made(Kind::Extra);
    fault.body = std::move(bytesInFront);
    fault.headers = std::move(headers);
    return fault;
}

Fault Fault::verbatim(std::string bytes)
{
    Fault fault = made(Kind::Verbatim);
    fault.body = std::move(bytes);
    return fault;
}

Fault Fault::unasked(std::string bytes)
{
    Fault fault = made(Kind::Unasked);
    fault.body = std::move(bytes);
    return fault;
}

Fault Fault::inflatingBody(std::size_t inflatedBytes)
{
    Fault fault = made(Kind::InflatingBody);
    fault.bytes = inflatedBytes;
    return fault;
}

Fault Fault::endlessBody(int status)
{
    Fault fault = made(Kind::EndlessBody);
    fault.statusCode = status;
    return fault;
}

Fault Fault::endlessChunkSize()
{
    return made(Kind::EndlessChunkSize);
}

Fault Fault::endlessHeaders()
{
    return made(Kind::EndlessHeaders);
}

Fault Fault::tlsGarbage()
{
    return made(Kind::TlsGarbage);
}

Fault Fault::tlsHang()
{
    return made(Kind::TlsHang);
}

Fault Fault::tlsAlert(Place place)
{
    Fault fault = made(Kind::TlsAlert);
    fault.place = place;
    return fault;
}

Fault Fault::forgetSession()
{
    return made(Kind::ForgetSession);
}

Fault Fault::onPath(std::string prefix) &&
{
    path = std::move(prefix);
    exactPath = false;
    return std::move(*this);
}

Fault Fault::onExactly(std::string target) &&
{
    path = std::move(target);
    exactPath = true;
    return std::move(*this);
}

Fault Fault::times(int count) &&
{
    requests = count;
    return std::move(*this);
}

Fault Fault::after(int count) &&
{
    spared = count;
    return std::move(*this);
}

Fault Fault::onlyHttp() &&
{
    scheme = Scheme::Http;
    return std::move(*this);
}

Fault Fault::onlyHttps() &&
{
    scheme = Scheme::Https;
    return std::move(*this);
}

} // namespace simulator
