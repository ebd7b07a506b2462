// Does what a sanitizer stops, by its first argument: "leak", "freed" (used behind its end), "overflow"; else nothing.
#include <limits.h>
#include <stdlib.h>
#include <string.h>

int main(int count, char **words)
{
    int *volatile number = malloc(sizeof *number);
    *number = INT_MAX;
    if (strcmp(words[1], "overflow") == 0)
        *number += count;
    if (strcmp(words[1], "leak") == 0) {
        number = NULL;
        return 0;
    }
    free(number);
    return strcmp(words[1], "freed") == 0 ? *number : 0;
}
