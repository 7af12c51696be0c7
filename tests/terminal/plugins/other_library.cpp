// A library that has nothing to do with drivers.

extern "C" int otherFunction()
{
    return 0;
}
