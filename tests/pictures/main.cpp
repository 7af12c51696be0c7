// dmc50-pictures DIRECTORY: takes pictures of what the terminal shows, drawn in memory.

#include "tests/pictures/album.h"
#include "tests/pictures/panel_pictures.h"
#include "tests/pictures/program_pictures.h"
#include "tests/pictures/window_pictures.h"

#include <QApplication>
#include <QDir>

#include <cstdio>

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    if (argc != 2 || !QDir().mkpath(QString::fromLocal8Bit(argv[1]))) {
        std::fprintf(stderr, "usage: dmc50-pictures DIRECTORY\n");
        return 2;
    }
    Album album(QString::fromLocal8Bit(argv[1]));
    takePanelPictures(&album);
    takeWindowPictures(&album);
    takeProgramPictures(&album);
    return album.isComplete() ? 0 : 1;
}
