#include "platform/files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <string>
#include <windows.h>

namespace {

/// Absolute and without the limit of 260 characters.
std::wstring longPath(const QString &path)
{
    const QString absolute = QDir::toNativeSeparators(QFileInfo(path).absoluteFilePath());
    const bool isOnAServer = absolute.startsWith(QLatin1String("\\\\"));
    return ((isOnAServer ? QLatin1String("\\\\?\\UNC") : QLatin1String("\\\\?\\")) +
            absolute.mid(isOnAServer ? 1 : 0))
        .toStdWString();
}

} // namespace

bool isFileName(const QString &name)
{
    // A colon would name a stream of another file, and the names of devices mean these in every directory and
    // with every suffix. Blanks and dots at the end are dropped, so that the file has another name.
    static const QRegularExpression impossible(
        QStringLiteral("[\\x{0}-\\x{1F}<>:\"/\\\\|?*]|[ .]$|^(con|prn|aux|nul|conin\\$|conout\\$"
                       "|(com|lpt)[0-9\\x{B9}\\x{B2}\\x{B3}]) *(\\.|$)"),
        QRegularExpression::CaseInsensitiveOption);
    return !name.isEmpty() && !name.contains(impossible);
}

bool syncFile(const QFile &file)
{
    // QFile::handle() would take one of the few numbers of the C library each time, and never give it back.
    // Which handle of the file is asked makes no difference.
    const HANDLE handle = CreateFileW(longPath(file.fileName()).c_str(), GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, 0, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        return false;
    }
    const bool isSynced = FlushFileBuffers(handle) != 0;
    CloseHandle(handle);
    return isSynced;
}

bool linkFile(const QString &file, const QString &secondName)
{
    return CreateHardLinkW(longPath(secondName).c_str(), longPath(file).c_str(), nullptr) != 0;
}

bool replaceFile(const QString &from, const QString &to)
{
    // A virus scanner or an indexer may look into a new file, and Windows refuses as long.
    constexpr int retries = 10;
    constexpr DWORD pause = 20; // milliseconds
    for (int retry = 0;; ++retry) {
        if (MoveFileExW(longPath(from).c_str(), longPath(to).c_str(),
                        MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0) {
            return true;
        }
        const DWORD error = GetLastError();
        const bool mayPass = error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED;
        if (!mayPass || retry == retries || QFileInfo(to).isDir()) {
            return false;
        }
        Sleep(pause);
    }
}

void syncDirectory(const QString & /*path*/)
{
    // The name is on the disk when replaceFile() returns.
}
