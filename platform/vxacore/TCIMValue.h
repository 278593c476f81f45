#pragma once

#include "UtilsExport.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <map>
#include <string>

namespace NORXVXA20 {

class TCIMReference;

// One value of the CIM object model, copied by value. It is null until it is given something.
class VXACORE_API TCIMValue {
public:
    // The types that are told apart; integers of every width are one of two.
    enum EType { eNull, eString, eBoolean, eUnsigned, eSigned, eReference };

    TCIMValue();
    // A value of the argument's type; text must not be null and is copied:
    TCIMValue(const char* text);
    TCIMValue(bool value);
    explicit TCIMValue(std::uint64_t value);
    explicit TCIMValue(std::int64_t value);
    // A reference-typed value; it holds a copy of the path.
    TCIMValue(const TCIMReference& path);
    // Copied with what it holds:
    TCIMValue(const TCIMValue& other);
    TCIMValue& operator=(const TCIMValue& other);
    ~TCIMValue();

    // Turns the value into this text, whatever it was before.
    void Set(const std::string& text);

    // eNull until the value was given something.
    EType GetType() const;
    // The path of a reference; null for every other type.
    const TCIMReference* GetReference() const;

    // The value as text: integers in the given radix (2 to 36), booleans as TRUE or FALSE,
    // references as an object path, null as the empty text.
    std::string ToString(unsigned char radix) const;

private:
    EType m_type;
    std::string m_text;     // eString
    std::uint64_t m_number; // eBoolean, eUnsigned, and the bits of eSigned
    boost::shared_ptr<const TCIMReference> m_reference;
};

// Options of a call, by name.
using TCIMOptions = std::map<std::string, TCIMValue>;

} // namespace NORXVXA20
