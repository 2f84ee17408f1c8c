#include "outgoing.h"

#include "inflatingbody.h"
#include "seededrandom.h"

#include <algorithm>

namespace simulator {

namespace {

constexpr std::size_t endlessPieceSize = 65536;

std::string chunk(const std::string &piece)
{
    std::string size;
    for (std::size_t rest = piece.size(); rest > 0 || size.empty(); rest /= 16) {
        size.insert(size.begin(), "0123456789abcdef"[rest % 16]);
    }
    return size.append("\r\n").append(piece).append("\r\n");
}

std::string head(const Response &response, const HeaderList &framing)
{
    std::string text = "HTTP/1.1 " + std::to_string(response.status) + " " + response.reason + "\r\n";
    for (const HeaderList *headers : {&response.headers, &framing}) {
        for (const auto &[name, value] : *headers) {
            text.append(name).append(": ").append(value).append("\r\n");
        }
    }
    return text + "\r\n";
}

Response replacement(const Fault &fault)
{
    Response response;
    response.headers = fault.headers;
    response.body = fault.body;
    switch (fault.kind) {
    case Fault::Kind::Status:
        response.status = fault.statusCode;
        response.reason = fault.reason;
        if (!fault.location.empty()) {
            response.headers.emplace_back("Location", fault.location);
        }
        break;
    case Fault::Kind::InvalidJson:
        response.body = R"({"Sensor 1": {"v": "21.5", )";
        break;
    case Fault::Kind::InflatingBody:
        response.headers.emplace_back("Content-Encoding", "gzip");
        response.body = gzipOfBlanks(fault.bytes);
        break;
    case Fault::Kind::EndlessBody:
        response.status = fault.statusCode;
        response.source = [](std::string &piece) {
            piece.assign(endlessPieceSize, ' ');
            return true;
        };
        break;
    default:
        break;
    }
    return response;
}

} // namespace

bool replacesAnswer(const Fault &fault)
{
    switch (fault.kind) {
    case Fault::Kind::Drip:
    case Fault::Kind::Cut:
    case Fault::Kind::Reset:
    case Fault::Kind::Extra:
    case Fault::Kind::Delay:
    case Fault::Kind::ForgetSession:
        return false;
    default:
        return true;
    }
}

std::string garbageBytes()
{
    std::string bytes;
    for (std::uint64_t i = 0; i < 64; ++i) {
        bytes += static_cast<char>(static_cast<std::uint8_t>(mixed(i, 77) | 0x80U));
    }
    return bytes + "\r\n\r\n";
}

Outgoing Outgoing::plain(std::string bytes)
{
    Outgoing outgoing;
    outgoing.m_bytes = std::move(bytes);
    outgoing.m_end = End::HangUp;
    return outgoing;
}

Outgoing Outgoing::proper(Response response, OutgoingOptions options)
{
    Outgoing outgoing;
    HeaderList framing;
    const bool isStream = static_cast<bool>(response.source);
    outgoing.m_isChunked = isStream && options.isHttp11;
    const bool endsConnection = !options.keepsAlive || (isStream && !outgoing.m_isChunked);
    if (outgoing.m_isChunked) {
        framing.emplace_back("Transfer-Encoding", "chunked");
    } else if (!isStream) {
        framing.emplace_back("Content-Length", std::to_string(response.body.size()));
    }
    framing.emplace_back("Connection", endsConnection ? "close" : "keep-alive");
    outgoing.m_end = endsConnection ? End::Goodbye : End::NextRequest;
    outgoing.m_bytes = head(response, framing) + response.body;
    outgoing.m_source = std::move(response.source);
    return outgoing;
}

Outgoing Outgoing::faulty(const Fault &fault, std::optional<Response> response, OutgoingOptions options)
{
    switch (fault.kind) {
    case Fault::Kind::Garbage:
        return plain(garbageBytes());
    case Fault::Kind::EndlessHeaders: {
        Outgoing outgoing = plain("HTTP/1.1 200 OK\r\n");
        outgoing.m_source = [number = 0](std::string &piece) mutable {
            piece.clear();
            while (piece.size() < endlessPieceSize) {
                piece += "X-Header-" + std::to_string(number++) + ": " + std::string(100, 'x') + "\r\n";
            }
            return true;
        };
        return outgoing;
    }
    case Fault::Kind::EndlessChunkSize: {
        Outgoing outgoing = plain(head(replacement(fault), {{"Transfer-Encoding", "chunked"}}));
        outgoing.m_source = [](std::string &piece) {
            piece.assign(endlessPieceSize, '0');
            return true;
        };
        return outgoing;
    }
    case Fault::Kind::Drip: {
        Outgoing outgoing = proper(response ? *std::move(response) : Response(), options);
        outgoing.m_pieceSize = std::max<std::size_t>(1, fault.bytes);
        outgoing.m_pause = fault.delay;
        return outgoing;
    }
    case Fault::Kind::Cut:
        return brokenOff(response ? *std::move(response) : Response(), options, Fault::Place::Body);
    case Fault::Kind::Reset: {
        Outgoing outgoing = brokenOff(response ? *std::move(response) : Response(), options, fault.place);
        outgoing.m_end = End::Reset;
        return outgoing;
    }
    case Fault::Kind::Extra: {
        Response richer = response ? *std::move(response) : Response();
        richer.headers.insert(richer.headers.end(), fault.headers.begin(), fault.headers.end());
        Outgoing outgoing = proper(std::move(richer), options);
        outgoing.m_bytes.insert(0, fault.body);
        return outgoing;
    }
    case Fault::Kind::Verbatim:
        return plain(fault.body);
    default:
        return proper(replacement(fault), options);
    }
}

Outgoing Outgoing::brokenOff(Response response, OutgoingOptions options, Fault::Place place)
{
    std::string piece;
    for (int i = 0; i < 4 && response.source && response.source(piece); ++i) {
        response.body += piece;
    }
    response.source = nullptr;
    const std::size_t bodySize = response.body.size();
    Outgoing outgoing = proper(std::move(response), options);
    outgoing.m_end = End::HangUp;
    const std::size_t headSize = outgoing.m_bytes.size() - bodySize;
    switch (place) {
    case Fault::Place::Start:
        outgoing.m_bytes.clear();
        break;
    case Fault::Place::Head:
        outgoing.m_bytes.resize(headSize / 2);
        break;
    case Fault::Place::Body:
        outgoing.m_bytes.resize(headSize + bodySize / 2);
        break;
    case Fault::Place::End:
        break;
    }
    return outgoing;
}

std::string_view Outgoing::current() const
{
    const std::string_view rest = std::string_view(m_bytes).substr(m_offset);
    return m_pieceSize > 0 ? rest.substr(0, m_pieceSize) : rest;
}

void Outgoing::advance()
{
    m_offset += current().size();
    if (m_offset == m_bytes.size()) {
        refill();
    }
}

void Outgoing::refill()
{
    m_bytes.clear();
    m_offset = 0;
    if (!m_source) {
        return;
    }
    std::string piece;
    if (m_source(piece)) {
        m_bytes = m_isChunked ? chunk(piece) : std::move(piece);
        return;
    }
    m_source = nullptr;
    if (m_isChunked) {
        m_bytes = chunk({});
    }
}

} // namespace simulator
