#include "common/settings.h"
#include "testenvironment.h"
#include "widgets/fileselectorwidget.h"

#include <QAccessible>
#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>
#include <QtTest>

#include <memory>

namespace {

const QString neutral = QStringLiteral("QLineEdit { }");
const QString red = QStringLiteral("QLineEdit { background: rgb(255, 0, 0); }");
const QString key = QStringLiteral("FirmwareDirectory");

/// Deals with the next file dialogs: notes how each came up, and answers it, as long as it lives.
class FileDialogUser final : public QObject
{
public:
    /// Cancels where `choice` is empty, else types it and accepts.
    explicit FileDialogUser(QString choice)
        : m_choice(std::move(choice))
    {
        connect(&m_timer, &QTimer::timeout, this, &FileDialogUser::look);
        m_timer.start(5);
    }
    int count() const { return m_count; }
    QString title() const { return m_title; }
    QString directory() const { return m_directory; }
    QStringList nameFilters() const { return m_nameFilters; }
    QFileDialog::FileMode mode() const { return m_mode; }
    QFileDialog::Options options() const { return m_options; }
    bool belongsTo(const QWidget *widget) const { return m_parent == widget; }

private:
    void look()
    {
        auto *const dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
        if (!dialog) {
            return;
        }
        ++m_count;
        m_title = dialog->windowTitle();
        m_directory = dialog->directory().absolutePath();
        m_nameFilters = dialog->nameFilters();
        m_mode = dialog->fileMode();
        m_options = dialog->options();
        m_parent = dialog->parentWidget();
        if (m_choice.isEmpty()) {
            dialog->reject();
            return;
        }
        dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(m_choice);
        QMetaObject::invokeMethod(dialog, "accept");
        if (dialog->isVisible()) {
            // It doesn't take the choice.
            dialog->reject();
        }
    }

    const QString m_choice;
    int m_count = 0;
    QString m_title;
    QString m_directory;
    QStringList m_nameFilters;
    QFileDialog::FileMode m_mode = QFileDialog::AnyFile;
    QFileDialog::Options m_options;
    const QWidget *m_parent = nullptr;
    QTimer m_timer;
};

} // namespace

class TestFileSelectorWidget : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void looksAsDesigned();
    void startsEmptyAndRed();
    void tellsUsablePaths_data();
    void tellsUsablePaths();
    void followsWhatChangesOnDisk();
    void followsItsOptions();
    void announcesEachChange();
    void announcesAPathThatIsChecked();

    void remembersNothingWithoutAKey();
    void loadsTheStoredPlace_data();
    void loadsTheStoredPlace();
    void ignoresAnEmptyKey();

    void picksAFile();
    void picksADirectory();
    void keepsALinkToADirectory();
    void picksWithoutAKey();
    void changesNothingWhenCancelled_data();
    void changesNothingWhenCancelled();
    void announcesAChoiceOfTheSamePath();
    void startsWhereThePathLeads();
    void startsAtTheStoredPlaceWhenEmpty();
    void remembersThePlaceForTheNextBrowse();

    void takesTheFocusForItsLineEdit();
    void isNamedByItsCaption();
    void leadsFromTheLineToTheButton();
    void leavesReturnToTheDialog();

private:
    QString inPlaces(const QString &name) const;
    QString inPlaces(const char *name) const { return inPlaces(QString::fromUtf8(name)); }
    QLineEdit *lineEdit() const { return m_widget->findChild<QLineEdit *>(QStringLiteral("lineEdit")); }
    QPushButton *button() const { return m_widget->findChild<QPushButton *>(QStringLiteral("pushButton")); }
    QString style() const { return lineEdit()->styleSheet(); }
    QVariant stored() const { return settings::store().value(key); }

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<FileSelectorWidget> m_widget;
};

QString TestFileSelectorWidget::inPlaces(const QString &name) const
{
    return m_environment->path(QStringLiteral("places/") + name);
}

