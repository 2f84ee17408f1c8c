#include "testclient.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace simulator;
using namespace testclient;

namespace {

/// nembra-simulator as a process; what it prints is read to its end.
class Program
{
public:
    explicit Program(std::vector<std::string> arguments)
    {
        std::array<int, 2> output{};
        if (::pipe(output.data()) != 0) {
            throw std::runtime_error("pipe");
        }
        m_process = ::fork();
        if (m_process == 0) {
            ::dup2(output[1], STDOUT_FILENO);
            ::dup2(output[1], STDERR_FILENO);
            ::close(output[0]);
            ::close(output[1]);
            std::string name = SIMULATOR_PROGRAM;
            std::vector<char *> pointers{name.data()};
            for (std::string &argument : arguments) {
                pointers.push_back(argument.data());
            }
            pointers.push_back(nullptr);
            ::execv(name.c_str(), pointers.data());
            ::_exit(127);
        }
        ::close(output[1]);
        m_output = output[0];
    }

    ~Program()
    {
        if (m_process > 0) {
            static_cast<void>(end(SIGKILL));
        }
        ::close(m_output);
    }
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    [[nodiscard]] std::string line() const
    {
        std::string text;
        for (char byte = 0; ::read(m_output, &byte, 1) == 1 && byte != '\n';) {
            text += byte;
        }
        return text;
    }

    [[nodiscard]] std::string everything() const
    {
        std::string text;
        for (char byte = 0; ::read(m_output, &byte, 1) == 1;) {
            text += byte;
        }
        return text;
    }

    /// Its exit status; -1 when a signal ended it.
    [[nodiscard]] int end(int signalNumber)
    {
        if (signalNumber != 0) {
            ::kill(m_process, signalNumber);
        }
        int status = 0;
        ::waitpid(m_process, &status, 0);
        m_process = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t m_process = -1;
    int m_output = -1;
};

struct Ports
{
    std::uint16_t http = 0;
    std::uint16_t https = 0;
    std::uint16_t discovery = 0;
};

Ports portsOf(const std::string &readyLine)
{
    const auto after = [&readyLine](const std::string &name) {
        const std::size_t found = readyLine.find(", " + name + " ");
        return found == std::string::npos
                   ? std::uint16_t{0}
                   : static_cast<std::uint16_t>(std::stoul(readyLine.substr(found + name.size() + 3)));
    };
    return {after("http"), after("https"), after("discovery")};
}

struct Failure
{
    int status = 0;
    std::string text;
};

Failure failureOf(const std::vector<std::string> &arguments)
{
    Program program(arguments);
    std::string text = program.everything();
    return {program.end(0), std::move(text)};
}

} // namespace

TEST(ProgramTest, SaysWhenItIsReadyAndEndsCleanly)
{
    for (const int signalNumber : {SIGINT, SIGTERM}) {
        const std::string readyFile = testing::TempDir() + "nembra-ready-" + std::to_string(::getpid());
        Program program({"--devices", "3", "--http-port", "0", "--https-port", "0", "--discovery-port", "0",
                         "--https-share", "100", "--ready-file", readyFile});
        const std::string line = program.line();
        const Ports ports = portsOf(line);
        EXPECT_EQ(line, "ready: 3 devices, http " + std::to_string(ports.http) + ", https " +
                            std::to_string(ports.https) + ", discovery " + std::to_string(ports.discovery));
        Wire wire(0x0A4D8002, ports.http);
        wire.send(requestText("GET", "/"));
        EXPECT_EQ(wire.reply().header("Location"),
                  "https://10.77.128.2:" + std::to_string(ports.https) + "/");
        const Listener listener(ports.discovery);
        listener.broadcast(discoveryRequest());
        EXPECT_EQ(listener.collect(3).size(), 3U);
        EXPECT_EQ(program.end(signalNumber), 0);
        std::ifstream ready(readyFile);
        std::string written;
        std::getline(ready, written);
        EXPECT_EQ(written, line);
        EXPECT_EQ(::unlink(readyFile.c_str()), 0);
    }
}

TEST(ProgramTest, TakesAScenarioAndLetsTheCommandLineWin)
{
    const std::string path = testing::TempDir() + "nembra-scenario-" + std::to_string(::getpid()) + ".json";
    std::ofstream(path)
        << R"({"fleet": {"base_address": "10.77.150.1", "http_port": 0, "https_port": 0,)"
        << R"("discovery_port": 0}, "devices": [{}, {}],)"
        << R"("faults": [{"device": 1, "kind": "status", "status": 418, "reason": "Teapot"}]})";
    Program program({"--base-address", "10.77.160.1", "--scenario", path});
    const std::string line = program.line();
    EXPECT_EQ(line.substr(0, 17), "ready: 2 devices,");
    Wire wire(0x0A4DA002, portsOf(line).http);
    wire.send(requestText("GET", "/"));
    EXPECT_EQ(wire.reply().status, 418);
    EXPECT_EQ(Wire(0x0A4D9602, portsOf(line).http).state(), End::Refused);
    EXPECT_EQ(program.end(SIGTERM), 0);
    EXPECT_EQ(::unlink(path.c_str()), 0);
}

TEST(ProgramTest, HelpNamesEveryOption)
{
    const Failure help = failureOf({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char *option :
         {"--devices", "--base-address", "--http-port", "--https-port", "--discovery-port", "--seed",
          "--scenario", "--delay", "--spread", "--loss", "--duplicates", "--https-share", "--journal",
          "--syslog", "--syslog-rate", "--broadcast-answers", "--ready-file", "--lan"}) {
        EXPECT_NE(help.text.find(std::string(option) + " "), std::string::npos) << option;
    }
}

TEST(ProgramTest, MistakesAreNamed)
{
    EXPECT_EQ(failureOf({"--http-port", "99999"}).text,
              "nembra-simulator: --http-port: '99999' isn't a whole number from 0 to 65535\n");
    EXPECT_EQ(failureOf({"--loss", "101"}).text,
              "nembra-simulator: --loss: '101' isn't a number in its range\n");
    EXPECT_EQ(failureOf({"stray"}).status, 2);
    EXPECT_EQ(failureOf({"--no-such-option"}).status, 2);
    const Failure missing = failureOf({"--scenario", "/nonexistent.json"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.text, "nembra-simulator: can't read the scenario /nonexistent.json\n");
}

TEST(ProgramTest, RefusesToStartOutsideAPrivateNetwork)
{
    ASSERT_EQ(unsetenv("NEMBRA_PRIVATE_NETWORK"), 0);
    const Failure refused = failureOf({"--devices", "1", "--http-port", "0", "--https-port", "0"});
    ASSERT_EQ(setenv("NEMBRA_PRIVATE_NETWORK", "1", 1), 0);
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.text.find("this isn't a private network"), std::string::npos) << refused.text;
}
