#include "driver/dmc50_share.h"

bool CompareAddress(ulong a, ulong b)
{
    return a < b;
}

int SearchIndex(const AddressVector &sorted, int first, int last, ulong address)
{
    while (first <= last) {
        const int middle = first + (last - first) / 2;
        const ulong found = sorted[static_cast<size_t>(middle)];
        if (found == address)
            return middle;
        if (found > address)
            last = middle - 1;
        else
            first = middle + 1;
    }
    return -1;
}

int SearchIndex(const AddressVector &sorted, ulong address)
{
    return SearchIndex(sorted, 0, static_cast<int>(sorted.size()) - 1, address);
}
