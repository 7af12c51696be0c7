// Packs or parses one kind of frame a number of times, for callgrind to count:
//   dmc50-count-frames ACTION TIMES
// Without arguments it lists the actions, with --compiler it tells what it was compiled with.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <QSysInfo>

#include "bench/frames.h"

/// callgrind counts what happens in here. Has its name in the program's symbols as it stands.
extern "C" __attribute__((noinline)) void dmc50_counted(Frames *frames,
                                                        const Frames::Action *action, int times)
{
    for (int i = 0; i < times; ++i)
        (frames->*action->perform)();
}

int main(int argc, char **argv)
{
    if (argc == 2 && strcmp(argv[1], "--compiler") == 0) {
        printf("g++ %s for %s\n", __VERSION__, qPrintable(QSysInfo::buildCpuArchitecture()));
        return 0;
    }
    Frames frames;
    for (const Frames::Action &action : Frames::actions()) {
        if (argc == 1) {
            printf("%s\n", action.name);
        } else if (argc == 3 && strcmp(argv[1], action.name) == 0) {
            (frames.*action.perform)(); // the first time makes the cache's entries
            dmc50_counted(&frames, &action, atoi(argv[2]));
            return 0;
        }
    }
    return argc == 1 ? 0 : 2;
}
