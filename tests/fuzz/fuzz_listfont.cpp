#include "fuzztarget.h"
#include "offscreen.h"
#include "widgets/savedstate.h"

#include <QFont>
#include <QString>

// The description of a font as it stands in the settings file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    startOffscreen<QGuiApplication>();
    constexpr int biggest = 512;
    const QString description =
        QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<int>(size));
    for (const int points : {9, 0, -1, 100000}) {
        const QFont font = savedstate::fontOf(description, points, QFont());
        const int shown = font.pixelSize() > 0 ? font.pixelSize() : font.pointSize();
        require(shown > 0 && shown <= biggest, "a font can be read");
        require(font.weight() >= 0 && font.weight() <= 99, "a font has a weight");
        QFont again;
        require(again.fromString(font.toString()), "a font is stored as it can be read");
    }
    return 0;
}
