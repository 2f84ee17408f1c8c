#include "fuzztarget.h"
#include "offscreen.h"
#include "widgets/savedstate.h"

#include <QApplication>
#include <QHeaderView>
#include <QMainWindow>
#include <QToolBar>
#include <QTreeWidget>

namespace {

constexpr int columns = 27;

/// Widgets of the kind whose looks are stored. They live as long as the process: making them costs far more
/// than restoring one look.
struct Widgets
{
    Widgets()
    {
        list.setColumnCount(columns);
        for (const char *const name : {"toolBar", "filterToolBar"}) {
            window.addToolBar(QLatin1String(name))->setObjectName(QLatin1String(name));
        }
        usualHeader = list.header()->saveState();
        usualWindow = window.saveState();
    }

    QTreeWidget list;
    QMainWindow window;
    QByteArray usualHeader;
    QByteArray usualWindow;
};

Widgets &widgets()
{
    startOffscreen<QApplication>();
    static auto *const all = new Widgets;
    return *all;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Widgets &all = widgets();
    const QByteArray state(reinterpret_cast<const char *>(data), static_cast<int>(size));
    QHeaderView *const header = all.list.header();
    if (savedstate::fitsHeader(state, columns)) {
        require(header->restoreState(state), "Qt takes a header that fits");
        require(header->count() == columns, "a header keeps its columns");
        const QByteArray saved = header->saveState();
        require(savedstate::fitsHeader(saved, columns), "what Qt makes of it fits again");
        header->restoreState(all.usualHeader);
    }
    if (savedstate::fitsWindow(state)) {
        (void)all.window.restoreState(state);
        all.window.restoreState(all.usualWindow);
    }
    // Qt checks this one itself, and the layout of a window that is shown corrects its size.
    all.window.restoreGeometry(state);
    return 0;
}
