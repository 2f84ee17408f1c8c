#include "widgets/savedstate.h"

#include "common/settings.h"

#include <QByteArray>
#include <QDataStream>
#include <QHeaderView>
#include <QIODevice>
#include <QVector>

namespace savedstate {

namespace {

constexpr qint32 versionMarker = 0xff;
constexpr qint32 version = 0;

/// Pixels of one section; no screen has more.
constexpr qint32 biggestSection = (1 << 20) - 1;
constexpr qint32 resizeModes = 4;
/// Rows that are looked at to find the width of a column.
constexpr qint32 biggestPrecision = 1000000;

constexpr quint8 dockMarker = 0xfd;
constexpr quint8 toolBarMarker = 0xfc;
constexpr qint32 toolBarAreas = 4;
constexpr qint32 mostToolBars = 16;
/// Bytes of an object name.
constexpr quint32 longestName = 256;

/// Points or pixels. As much as the font dialog offers.
constexpr int biggestFont = 512;

/// Takes values of known limits from a state, and remembers whether all kept to them.
class Reader final
{
public:
    explicit Reader(const QByteArray &state)
        : m_stream(state)
    {
        take(versionMarker, versionMarker);
        take(version, version);
    }

    /// 0 once anything was wrong, so that nothing is counted by a bad number.
    qint32 take(qint32 lowest, qint32 highest)
    {
        qint32 number = 0;
        m_stream >> number;
        m_fits = m_fits && m_stream.status() == QDataStream::Ok && number >= lowest && number <= highest;
        return m_fits ? number : 0;
    }
    quint8 takeByte()
    {
        quint8 byte = 0;
        m_stream >> byte;
        m_fits = m_fits && m_stream.status() == QDataStream::Ok;
        return m_fits ? byte : 0;
    }
    void skip(int bytes) { m_fits = m_fits && m_stream.skipRawData(bytes) == bytes; }
    void require(bool condition) { m_fits = m_fits && condition; }

