// Pictures of the program page.

#ifndef TESTS_PICTURES_PROGRAM_PICTURES_H
#define TESTS_PICTURES_PROGRAM_PICTURES_H

class Album;

void takeProgramPictures(Album *album);

#endif // TESTS_PICTURES_PROGRAM_PICTURES_H
