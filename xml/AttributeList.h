#pragma once

#include "xml/Scan.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace NORXVXA20 {

// One attribute as it stands in the text.
struct Attribute {
    char* name;
    std::size_t nameLength;
    const char* value;
    std::size_t valueLength;

    bool HasName(const char* other, std::size_t length) const
    {
        return nameLength == length && xmlscan::SameBytes(name, other, length);
    }
};

// The attributes of the tag being read, noted as places in the text: they are copied into a map
// only once, when the tag is complete. A tag with more than kCapacity of them is copied as it is
// read.
class AttributeList {
public:
    static constexpr std::size_t kCapacity = 16;

    // Where to note the next attribute; it counts once it is kept.
    Attribute& Next() { return m_items[m_size]; }
    // False if there is one of that name already; the first one stays.
    bool Keep();

    std::size_t Size() const { return m_size; }
    const Attribute& operator[](std::size_t i) const { return m_items[i]; }
    // The same for tags with the same names in the same order, and mostly another for others.
    std::uint32_t Shape() const { return m_shape; }
    // Holds all of them when there are more than fit, else nothing.
    std::map<std::string, std::string>& Overflow() { return m_overflow; }

private:
    bool Contains(const Attribute& attribute) const;
    bool AddToOverflow(const Attribute& attribute);

    std::size_t m_size = 0;
    std::uint32_t m_shape = 0;
    std::uint64_t m_kinds = 0; // a bit for each kind of name seen
    Attribute m_items[kCapacity + 1];
    std::map<std::string, std::string> m_overflow;
};

inline bool AttributeList::Keep()
{
    const Attribute& attribute = m_items[m_size];
    if (m_size == kCapacity)
        return AddToOverflow(attribute);
    // Names of another length, beginning or end are of another kind: most need no comparison.
    const std::uint32_t kind =
        static_cast<unsigned char>(attribute.name[0]) * 7u +
        static_cast<unsigned char>(attribute.name[attribute.nameLength - 1]) +
        static_cast<std::uint32_t>(attribute.nameLength) * 3u;
    const std::uint64_t bit = std::uint64_t{1} << (kind % 64);
    if ((m_kinds & bit) != 0 && Contains(attribute))
        return false;
    m_kinds |= bit;
    m_shape = (m_shape + kind) * 0x9E3779B1u;
    ++m_size;
    return true;
}

} // namespace NORXVXA20
