#include "common/handbook.h"

#include <QDir>
#include <QFileInfo>

namespace {

const QLatin1String webPage("https://www.ostrel.example/nembrahub/tutorial");

} // namespace

QUrl handbook::url(const QString &programDirectory, const QString &language)
{
    // As Unix has it, and as Windows has it.
    for (const QLatin1String place :
         {QLatin1String("../share/doc/nembrahub/handbook"), QLatin1String("handbook")}) {
        const QDir directory(programDirectory + QLatin1Char('/') + place);
        for (const QString &known : {language, QStringLiteral("en")}) {
            const QFileInfo page(
                directory.filePath(QLatin1String("nembrahub-handbook-") + known + QLatin1String(".html")));
            if (page.isFile()) {
                return QUrl::fromLocalFile(QDir::cleanPath(page.absoluteFilePath()));
            }
        }
    }
    return QUrl(webPage);
}
