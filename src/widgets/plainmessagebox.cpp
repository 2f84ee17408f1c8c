#include "widgets/plainmessagebox.h"

#include <QGuiApplication>
#include <QMessageBox>

namespace PlainMessageBox {

namespace {

int ask(QMessageBox::Icon icon, QWidget *parent, const QString &text, QMessageBox::StandardButtons buttons)
{
    QMessageBox box(icon, QString(), text, buttons, parent);
    box.setTextFormat(Qt::PlainText);
    // On the screen that is the title of a box without one.
    box.setAccessibleName(QGuiApplication::applicationDisplayName());
    return box.exec();
}

} // namespace

void critical(QWidget *parent, const QString &text)
{
    ask(QMessageBox::Critical, parent, text, QMessageBox::Ok);
}

bool question(QWidget *parent, const QString &text)
{
    return ask(QMessageBox::Question, parent, text, QMessageBox::Yes | QMessageBox::No) == QMessageBox::Yes;
}

bool criticalQuestion(QWidget *parent, const QString &text)
{
    return ask(QMessageBox::Critical, parent, text, QMessageBox::Yes | QMessageBox::No) == QMessageBox::Yes;
}

} // namespace PlainMessageBox
