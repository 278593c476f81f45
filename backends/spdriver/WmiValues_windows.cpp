#include "backends/spdriver/WmiValues.h"

#include <algorithm>

namespace {

// The bytes of a one-dimensional array, in reach as long as this lives.
class ByteView {
public:
    explicit ByteView(const VARIANT& value)
    {
        if (V_VT(&value) != (VT_ARRAY | VT_UI1) || ::SafeArrayGetDim(V_ARRAY(&value)) != 1)
            return;
        LONG first = 0;
        LONG last = -1;
        void* data = nullptr;
        if (FAILED(::SafeArrayGetLBound(V_ARRAY(&value), 1, &first)) ||
            FAILED(::SafeArrayGetUBound(V_ARRAY(&value), 1, &last)) ||
            FAILED(::SafeArrayAccessData(V_ARRAY(&value), &data)))
            return;
        m_array = V_ARRAY(&value);
        m_bytes = static_cast<unsigned char*>(data);
        m_count = static_cast<std::size_t>(last) - static_cast<std::size_t>(first) + 1;
    }
    ~ByteView()
    {
        if (m_array != nullptr)
            ::SafeArrayUnaccessData(m_array);
    }
    ByteView(const ByteView&) = delete;
    ByteView& operator=(const ByteView&) = delete;

    unsigned char* bytes() const { return m_bytes; }
    std::size_t count() const { return m_count; }

private:
    SAFEARRAY* m_array = nullptr;
    unsigned char* m_bytes = nullptr;
    std::size_t m_count = 0;
};

// The number that the value holds, whatever its width; -1 when it is none.
long Number(const VARIANT& value)
{
    if (V_VT(&value) == VT_EMPTY) // would be taken for 0
        return -1;
    Variant number;
    // Not every declaration of this call says that it leaves its source alone.
    if (FAILED(::VariantChangeType(number.get(), const_cast<VARIANT*>(&value), 0, VT_I4)))
        return -1;
    return V_I4(&number.value());
}

} // namespace

Variant::Variant(unsigned char number) : Variant()
{
    V_VT(&m_value) = VT_UI1;
    V_UI1(&m_value) = number;
}

Variant::Variant(long number) : Variant()
{
    V_VT(&m_value) = VT_I4;
    V_I4(&m_value) = number;
}

Variant::Variant(const unsigned char* bytes, std::size_t count) : Variant()
{
    SAFEARRAY* array = ::SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(count));
    if (array == nullptr)
        return;
    V_VT(&m_value) = VT_ARRAY | VT_UI1;
    V_ARRAY(&m_value) = array;
    const ByteView view(m_value);
    std::copy_n(bytes, view.count(), view.bytes());
}

WmiAnswer::~WmiAnswer()
{
    const ByteView view(data.value());
    WipeBytes(view.bytes(), view.count());
}

WmiReading ReadWmiAnswer(const WmiAnswer& values, Answer& answer)
{
    const long code = Number(values.completionCode.value());
    const long size = Number(values.size.value());
    const ByteView view(values.data.value());
    if (code < 0 || code > 0xFF || size < 0 || (size > 0 && view.count() == 0))
        return WmiReading::kNoAnswer;
    const std::size_t count = std::min(view.count(), static_cast<std::size_t>(size));
    const auto completionCode = static_cast<unsigned char>(code);
    if (count == 0) {
        answer.Set(completionCode, nullptr, 0);
        return WmiReading::kAnswer;
    }
    answer.Set(completionCode, view.bytes() + 1, count - 1);
    return view.bytes()[0] == completionCode ? WmiReading::kAnswer : WmiReading::kTwoCodes;
}
