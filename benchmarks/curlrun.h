#pragma once

#include <QTemporaryDir>

#include <memory>

/// The reference for everything that asks many devices: curl, which does nothing else, with 300 requests at a
/// time.
class CurlRun final
{
public:
    /// The information query of so many devices.
    [[nodiscard]] static CurlRun queries(int devices);
    /// A download from each of so many devices, each into a file of its own.
    [[nodiscard]] static CurlRun downloads(int devices, const QString &path);
    /// A firmware image to each of so many devices.
    [[nodiscard]] static CurlRun firmwareUploads(int devices, const QString &image);

    /// Runs the event loop until curl has ended; the milliseconds that it took. Gives up the benchmark when
    /// it fails.
    double run() const;

private:
    CurlRun();
    /// `bitsOfBlock`: addresses that differ in these bits at most share their options.
    void prepare(int devices, const QString &path, const QString &options, quint32 bitsOfBlock);

    std::unique_ptr<QTemporaryDir> m_directory;
};
