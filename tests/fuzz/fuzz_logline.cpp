#include "common/plainline.h"
#include "fuzztarget.h"
#include "syslog/logmessage.h"

#include <QList>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    constexpr qint64 time = 1614762307000;
    constexpr int longestShownLine = 2048;
    const auto *const datagram = reinterpret_cast<const char *>(data);
    const LogMessage message = LogMessage::of(time, datagram, static_cast<qint64>(size));
    require(message.text == QByteArray(datagram, static_cast<int>(size)).split('\0').first(),
            "a message goes up to its first zero byte");
    LineMaker maker;
    const QString line = maker.lineOf(message);
    require(line == maker.lineOf(message), "a line is the same the second time");
    require(line.endsWith(QString::fromUtf8(message.text)), "nothing of a message is lost");
    const QString shown = plainLine(line, longestShownLine);
    require(shown.size() <= longestShownLine, "what is shown of a line is bounded");
    for (const QChar character : shown) {
        require(character.category() != QChar::Other_Control, "what is shown is one line");
    }
    return 0;
}
