#include "tests/programs/Child.h"

#include "osdep/FileDescriptor.h"
#include "tests/support/Program.h"

#include <fcntl.h>
#include <sys/file.h>

const char* const kTestChild = "./test_child";

bool BecomesFree(const std::string& path)
{
    const FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    return WaitUntil([&] { return ::flock(file.get(), LOCK_EX | LOCK_NB) == 0; });
}
