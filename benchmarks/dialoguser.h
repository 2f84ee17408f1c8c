#pragma once

#include <QTimer>

#include <chrono>
#include <functional>

class QDialog;
class QPushButton;

/// Looks after the dialog that is open: calls `look` again and again until it says that the dialog has had
/// its time.
class DialogUser final
{
public:
    explicit DialogUser(std::function<bool(QDialog &dialog)> look,
                        std::chrono::milliseconds interval = std::chrono::milliseconds(2));

    static QPushButton *button(const QDialog &dialog, const char *name);

private:
    QTimer m_timer;
};
