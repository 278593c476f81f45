#include "tests/fakes/FakeUpload.h"

#include "platform/vxacore/TOSSpecific.h"

FakeUpload gUpload;

void FakeUpload::Reset()
{
    *this = FakeUpload();
}

namespace NORXVXA20 {

bool TOSSpecific::FTPFile(std::string server, std::string localFile, std::string remoteName)
{
    gUpload.requests.push_back({server, localFile, remoteName});
    return gUpload.answer ? gUpload.answer() : true;
}

int TOSSpecific::DetectHostnameAvailable(std::string host, std::string port)
{
    gUpload.probes.push_back(host + ":" + port);
    return gUpload.probeAnswer;
}

} // namespace NORXVXA20
