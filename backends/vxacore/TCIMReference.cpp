#include "platform/vxacore/TCIMReference.h"

#include <algorithm>

namespace NORXVXA20 {

namespace {

constexpr unsigned char kDecimal = 10;

char Lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool SameName(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                              [](char x, char y) { return Lower(x) == Lower(y); });
}

// Texts and paths stand in quotes, everything else as it is.
std::string KeyText(const TCIMValue& value)
{
    std::string text = value.ToString(kDecimal);
    if (value.GetType() != TCIMValue::eString && value.GetType() != TCIMValue::eReference)
        return text;
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

} // namespace

TCIMReference::TCIMReference(const boost::shared_ptr<ICIMNamespace>& nameSpace,
                             const std::string& className, const TCIMOptions&)
    : m_namespace(nameSpace->GetName()), m_class(className)
{}

TCIMReference::TCIMReference(const std::string& namespaceName, const std::string& className)
    : m_namespace(namespaceName), m_class(className)
{}

TCIMReference::TCIMReference(const TCIMReference& other) = default;
TCIMReference& TCIMReference::operator=(const TCIMReference& other) = default;
TCIMReference::~TCIMReference() = default;

void TCIMReference::AddKeyValue(const std::string& name, const TCIMValue& value)
{
    // A chassis manager that is given a key twice takes the first one, which would be the previous
    // instance's.
    const auto known = std::find_if(m_keys.begin(), m_keys.end(),
                                    [&](const auto& key) { return SameName(key.first, name); });
    if (known != m_keys.end())
        known->second = value;
    else
        m_keys.emplace_back(name, value);
}

const std::string& TCIMReference::GetNamespaceName() const
{
    return m_namespace;
}

const std::string& TCIMReference::GetTargetClass() const
{
    return m_class;
}

const TCIMReference::KeyValues& TCIMReference::GetKeyValues() const
{
    return m_keys;
}

std::string TCIMReference::ToString() const
{
    std::string text = m_namespace + ":" + m_class;
    char separator = '.';
    for (const auto& [name, value] : m_keys) {
        text += separator + name + "=" + KeyText(value);
        separator = ',';
    }
    return text;
}

} // namespace NORXVXA20
