// The least that a program linked with the service's shared objects can do before a front end reaches it: it
// opens both FIFOs of the working folder as the service does, and ends when the front end goes.
#include <fcntl.h>
#include <unistd.h>

int main() {
    const int outgoing = open("serverpipe", O_WRONLY | O_CLOEXEC);
    const int incoming = open("clientpipe", O_RDONLY | O_CLOEXEC);
    char byte = 0;
    while (outgoing >= 0 && read(incoming, &byte, 1) > 0) {
    }
    return 0;
}
