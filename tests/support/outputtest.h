#pragma once

#include "operations/outputfile.h"
#include "testdirectory.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

/// For tests of OutputFile: a directory for the files, inside one that shows what goes astray.
class OutputTest : private TestDirectory
{
public:
    static constexpr int megabyte = 1024 * 1024;
    static const QString mac;
    static const QString usualHostname;
    /// Of the file of that host name and of answerTime().
    static const QString usualName;
    /// everything() when there is no file.
    static const QStringList nothing;

    /// 3 March 2021, 09:05:07 UTC.
    static QDateTime answerTime();
    static OutputName nameOf(const QString &hostname);
    /// everything() when there is one file.
    static QStringList nothingBut(const QString &name);

    void begin();
    using TestDirectory::end;

    QString directory() const { return rootPath(QStringLiteral("out")); }
    QString path(const QString &name) const { return directory() + QLatin1Char('/') + name; }
    QByteArray content(const QString &name) const;
    void put(const QString &name, const QByteArray &content) const;

    /// Of a name beside the directory.
    QString rootPath(const QString &name) const { return TestDirectory::path(name); }
    void putInRoot(const QString &name, const QByteArray &content) const;
    /// All that there is, the surroundings of the directory included.
    using TestDirectory::everything;

    /// Whether a directory is refused, and nothing written in it or elsewhere.
    void verifyRefusal(const QString &directory) const;
};