void TestFileSelectorWidget::init()
{
    m_environment = std::make_unique<TestEnvironment>();
    m_widget = std::make_unique<FileSelectorWidget>();
    QVERIFY(QDir().mkpath(inPlaces("with blanks")));
    QVERIFY(QDir().mkpath(inPlaces("Prüfstände ß 検")));
    for (const char *const name :
         {"image.bin", "with blanks/an image.bin", "Prüfstände ß 検/Gerät.bin", "no extension", ".hidden"}) {
        QFile file(inPlaces(name));
        QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(file.fileName()));
        file.write("x");
    }
    QVERIFY(QFile::link(inPlaces("nowhere"), inPlaces("dangling link")));
    QVERIFY(QFile::link(inPlaces("with blanks"), inPlaces("link to a directory")));
    QVERIFY(QFile::link(inPlaces("image.bin"), inPlaces("link to a file")));
    QVERIFY(QFile::link(inPlaces("endless link"), inPlaces("endless link")));
}

void TestFileSelectorWidget::cleanup()
{
    m_widget.reset();
    m_environment.reset();
}

void TestFileSelectorWidget::looksAsDesigned()
{
    const auto *const layout = qobject_cast<QHBoxLayout *>(m_widget->layout());
    QVERIFY(layout);
    QCOMPARE(layout->objectName(), QStringLiteral("horizontalLayout"));
    QCOMPARE(layout->count(), 2);
    QCOMPARE(layout->itemAt(0)->widget(), lineEdit());
    QCOMPARE(layout->itemAt(1)->widget(), button());
    QCOMPARE(button()->text(), QStringLiteral("Search"));
    QCOMPARE(m_widget->windowTitle(), QStringLiteral("Form"));
}

void TestFileSelectorWidget::startsEmptyAndRed()
{
    QCOMPARE(m_widget->text(), QString());
    QCOMPARE(style(), red);
    QCOMPARE(m_widget->validate(), false);
}

void TestFileSelectorWidget::tellsUsablePaths_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("asFile");
    QTest::addColumn<bool>("asDirectory");
    // Below a directory of the test.
    QTest::newRow("a file") << "image.bin" << true << false;
    QTest::newRow("a directory") << "with blanks" << false << true;
    QTest::newRow("a directory with a slash") << "with blanks/" << false << true;
    QTest::newRow("a file with a slash") << "image.bin/" << false << false;
    QTest::newRow("nothing there") << "nothing" << false << false;
    QTest::newRow("nothing there, in no directory") << "no/thing" << false << false;
    QTest::newRow("a file with blanks") << "with blanks/an image.bin" << true << false;
    QTest::newRow("a file with umlauts") << QStringLiteral("Prüfstände ß 検/Gerät.bin") << true << false;
    QTest::newRow("a directory with umlauts") << QStringLiteral("Prüfstände ß 検") << false << true;
    QTest::newRow("a hidden file") << ".hidden" << true << false;
    QTest::newRow("a file without an extension") << "no extension" << true << false;
    QTest::newRow("a link to nothing") << "dangling link" << false << false;
    QTest::newRow("a link to a directory") << "link to a directory" << false << true;
    QTest::newRow("a link to a file") << "link to a file" << true << false;
    QTest::newRow("a link to itself") << "endless link" << false << false;
    QTest::newRow("by way of a link") << "link to a directory/an image.bin" << true << false;
    QTest::newRow("by way of the parent") << "with blanks/../image.bin" << true << false;
    QTest::newRow("in another case") << "IMAGE.BIN" << false << false;
    QTest::newRow("a blank behind it") << "image.bin " << false << false;
    // Absolute ones.
    QTest::newRow("the root") << "/" << false << true;
    QTest::newRow("a device") << "/dev/null" << false << false;
    QTest::newRow("an address") << "file:///dev" << false << false;
    QTest::newRow("a pattern") << "/*" << false << false;
    QTest::newRow("a blank") << "/ " << false << false;
    QTest::newRow("very long") << QStringLiteral("/") + QString(10000, QLatin1Char('x')) << false << false;
    QTest::newRow("a zero inside") << QStringLiteral("/dev") + QChar(0) << false << false;
    QTest::newRow("a relative one") << "./no such thing" << false << false;
    QTest::newRow("the working directory") << "./" << false << true;
}

