#include <stdio.h>

const char* greeting(void);

int main(void) {
    puts(greeting());
    return 0;
}
