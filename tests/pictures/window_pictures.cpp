#include "tests/pictures/window_pictures.h"

#include <QApplication>
#include <QTabBar>
#include <QTest>

#include "common/messagecenter.h"
#include "terminal/window/tag_table_view.h"
#include "tests/pictures/album.h"
#include "tests/terminal/window/sample_screen.h"

namespace
{

const QSize Small(800, 480);
const QSize Large(1920, 1080);
const int PanelWidth = 480;
const int PanelHeight = 200;
const int PanelColour = static_cast<int>(0xFF2F4B66);

void tap(SampleScreen *screen, int row)
{
    QApplication::processEvents();
    TagTableView *const table = screen->window.findChild<TagTableView *>();
    const QModelIndex index = table->model()->index(row, 0);
    table->scrollTo(index);
    QTest::mouseClick(table->viewport(), Qt::LeftButton, Qt::NoModifier,
                      table->visualRect(index).center());
}

/// The session has run for some minutes with three tags in the trend, and has paused once.
void runSession(SampleScreen *screen)
{
    screen->window.setStorage(sampleStick(), StorageState());
    screen->window.setBeepEnabled(true);
    screen->run(1);
    for (const int row : {0, 1, 5})
        tap(screen, row);
    screen->run(60);
    screen->clock.advance(9000);
    screen->window.tick();
    screen->run(45);
}

void takeRunning(Album *album, const QString &name, const QSize &size)
{
    SampleScreen screen(sampleRound(0), size);
    runSession(&screen);
    screen.window.findChild<TagTableView *>()->scrollToTop();
    album->take(name, &screen.window);
}

void takeMarks(Album *album)
{
    SampleScreen screen;
    runSession(&screen);
    tap(&screen, 6);
    StorageState busy = sampleStick();
    busy.busy = true;
    screen.window.setStorage(busy, sampleStick());
    screen.run(2);
    screen.window.flashBeep();
    screen.window.findChild<TagTableView *>()->scrollToBottom();
    album->take("window-marks", &screen.window);
}

void takeSilence(Album *album)
{
    SampleScreen screen;
    runSession(&screen);
    screen.clock.advance(20000);
    screen.window.tick();
    screen.window.findChild<TagTableView *>()->scrollToTop();
    album->take("window-silence", &screen.window);
}

void takeLinePage(Album *album)
{
    SampleScreen screen;
    runSession(&screen);
    screen.window.findChild<QTabBar *>()->setCurrentIndex(1);
    QApplication::processEvents();
    album->take("window-line", &screen.window);
}

void takeBeginning(Album *album)
{
    SampleScreen screen;
    album->take("window-beginning", &screen.window);
}

void takeWithPanel(Album *album)
{
    SampleScreen screen;
    runSession(&screen);
    screen.window.findChild<TagTableView *>()->scrollToTop();
    MessageCenter panel(QSize(PanelWidth, screen.window.messageRoom().height()),
                        QSize(PanelWidth, PanelHeight), MessageCenter::BelowAnchor,
                        screen.window.messageAnchor(), PanelColour, &screen.window);
    for (const char *const text :
         {"USB stick plugged in, 12.3 GB free.", "Program 3 exported to PROG_3.txt."})
        QMetaObject::invokeMethod(&panel, "showMessageAsync", Q_ARG(QString, "DMC50"),
                                  Q_ARG(QString, text), Q_ARG(bool, true));
    album->take("window-panel", &screen.window);
}

} // namespace

void takeWindowPictures(Album *album)
{
    takeBeginning(album);
    takeRunning(album, "window", Small);
    takeRunning(album, "window-large", Large);
    takeMarks(album);
    takeSilence(album);
    takeLinePage(album);
    takeWithPanel(album);
}
