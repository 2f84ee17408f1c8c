#include "widgets/fileselectorwidget.h"

#include "ui_fileselectorwidget.h"

#include "common/settings.h"
#include "widgets/contrast.h"

#include <QEvent>
#include <QFileDialog>
#include <QFileInfo>

FileSelectorWidget::FileSelectorWidget(QWidget *parent)
    : QWidget(parent)
    , ui(std::make_unique<Ui::FileSelectorWidget>())
{
    ui->setupUi(this);
    // A label that names this widget leads to the line edit.
    setFocusProxy(ui->lineEdit);
    // Without it the key of such a label would be without effect.
    setFocusPolicy(ui->lineEdit->focusPolicy());
    validate();
}

FileSelectorWidget::~FileSelectorWidget() = default;

QString FileSelectorWidget::text() const
{
    return ui->lineEdit->text();
}

void FileSelectorWidget::setText(const QString &text)
{
    ui->lineEdit->setText(text);
}

bool FileSelectorWidget::validate()
{
    const bool usable = isUsable();
    const QString styleSheet = usable ? QStringLiteral("QLineEdit { }")
                                      : QStringLiteral("QLineEdit { background: rgb(255, 0, 0); }");
    // Setting one, even the same, has the line edit styled anew.
    if (ui->lineEdit->styleSheet() != styleSheet) {
        ui->lineEdit->setStyleSheet(styleSheet);
        ui->lineEdit->setPalette(usable ? QPalette() : paletteOnRed());
    }
    return usable;
}

/// The light writing of dark themes can't be read on red.
QPalette FileSelectorWidget::paletteOnRed() const
{
    QPalette onRed;
    for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive}) {
        onRed.setColor(group, QPalette::Text,
                       contrast::readable(palette().color(group, QPalette::Text), Qt::red));
    }
    return onRed;
}

bool FileSelectorWidget::isUsable() const
{
    const QString path = text();
    if (path.isEmpty()) {
        return m_allowEmpty;
    }
    const QFileInfo info(path);
    return m_selectDirectory ? info.isDir() : info.isFile();
}

void FileSelectorWidget::setAllowEmpty(bool allowEmpty)
{
    m_allowEmpty = allowEmpty;
    validate();
}

void FileSelectorWidget::setSelectDirectory(bool selectDirectory)
{
    m_selectDirectory = selectDirectory;
    validate();
}

void FileSelectorWidget::setCaption(const QString &caption)
{
    m_caption = caption;
    setAccessibleName(caption);
    ui->lineEdit->setAccessibleName(caption);
}

void FileSelectorWidget::setFilter(const QString &filter)
{
    m_filter = filter;
}

void FileSelectorWidget::setSettingsKey(const QString &settingsKey, const QString &fallback)
{
    m_settingsKey = settingsKey;
    if (!settingsKey.isEmpty()) {
        setText(settings::store().value(settingsKey, fallback).toString());
    }
}

void FileSelectorWidget::on_lineEdit_textChanged(const QString &arg1)
{
    validate();
    emit textChanged(arg1);
}

void FileSelectorWidget::on_pushButton_clicked()
{
    QString start = text();
    if (start.isEmpty() && !m_settingsKey.isEmpty()) {
        start = settings::store().value(m_settingsKey).toString();
    }
    const QString chosen = browse(start);
    if (chosen.isEmpty()) {
        return;
    }
    if (!m_settingsKey.isEmpty()) {
        settings::store().setValue(m_settingsKey,
                                   m_selectDirectory ? chosen : QFileInfo(chosen).absolutePath());
    }
    setText(chosen);
    // Also when it was the same path already: it was chosen anew.
    emit textChanged(chosen);
    validate();
}

QString FileSelectorWidget::browse(const QString &start)
{
    if (m_selectDirectory) {
        return QFileDialog::getExistingDirectory(
            this, m_caption, start, QFileDialog::ShowDirsOnly | QFileDialog::DontResolveSymlinks);
    }
    return QFileDialog::getOpenFileName(this, m_caption, start, m_filter);
}

void FileSelectorWidget::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange) {
        ui->retranslateUi(this);
    }
}