void TestFileSelectorWidget::tellsUsablePaths()
{
    QFETCH(QString, name);
    const bool isWhole = name.startsWith(QLatin1Char('/')) || name.startsWith(QLatin1String("./")) ||
                         name.contains(QLatin1Char(':'));
    const QString path = isWhole ? name : inPlaces(name);
    for (const bool allowEmpty : {false, true}) {
        for (const bool selectDirectory : {false, true}) {
            m_widget->setAllowEmpty(allowEmpty);
            m_widget->setSelectDirectory(selectDirectory);
            QFETCH(bool, asFile);
            QFETCH(bool, asDirectory);
            const bool usable = selectDirectory ? asDirectory : asFile;
            m_widget->setText(path);
            QCOMPARE(m_widget->text(), path);
            QCOMPARE(style(), usable ? neutral : red);
            QCOMPARE(m_widget->validate(), usable);
            QCOMPARE(style(), usable ? neutral : red);
            // Whatever is allowed: only the empty one is empty.
            m_widget->setText(QString());
            QCOMPARE(style(), allowEmpty ? neutral : red);
            QCOMPARE(m_widget->validate(), allowEmpty);
        }
    }
}

void TestFileSelectorWidget::followsWhatChangesOnDisk()
{
    const QString file = inPlaces("later.bin");
    m_widget->setText(file);
    QCOMPARE(style(), red);
    QVERIFY(QFile::copy(inPlaces("image.bin"), file));
    QCOMPARE(m_widget->validate(), true);
    QCOMPARE(style(), neutral);
    QVERIFY(QFile::remove(file));
    QCOMPARE(m_widget->validate(), false);
    QCOMPARE(style(), red);
}

void TestFileSelectorWidget::followsItsOptions()
{
    m_widget->setAllowEmpty(true);
    QCOMPARE(style(), neutral);
    m_widget->setAllowEmpty(false);
    QCOMPARE(style(), red);
    m_widget->setText(inPlaces("with blanks"));
    QCOMPARE(style(), red);
    m_widget->setSelectDirectory(true);
    QCOMPARE(style(), neutral);
    m_widget->setSelectDirectory(false);
    QCOMPARE(style(), red);
}

void TestFileSelectorWidget::announcesEachChange()
{
    QSignalSpy changes(m_widget.get(), &FileSelectorWidget::textChanged);
    m_widget->setText(QStringLiteral("/dev"));
    QCOMPARE(changes.count(), 1);
    QCOMPARE(changes.takeFirst(), QVariantList{QStringLiteral("/dev")});
    m_widget->setText(QStringLiteral("/dev"));
    QCOMPARE(changes.count(), 0);
    QTest::keyClicks(lineEdit(), QStringLiteral("/x"));
    QCOMPARE(changes.count(), 2);
    QCOMPARE(changes.at(1), QVariantList{QStringLiteral("/dev/x")});
    m_widget->validate();
    QCOMPARE(changes.count(), 2);
}

void TestFileSelectorWidget::announcesAPathThatIsChecked()
{
    FileSelectorWidget selector;
    QString seen;
    connect(&selector, &FileSelectorWidget::textChanged, this, [&selector, &seen] {
        seen = selector.findChild<QLineEdit *>(QStringLiteral("lineEdit"))->styleSheet();
    });
    selector.setText(inPlaces("image.bin"));
    QCOMPARE(seen, neutral);
    selector.setText(inPlaces("nothing"));
    QCOMPARE(seen, red);
}

