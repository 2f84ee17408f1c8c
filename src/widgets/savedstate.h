#pragma once

#include <QFont>

class QByteArray;
class QHeaderView;
class QString;

/// Whether Qt can be trusted with a stored look. QHeaderView and QMainWindow believe every length and index
/// in what they restore: a damaged one takes all the memory, or ends the program at this and every later
/// start.
namespace savedstate {

/// Whether `state` is what QHeaderView::saveState() makes of a horizontal header with that many columns, or
/// with fewer.
[[nodiscard]] bool fitsHeader(const QByteArray &state, int columns);
/// Gives a header its stored size and, if it fits, its stored state; anything else leaves it as it is.
void restoreHeader(QHeaderView *header, const QByteArray &geometry, const QByteArray &state);

/// Whether `state` is what QMainWindow::saveState() makes of a window that has tool bars and no docks.
[[nodiscard]] bool fitsWindow(const QByteArray &state);

/// The font that QFont::toString() described, if one can read it; otherwise the usual one in so many points,
/// or in the usual number of them where that is none.
[[nodiscard]] QFont fontOf(const QString &description, int points, const QFont &usual);

} // namespace savedstate
