#pragma once

#include <QByteArray>
#include <QDate>
#include <QUrl>

class QHttpMultiPart;
class QIODevice;

/// The requests of the operations: addresses and bodies. Pure.
namespace devicerequest {

/// Fetches the configuration; with passwords only if the session has the rights.
[[nodiscard]] QUrl configuration(const QString &baseUrl, bool includePasswords);
/// Takes a configuration, see configurationForm().
[[nodiscard]] QUrl configurationUpload(const QString &baseUrl);
/// The form that brings a configuration to the device. Belongs to the caller.
[[nodiscard]] QHttpMultiPart *configurationForm(const QByteArray &configuration);

/// The form that brings a firmware image into one of a device's buffers, 1 or 2. The image is read while it
/// is sent, and belongs to the form from now on; the form belongs to the caller.
[[nodiscard]] QHttpMultiPart *firmwareForm(int buffer, QIODevice *image);

/// The span of a history, from the beginning of one day to the end of another, local time.
struct HistorySpan
{
    QDate first;
    QDate last;
    qint64 stepSeconds;
};
/// Fetches the history of the sensors as a table.
[[nodiscard]] QUrl history(const QString &baseUrl, const HistorySpan &span);

} // namespace devicerequest
