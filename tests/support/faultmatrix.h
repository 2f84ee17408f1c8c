#pragma once

#include "fleet.h"

#include <QString>

#include <optional>
#include <vector>

/// What each request must come to at a device. What a cell says begins with "hangs, " where only the user or
/// the give-up age ends it.
struct MatrixCells
{
    /// The cell "Status" of the list.
    QString query;
    /// All that is told of the login, and whether there is a session: "Wrong login, no session".
    QString login;
    /// The row of the dialog, and the file that came of it: "Finished, its own".
    QString download;
    QString upload;
    QString history;
    /// The last message of an update that meets the fault when it saves the configuration, and in any other
    /// step; an error of the network without the address behind it.
    QString save;
    QString update;
};

/// A way in which a device misbehaves.
struct MatrixFault
{
    const char *name;
    /// Null for a device that only is as its options say.
    std::optional<simulator::Fault> fault;
    MatrixCells cells;
    simulator::DeviceOptions options{};
    bool isOverHttps = false;
};

/// Where a location leads that nobody may go to: at the neighbour of a device.
inline constexpr const char *neighbour = "10.77.128.2";
inline constexpr const char *forbiddenPath = "elsewhere";

/// All faults that the simulator knows, in every place that makes a difference.
const std::vector<MatrixFault> &matrixFaults();
/// Whether the fault meets connections and not requests.
bool meetsConnections(const simulator::Fault &fault);
