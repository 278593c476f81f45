#pragma once

#include "backends/vxacore/Sha256.h"

#include <cstddef>
#include <memory>
#include <string>

namespace NORXVXA20 {

// The SHA-256 of a file while it is received. OpenSSL's libcrypto, which keeps the processor's own
// instructions busy, does the work where it can be loaded: plain code takes longer for a large file
// than all the rest of the copying.
class FileDigest {
public:
    FileDigest();

    void Add(const void* bytes, std::size_t count);
    // In lower-case hexadecimal. Ends the stream.
    std::string Finish();

private:
    struct ContextDeleter {
        void operator()(void* context) const;
    };

    std::unique_ptr<void, ContextDeleter> m_context; // libcrypto's; null when m_plain does the work
    Sha256 m_plain;
};

} // namespace NORXVXA20
