#pragma once

#include "osdep/UniqueHandle.h"

#include <unistd.h>

struct FileDescriptorTraits {
    using Handle = int;
    static Handle None() { return -1; }
    static void Close(Handle handle) { ::close(handle); }
};
using FileDescriptor = UniqueHandle<FileDescriptorTraits>;
