#include "fuzztarget.h"
#include "operations/outputfile.h"

#include <QDir>
#include <QFileInfo>

// A host name as a device may send it: into which file would it write?
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<int>(size));
    for (const QString &hostname : {QString::fromUtf8(bytes), QString::fromLatin1(bytes)}) {
        const OutputName name{hostname, QStringLiteral("0E:5A:11:A1:B2:C3"), QStringLiteral(".qini")};
        if (!name.isOfAFile()) {
            continue;
        }
        const QString file = name.at(QDateTime::fromSecsSinceEpoch(1614762307, Qt::UTC));
        const QByteArray path = QFile::encodeName(QLatin1String("/directory/") + file);
        require(path.startsWith("/directory/") && path.count('/') == 2, "a file stays in its directory");
        require(!path.contains('\0'), "a path ends where it seems to");
        require(path.endsWith("-0E5A11A1B2C3-20210303-090507.qini"), "a file keeps its suffix");
    }
    return 0;
}
