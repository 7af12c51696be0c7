// Pictures of the message panel.

#ifndef TESTS_PICTURES_PANEL_PICTURES_H
#define TESTS_PICTURES_PANEL_PICTURES_H

class Album;

void takePanelPictures(Album *album);

#endif // TESTS_PICTURES_PANEL_PICTURES_H
