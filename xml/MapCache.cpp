#include "xml/MapCache.h"

#include <algorithm>
#include <numeric>
#include <string_view>

namespace NORXVXA20 {

namespace {

using Order = std::array<unsigned char, AttributeList::kCapacity>;

// The places of the attributes in the order of their names.
Order SortedByName(const AttributeList& attributes)
{
    Order order{};
    const auto end = order.begin() + attributes.Size();
    std::iota(order.begin(), end, static_cast<unsigned char>(0));
    std::sort(order.begin(), end, [&](unsigned char a, unsigned char b) {
        return std::string_view(attributes[a].name, attributes[a].nameLength) <
               std::string_view(attributes[b].name, attributes[b].nameLength);
    });
    return order;
}

MapCache::Map BuildInOrder(const AttributeList& attributes, const Order& order)
{
    MapCache::Map map;
    for (std::size_t i = 0; i < attributes.Size(); ++i) {
        const Attribute& a = attributes[order[i]];
        map.emplace_hint(map.end(), std::piecewise_construct,
                         std::forward_as_tuple(a.name, a.nameLength),
                         std::forward_as_tuple(a.value, a.valueLength));
    }
    return map;
}

} // namespace

bool AttributeList::Contains(const Attribute& attribute) const
{
    return std::any_of(m_items, m_items + m_size, [&](const Attribute& item) {
        return item.HasName(attribute.name, attribute.nameLength);
    });
}

bool AttributeList::AddToOverflow(const Attribute& attribute)
{
    if (m_overflow.empty())
        m_overflow = MapCache::Build(*this);
    return m_overflow
        .try_emplace(std::string(attribute.name, attribute.nameLength), attribute.value,
                     attribute.valueLength)
        .second;
}

MapCache::Map MapCache::Build(const AttributeList& attributes)
{
    return BuildInOrder(attributes, SortedByName(attributes));
}

MapCache::Map MapCache::Lend(const AttributeList& attributes)
{
    Slot& slot = m_slots[attributes.Shape() >> (32 - kSlotBits)];
    if (!Refill(slot, attributes)) {
        slot.order = SortedByName(attributes);
        slot.size = attributes.Size();
        slot.map = BuildInOrder(attributes, slot.order);
    }
    m_lent = &slot;
    return std::move(slot.map);
}

// Overwrites the values of the slot's map, if its names are those of the attributes.
bool MapCache::Refill(Slot& slot, const AttributeList& attributes)
{
    const std::size_t size = attributes.Size();
    if (slot.size != size || slot.map.size() != size)
        return false;
    const unsigned char* place = slot.order.data();
    for (auto& [name, value] : slot.map) {
        const Attribute& attribute = attributes[*place++];
        if (!attribute.HasName(name.data(), name.size()))
            return false;
        value.clear();
        value.append(attribute.value, attribute.valueLength);
    }
    return true;
}

} // namespace NORXVXA20
