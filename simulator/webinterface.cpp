#include "webinterface.h"

#include "form.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace simulator {

namespace {

constexpr std::size_t pieceSize = 16384;

struct Visit
{
    const Request &request;
    DeviceState &device;
    const User *user;
    int level;
    /// Of the target.
    std::string_view query;
};

bool equalsIgnoringCase(std::string_view a, std::string_view b)
{
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [&](char x, char y) { return lower(x) == lower(y); });
}

Response statusAnswer(int status)
{
    Response response;
    response.status = status;
    response.reason = reasonPhrase(status);
    response.headers = {{"Content-Type", "text/html"}};
    response.body = "<html><body>" + std::to_string(status) + " " + response.reason + "</body></html>\n";
    return response;
}

Response redirect(const std::string &location)
{
    Response response = statusAnswer(303);
    response.headers.emplace_back("Location", location);
    return response;
}

/// What a form's sender wants to see next, or a plain success.
Response formAnswer(const FieldMap &fields)
{
    const auto target = fields.find("redir");
    return target == fields.end() || target->second.empty() ? statusAnswer(200) : redirect(target->second);
}

Response information(const Visit &visit)
{
    if (visit.device.options().informationNeedsLogin && !visit.user) {
        return statusAnswer(403);
    }
    visit.device.setViewer(visit.user);
    Response response;
    response.headers = {{"Content-Type", "text/plain"}};
    response.body = filledTemplate(visit.request.body, visit.device);
    visit.device.setViewer(nullptr);
    return response;
}

Response login(const Visit &visit)
{
    FieldMap fields = formFields(visit.request.body);
    if (fields["redir"].empty()) {
        fields["redir"] = "/";
    }
    Response response = formAnswer(fields);
    if (const auto cookie = visit.device.logIn(fields["login_user"], fields["login_password"])) {
        response.headers.emplace_back("Set-Cookie", "sid=" + *cookie + "; path=/");
    }
    return response;
}

Response configurationDownload(const Visit &visit, const FieldMap &parameters)
{
    const auto wanted = parameters.find("incl_passwords");
    const bool withPasswords = wanted != parameters.end() && wanted->second == "on";
    if (visit.level < (withPasswords ? 3 : 2)) {
        return statusAnswer(403);
    }
    Response response;
    response.headers = {{"Content-Type", "text/plain"}};
    response.body = visit.device.configuration(withPasswords ? DeviceState::Passwords::With
                                                             : DeviceState::Passwords::Without);
    return response;
}

std::optional<std::int64_t> number(const FieldMap &parameters, const std::string &name)
{
    const auto field = parameters.find(name);
    if (field == parameters.end()) {
        return std::nullopt;
    }
    std::int64_t value = 0;
    const char *end = field->second.data() + field->second.size();
    const auto [rest, error] = std::from_chars(field->second.data(), end, value);
    if (error != std::errc() || rest != end) {
        return std::nullopt;
    }
    return value;
}

/// The recorded rows from `time` to before `end`, written while they are being fetched.
BodySource historyRows(const DeviceState &device, std::int64_t time, std::int64_t end, std::int64_t step)
{
    struct Column
    {
        Sensor sensor;
        std::uint64_t salt;
    };
    std::vector<Column> columns;
    for (const Sensor &sensor : *device.options().sensors) {
        columns.push_back({sensor, device.sensorSalt(static_cast<int>(columns.size()))});
    }
    std::string heading = "Time";
    for (std::size_t i = 0; i < columns.size(); ++i) {
        heading += ";Sensor " + std::to_string(i + 1);
    }
    heading += "\r\n";
    return [columns = std::move(columns), heading = std::move(heading), time, end,
            step](std::string &piece) mutable {
        piece = std::move(heading);
        heading.clear();
        while (time < end && piece.size() < pieceSize) {
            piece += std::to_string(time);
            for (const Column &column : columns) {
                piece += ';' + sensorText(column.sensor, column.salt, static_cast<double>(time),
                                          column.sensor.decimals);
            }
            piece += "\r\n";
            time = step > end - time ? end : time + step;
        }
        return !piece.empty();
    };
}

Response history(const Visit &visit, const FieldMap &parameters)
{
    if (visit.level < 1) {
        return statusAnswer(403);
    }
    const auto start = number(parameters, "start");
    const auto end = number(parameters, "end");
    const auto step = number(parameters, "step");
    if (!start || !end || !step || *step < 1) {
        return statusAnswer(400);
    }
    // Nothing was recorded before the history begins, nothing is known of the future. The rows stay on the
    // grid that the start lays down.
    const std::int64_t historyStart = *visit.device.options().historyStart;
    const auto now = static_cast<std::int64_t>(std::floor(visit.device.clock()));
    std::int64_t first = *start;
    if (first < historyStart) {
        // Unsigned, since the distance of two signed times need not fit.
        const std::uint64_t distance =
            static_cast<std::uint64_t>(historyStart) - static_cast<std::uint64_t>(first);
        const std::uint64_t remainder = distance % static_cast<std::uint64_t>(*step);
        const std::uint64_t ahead = remainder == 0 ? 0 : static_cast<std::uint64_t>(*step) - remainder;
        const std::uint64_t room = static_cast<std::uint64_t>(std::max(now, historyStart) - historyStart) + 1;
        first = historyStart + static_cast<std::int64_t>(std::min(ahead, room));
    }
    Response response;
    response.headers = {{"Content-Type", "text/csv"}};
    response.source = historyRows(visit.device, first, std::min(*end, now + 1), *step);
    return response;
}

