#pragma once

#include "fleetwindow.h"

/// The cases of the benchmark. Each starts the fleet that it needs and prints its figures.
namespace cases {

/// A whole fleet answers one broadcast within a moment: is every device shown?
void burst(FleetWindow::View view);
/// How long after the last answer of a first scan the last row is painted.
void firstScan(FleetWindow::View view);
/// What an answer costs in a short and in a long list.
void answerCost(FleetWindow::View view);
/// For how long the window doesn't react during a refresh of that many devices.
void stalls(int devices, double bound, FleetWindow::View view);
/// How long a refresh takes, compared with a program that does nothing but ask.
void refreshTime(FleetWindow::View view);
/// The same of 10,000 devices that answer at once.
void readingsTime(FleetWindow::View view);
/// What the user waits for while a refresh runs.
void useInRefresh(FleetWindow::View view);
/// What refreshing by itself costs.
void automaticRefresh(FleetWindow::View view);
/// How the costs of a refresh grow with the fleet; the charts go to `directory`.
void curves(FleetWindow::View view, const QString &directory);
/// What the program holds when it is idle.
void idle(FleetWindow::View view);
/// What it holds after many refreshes.
void endurance(FleetWindow::View view);
/// What it holds minute by minute while it refreshes by itself devices of which half misbehave, beside a full
/// syslog window; at least ten minutes. One line of figures for each minute goes to `tablePath`.
void soak(FleetWindow::View view, int minutes, const QString &tablePath);
/// How long saving the configurations of many devices takes, compared with a program that does nothing else.
void transferTime(FleetWindow::View view);
/// What the program holds while it saves long histories.
void transferMemory(FleetWindow::View view);
/// How long updating the firmware of many devices takes, what it holds, and how the window reacts meanwhile.
void firmwareUpdate(FleetWindow::View view);
/// How the log window keeps up with devices that have much to say, compared with a bare receive loop.
void syslogLoad();
/// What a user waits for in a long list: filtering, sorting, resizing columns.
void listWork(FleetWindow::View view);
/// Painting a list that fills a big screen.
void paint(FleetWindow::View view);
/// From the start of the program to a painted list of known devices.
void startTime(FleetWindow::View view);
/// What startTime() measures, in a process of its own: shows the list in a file, or an empty window if there
/// is no file, and ends.
void runUntilPainted(const QString &deviceList);

} // namespace cases