void TestFileSelectorWidget::remembersNothingWithoutAKey()
{
    m_widget->setText(inPlaces("image.bin"));
    QCOMPARE(settings::store().allKeys(), QStringList());
}

void TestFileSelectorWidget::loadsTheStoredPlace_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QString>("fallback");
    QTest::addColumn<QString>("text");
    QTest::newRow("a place") << QVariant(QStringLiteral("/dev")) << QStringLiteral("/etc")
                             << QStringLiteral("/dev");
    QTest::newRow("nothing stored") << QVariant() << QStringLiteral("/etc") << QStringLiteral("/etc");
    QTest::newRow("nothing at all") << QVariant() << QString() << QString();
    QTest::newRow("an empty text") << QVariant(QString()) << QStringLiteral("/etc") << QString();
    QTest::newRow("a number") << QVariant(7) << QString() << QStringLiteral("7");
    QTest::newRow("a list") << QVariant(QStringList{QStringLiteral("/a"), QStringLiteral("/b")}) << QString()
                            << QString();
}

void TestFileSelectorWidget::loadsTheStoredPlace()
{
    QFETCH(QVariant, stored);
    QFETCH(QString, fallback);
    if (stored.isValid()) {
        settings::store().setValue(key, stored);
    }
    m_widget->setSelectDirectory(true);
    m_widget->setSettingsKey(key, fallback);
    QTEST(m_widget->text(), "text");
    // Loading stores nothing.
    QCOMPARE(settings::store().contains(key), stored.isValid());
}

void TestFileSelectorWidget::ignoresAnEmptyKey()
{
    m_widget->setText(QStringLiteral("/dev"));
    m_widget->setSettingsKey(QString(), QStringLiteral("/etc"));
    QCOMPARE(m_widget->text(), QStringLiteral("/dev"));
}

void TestFileSelectorWidget::picksAFile()
{
    m_widget->setSettingsKey(key);
    m_widget->setCaption(QStringLiteral("Choose an image"));
    m_widget->setFilter(QStringLiteral("Images (*.bin);;All (*)"));
    m_widget->setText(inPlaces("image.bin"));
    const FileDialogUser user(inPlaces("with blanks/an image.bin"));
    QSignalSpy changes(m_widget.get(), &FileSelectorWidget::textChanged);
    QTest::mouseClick(button(), Qt::LeftButton);
    QCOMPARE(user.count(), 1);
    QCOMPARE(user.title(), QStringLiteral("Choose an image"));
    QCOMPARE(user.nameFilters(), (QStringList{QStringLiteral("Images (*.bin)"), QStringLiteral("All (*)")}));
    QCOMPARE(user.mode(), QFileDialog::ExistingFile);
    QVERIFY(user.belongsTo(m_widget.get()));
    QCOMPARE(m_widget->text(), inPlaces("with blanks/an image.bin"));
    QCOMPARE(style(), neutral);
    // Once by the line edit, once for the choice.
    QCOMPARE(changes.count(), 2);
    QCOMPARE(changes.at(0), QVariantList{inPlaces("with blanks/an image.bin")});
    QCOMPARE(changes.at(1), QVariantList{inPlaces("with blanks/an image.bin")});
    QCOMPARE(stored(), QVariant(inPlaces("with blanks")));
    QCOMPARE(settings::store().allKeys(), QStringList{key});
}

void TestFileSelectorWidget::picksADirectory()
{
    m_widget->setSettingsKey(key);
    m_widget->setSelectDirectory(true);
    m_widget->setCaption(QStringLiteral("Choose a place"));
    m_widget->setFilter(QStringLiteral("Images (*.bin)"));
    const FileDialogUser user(inPlaces("Prüfstände ß 検"));
    QTest::mouseClick(button(), Qt::LeftButton);
    QCOMPARE(user.count(), 1);
    QCOMPARE(user.title(), QStringLiteral("Choose a place"));
    QVERIFY(user.options().testFlag(QFileDialog::ShowDirsOnly));
    QVERIFY(user.options().testFlag(QFileDialog::DontResolveSymlinks));
    QCOMPARE(m_widget->text(), inPlaces("Prüfstände ß 検"));
    QCOMPARE(style(), neutral);
    QCOMPARE(stored(), QVariant(inPlaces("Prüfstände ß 検")));
}

