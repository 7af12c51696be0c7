// Prints where it finds the project, a path a line. The test puts a copy of it beside projects of
// all shapes, for an application looks beside itself.

#include "common/tools.h"

#include <cstdio>

#include <QCoreApplication>

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    printf("%s\n%s\n", qPrintable(GetCompilePath()), qPrintable(GetDatabaseName()));
    return 0;
}
