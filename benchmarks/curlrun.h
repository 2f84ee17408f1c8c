#pragma once

#include <QTemporaryDir>

/// curl, asking every device of the fleet for its readings at once. The reference for what a refresh costs.
class CurlRun final
{
public:
    explicit CurlRun(int devices);

    /// Runs the event loop until curl has ended; the milliseconds that it took. Gives up the benchmark when
    /// it fails.
    double run() const;

private:
    QTemporaryDir m_directory;
};
