#pragma once

class QFile;
class QString;

/// What the toolkit doesn't offer for files, and systems do in different ways.

/// Whether the system takes that for the name of one new file in the directory, going by its text alone.
[[nodiscard]] bool isFileName(const QString &name);

/// Has the system put on the disk what was written to an open file, after what the file itself still holds
/// was flushed. Takes its time. False if it failed.
[[nodiscard]] bool syncFile(const QFile &file);

/// Gives a file a second name in its directory, which takes no room. False if there is such a name already,
/// or if the disk knows nothing of the kind.
[[nodiscard]] bool linkFile(const QString &file, const QString &secondName);

/// Gives a file another name in its directory, in one step: whoever looks at that name finds the old file or
/// the new one, whole. Neither may be open (Windows refuses that). False if it failed; then both are as they
/// were.
[[nodiscard]] bool replaceFile(const QString &from, const QString &to);

/// After replaceFile(): so that the names in the directory outlast a loss of power, too. Some file systems
/// know nothing of the kind.
void syncDirectory(const QString &path);
