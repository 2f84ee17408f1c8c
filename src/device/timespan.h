#pragma once

#include <QMetaType>
#include <QString>

/// How long a device has been up, as it reports it. A value; no field is normalised or checked.
struct Timespan
{
    qint32 days = 0;
    qint32 hours = 0;
    qint32 minutes = 0;
    qint32 seconds = 0;

    /// "12d 3h 4m 5s"
    QString toString() const;

    /// Lets a QVariant that holds a Timespan compare and convert to text. Once per process, at start-up; the
    /// converter goes when the process ends.
    static void registerMetaType();
};

bool operator==(const Timespan &left, const Timespan &right);
bool operator<(const Timespan &left, const Timespan &right);

Q_DECLARE_METATYPE(Timespan)
