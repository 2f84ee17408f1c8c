#pragma once

#include <QString>
#include <QUrl>

/// The handbook for users.
namespace handbook {

/// The page in a language such as "de" that was installed with the program in `programDirectory`, or else the
/// English one. The maker's page in the web where none was: a program that wasn't installed has none.
QUrl url(const QString &programDirectory, const QString &language);

} // namespace handbook
