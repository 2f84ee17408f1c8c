#pragma once

#include <QJsonArray>
#include <QString>

/// The file in which the devices of the list outlive the program: one JSON object for each device, in the
/// order of the rows. What stands in an object is the Device's business. Pure but for the file itself.
namespace devicelistfile {

/// Bytes. Far above any list that the program can write; a longer file is not one.
inline constexpr qint64 maximumSize = 128LL * 1024 * 1024;

/// The elements of the list in a file. None if there is no such file or if it holds anything else: a list
/// that can't be read must not keep the program from starting.
[[nodiscard]] QJsonArray read(const QString &path);
/// The same of what stands in such a file.
[[nodiscard]] QJsonArray decode(const QByteArray &content);

enum class Outcome { Saved, NotOpened, NotWritten };

/// Replaces the file as a whole, or leaves it untouched.
[[nodiscard]] Outcome write(const QString &path, const QJsonArray &devices);

} // namespace devicelistfile
