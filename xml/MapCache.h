#pragma once

#include "xml/AttributeList.h"

#include <array>

namespace NORXVXA20 {

// The attribute maps of tag shapes already seen. Filling a map anew costs two allocations or more
// per attribute; documents repeat few shapes, so a map is lent out with its values overwritten in
// place and taken back after the handler. What a handler did to a map shows when it is to be used
// again: its names are compared with those of the tag, and one that does not fit is built anew.
class MapCache {
public:
    using Map = std::map<std::string, std::string>;

    // The map of these attributes.
    Map Lend(const AttributeList& attributes);
    // From here on nothing is lent, whoever has it.
    void Forget() { m_lent = nullptr; }
    // The map lent last comes back, with whatever it holds by now.
    void TakeBack(Map& map);

    static Map Build(const AttributeList& attributes);

private:
    static constexpr unsigned int kSlotBits = 5;
    struct Slot {
        Map map;
        std::size_t size = 0;
        std::array<unsigned char, AttributeList::kCapacity> order; // the map's order -> the tag's
    };
    static bool Refill(Slot& slot, const AttributeList& attributes);

    std::array<Slot, 1u << kSlotBits> m_slots;
    Slot* m_lent = nullptr;
};

inline void MapCache::TakeBack(Map& map)
{
    if (m_lent != nullptr)
        m_lent->map.swap(map);
}

} // namespace NORXVXA20
