#include "tests/programs/Child.h"

#include "osdep/FileDescriptor.h"

#include <fcntl.h>
#include <sys/file.h>

#include <chrono>
#include <thread>

const char* const kTestChild = "./test_child";

bool BecomesFree(const std::string& path)
{
    for (int tries = 0; tries < 600; ++tries) {
        const FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        if (::flock(file.get(), LOCK_EX | LOCK_NB) == 0)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}
