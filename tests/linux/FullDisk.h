#pragma once

#include <sys/resource.h>

#include <csignal>

/// A disk that takes no more: for as long as this exists, no file of this process can grow beyond `room`
/// bytes ("File too large"), while files can still be made, renamed and removed, as on a full disk.
class FullDisk {
public:
    explicit FullDisk(rlim_t room = 0) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit little = {room, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &little);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    rlimit before_ = {};
    void (*handler_)(int);
};
