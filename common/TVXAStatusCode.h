#pragma once

#include "UtilsExport.h"

#include <cstdint>
#include <string>

namespace NORXVXA20 {

// One status code of the tool, copied by value. The texts belong to the core library.
class UTILS_SHARED_TYPE TVXAStatusCode {
public:
    // The codes that the library and our core library use; any other number is a code as well.
    enum EVXAStatusCode : std::int32_t {
        eFailed = 3, // a program could not be set up, or the chassis refused the FFDC method
        ePermissionDenied = 27,  // the server refused the log-in or the file
        eNoRoute = 33,           // no way to the network of the server
        eCannotConnect = 34,     // the server cannot be reached, or was lost
        eNoTransferLibrary = 35, // libcurl, or its support of the protocol, is missing
    };

    // Made of a code without further ado, and copied:
    UTILS_INLINE_API TVXAStatusCode(EVXAStatusCode code) : m_code(code) {}
    UTILS_INLINE_API TVXAStatusCode(const TVXAStatusCode& other) : m_code(other.m_code) {}

    // Deliberate: both assignments return a copy, not a reference:
    UTILS_INLINE_API TVXAStatusCode operator=(EVXAStatusCode code)
    {
        m_code = code;
        return *this;
    }
    UTILS_INLINE_API TVXAStatusCode operator=(const TVXAStatusCode& other)
    {
        m_code = other.m_code;
        return *this;
    }

    // The number, which may be none of the enumeration's.
    UTILS_INLINE_API EVXAStatusCode GetStatusCode() const { return m_code; }

    // The code's text; the string belongs to the core library and is never destroyed.
    VXACORE_API const std::string& TranslateStatusCode() const;

private:
    EVXAStatusCode m_code;
};

// The codes by their short name.
using EVXAStatusCode = TVXAStatusCode::EVXAStatusCode;

} // namespace NORXVXA20
