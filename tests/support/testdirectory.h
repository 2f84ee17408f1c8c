#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

/// Everything that is in a directory and below it, hidden files and dangling links included.
QStringList everythingBelow(const QString &directory);

/// A directory for one function of a test, or one of its rows: empty from begin() to the first file that the
/// test puts there, gone after end().
class TestDirectory
{
public:
    void begin();
    void end();

    /// Of the directory, or of a name in it.
    QString path(const QString &name = QString()) const;
    void put(const QString &name, const QByteArray &content) const;
    QByteArray content(const QString &name) const;
    QStringList everything() const { return everythingBelow(path()); }

private:
    std::unique_ptr<QTemporaryDir> m_directory;
};
