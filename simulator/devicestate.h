#pragma once

#include "datagram.h"
#include "faultlist.h"
#include "fleet.h"
#include "templateengine.h"

#include <array>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace simulator {

/// What a sensor shows at a time (seconds since 1970). `salt` keeps sensors of one kind apart.
[[nodiscard]] std::string sensorText(const Sensor &sensor, std::uint64_t salt, double time, int decimals);

/// One device: who it is, what it measures, who is logged in, what lies in its buffers. Belongs to the fleet
/// and is touched by the fleet's thread only.
class DeviceState final : public TemplateValues
{
public:
    enum class Passwords { Without, With };

    /// Makes up whatever `options` leaves open.
    DeviceState(int index, DeviceOptions options, const FleetOptions &fleet);

    [[nodiscard]] int index() const { return m_index; }
    [[nodiscard]] const DeviceOptions &options() const { return m_options; }
    void setOptions(DeviceOptions options);
    [[nodiscard]] Address address() const { return *m_options.address; }
    [[nodiscard]] DeviceInfo info() const;

    /// Neither restarting nor switched off.
    [[nodiscard]] bool isOnline() const { return m_powered && !m_restarting; }
    [[nodiscard]] bool isRestarting() const { return m_restarting; }
    void setPowered(bool on);
    void beginRestart() { m_restarting = true; }
    void endRestart();

    /// The bytes of an answer to a discovery request.
    [[nodiscard]] std::string answer() const;
    /// Whether the next copy of a request gets no answer.
    [[nodiscard]] bool losesNextRequest();
    /// Remembers an order's network settings; they count from the end of the next restart.
    void applyAtRestart(const Datagram &order) { m_pendingOrder = order; }

    /// The cookie of a new session, or nothing when the credentials are wrong.
    [[nodiscard]] std::optional<std::string> logIn(const std::string &user, const std::string &password);
    /// Null without a session. Valid until the options change.
    [[nodiscard]] const User *userOf(const std::string &cookie) const;
    void dropSessions() { m_sessions.clear(); }

    [[nodiscard]] std::string configuration(Passwords passwords) const;
    void loadConfiguration(std::string document);
    /// `buffer` is 1 or 2.
    void storeFirmware(int buffer, const std::string &image);
    /// Restarts with it later. False when the buffer is empty.
    [[nodiscard]] bool activateFirmware(int buffer);

    /// The device's own clock, seconds since 1970.
    [[nodiscard]] double clock() const;
    [[nodiscard]] std::uint64_t sensorSalt(int row) const;

    /// Whose eyes the template is filled for; null is a visitor who isn't logged in.
    void setViewer(const User *viewer) { m_viewer = viewer; }
    [[nodiscard]] int rowCount(std::string_view table) const override;
    [[nodiscard]] std::optional<std::string> value(std::string_view name, std::string_view table,
                                                   int row) const override;

    FaultList faults;

private:
    void makeUpNetwork(const FleetOptions &fleet);
    void makeUpPlace();
    void makeUpSensors();
    void applyOrder(const Datagram &order);
    [[nodiscard]] std::uint64_t random(std::uint64_t purpose) const;
    [[nodiscard]] std::optional<std::string> sensorValue(std::string_view name, int row) const;
    [[nodiscard]] std::optional<std::string> interfaceValue(std::string_view name, int row) const;
    [[nodiscard]] std::optional<std::string> systemValue(std::string_view name) const;
    [[nodiscard]] std::optional<std::string> timeValue(std::string_view name) const;

    int m_index;
    std::uint64_t m_seed;
    DeviceOptions m_options;
    Address m_dhcpAddress = 0;
    Address m_dhcpNetmask = 0;
    Address m_dhcpGateway = 0;
    bool m_powered = true;
    bool m_restarting = false;
    int m_restarts = 0;
    std::uint64_t m_requestCopies = 0;
    std::uint64_t m_logins = 0;
    std::optional<Datagram> m_pendingOrder;
    std::chrono::steady_clock::time_point m_startedAt;
    /// From cookie to name of user.
    std::map<std::string, std::string> m_sessions;
    int m_configurationUploads = 0;
    int m_activeBuffer = 1;
    int m_nextBuffer = 0;
    std::array<std::uint64_t, 2> m_bufferSizes{};
    std::array<std::string, 2> m_bufferVersions;
    const User *m_viewer = nullptr;
};

} // namespace simulator
