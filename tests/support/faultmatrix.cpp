#include "faultmatrix.h"

#include <string>
#include <utility>

using namespace std::chrono_literals;
using simulator::Fault;

namespace {

using Headers = std::vector<std::pair<std::string, std::string>>;
using Place = Fault::Place;

const std::string interim = "HTTP/1.1 100 Continue\r\n\r\n";
const std::string otherAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nother";
const std::string chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";

simulator::DeviceOptions with(simulator::TlsMode mode)
{
    simulator::DeviceOptions options;
    options.tls = mode;
    return options;
}

Headers manyHeaders(int count, const std::string &name, const std::string &value)
{
    Headers headers;
    for (int i = 0; i < count; ++i) {
        headers.emplace_back(name, value + std::to_string(i));
    }
    return headers;
}

std::string repeated(const std::string &text, int count)
{
    std::string bytes;
    for (int i = 0; i < count; ++i) {
        bytes += text;
    }
    return bytes;
}

Fault redirection(const std::string &location)
{
    return Fault::status(303, "See Other", location);
}

simulator::DeviceOptions thatHangsUp()
{
    simulator::DeviceOptions options;
    options.answersOnce = true;
    return options;
}

simulator::DeviceOptions withoutKeepAlive()
{
    simulator::DeviceOptions options;
    options.keepAlive = false;
    return options;
}

const QString closed = QStringLiteral("Connection closed");
const QString corrupted = QStringLiteral("Data corrupted");
const QString refused = QStringLiteral("Connection refused");
const QString noTls = QStringLiteral("SSL handshake failed");

MatrixCells works()
{
    const QString file = QStringLiteral("Finished, its own");
    const QString finished = QStringLiteral("Finished");
    return {QStringLiteral("200 OK"),
            QStringLiteral("good, a session"),
            file,
            finished,
            file,
            finished,
            finished};
}

MatrixCells hangs()
{
    const QString row = QStringLiteral("hangs, Canceled");
    return {QStringLiteral("hangs, Operation canceled"),
            QStringLiteral("hangs, Network Problem: Operation canceled, Wrong login, no session"),
            row,
            row,
            row,
            QStringLiteral("hangs"),
            QStringLiteral("hangs")};
}

/// The request fails before a status comes.
MatrixCells fails(const QString &error)
{
    const QString row = QStringLiteral("Canceled");
    const QString update = QStringLiteral("Error for HTTP-Request: ") + error;
    return {error, QStringLiteral("Network Problem: %1, Wrong login, no session").arg(error),
            row,   row,
            row,   update,
            update};
}

/// The request fails when the status has come.
MatrixCells breaksOff(const QString &error, const QString &login = QStringLiteral("Wrong login, no session"))
{
    const QString row = QStringLiteral("Error writing file");
    const QString update = QStringLiteral("Error for HTTP-Request: ") + error;
    return {QStringLiteral("200 ") + error,
            QStringLiteral("Network Problem: %1, ").arg(error) + login,
            row,
            QStringLiteral("Finished"),
            row,
            update,
            update};
}

/// The session came with the headers of an answer that broke off.
MatrixCells breaksOffBehindTheSession(const QString &error)
{
    return breaksOff(error, QStringLiteral("good, a session"));
}

/// `error`: with %1 for the address.
MatrixCells refuses(int status, const QString &error)
{
    const QString row = QStringLiteral("Wrong HTTP Status-Code %1").arg(status);
    return {QStringLiteral("%1 ").arg(status) + error,
            QStringLiteral("Network Problem: ") + error + QStringLiteral(", Wrong login, no session"),
            row,
            row,
            row,
            row,
            row};
}

MatrixCells refuses(int status, const char *reason)
{
    return refuses(status,
                   QStringLiteral("Error transferring %1 - server replied: ") + QLatin1String(reason));
}

/// Another answer than the device's own is taken for it.
MatrixCells sends(const QString &query, const QString &file, const QString &save = QStringLiteral("Finished"))
{
    const QString row = QStringLiteral("Finished, ") + file;
    return {query,
            QStringLiteral("Wrong login, no session"),
            row,
            QStringLiteral("Finished"),
            row,
            save,
            QStringLiteral("Finished")};
}

const QString ok = QStringLiteral("200 OK");
const QString other = QStringLiteral("other");
const QString emptyFile = QStringLiteral("an empty file");
const QString unusable = QStringLiteral("The device sent no usable configuration");

MatrixCells redirects()
{
    return sends(QStringLiteral("303 See Other"), emptyFile, QStringLiteral("Wrong HTTP Status-Code 303"));
}

/// A body that has no end, and what the query and the update say of it.
MatrixCells floods(const QString &query, const QString &update)
{
    MatrixCells cells = hangs();
    cells.query = query;
    cells.save = update;
    cells.update = update;
    return cells;
}

} // namespace

