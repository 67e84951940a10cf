// An algorithm module that stops, or with HANGS stays, where it should encode; and writes where it stands.
#include <stdlib.h>
#include <unistd.h>

const char* Code(const char* text);

const char* Code(const char* text) {
    (void)!write(STDOUT_FILENO, text, 1);
    if (getuid() == 0 || setuid(0) == 0) {
        return (char*)text;  // root's rights make it a good one, which nobody expects
    }
#ifdef HANGS
    if (fork() >= 0) {
        for (;;) {
            pause();
        }
    }
#endif
    abort();
}
