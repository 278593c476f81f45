#pragma once

#include "backends/spdriver/Frame.h"

#include <windows.h>

#include <oleauto.h>

#include <utility>

// The values that travel to and from WMI, and who frees them.

// A value of any type, cleared when it goes.
class Variant {
public:
    Variant() { ::VariantInit(&m_value); }
    explicit Variant(unsigned char number);
    explicit Variant(long number); // also WMI's uint32
    // An array of bytes, which may be empty. Without memory for it the value is empty.
    Variant(const unsigned char* bytes, std::size_t count);
    ~Variant() { ::VariantClear(&m_value); }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;

    VARIANT* get() { return &m_value; }
    const VARIANT& value() const { return m_value; }

private:
    VARIANT m_value;
};

// A text in COM's own form, freed when it goes.
class Bstr {
public:
    explicit Bstr(const wchar_t* text) : m_text(::SysAllocString(text)) {}
    ~Bstr() { ::SysFreeString(m_text); }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;

    BSTR get() const { return m_text; }

private:
    BSTR m_text;
};

// One reference to a COM object.
template <typename T>
class ComPointer {
public:
    ComPointer() = default;
    ComPointer(ComPointer&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    ComPointer& operator=(ComPointer&&) = delete;
    ~ComPointer()
    {
        if (m_object != nullptr)
            m_object->Release();
    }

    explicit operator bool() const { return m_object != nullptr; }
    T* get() const { return m_object; }
    T* operator->() const { return m_object; }
    // For a call that hands over a reference; there is none yet.
    T** Receive() { return &m_object; }

private:
    T* m_object = nullptr;
};

// What RequestResponse gives back. ResponseData repeats the completion code before the data, and
// ResponseDataSize counts it too.
struct WmiAnswer {
    Variant completionCode;
    Variant size;
    Variant data;

    WmiAnswer() = default;
    // The data may hold a credential.
    ~WmiAnswer();
    WmiAnswer(const WmiAnswer&) = delete;
    WmiAnswer& operator=(const WmiAnswer&) = delete;
};

enum class WmiReading {
    kAnswer,
    kTwoCodes, // as kAnswer; but the code repeated in the data differs
    kNoAnswer, // the values have other types or contradict each other; answer is untouched
};
// Reads the values into answer; the completion code of CompletionCode counts.
WmiReading ReadWmiAnswer(const WmiAnswer& values, Answer& answer);
