#include "platform/vxacore/TCIMValue.h"

#include "platform/vxacore/TCIMReference.h"

#include <boost/make_shared.hpp>

namespace NORXVXA20 {

namespace {

std::string ToText(std::uint64_t number, unsigned int radix)
{
    std::string text;
    do {
        text.insert(text.begin(), "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[number % radix]);
        number /= radix;
    } while (number != 0);
    return text;
}

} // namespace

TCIMValue::TCIMValue() : m_type(eNull), m_number(0) {}

TCIMValue::TCIMValue(const char* text) : m_type(eString), m_text(text), m_number(0) {}

TCIMValue::TCIMValue(bool value) : m_type(eBoolean), m_number(value ? 1 : 0) {}

TCIMValue::TCIMValue(std::uint64_t value) : m_type(eUnsigned), m_number(value) {}

TCIMValue::TCIMValue(std::int64_t value)
    : m_type(eSigned), m_number(static_cast<std::uint64_t>(value))
{}

TCIMValue::TCIMValue(const TCIMReference& path)
    : m_type(eReference), m_number(0), m_reference(boost::make_shared<TCIMReference>(path))
{}

TCIMValue::TCIMValue(const TCIMValue& other) = default;
TCIMValue& TCIMValue::operator=(const TCIMValue& other) = default;
TCIMValue::~TCIMValue() = default;

void TCIMValue::Set(const std::string& text)
{
    *this = TCIMValue();
    m_type = eString;
    m_text = text;
}

TCIMValue::EType TCIMValue::GetType() const
{
    return m_type;
}

const TCIMReference* TCIMValue::GetReference() const
{
    return m_reference.get();
}

std::string TCIMValue::ToString(unsigned char radix) const
{
    const unsigned int base = radix < 2 || radix > 36 ? 10 : radix;
    switch (m_type) {
    case eString:
        return m_text;
    case eBoolean:
        return m_number != 0 ? "TRUE" : "FALSE";
    case eUnsigned:
        return ToText(m_number, base);
    case eSigned:
        return static_cast<std::int64_t>(m_number) < 0 ? "-" + ToText(0 - m_number, base)
                                                       : ToText(m_number, base);
    case eReference:
        return m_reference->ToString();
    case eNull:
        break;
    }
    return std::string();
}

} // namespace NORXVXA20
