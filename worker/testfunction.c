/* A library with a user function's registration, for the tests: it says that it was called. */
#include <stdio.h>

void testfunction(void *handler)
{
    fprintf(stderr, "registered %d\n", handler != NULL);
}
