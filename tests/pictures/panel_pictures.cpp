#include "tests/pictures/panel_pictures.h"

#include "common/messagecenter.h"
#include "tests/pictures/album.h"

#include <QPaintEvent>
#include <QPainter>

namespace
{

const QSize ScreenSize(800, 480);
const QRect Anchor(0, 440, 800, 40); ///< a bar at the bottom of the screen
const QSize MaximumSize(480, 440);
const QSize InitialSize(480, 160);
const int PanelColour = static_cast<int>(0xFF2F4B66);

/// A screen with a bar at the bottom, which the panel slides out of.
class Screen : public QWidget
{
public:
    explicit Screen(int colour = PanelColour, int mode = MessageCenter::AboveAnchor)
        : panel(new MessageCenter(MaximumSize, InitialSize, mode, Anchor, colour, this)),
          m_bar(this)
    {
        resize(ScreenSize);
        m_bar.setGeometry(Anchor);
        m_bar.setAutoFillBackground(true);
        m_bar.setPalette(QColor(0x17, 0x20, 0x2A));
        show();
    }

    void post(const char *title, const QString &text)
    {
        QMetaObject::invokeMethod(panel, "showMessageAsync", Q_ARG(QString, title),
                                  Q_ARG(QString, text), Q_ARG(bool, true));
    }

    MessageCenter *panel;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), QColor(0xDD, 0xE3, 0xE8));
    }

private:
    QWidget m_bar;
};

void takeEmpty(Album *album)
{
    Screen screen;
    screen.panel->adjustSize();
    screen.panel->instantShow();
    album->take("panel-empty", &screen);
}

void takeOneRow(Album *album)
{
    Screen screen;
    screen.post("DMC50", "Export of program 7 to the USB stick has failed: the stick is full.");
    album->take("panel-one-row", &screen);
}

void postTwelve(Screen *screen)
{
    const char *const texts[] = {"USB stick plugged in, 14.2 GB free.",
                                 "Program 3 exported to PROG_3.txt.",
                                 "Import of PROG_9.txt: line 14 has 23 values instead of 24."};
    for (int i = 1; i <= 12; ++i)
        screen->post(i % 3 == 1 ? "Storage" : "DMC50",
                     QString("%1  (%2)").arg(texts[(i - 1) % 3]).arg(i));
}

void takeTwelveRows(Album *album)
{
    Screen screen;
    postTwelve(&screen);
    album->take("panel-twelve-rows", &screen);
    QMetaObject::invokeMethod(screen.panel->findChild<QWidget *>("pushButton_down"), "click");
    album->take("panel-second-page", &screen);
}

void takeSliding(Album *album)
{
    Screen screen;
    screen.post("DMC50", "Program 3 exported to PROG_3.txt.");
    screen.post("Storage", "USB stick removed.");
    screen.panel->animatedShow();
    QMetaObject::invokeMethod(screen.panel, "timerOut");
    QMetaObject::invokeMethod(screen.panel, "timerOut");
    QMetaObject::invokeMethod(screen.panel, "timerOut");
    album->take("panel-sliding", &screen);
}

void takeHostileTexts(Album *album)
{
    Screen screen;
    screen.post("<b>Bold</b> & <img src=x>", "<h1>Rich text</h1> stays <i>as it is</i>");
    screen.post("Control characters", QString("bell\a, tab\t, escape\x1b[31m, null") + QChar(0) +
                                          ", line\rseparator" + QChar(0x2028) + "end");
    screen.post("Direction override", QString("harmless") + QChar(0x202E) + "txt.exe");
    screen.post("Hebrew", QString::fromUtf8("שלום עולם, תוכנית 7 יוצאה."));
    screen.post("One word", QString(100000, 'W'));
    screen.post("100 kB of words", QString("lorem ipsum dolor ").repeated(6000));
    album->take("panel-hostile-texts", &screen);
}

void takeColours(Album *album)
{
    const int colours[] = {static_cast<int>(0xFFF4F6F8), static_cast<int>(0xFFC62828), 0x00000000,
                           static_cast<int>(0xFF777777)};
    for (int i = 0; i < 4; ++i) {
        Screen screen(colours[i]);
        postTwelve(&screen);
        album->take(QString("panel-colour-%1").arg(i + 1), screen.panel);
    }
}

} // namespace

void takePanelPictures(Album *album)
{
    takeEmpty(album);
    takeOneRow(album);
    takeTwelveRows(album);
    takeSliding(album);
    takeHostileTexts(album);
    takeColours(album);
}
