#pragma once

#include <QPalette>
#include <QString>
#include <QWidget>

#include <memory>

namespace Ui {
class FileSelectorWidget;
}

/// A line edit for the path of a file or a directory, with a button to look for one. Red while there is no
/// such file or directory. Remembers the last place in the settings. As it comes it asks for a file and
/// remembers nothing.
class FileSelectorWidget final : public QWidget
{
    Q_OBJECT

public:
    explicit FileSelectorWidget(QWidget *parent = nullptr);
    ~FileSelectorWidget() override;

    QString text() const;
    /// Whether the path can be used; colours the line edit accordingly.
    bool validate();

    /// An empty path counts as usable.
    void setAllowEmpty(bool allowEmpty);
    /// Asks for a directory instead of a file.
    void setSelectDirectory(bool selectDirectory);
    /// The title of the dialog in which the user looks for the file.
    void setCaption(const QString &caption);
    /// The file types of that dialog, as QFileDialog writes them: "Images (*.bin);;All (*)".
    void setFilter(const QString &filter);
    /// The top-level setting that holds the last directory; it is shown at once if there is one, else the
    /// fallback. Empty: nothing is remembered.
    void setSettingsKey(const QString &settingsKey, const QString &fallback = QString());

public slots:
    void setText(const QString &text);
    void on_lineEdit_textChanged(const QString &arg1);
    void on_pushButton_clicked();

signals:
    void textChanged(const QString &text);

protected:
    void changeEvent(QEvent *event) override;

private:
    bool isUsable() const;
    QPalette paletteOnRed() const;
    QString browse(const QString &start);

    std::unique_ptr<Ui::FileSelectorWidget> ui;
    bool m_allowEmpty = false;
    bool m_selectDirectory = false;
    QString m_caption;
    QString m_filter;
    QString m_settingsKey;
};
