#include "tests/fakes/FakeTransfers.h"

#include "platform/vxacore/TOSSpecific.h"

FakeTransfers gTransfers;

void FakeTransfers::Reset()
{
    *this = FakeTransfers();
}

namespace NORXVXA20 {

bool TOSSpecific::sFTPFileFromORX(std::string remote, std::string localPath, std::string fileName)
{
    gTransfers.copies.push_back({remote, localPath, fileName});
    return gTransfers.answer ? gTransfers.answer(gTransfers.copies.back()) : true;
}

std::string TOSSpecific::GetVXARootPath()
{
    return gTransfers.rootPath;
}

} // namespace NORXVXA20
