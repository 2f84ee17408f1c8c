#include "scenario.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <getopt.h>
#include <iostream>
#include <limits>
#include <sys/resource.h>

namespace {

using namespace simulator;

constexpr const char *usage = R"(Usage: nembra-simulator [OPTION...]

Simulates a fleet of Nembra devices: discovery, web interfaces, syslog. Meant for a private network:

  scripts/private-network nembra-simulator --devices 50

Fleet
  --devices N            made-up devices (default 20, with a scenario 0)
  --scenario FILE        JSON description of fleet, devices and faults; see docs/simulator.md
  --seed N               everything that is made up follows from it (default 1)
  --base-address A       address of the first device (default 10.77.128.1)
  --https-share PERCENT  share of devices that redirect plain HTTP to HTTPS (default 0)

Ports (0: any free one)
  --http-port N          default 80
  --https-port N         default 443
  --discovery-port N     default 9806

Behaviour
  --delay MS             before every web answer
  --spread MS            spread the discovery answers over this time
  --loss PERCENT         share of discovery requests that get no answer
  --duplicates N         further copies of every discovery answer
  --broadcast-answers    answer discovery by broadcast instead of to the asking computer
  --syslog HOST:PORT     send syslog lines there
  --syslog-rate N        lines per second of the whole fleet (default 1)

Running
  --journal FILE         append every request and discovery datagram as a line of JSON
  --ready-file FILE      write the ready line there too
  --lan                  start outside a private network; the devices' addresses must belong to this computer
  --help                 this text

When all ports are open it prints "ready: N devices, http PORT, https PORT, discovery PORT". SIGINT and SIGTERM
end it.
)";

struct UsageError final : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

struct Options
{
    Scenario scenario;
    std::string readyFile;
    std::optional<SyslogOptions> syslog;
    double syslogRate = 1.0;
};

double number(const std::string &option, const std::string &text, double smallest, double biggest)
{
    char *end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(value >= smallest && value <= biggest)) {
        throw UsageError("--" + option + ": '" + text + "' isn't a number in its range");
    }
    return value;
}

std::uint64_t whole(const std::string &option, const std::string &text, std::uint64_t biggest)
{
    if (text.empty() || text.size() > 19 || text.find_first_not_of("0123456789") != std::string::npos ||
        std::stoull(text) > biggest) {
        throw UsageError("--" + option + ": '" + text + "' isn't a whole number from 0 to " +
                         std::to_string(biggest));
    }
    return std::stoull(text);
}

std::uint16_t port(const std::string &option, const std::string &text)
{
    return static_cast<std::uint16_t>(whole(option, text, 65535));
}

std::chrono::milliseconds milliseconds(const std::string &option, const std::string &text)
{
    return std::chrono::milliseconds(whole(option, text, 86400000));
}

SyslogOptions syslogReceiver(const std::string &text)
{
    SyslogOptions options;
    const std::size_t colon = text.find(':');
    const std::optional<Address> address = addressFromText(text.substr(0, colon));
    if (!address) {
        throw UsageError("--syslog: '" + text + "' must be an IPv4 address and a port, like 10.77.0.1:514");
    }
    options.address = *address;
    if (colon != std::string::npos) {
        options.port = port("syslog", text.substr(colon + 1));
    }
    return options;
}

void setFleetOption(Options &options, const std::string &name, const std::string &text)
{
    FleetOptions &fleet = options.scenario.fleet;
    if (name == "devices") {
        options.scenario.madeUpDevices = static_cast<int>(whole(name, text, 32000));
    } else if (name == "seed") {
        fleet.seed = whole(name, text, std::numeric_limits<std::uint64_t>::max());
    } else if (name == "base-address") {
        const std::optional<Address> address = addressFromText(text);
        if (!address) {
            throw UsageError("--base-address: '" + text + "' isn't an IPv4 address");
        }
        fleet.baseAddress = *address;
    } else if (name == "https-share") {
        fleet.httpsSharePercent = number(name, text, 0, 100);
    } else if (name == "http-port") {
        fleet.httpPort = port(name, text);
    } else if (name == "https-port") {
        fleet.httpsPort = port(name, text);
    } else if (name == "discovery-port") {
        fleet.discoveryPort = port(name, text);
    }
}

void setBehaviour(Options &options, const std::string &name, const std::string &text)
{
    FleetOptions &fleet = options.scenario.fleet;
    if (name == "delay") {
        fleet.delay = milliseconds(name, text);
    } else if (name == "spread") {
        fleet.spread = milliseconds(name, text);
    } else if (name == "loss") {
        fleet.lossPercent = number(name, text, 0, 100);
    } else if (name == "duplicates") {
        fleet.answerCopies = 1 + static_cast<int>(whole(name, text, 1000));
    } else if (name == "broadcast-answers") {
        fleet.broadcastAnswers = true;
    } else if (name == "syslog") {
        options.syslog = syslogReceiver(text);
    } else if (name == "syslog-rate") {
        options.syslogRate = number(name, text, 0.001, 1e6);
    } else if (name == "journal") {
        fleet.journalFile = text;
    } else if (name == "ready-file") {
        options.readyFile = text;
    } else if (name == "lan") {
        fleet.allowRealNetwork = true;
    }
}

