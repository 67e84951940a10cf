#pragma once

#include <sys/resource.h>

#include <csignal>

// While it lives, writing a file beyond so many bytes fails, as on a full disk.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) {
        signal(SIGXFSZ, SIG_IGN);
        Set(bytes);
    }
    ~FileSizeLimit() { Set(RLIM_INFINITY); }

  private:
    static void Set(rlim_t bytes) {
        rlimit limit = {};
        getrlimit(RLIMIT_FSIZE, &limit);
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
};
