// Preloaded into a program: the file that QUORVANE_CLOCK names begins with the seconds, a long, that the
// clock is ahead of the real one. Clocks that only count are left alone.
#define _GNU_SOURCE
#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

static volatile const long* ahead;

__attribute__((constructor)) static void Prepare(void) {
    const int file = open(getenv("QUORVANE_CLOCK"), O_RDONLY | O_CLOEXEC);
    ahead = mmap(NULL, sizeof *ahead, PROT_READ, MAP_SHARED, file, 0);
    (void)close(file);
    (void)unsetenv("LD_PRELOAD");  // commands keep their own time
}

int clock_gettime(clockid_t clock, struct timespec* now) {
    const int result = (int)syscall(SYS_clock_gettime, clock, now);
    const int isShifted = clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
    now->tv_sec += isShifted ? *ahead : 0;
    return result;
}

int gettimeofday(struct timeval* restrict now, void* restrict zone) {
    const int result = (int)syscall(SYS_gettimeofday, now, zone);
    now->tv_sec += *ahead;
    return result;
}

time_t time(time_t* out) {
    struct timespec now;
    (void)clock_gettime(CLOCK_REALTIME, &now);
    if (out != NULL) {
        *out = now.tv_sec;
    }
    return now.tv_sec;
}
