#pragma once

class QString;
class QWidget;

/// Message boxes that show their text as it is. What stands in them may come from the network, where a host
/// name can hold markup that would take the machine's memory. Modal; with an empty title.
namespace PlainMessageBox {

/// Shows an error until the user presses OK.
void critical(QWidget *parent, const QString &text);
/// Asks, and returns whether the user answered Yes.
[[nodiscard]] bool question(QWidget *parent, const QString &text);
/// The same about something dangerous, with the sign of an error.
[[nodiscard]] bool criticalQuestion(QWidget *parent, const QString &text);

} // namespace PlainMessageBox
