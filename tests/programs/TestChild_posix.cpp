#include "tests/programs/TestChild.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

extern char** environ;

void UseBinaryStreams() {}

bool Hold(const std::string& path)
{
    const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    return ::flock(file, LOCK_EX | LOCK_NB) == 0;
}

void Leave(const char* program, const char* command, const char* argument)
{
    std::string words[] = {program, command, argument};
    char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    pid_t child = 0;
    ::posix_spawnp(&child, program, nullptr, nullptr, arguments, environ);
}

void PrintInheritance()
{
    sigset_t blocked;
    ::sigprocmask(SIG_SETMASK, nullptr, &blocked);
    for (int signal = 1; signal < SIGRTMAX; ++signal) {
        struct sigaction action {};
        if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN)
            std::printf("ignores %d ", signal);
        if (::sigismember(&blocked, signal) == 1)
            std::printf("blocks %d ", signal);
    }
    for (int file = 3; file < 1024; ++file) {
        if (::fcntl(file, F_GETFD) >= 0)
            std::printf("file %d ", file);
    }
    std::printf("leader %d", ::getpgrp() == ::getpid());
}
