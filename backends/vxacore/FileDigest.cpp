#include "backends/vxacore/FileDigest.h"

#include "osdep/DynamicLibrary.h"

namespace NORXVXA20 {

namespace {

// The functions of libcrypto, by their fixed binary interface. Each but the first two returns 1 on
// success.
struct Crypto {
    void* (*newContext)() = nullptr;
    void (*freeContext)(void* context) = nullptr;
    const void* (*sha256)() = nullptr;
    int (*init)(void* context, const void* type, void* engine) = nullptr;
    int (*update)(void* context, const void* bytes, std::size_t count) = nullptr;
    int (*final)(void* context, unsigned char* digest, unsigned int* size) = nullptr;
};

template <typename Function>
bool Find(void* library, const char* name, Function& function)
{
    function = FindLibraryFunction<Function>(library, name);
    return function != nullptr;
}

// Null when there is no libcrypto with all of them.
const Crypto* LoadCrypto()
{
    for (const char* name : {"libcrypto.so.3", "libcrypto.so.1.1", "libcrypto-3-x64.dll"}) {
        void* library = LoadDynamicLibrary(name);
        Crypto crypto;
        if (Find(library, "EVP_MD_CTX_new", crypto.newContext) &&
            Find(library, "EVP_MD_CTX_free", crypto.freeContext) &&
            Find(library, "EVP_sha256", crypto.sha256) &&
            Find(library, "EVP_DigestInit_ex", crypto.init) &&
            Find(library, "EVP_DigestUpdate", crypto.update) &&
            Find(library, "EVP_DigestFinal_ex", crypto.final))
            return new Crypto(crypto);
        if (library != nullptr)
            UnloadDynamicLibrary(library);
    }
    return nullptr;
}

const Crypto* TheCrypto()
{
    // Deliberate: stays loaded, like libcurl, which commonly uses the same library.
    static const Crypto* const crypto = LoadCrypto();
    return crypto;
}

} // namespace

FileDigest::FileDigest()
{
    const Crypto* const crypto = TheCrypto();
    if (crypto == nullptr)
        return;
    m_context.reset(crypto->newContext());
    if (m_context && crypto->init(m_context.get(), crypto->sha256(), nullptr) != 1)
        m_context.reset();
}

void FileDigest::Add(const void* bytes, std::size_t count)
{
    if (m_context)
        TheCrypto()->update(m_context.get(), bytes, count);
    else
        m_plain.Add(bytes, count);
}

std::string FileDigest::Finish()
{
    if (!m_context)
        return m_plain.Finish();
    unsigned char digest[64] = {};
    unsigned int size = 0;
    TheCrypto()->final(m_context.get(), digest, &size);
    return Hexadecimal(digest, size);
}

void FileDigest::ContextDeleter::operator()(void* context) const
{
    TheCrypto()->freeContext(context);
}

} // namespace NORXVXA20
