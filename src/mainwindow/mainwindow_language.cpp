#include "mainwindow/mainwindow.h"

#include "ui_mainwindow.h"

#include "common/handbook.h"
#include "common/settings.h"
#include "common/translations.h"
#include "device/devicecolumns.h"

#include <QActionGroup>
#include <QApplication>
#include <QDebug>
#include <QDir>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMessageBox>

namespace {

const QLatin1String defaultLanguage("en");

QString storedLanguage()
{
    const QString stored = settings::value(settings::language);
    return stored.isEmpty() ? QString(defaultLanguage) : stored;
}

QIcon flagOf(const QString &language)
{
    if (language == QLatin1String("en")) {
        return QIcon(QStringLiteral(":/Icons/Resources/usenglish.png"));
    }
    if (language == QLatin1String("de")) {
        return QIcon(QStringLiteral(":/Icons/Resources/german.png"));
    }
    return {};
}

} // namespace

void MainWindow::setUpLanguageMenu()
{
    m_languageGroup = new QActionGroup(this);
    const QDir directory(Translations::instance()->directory());
    const QStringList files = directory.entryList({QStringLiteral("NembraHub_*.qm")});
    for (const QString &file : files) {
        const QString baseName = file.left(file.lastIndexOf(QLatin1Char('.')));
        const QString code = baseName.mid(baseName.indexOf(QLatin1Char('_')) + 1);
        QAction *const action =
            m_languageGroup->addAction(flagOf(code), QLocale::languageToString(QLocale(code).language()));
        action->setData(code);
        action->setCheckable(true);
        action->setChecked(code == storedLanguage());
    }
    ui->menuLanguage->addActions(m_languageGroup->actions());
    connect(m_languageGroup, &QActionGroup::triggered, this, &MainWindow::onLanguageChanged);
}

void MainWindow::onLanguageChanged()
{
    const QAction *const action = m_languageGroup->checkedAction();
    const QString code = action->data().toString();
    qDebug() << "Language" << action->text() << code;
    settings::setValue(settings::language, code);
    applyLanguage();
}

void MainWindow::applyLanguage()
{
    const QString code = storedLanguage();
    if (code == m_appliedLanguage) {
        return;
    }
    QLocale::setDefault(QLocale(code));
    Translations::instance()->load(code);
    m_appliedLanguage = code;
    settings::setValue(settings::language, code);
    retranslate();
}

void MainWindow::retranslate()
{
    ui->retranslateUi(this);
    m_filterLabel->setText(tr("Filter"));
    m_filterEdit->setAccessibleName(tr("Filter"));
    for (const QToolBar *const bar : {ui->mainToolBar, ui->filterToolBar}) {
        // It comes when there is no room for all of them, and has no text.
        if (auto *const more = bar->findChild<QWidget *>(QStringLiteral("qt_toolbar_ext_button"))) {
            more->setAccessibleName(tr("More tools"));
        }
    }
    for (int i = 0; i < m_columnActions.size(); ++i) {
        const QString name =
            QCoreApplication::translate("Device", deviceColumns[static_cast<std::size_t>(i)].header);
        ui->devList->headerItem()->setText(i, name);
        m_columnActions.at(i)->setText(name);
        m_columnActions.at(i)->setStatusTip(tr("Show or hide column %1").arg(name));
    }
    updateHints();
    updateStatusBarAndMenu();
}

void MainWindow::on_actionAbout_NembraHub_triggered()
{
    const QUrl tutorial = handbook::url(QApplication::applicationDirPath(), m_appliedLanguage);
    const QString gap = QStringLiteral("<br><br>");
    const QString text =
        QApplication::applicationDisplayName() + QLatin1String(" Version ") +
        QApplication::applicationVersion() + gap +
        tr("Copyright %1 ostrel GmbH").arg(QStringLiteral("© 2026")) + gap +
        tr("This software is licensed to you without charge. ostrel GmbH retains ownership of all copies of "
           "the software and reserves all rights not expressly granted to you.") +
        gap + tr("You may use the software without charge.") + gap +
        tr("You may distribute exact copies of the software to anyone.") + gap +
        tr("See the <a href=\"%1\">tutorial</a> for more information about how to use this software.")
            .arg(tutorial.toString(QUrl::FullyEncoded).toHtmlEscaped());

    QMessageBox box(QMessageBox::Information, tr("About Nembra Hub"), text, QMessageBox::Ok, nullptr,
                    Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
    box.setTextFormat(Qt::RichText);
    box.setTextInteractionFlags(Qt::TextBrowserInteraction);
    box.setIconPixmap(QIcon(QStringLiteral(":/Icons/Resources/logobig.png")).pixmap(128));
    // The toolkit makes boxes so many pixels wide, which in big writing is a column higher than the screen.
    constexpr int characters = 80;
    if (auto *const layout = qobject_cast<QGridLayout *>(box.layout())) {
        layout->addItem(new QSpacerItem(characters * box.fontMetrics().averageCharWidth(), 0),
                        layout->rowCount(), 0, 1, layout->columnCount());
    }
    box.exec();
}

void MainWindow::on_actionAbout_QT_triggered()
{
    QApplication::aboutQt();
}
