// Pictures of the terminal's screen.

#ifndef TESTS_PICTURES_WINDOW_PICTURES_H
#define TESTS_PICTURES_WINDOW_PICTURES_H

class Album;

void takeWindowPictures(Album *album);

#endif // TESTS_PICTURES_WINDOW_PICTURES_H
