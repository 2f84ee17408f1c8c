#pragma once

#include "common/translations.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QTemporaryDir>

#include <memory>

class QNetworkAccessManager;

/// What start-up prepares for the windows, made for one test: an empty settings file and directory of its
/// own. Make one in init() and drop it in cleanup(), after the windows.
class TestEnvironment final
{
public:
    TestEnvironment();
    ~TestEnvironment();
    Q_DISABLE_COPY_MOVE(TestEnvironment)

    /// A path in the test's own directory.
    QString path(const QString &fileName) const;
    /// The INI file behind settings::store(), which writes it when it is synced.
    QString settingsFile() const;

private:
    QTemporaryDir m_directory;
    Translations m_translations;
};

/// The clients whose device is gone, or whose request has ended: the application owns them for the rest of
/// their time. None may outlive a test.
QList<QNetworkAccessManager *> orphanedManagers();

/// Runs a test object with a GUI application, as main() would. Ends with a message where the test is not in a
/// private network, since it may send broadcasts.
int runGuiTest(QObject *test, int argc, char **argv);

#define NEMBRA_GUI_TEST_MAIN(TestClass)                                                                      \
    int main(int argc, char **argv)                                                                          \
    {                                                                                                        \
        TestClass test;                                                                                      \
        return runGuiTest(&test, argc, argv);                                                                \
    }
