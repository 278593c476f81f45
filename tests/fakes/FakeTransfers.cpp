#include "tests/fakes/FakeTransfers.h"

#include "platform/vxacore/TOSSpecific.h"

namespace NORXVXA20 {

bool TOSSpecific::sFTPFileFromORX(std::string remote, std::string localPath, std::string fileName)
{
    gTransfers.copies.push_back(remote + "|" + localPath + "|" + fileName);
    return gTransfers.answer ? gTransfers.answer(localPath) : true;
}

bool TOSSpecific::FTPFile(std::string server, std::string localFile, std::string remoteName)
{
    return sFTPFileFromORX(server, localFile, remoteName);
}

int TOSSpecific::DetectHostnameAvailable(std::string host, std::string port)
{
    gTransfers.probes.push_back(host + ":" + port);
    return gTransfers.probeAnswer;
}

std::string TOSSpecific::GetVXARootPath()
{
    return "/tool";
}

} // namespace NORXVXA20
