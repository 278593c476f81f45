#pragma once

#include "common/TVXAStatusCode.h"

#include <exception>

namespace NORXVXA20 {

// The one exception that the library throws. Its text is the status code's, nothing more: what
// happened stands in the log line written before it is thrown.
class UTILS_SHARED_TYPE TVXAException : public std::exception {
public:
    UTILS_INLINE_API explicit TVXAException(const TVXAStatusCode& statusCode)
        : m_statusCode(statusCode)
    {}
    UTILS_INLINE_API TVXAException(const TVXAException& other)
        : std::exception(other), m_statusCode(other.m_statusCode)
    {}
    UTILS_INLINE_API ~TVXAException() noexcept override {}

    // Valid as long as the core library's texts.
    UTILS_INLINE_API const char* what() const noexcept override
    {
        return m_statusCode.TranslateStatusCode().c_str();
    }

    UTILS_INLINE_API const TVXAStatusCode& GetStatusCode() const { return m_statusCode; }

private:
    TVXAStatusCode m_statusCode;
};

} // namespace NORXVXA20
