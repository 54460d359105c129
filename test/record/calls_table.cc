// calls_table.cc: prints docs/calls.md.
#include "test/record/table.h"

#include <cstdio>

int main()
{
    return fputs(calls_table().c_str(), stdout) < 0;
}
