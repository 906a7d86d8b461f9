#include "ktmemory.h"

#include <cstdlib>

void* ktMALLOC(std::size_t aSize)
{
    return std::malloc(aSize);
}

void* ktCALLOC(std::size_t aCount, std::size_t aSize)
{
    return std::calloc(aCount, aSize);
}

void* ktZALLOC(std::size_t aSize)
{
    return ktCALLOC(1, aSize);
}

void* ktREALLOC(void* aPointer, std::size_t aSize)
{
    return std::realloc(aPointer, aSize);
}

void ktFREE(void* aPointer)
{
    std::free(aPointer);
}
