#pragma once

#include <string>
#include <vector>

// What the simulated chassis manager knows: a few classes, their instances, and the locations that
// its data collections end in.
namespace chassis {

struct Property {
    std::string name;
    std::string type;
    std::string value;
};

struct Class {
    std::string name;
    std::string base; // empty at the top of the tree
    std::vector<std::string> methods;
};

struct Instance {
    std::string className;
    std::vector<Property> properties; // the first one is the key
};

class Model {
public:
    // One data instance a location; an empty location gives no output parameter.
    Model(const std::string& version, const std::vector<std::string>& locations);

    // Null when there is no such class; names compare without case.
    const Class* Find(const std::string& name) const;
    // The subclasses, at every depth if asked so, in the order of the model.
    std::vector<const Class*> Subclasses(const std::string& base, bool deep) const;
    // The instances of the class and its subclasses.
    std::vector<const Instance*> Instances(const std::string& className) const;
    // True when the class or one that it derives from has the method.
    bool HasMethod(const Class& known, const std::string& method) const;
    // The location of a data instance's collection; null when there is no such instance.
    const std::string* Location(const std::string& instanceId) const;

private:
    bool IsDerived(const std::string& name, const std::string& base) const;

    std::vector<Class> m_classes;
    std::vector<Instance> m_instances;
    std::vector<std::string> m_locations;
};

bool SameName(const std::string& a, const std::string& b);

} // namespace chassis