void TestFileSelectorWidget::keepsALinkToADirectory()
{
    m_widget->setSettingsKey(key);
    m_widget->setSelectDirectory(true);
    const FileDialogUser user(inPlaces("link to a directory"));
    QTest::mouseClick(button(), Qt::LeftButton);
    QCOMPARE(m_widget->text(), inPlaces("link to a directory"));
    QCOMPARE(stored(), QVariant(inPlaces("link to a directory")));
}

void TestFileSelectorWidget::picksWithoutAKey()
{
    const FileDialogUser user(inPlaces("image.bin"));
    QTest::mouseClick(button(), Qt::LeftButton);
    QCOMPARE(m_widget->text(), inPlaces("image.bin"));
    QCOMPARE(settings::store().allKeys(), QStringList());
}

void TestFileSelectorWidget::changesNothingWhenCancelled_data()
{
    QTest::addColumn<bool>("selectDirectory");
    QTest::newRow("a file") << false;
    QTest::newRow("a directory") << true;
}

void TestFileSelectorWidget::changesNothingWhenCancelled()
{
    QFETCH(bool, selectDirectory);
    settings::store().setValue(key, inPlaces("with blanks"));
    m_widget->setSettingsKey(key);
    m_widget->setSelectDirectory(selectDirectory);
    m_widget->setText(QStringLiteral("/typed"));
    QSignalSpy changes(m_widget.get(), &FileSelectorWidget::textChanged);
    const FileDialogUser user{QString()};
    QTest::mouseClick(button(), Qt::LeftButton);
    QCOMPARE(user.count(), 1);
    QCOMPARE(m_widget->text(), QStringLiteral("/typed"));
    QCOMPARE(style(), red);
    QCOMPARE(changes.count(), 0);
    QCOMPARE(stored(), QVariant(inPlaces("with blanks")));
}

void TestFileSelectorWidget::announcesAChoiceOfTheSamePath()
{
    m_widget->setText(inPlaces("image.bin"));
    QSignalSpy changes(m_widget.get(), &FileSelectorWidget::textChanged);
    const FileDialogUser user(inPlaces("image.bin"));
    QTest::mouseClick(button(), Qt::LeftButton);
    QCOMPARE(changes.count(), 1);
    QCOMPARE(changes.at(0), QVariantList{inPlaces("image.bin")});
}

void TestFileSelectorWidget::startsWhereThePathLeads()
{
    settings::store().setValue(key, QStringLiteral("/dev"));
    m_widget->setSettingsKey(key);
    m_widget->setText(inPlaces("with blanks/an image.bin"));
    const FileDialogUser user{QString()};
    QTest::mouseClick(button(), Qt::LeftButton);
    QCOMPARE(user.directory(), inPlaces("with blanks"));
    m_widget->setSelectDirectory(true);
    m_widget->setText(inPlaces("with blanks"));
    QTest::mouseClick(button(), Qt::LeftButton);
    QCOMPARE(user.directory(), inPlaces("with blanks"));
}

void TestFileSelectorWidget::startsAtTheStoredPlaceWhenEmpty()
{
    settings::store().setValue(key, inPlaces("with blanks"));
    m_widget->setSettingsKey(key);
    m_widget->setText(QString());
    const FileDialogUser user{QString()};
    for (const bool selectDirectory : {false, true}) {
        m_widget->setSelectDirectory(selectDirectory);
        QTest::mouseClick(button(), Qt::LeftButton);
        QCOMPARE(user.directory(), inPlaces("with blanks"));
    }
}