bool meetsConnections(const Fault &fault)
{
    switch (fault.kind) {
    case Fault::Kind::Refuse:
    case Fault::Kind::TlsGarbage:
    case Fault::Kind::TlsHang:
    case Fault::Kind::TlsAlert:
    case Fault::Kind::Unasked:
        return true;
    default:
        return false;
    }
}

const std::vector<MatrixFault> &matrixFaults()
{
    const std::string elsewhere = std::string("://") + neighbour + "/" + forbiddenPath;
    static const std::vector<MatrixFault> all{
        {"none", {}, works()},
        {"refuses", Fault::refuse(), fails(refused)},
        {"hangs", Fault::hang(), hangs()},
        {"is late", Fault::answerAfter(50ms), works()},
        {"comes byte by byte", Fault::drip(1, 0ms), works()},
        {"comes byte by byte and slowly", Fault::drip(1, 100ms), hangs()},
        {"breaks off", Fault::cut(), breaksOffBehindTheSession(closed)},
        {"closes", Fault::closeWithoutAnswer(), fails(closed)},
        {"reset before the answer", Fault::reset(Place::Start), fails(closed)},
        {"reset in the headers", Fault::reset(Place::Head), fails(closed)},
        {"reset in the body", Fault::reset(Place::Body), breaksOffBehindTheSession(closed)},
        {"reset behind the body", Fault::reset(Place::End), works()},
        {"forgets the session", Fault::forgetSession(), works()},
        {"200 without a body", Fault::status(200, "OK"), sends(ok, emptyFile, unusable)},
        {"204", Fault::status(204, "No Content"),
         sends(QStringLiteral("204 No Content"), emptyFile, unusable)},
        {"401", Fault::status(401, "Unauthorized"),
         refuses(401, QStringLiteral("Host requires authentication"))},
        {"403", Fault::status(403, "Forbidden"), refuses(403, "Forbidden")},
        {"404", Fault::status(404, "Not Found"), refuses(404, "Not Found")},
        {"503", Fault::status(503, "Busy"), refuses(503, "Busy")},
        {"redirects to nowhere", Fault::status(303, "See Other"), redirects()},
        {"redirects to a file", redirection("file:///etc/passwd"), redirects()},
        {"redirects to a script", redirection("javascript:alert(1)"), redirects()},
        {"redirects to another host", redirection("http" + elsewhere), redirects()},
        {"redirects to HTTPS of another host", redirection("https" + elsewhere), redirects()},
        {"no HTTP", Fault::garbage(), fails(closed)},
        {"half a document", Fault::invalidJson(),
         sends(ok, QStringLiteral(R"({"Sensor 1": {"v": "21.5", )"))},
        {"another body", Fault::answerWith("other"), sends(ok, other)},
        {"packed", Fault::inflatingBody(1U << 20U),
         sends(QStringLiteral("200 Operation canceled"), QStringLiteral("a packed file"), unusable)},
        {"endless body", Fault::endlessBody(),
         floods(QStringLiteral("200 Operation canceled"),
                QStringLiteral("Error for HTTP-Request: Operation canceled"))},
        {"endless refusal", Fault::endlessBody(401),
         floods(QStringLiteral("401 Operation canceled"), QStringLiteral("Wrong HTTP Status-Code 401"))},
        {"endless length of a chunk", Fault::endlessChunkSize(), breaksOff(corrupted)},
        {"endless headers", Fault::endlessHeaders(), fails(corrupted)},
        {"interim answer first", Fault::extra(interim), works()},
        {"a thousand interim answers first", Fault::extra(repeated(interim, 1000)), fails(corrupted)},
        {"another answer first", Fault::extra(otherAnswer), sends(ok, other)},
        {"an answer unasked", Fault::unasked(otherAnswer), sends(ok, other)},
        {"one header of 1 MB", Fault::extra({}, {{"X-Long", std::string(1000000, 'x')}}), fails(corrupted)},
        {"100,000 headers", Fault::extra({}, manyHeaders(100000, "X", "")), fails(corrupted)},
        {"3,000 cookies", Fault::extra({}, manyHeaders(3000, "Set-Cookie", "c=1; path=/")), fails(corrupted)},
        {"500 cookies", Fault::extra({}, manyHeaders(500, "Set-Cookie", "c=1; path=/")), works()},
        {"a cookie of 1 MB", Fault::extra({}, {{"Set-Cookie", "sid=" + std::string(1000000, 'x')}}),
         fails(corrupted)},
        {"control characters in the session",
         Fault::extra({}, {{"Set-Cookie", "sid=a\x01\x02\x1B\x7F\tb; path=/"}}), works()},
        {"a chunk longer than it says", Fault::verbatim(chunked + "2\r\nother\r\n0\r\n\r\n"),
         breaksOff(corrupted)},
        {"a chunk shorter than it says", Fault::verbatim(chunked + "FF\r\nother\r\n0\r\n\r\n"),
         breaksOff(closed)},
        {"no length of a chunk", Fault::verbatim(chunked + "what?\r\nother\r\n0\r\n\r\n"),
         breaksOff(corrupted)},
        {"a chunk of more than there is memory",
         Fault::verbatim(chunked + "FFFFFFFFFFFFFFFFFF\r\nother\r\n0\r\n\r\n"), breaksOff(corrupted)},
        {"no last chunk", Fault::verbatim(chunked + "5\r\nother\r\n"), breaksOff(closed)},
        {"hangs up unannounced", {}, works(), thatHangsUp()},
        {"closes each connection", {}, works(), withoutKeepAlive()},
        {"HTTPS", {}, works(), {}, true},
        {"HTTPS: TLS 1.0", {}, works(), with(simulator::TlsMode::Tls10Only), true},
        {"HTTPS: TLS 1.1", {}, works(), with(simulator::TlsMode::Tls11Only), true},
        {"HTTPS: key of 1024 bits", {}, works(), with(simulator::TlsMode::Rsa1024), true},
        {"HTTPS: key of 512 bits", {}, works(), with(simulator::TlsMode::Rsa512), true},
        {"HTTPS: expired", {}, works(), with(simulator::TlsMode::Expired), true},
        {"HTTPS: of another name", {}, works(), with(simulator::TlsMode::OtherName), true},
        {"HTTPS: hangs up unannounced", {}, works(), thatHangsUp(), true},
        {"HTTPS: refuses", Fault::refuse().onlyHttps(), fails(refused), {}, true},
        {"HTTPS: no TLS", Fault::tlsGarbage(), fails(noTls), {}, true},
        {"HTTPS: no handshake", Fault::tlsHang(), hangs(), {}, true},
        {"HTTPS: alert at hello", Fault::tlsAlert(Place::Start), fails(noTls), {}, true},
        {"HTTPS: alert in the handshake", Fault::tlsAlert(Place::Head), fails(noTls), {}, true},
        {"HTTPS: alert behind the handshake", Fault::tlsAlert(Place::End), fails(closed), {}, true},
        {"HTTPS: hangs", Fault::hang(), hangs(), {}, true},
        {"HTTPS: breaks off", Fault::cut(), breaksOffBehindTheSession(closed), {}, true},
        {"HTTPS: closes", Fault::closeWithoutAnswer(), fails(closed), {}, true},
        {"HTTPS: reset before the answer", Fault::reset(Place::Start), fails(closed), {}, true},
        {"HTTPS: reset in the headers", Fault::reset(Place::Head), fails(closed), {}, true},
        {"HTTPS: reset in the body", Fault::reset(Place::Body), breaksOffBehindTheSession(closed), {}, true},
        {"HTTPS: reset behind the body", Fault::reset(Place::End), works(), {}, true},
        {"HTTPS: an answer unasked", Fault::unasked(otherAnswer).onlyHttps(), sends(ok, other), {}, true},
        {"HTTPS: 403", Fault::status(403, "Forbidden"), refuses(403, "Forbidden"), {}, true},
        {"HTTPS: redirects to another host", redirection("http" + elsewhere), redirects(), {}, true},
    };
    return all;
}
