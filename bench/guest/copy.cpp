// Copies files over SFTP with the core library, as a capture does.
// usage: copy_bench USER:PASSWORD@LOCATION DIR NAME...
#include "backends/vxacore/TransferRecord.h"
#include "platform/vxacore/TOSSpecific.h"

#include <string>

int main(int argc, char** argv)
{
    bool isGood = argc > 3;
    for (int i = 3; i < argc; ++i) {
        std::string remote = argv[1];
        isGood = NORXVXA20::TOSSpecific::sFTPFileFromORX(
                     remote, std::string(argv[2]) + "/" + argv[i], argv[i]) &&
                 isGood;
    }
    NORXVXA20::EndTransfers();
    return isGood ? 0 : 1;
}
