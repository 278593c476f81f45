#pragma once

#include "UtilsExport.h"

#include <cstdint>
#include <string>
#include <vector>

// What the core library's SFTP copies did, for a caller that wants more than their results.
// Everything here belongs to the one thread that makes the copies.
namespace NORXVXA20 {

// One copy, however it ended.
struct TransferredFile {
    std::string name;                // as the caller asked for it
    std::string localPath;           // its final name
    std::int64_t expectedBytes = -1; // -1: the server did not say
    std::int64_t receivedBytes = 0;  // in the final file or in what there is of it
    int tries = 0;                   // connections used for this file
    std::int64_t startByte = 0;      // where the last of them went on
    // True only when the file has its final name. What was received of another one may be found
    // beside it, in localPath + ".part".
    bool complete = false;
    std::string reason;            // why it is not complete; holds no secret
    std::string sha256;            // of the complete file, lower-case hexadecimal
    std::int64_t milliseconds = 0; // from the call to its end
};

// Is told what happens while it happens, on the working thread. It must not throw.
class ITransferListener {
public:
    virtual ~ITransferListener() = default;
    // The names in a remote directory but those that begin with a dot, once a location, before the
    // first copy from it. Not called when the server does not list the directory.
    virtual void OnNamesListed(const std::vector<std::string>& names) = 0;
    // A copy was asked for; OnFileDone follows, whatever happens.
    virtual void OnFileBegun(const std::string& name) = 0;
    // expected is -1 when the size is not known. At most a few calls a second.
    virtual void OnBytes(const std::string& name, std::int64_t received, std::int64_t expected) = 0;
    // The copy has ended; the record holds it from now on.
    virtual void OnFileDone(const TransferredFile& file) = 0;
    // At least once a second while the core library waits: in a transfer, in a running program,
    // asleep.
    virtual void OnAlive() = 0;
};

// Sets the listener, which stays the caller's; null removes it.
VXACORE_API void SetTransferListener(ITransferListener* listener);

// Everything copied since the start or the last ClearTransferRecord, in order, failures included.
VXACORE_API std::vector<TransferredFile> GetTransferRecord();
// Forgets what was copied so far.
VXACORE_API void ClearTransferRecord();

// Closes the connection that is kept for the next copy, if there is one, and wipes its credentials.
VXACORE_API void EndTransfers();

// Looks at a file server's host key before anything begins. location is "host:port/..."; nobody
// logs in. Returns an empty text when the key is acceptable or no known-hosts file is named, else
// the reason.
VXACORE_API std::string CheckHostKey(const std::string& location);

} // namespace NORXVXA20