    bool fits() const { return m_fits; }
    bool isAtTheEnd() const { return m_fits && m_stream.atEnd(); }

private:
    QDataStream m_stream;
    bool m_fits = true;
};

/// A list that holds each of the numbers below its size once.
QVector<qint32> takeOrder(Reader &reader, qint32 most)
{
    const qint32 size = reader.take(0, most);
    QVector<qint32> order(size, 0);
    QVector<bool> seen(size, false);
    for (qint32 i = 0; i < size && reader.fits(); ++i) {
        const qint32 number = reader.take(0, size - 1);
        reader.require(!seen.at(number));
        seen[number] = true;
        order[i] = number;
    }
    return order;
}

/// Returns how many sections there are in it; none as long as nobody moved one.
qint32 takeVisualOrder(Reader &reader, qint32 columns)
{
    const QVector<qint32> visual = takeOrder(reader, columns);
    const QVector<qint32> logical = takeOrder(reader, columns);
    reader.require(visual.size() == logical.size());
    for (qint32 i = 0; i < visual.size() && reader.fits(); ++i) {
        reader.require(logical.at(visual.at(i)) == i);
    }
    return visual.size();
}

/// Returns for how many sections it is known.
qint32 takeHiddenSections(Reader &reader, qint32 columns)
{
    const qint32 bits = reader.take(0, columns);
    const int bitsOfTheLastByte = bits % 8;
    reader.skip(bits / 8);
    // What is behind them in it is zero; Qt takes no other.
    reader.require(bitsOfTheLastByte == 0 || reader.takeByte() >> bitsOfTheLastByte == 0);
    const qint32 sizes = reader.take(0, bits);
    for (qint32 i = 0; i < sizes && reader.fits(); ++i) {
        reader.take(0, bits - 1);
        reader.take(-1, biggestSection);
    }
    return bits;
}

struct Sections
{
    qint32 count = 0;
    qint32 length = 0;
};

Sections takeSections(Reader &reader, qint32 columns)
{
    Sections sections;
    const qint32 records = reader.take(0, columns);
    for (qint32 i = 0; i < records && reader.fits(); ++i) {
        sections.length += reader.take(0, biggestSection);
        // A record may stand for several sections.
        sections.count += reader.take(1, columns);
        reader.take(0, resizeModes - 1);
    }
    return sections;
}

/// What came with later versions of Qt 5, one after the other: a state may end before any of them, and goes
/// on in a way that Qt ignores if it is of a version to come.
void takeLaterAdditions(Reader &reader)
{
    if (!reader.isAtTheEnd()) {
        reader.take(-1, biggestPrecision);
    }
    if (!reader.isAtTheEnd()) {
        // Whether the usual size was chosen.
        reader.skip(1);
    }
    if (!reader.isAtTheEnd()) {
        // The size of the last section before it was stretched.
        reader.take(-1, biggestSection);
    }
}

} // namespace

bool fitsHeader(const QByteArray &state, int columns)
{
    constexpr int switches = 5;
    constexpr qint32 anyAlignment = 0x1ff;
    Reader reader(state);
    reader.take(Qt::Horizontal, Qt::Horizontal);
    reader.take(Qt::AscendingOrder, Qt::DescendingOrder);
    // Behind the last column where all columns came after the header.
    reader.take(-1, columns);
    // Whether the sorted column is marked.
    reader.skip(1);
    const qint32 ordered = takeVisualOrder(reader, columns);
    const qint32 hidable = takeHiddenSections(reader, columns);
    const qint32 length = reader.take(0, columns * biggestSection);
    const qint32 count = reader.take(0, columns);
    reader.skip(switches);
    // How many sections stretch, and how many follow their content.
    reader.take(0, columns);
    reader.take(0, columns);
    // The usual size of a section, which those get that came later, and the smallest one.
    reader.take(0, biggestSection);
    reader.take(-1, biggestSection);
    reader.take(0, anyAlignment);
    reader.take(0, resizeModes - 1);
    const Sections sections = takeSections(reader, columns);
    reader.require(sections.length == length && sections.count == count);
    reader.require((ordered == 0 || ordered == count) && hidable <= count);
    takeLaterAdditions(reader);
    return reader.fits();
}

void restoreHeader(QHeaderView *header, const QByteArray &geometry, const QByteArray &state)
{
    header->restoreGeometry(geometry);
    if (fitsHeader(state, header->count())) {
        header->restoreState(state);
    }
}

bool fitsWindow(const QByteArray &state)
{
    constexpr int centralSizeAndCorners = 6 * 4;
    constexpr int placeOfAToolBar = 17;
    Reader reader(state);
    reader.require(reader.takeByte() == dockMarker);
    reader.take(0, 0);
    reader.skip(centralSizeAndCorners);
    reader.require(reader.takeByte() == toolBarMarker);
    const qint32 lines = reader.take(0, mostToolBars);
    for (qint32 line = 0; line < lines && reader.fits(); ++line) {
        reader.take(0, toolBarAreas - 1);
        const qint32 toolBars = reader.take(0, mostToolBars);
        for (qint32 i = 0; i < toolBars && reader.fits(); ++i) {
            reader.skip(reader.take(0, longestName));
            reader.skip(placeOfAToolBar);
        }
    }
    return reader.isAtTheEnd();
}

QFont fontOf(const QString &description, int points, const QFont &usual)
{
    QFont font = usual;
    font.setPointSize(points > 0 && points <= biggestFont ? points : settings::listFontSize.fallback);
    QFont described = font;
    if (description.isEmpty() || !described.fromString(description)) {
        return font;
    }
    const int size = described.pixelSize() > 0 ? described.pixelSize() : described.pointSize();
    return size > 0 && size <= biggestFont ? described : font;
}

} // namespace savedstate
