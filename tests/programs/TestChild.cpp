// A child program for tests: its first argument names what it does.
#include "tests/programs/TestChild.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

void SleepMilliseconds(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// Dots, one each pause, for ever: the reader has to end this.
[[noreturn]] void Drip(int pause)
{
    for (;;) {
        std::printf(".");
        std::fflush(stdout);
        SleepMilliseconds(pause);
    }
}

void HoldForMinutes(const char* path)
{
    if (Hold(path))
        std::printf("held");
    std::fflush(stdout);
    SleepMilliseconds(300000);
}

} // namespace

int main(int argc, char** argv)
{
    UseBinaryStreams();
    const std::string command = argc > 1 ? argv[1] : "";
    const char* argument = argc > 2 ? argv[2] : "";
    if (command == "words") {
        for (int i = 2; i < argc; ++i)
            std::printf("[%s]", argv[i]);
    } else if (command == "error")
        std::fputs(argument, stderr);
    else if (command == "many")
        std::fputs(std::string(std::stoul(argument), 'x').c_str(), stdout);
    else if (command == "zeros")
        std::fwrite("a\0b\0\0c\n", 1, 7, stdout);
    else if (command == "exit")
        return std::printf("leaving"), std::atoi(argument);
    else if (command == "input")
        std::printf("input %s", std::getchar() == EOF ? "ends" : "waits");
    else if (command == "drip")
        Drip(std::atoi(argument));
    else if (command == "hold")
        HoldForMinutes(argument);
    else if (command == "parent") // leaves a child that holds a file and the output
        Leave(argv[0], "hold", argument), SleepMilliseconds(300000);
    else if (command == "late") // leaves a child that writes after its parent's end
        Leave(argv[0], "afterwards", argument), std::printf("first ");
    else if (command == "afterwards")
        SleepMilliseconds(std::atoi(argument)), std::printf("last");
    else if (command == "silent")
        std::fclose(stdout), std::fclose(stderr), SleepMilliseconds(std::atoi(argument));
    else if (command == "inheritance")
        PrintInheritance();
    else
        return std::fprintf(stderr, "no such command"), 2;
    return 0;
}