void TestFileSelectorWidget::remembersThePlaceForTheNextBrowse()
{
    m_widget->setSettingsKey(key);
    {
        const FileDialogUser user(inPlaces("with blanks/an image.bin"));
        QTest::mouseClick(button(), Qt::LeftButton);
    }
    m_widget = std::make_unique<FileSelectorWidget>();
    m_widget->setSettingsKey(key);
    // The place is no file.
    QCOMPARE(m_widget->text(), inPlaces("with blanks"));
    QCOMPARE(style(), red);
    const FileDialogUser user{QString()};
    QTest::mouseClick(button(), Qt::LeftButton);
    QCOMPARE(user.directory(), inPlaces("with blanks"));
}

void TestFileSelectorWidget::takesTheFocusForItsLineEdit()
{
    QWidget window;
    auto *const column = new QVBoxLayout(&window);
    auto *const label = new QLabel(QStringLiteral("&Image"), &window);
    auto *const other = new QLineEdit(&window);
    auto *const selector = new FileSelectorWidget(&window);
    label->setBuddy(selector);
    column->addWidget(other);
    column->addWidget(label);
    column->addWidget(selector);
    window.show();
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    auto *const line = selector->findChild<QLineEdit *>(QStringLiteral("lineEdit"));
    other->setFocus();
    QTest::keyClick(&window, Qt::Key_I, Qt::AltModifier);
    QCOMPARE(QApplication::focusWidget(), static_cast<QWidget *>(line));
    // Tab comes by once.
    QTest::keyClick(line, Qt::Key_Backtab, Qt::ShiftModifier);
    QCOMPARE(QApplication::focusWidget(), static_cast<QWidget *>(other));
    QTest::keyClick(other, Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), static_cast<QWidget *>(line));
    QTest::keyClick(line, Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget()->objectName(), QStringLiteral("pushButton"));
}

void TestFileSelectorWidget::isNamedByItsCaption()
{
    m_widget->setCaption(QStringLiteral("Choose an image"));
    QAccessibleInterface *const accessible = QAccessible::queryAccessibleInterface(lineEdit());
    QVERIFY(accessible);
    QCOMPARE(accessible->text(QAccessible::Name), QStringLiteral("Choose an image"));
}

void TestFileSelectorWidget::leadsFromTheLineToTheButton()
{
    m_widget->show();
    m_widget->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_widget.get()));
    m_widget->setFocus();
    QCOMPARE(QApplication::focusWidget(), static_cast<QWidget *>(lineEdit()));
    QTest::keyClick(lineEdit(), Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), static_cast<QWidget *>(button()));
    const FileDialogUser user(inPlaces("image.bin"));
    QTest::keyClick(button(), Qt::Key_Space);
    QCOMPARE(user.count(), 1);
    QCOMPARE(m_widget->text(), inPlaces("image.bin"));
}

void TestFileSelectorWidget::leavesReturnToTheDialog()
{
    // Return in a dialog is for its own button.
    QCOMPARE(button()->autoDefault(), false);
    QDialog dialog;
    auto *const column = new QVBoxLayout(&dialog);
    auto *const selector = new FileSelectorWidget(&dialog);
    auto *const accept = new QPushButton(&dialog);
    column->addWidget(selector);
    column->addWidget(accept);
    connect(accept, &QPushButton::clicked, &dialog, &QDialog::accept);
    accept->setDefault(true);
    const FileDialogUser user{QString()};
    dialog.show();
    selector->setFocus();
    QTest::keyClick(selector->findChild<QLineEdit *>(QStringLiteral("lineEdit")), Qt::Key_Return);
    QCOMPARE(user.count(), 0);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
}

NEMBRA_GUI_TEST_MAIN(TestFileSelectorWidget)
#include "tst_fileselectorwidget.moc"
