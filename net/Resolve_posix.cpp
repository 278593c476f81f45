#include "net/Resolve.h"

#include <netdb.h>

bool Resolves(const char* host)
{
    return ::gethostbyname(host) != nullptr;
}
