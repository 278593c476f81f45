#include "common/TVXAStatusCode.h"

#include <map>
#include <mutex>

namespace NORXVXA20 {

namespace {

struct CodeText {
    EVXAStatusCode code;
    const char* text;
};
constexpr CodeText kTexts[] = {
    {TVXAStatusCode::eFailed, "The operation could not be carried out."},
    {TVXAStatusCode::ePermissionDenied, "The server refused the log-in or the request."},
    {TVXAStatusCode::eNoRoute, "The server's name or network cannot be reached from here."},
    {TVXAStatusCode::eCannotConnect, "The connection to the server failed or was lost."},
    {TVXAStatusCode::eNoTransferLibrary, "The transfer library libcurl is missing or incomplete."},
};

std::string TextOf(EVXAStatusCode code)
{
    for (const CodeText& entry : kTexts) {
        if (entry.code == code)
            return entry.text;
    }
    return "Status code " + std::to_string(code) + ".";
}

} // namespace

const std::string& TVXAStatusCode::TranslateStatusCode() const
{
    // Never destroyed: an exception's text may be read until the very end of the process.
    static auto& mutex = *new std::mutex;
    static auto& texts = *new std::map<EVXAStatusCode, const std::string>;
    const std::lock_guard<std::mutex> lock(mutex);
    return texts.try_emplace(m_code, TextOf(m_code)).first->second;
}

} // namespace NORXVXA20
