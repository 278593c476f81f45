#pragma once

#include "UtilsExport.h"

namespace NORXVXA20 {

// The service-processor driver: one IPMI exchange a call.
class SPDRIVER_API SPLibrary {
public:
    // The driver's instance for an index, owned by the driver; null when it is not available.
    static SPLibrary* GetSplibraryInstance(int index);

    // Sends the request in buffer to the service processor and stores the answer over it.
    // Layout: 0x01, responder address, network function, LUN, command (in the answer: completion
    // code), data length as 32-bit little-endian, data. length is in/out and ends as 9 plus the
    // answer's data bytes; data that do not fit bufferSize are cut off.
    // Returns false when the command could not be sent; a completion code other than 0 is true.
    bool sendIPMICommand(unsigned char* buffer, int* length, int bufferSize, bool flag);
};

} // namespace NORXVXA20