const std::array<option, 20> longOptions{{
    {"devices", required_argument, nullptr, 0},
    {"scenario", required_argument, nullptr, 0},
    {"seed", required_argument, nullptr, 0},
    {"base-address", required_argument, nullptr, 0},
    {"https-share", required_argument, nullptr, 0},
    {"http-port", required_argument, nullptr, 0},
    {"https-port", required_argument, nullptr, 0},
    {"discovery-port", required_argument, nullptr, 0},
    {"delay", required_argument, nullptr, 0},
    {"spread", required_argument, nullptr, 0},
    {"loss", required_argument, nullptr, 0},
    {"duplicates", required_argument, nullptr, 0},
    {"broadcast-answers", no_argument, nullptr, 0},
    {"syslog", required_argument, nullptr, 0},
    {"syslog-rate", required_argument, nullptr, 0},
    {"journal", required_argument, nullptr, 0},
    {"ready-file", required_argument, nullptr, 0},
    {"lan", no_argument, nullptr, 0},
    {"help", no_argument, nullptr, 0},
    {nullptr, 0, nullptr, 0},
}};

/// Nothing when only the help was wanted.
std::optional<Options> parsedOptions(int argumentCount, char **arguments)
{
    std::vector<std::pair<std::string, std::string>> given;
    int index = 0;
    for (int code = 0;
         (code = getopt_long(argumentCount, arguments, "", longOptions.data(), &index)) != -1;) {
        if (code != 0) {
            throw UsageError("see nembra-simulator --help");
        }
        given.emplace_back(longOptions[static_cast<std::size_t>(index)].name, optarg ? optarg : "");
    }
    if (optind < argumentCount) {
        throw UsageError(std::string("'") + arguments[optind] +
                         "' isn't an option; see nembra-simulator --help");
    }
    Options options;
    options.scenario.madeUpDevices = 20;
    for (const auto &[name, text] : given) {
        if (name == "help") {
            return std::nullopt;
        }
        if (name == "scenario") {
            options.scenario = Scenario::fromFile(text);
        }
    }
    // What the command line says wins over the file, wherever it stands.
    for (const auto &[name, text] : given) {
        setFleetOption(options, name, text);
        setBehaviour(options, name, text);
    }
    return options;
}

/// Two thousand connections need more descriptors than a shell grants by default.
void raiseDescriptorLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return;
    }
    limit.rlim_cur = limit.rlim_max;
    static_cast<void>(setrlimit(RLIMIT_NOFILE, &limit));
}

int run(Options options)
{
    // Blocked before the fleet's thread is made, so that only the wait below gets them.
    sigset_t endSignals;
    sigemptyset(&endSignals);
    sigaddset(&endSignals, SIGINT);
    sigaddset(&endSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &endSignals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    Fleet fleet(options.scenario.fleet);
    options.scenario.addTo(fleet);
    fleet.start();
    if (options.syslog) {
        options.syslog->rate = options.syslogRate;
        fleet.sendSyslog(*options.syslog);
    }
    for (const SyslogOptions &stream : options.scenario.syslog) {
        fleet.sendSyslog(stream);
    }

    const std::string ready = "ready: " + std::to_string(fleet.deviceCount()) + " devices, http " +
                              std::to_string(fleet.httpPort()) + ", https " +
                              std::to_string(fleet.httpsPort()) + ", discovery " +
                              std::to_string(fleet.discoveryPort());
    std::cout << ready << std::endl;
    if (!options.readyFile.empty() && !(std::ofstream(options.readyFile) << ready << '\n')) {
        throw std::runtime_error("can't write " + options.readyFile);
    }

    int signalNumber = 0;
    sigwait(&endSignals, &signalNumber);
    fleet.stop();
    return EXIT_SUCCESS;
}

} // namespace

int main(int argumentCount, char **arguments)
{
    try {
        std::optional<Options> options = parsedOptions(argumentCount, arguments);
        if (!options) {
            std::cout << usage;
            return EXIT_SUCCESS;
        }
        raiseDescriptorLimit();
        return run(*std::move(options));
    } catch (const UsageError &error) {
        std::cerr << "nembra-simulator: " << error.what() << '\n';
        return 2;
    } catch (const std::exception &error) {
        std::cerr << "nembra-simulator: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
