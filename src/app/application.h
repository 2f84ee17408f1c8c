#pragma once

#include <QString>

class QCoreApplication;
class SingleApplication;

/// The steps of start-up that come after the application object is made.
namespace startup {

/// What the command line says.
struct Arguments
{
    /// The settings file; empty for the user's own.
    QString configFile;
    /// The file of known devices.
    QString devicesFile;
};

/// Tells settings, windows and packages who the program is.
void setIdentity();
/// Reads the command line; an unknown option ends the process with a message. Makes the directory of the
/// usual devices file if that one is used.
[[nodiscard]] Arguments parseArguments(const QCoreApplication &application);
/// Shows a main window and runs the event loop; once more with empty settings for as long as the user resets
/// them. Returns the exit code.
[[nodiscard]] int runMainWindow(SingleApplication &application, const QString &devicesFile);

} // namespace startup
