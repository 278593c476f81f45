#pragma once

#include <boost/shared_ptr.hpp>

#include <vector>

namespace NORXVXA20 {

// A callback of the enumerations that appends every object to a vector, which stays the caller's.
template <typename Object>
class TAddToVectorCallback {
public:
    // objects must outlive the enumeration.
    explicit TAddToVectorCallback(std::vector<boost::shared_ptr<Object>>& objects)
        : m_objects(&objects)
    {}

    // Always wants more.
    bool operator()(const boost::shared_ptr<Object>& object) const
    {
        m_objects->push_back(object);
        return true;
    }

private:
    std::vector<boost::shared_ptr<Object>>* m_objects;
};

} // namespace NORXVXA20