Response document(const Visit &visit)
{
    const FieldMap parameters = formFields(visit.query);
    if (parameters.count("tpl/j/config.tpl") > 0) {
        return configurationDownload(visit, parameters);
    }
    if (parameters.count("tpl/j/csv.tpl") > 0) {
        return history(visit, parameters);
    }
    return statusAnswer(404);
}

Response configurationUpload(const Visit &visit)
{
    const auto fields = multipartFields(visit.request.header("Content-Type"), visit.request.body);
    if (!fields || fields->count("image") == 0) {
        return statusAnswer(400);
    }
    visit.device.loadConfiguration(fields->at("image"));
    return formAnswer(*fields);
}

/// 1 or 2; 0 when the form names no buffer.
int bufferOf(const FieldMap &fields)
{
    const auto field = fields.find("buffer");
    if (field == fields.end()) {
        return 0;
    }
    return field->second == "1" ? 1 : field->second == "2" ? 2 : 0;
}

Response firmwareUpload(const Visit &visit)
{
    const auto fields = multipartFields(visit.request.header("Content-Type"), visit.request.body);
    if (!fields || bufferOf(*fields) == 0 || fields->count("image") == 0 || fields->at("image").empty()) {
        return statusAnswer(400);
    }
    visit.device.storeFirmware(bufferOf(*fields), fields->at("image"));
    return formAnswer(*fields);
}

Response firmwareActivation(const Visit &visit)
{
    const FieldMap fields = formFields(visit.request.body);
    const int buffer = bufferOf(fields);
    if (buffer == 0 || !visit.device.activateFirmware(buffer)) {
        return statusAnswer(400);
    }
    Response response = formAnswer(fields);
    response.restarts = true;
    return response;
}

Response plainForm(const Visit &visit)
{
    return formAnswer(formFields(visit.request.body));
}

Response reset(const Visit &visit)
{
    Response response = plainForm(visit);
    response.restarts = true;
    return response;
}

Response page(const Visit &visit)
{
    Response response;
    response.headers = {{"Content-Type", "text/html"}};
    response.body = "<html><head><title>Nembra</title></head><body><h1>Nembra device " +
                    macText(*visit.device.options().mac) + "</h1></body></html>\n";
    return response;
}

struct Endpoint
{
    std::string_view path;
    std::string_view method;
    /// Needed to be let in at all; some endpoints look closer themselves.
    int level;
    Response (*answer)(const Visit &);
};

constexpr std::array<Endpoint, 10> endpoints{{
    {"/", "GET", 0, page},
    {"/wait.shtml", "GET", 0, page},
    {"/login.cgi", "POST", 0, login},
    {"/admin/proctpl.cgi", "POST", 0, information},
    {"/tpl/document.cgi", "GET", 0, document},
    {"/admin/config.cgi", "POST", 3, configurationUpload},
    {"/admin/upload.cgi", "POST", 3, firmwareUpload},
    {"/admin/upgrade.cgi", "POST", 3, firmwareActivation},
    {"/admin/postform.cgi", "POST", 3, plainForm},
    {"/admin/reset.cgi", "POST", 3, reset},
}};

} // namespace

std::string headerValue(const HeaderList &headers, std::string_view name)
{
    const auto found = std::find_if(headers.begin(), headers.end(), [name](const auto &header) {
        return equalsIgnoringCase(header.first, name);
    });
    return found == headers.end() ? std::string() : found->second;
}

std::string Request::header(std::string_view name) const
{
    return headerValue(headers, name);
}

std::string reasonPhrase(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 303:
        return "See Other";
    case 400:
        return "Bad Request";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    default:
        return {};
    }
}

Response answerTo(const Request &request, DeviceState &device, std::uint16_t httpsPort)
{
    const std::string_view target = request.target;
    if (!request.https && *device.options().redirectToHttps) {
        const std::string port = httpsPort == 443 ? std::string() : ":" + std::to_string(httpsPort);
        return redirect("https://" + addressText(device.address()) + port + request.target);
    }
    const std::size_t question = target.find('?');
    const std::string_view path = target.substr(0, question);
    const auto endpoint = std::find_if(endpoints.begin(), endpoints.end(),
                                       [path](const Endpoint &candidate) { return candidate.path == path; });
    if (endpoint == endpoints.end()) {
        return statusAnswer(404);
    }
    if (endpoint->method != request.method) {
        return statusAnswer(405);
    }
    const std::string cookie = cookieValue(request.header("Cookie"), "sid").value_or(std::string());
    const User *user = device.userOf(cookie);
    const int level = user ? user->level : device.options().anonymousLevel;
    if (level < endpoint->level) {
        return statusAnswer(403);
    }
    const std::string_view query =
        question == std::string_view::npos ? std::string_view() : target.substr(question + 1);
    return endpoint->answer({request, device, user, level, query});
}

} // namespace simulator
