// usage: upload_once SERVER FILE NAME: sends one file as the library does; status 0 when it
// arrived.
#include "common/TVXAException.h"
#include "platform/vxacore/TOSSpecific.h"

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc != 4)
        return 2;
    try {
        return NORXVXA20::TOSSpecific::FTPFile(argv[1], argv[2], argv[3]) ? 0 : 1;
    } catch (const NORXVXA20::TVXAException& failure) {
        std::fprintf(stderr, "upload_once: %s\n", failure.what());
        return 1;
    }
}
