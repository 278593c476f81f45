// A customer-care upload library that tells on standard output what it is given, and when it is
// unloaded. A file named "refused" is refused.
#include "UtilsExport.h"
#include "platform/vxacore/HTTPProxyInfo.h"

#include <cstdio>
#include <string>

namespace {

struct Farewell {
    ~Farewell()
    {
        std::puts("unloaded");
        std::fflush(stdout);
    }
} farewell;

} // namespace

extern "C" UTILS_DECL_EXPORT int KCCStatusReportSubmit(const NORXVXA20::HTTPProxyInfo& proxy,
                                                       std::string file, std::string settings,
                                                       std::string reserved, std::string product,
                                                       std::string version, std::string system,
                                                       std::string project)
{
    std::printf("%s:%s|%s|%s|%s|%s|%s|%s|%s\n", proxy.host.c_str(), proxy.port.c_str(),
                file.c_str(), settings.c_str(), reserved.c_str(), product.c_str(), version.c_str(),
                system.c_str(), project.c_str());
    std::fflush(stdout);
    return file == "refused" ? -1 : 0;
}
