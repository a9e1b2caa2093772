// cli/main.cpp - the program `fenwire`.

#include <cstdio>

#include "host/version.h"

int main()
{
    printf("fenwire %s\n", fenwire::kVersion);
    return 0;
}
