#pragma once

#include "common/TVXAStatusCode.h"

#include <exception>

namespace NORXVXA20 {

// The one exception that the library throws. Its text is the status code's, nothing more: what
// happened stands in the log line written before it is thrown.
class UTILS_SHARED_TYPE TVXAException : public std::exception {
public:
    // Throw it by value and catch it by reference; what happened is in the log by then.
    UTILS_INLINE_API explicit TVXAException(const TVXAStatusCode& statusCode)
        : m_statusCode(statusCode)
    {}
    // Copied and destroyed wherever it was thrown and caught:
    UTILS_INLINE_API TVXAException(const TVXAException& other)
        : std::exception(other), m_statusCode(other.m_statusCode)
    {}
    UTILS_INLINE_API ~TVXAException() noexcept override {}

    // The code's text, valid as long as the core library's texts.
    UTILS_INLINE_API const char* what() const noexcept override
    {
        return m_statusCode.TranslateStatusCode().c_str();
    }

    // What the caller decides by; it lives as long as the exception.
    UTILS_INLINE_API const TVXAStatusCode& GetStatusCode() const { return m_statusCode; }

private:
    TVXAStatusCode m_statusCode;
};

} // namespace NORXVXA20
