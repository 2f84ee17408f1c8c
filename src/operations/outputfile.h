#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QFile>
#include <QString>

/// Whose file it is, and of what kind.
struct OutputName
{
    /// Taken as it is, whatever the device chose to be called.
    QString hostname;
    /// "0E:5A:11:A1:B2:C3".
    QString mac;
    /// With its dot.
    QString suffix;

    /// "lab-sensor-0E5A11A1B2C3-20210303-090507.qini". `time`: UTC.
    [[nodiscard]] QString at(const QDateTime &time) const;
    /// Whether the system takes that for the name of a file, so that it stays in its directory.
    [[nodiscard]] bool isOfAFile() const;
};

/// A file that arrives piece by piece and is either whole or absent: it is written beside its place, under a
/// name of its own, and gets its name in the end. What there was under that name is replaced. Not committed,
/// it goes with this object.
class OutputFile final
{
public:
    /// Nothing is created before the first piece, and nothing at all if the name can't be a file's or would
    /// lead out of the directory.
    OutputFile(const QString &directory, const OutputName &name);
    ~OutputFile();
    Q_DISABLE_COPY_MOVE(OutputFile)

    /// Removes from a directory what processes of this computer that are gone have not finished.
    static void removeLeftovers(const QString &directory);

    /// Appends a piece. After a failure, such as a full disk, nothing further is written.
    void write(const QByteArray &piece);
    /// Whether everything so far was written.
    bool isGood() const { return m_good; }
    /// The first bytes of what was written.
    QByteArray head(qint64 maximum);
    /// Hands everything so far to the system. False if anything was not written.
    bool flush();
    /// Has the system put everything so far on the disk, so that it outlasts a loss of power as well, and
    /// later its name. Takes its time: not for the GUI thread. False if anything was not written.
    [[nodiscard]] bool sync();
    /// Gives the file its name. `time`: UTC. False if anything was not written; then no file is there.
    [[nodiscard]] bool commit(const QDateTime &time);

private:
    bool create();

    const QString m_directory;
    const OutputName m_name;
    QFile m_file;
    bool m_good;
    bool m_outlastsPowerLoss = false;
};
