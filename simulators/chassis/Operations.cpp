#include "simulators/chassis/Operations.h"

#include <pugixml.hpp>

#include <sstream>

namespace chassis {

struct Operation::Document {
    pugi::xml_document xml;
    pugi::xml_node call;
};

namespace {

constexpr char kNamespace[] = "root/cimv2";
enum CimError { kInvalidNamespace = 3, kInvalidParameter, kInvalidClass, kNotFound, kNotSupported };
constexpr int kMethodNotFound = 17;

// Ends an operation with a CIM error.
struct Refusal {
    int code;
    std::string text;
};

std::string NamespaceOf(pugi::xml_node path)
{
    std::string name;
    for (const pugi::xml_node part : path.children("NAMESPACE"))
        name += (name.empty() ? "" : "/") + std::string(part.attribute("NAME").value());
    return name;
}

pugi::xml_node FindParameter(pugi::xml_node call, const char* name)
{
    for (const char* const element : {"IPARAMVALUE", "PARAMVALUE"}) {
        for (const pugi::xml_node parameter : call.children(element)) {
            if (SameName(parameter.attribute("NAME").value(), name))
                return parameter;
        }
    }
    return pugi::xml_node();
}

bool Flag(pugi::xml_node call, const char* name, bool otherwise)
{
    const pugi::xml_node parameter = FindParameter(call, name);
    if (!parameter)
        return otherwise;
    const std::string text = parameter.child_value("VALUE");
    if (!SameName(text, "TRUE") && !SameName(text, "FALSE"))
        throw BadRequest("request-not-valid");
    return SameName(text, "TRUE");
}

// The object path of a method call's target, as its header says it.
std::string ObjectOf(pugi::xml_node call)
{
    if (const pugi::xml_node path = call.child("LOCALCLASSPATH"))
        return NamespaceOf(path.child("LOCALNAMESPACEPATH")) + ":" +
               path.child("CLASSNAME").attribute("NAME").value();
    const pugi::xml_node path = call.child("LOCALINSTANCEPATH");
    if (!path)
        throw BadRequest("request-not-valid");
    std::string object = NamespaceOf(path.child("LOCALNAMESPACEPATH")) + ":" +
                         path.child("INSTANCENAME").attribute("CLASSNAME").value();
    char separator = '.';
    for (const pugi::xml_node key : path.child("INSTANCENAME").children("KEYBINDING")) {
        object += separator + std::string(key.attribute("NAME").value()) + "=\"" +
                  key.child_value("KEYVALUE") + "\"";
        separator = ',';
    }
    return object;
}

const Class& FindClass(const Model& model, const std::string& name)
{
    const Class* const known = model.Find(name);
    if (known == nullptr)
        throw Refusal{kInvalidClass, "There is no class " + name};
    return *known;
}

// The class that an operation is about; empty when none is given.
std::string ClassNameOf(pugi::xml_node call)
{
    const pugi::xml_node parameter = FindParameter(call, "ClassName");
    if (parameter && !parameter.child("CLASSNAME"))
        throw BadRequest("request-not-valid");
    return parameter.child("CLASSNAME").attribute("NAME").value();
}

void Append(pugi::xml_node parent, const char* element, const char* attribute,
            const std::string& value)
{
    parent.append_child(element).append_attribute(attribute) = value.c_str();
}

void AppendName(pugi::xml_node parent, const Instance& instance)
{
    pugi::xml_node name = parent.append_child("INSTANCENAME");
    name.append_attribute("CLASSNAME") = instance.className.c_str();
    pugi::xml_node key = name.append_child("KEYBINDING");
    key.append_attribute("NAME") = instance.properties.front().name.c_str();
    pugi::xml_node value = key.append_child("KEYVALUE");
    value.append_attribute("VALUETYPE") = "string";
    value.append_child(pugi::node_pcdata).set_value(instance.properties.front().value.c_str());
}

void AppendInstance(pugi::xml_node parent, const Instance& instance)
{
    pugi::xml_node named = parent.append_child("VALUE.NAMEDINSTANCE");
    AppendName(named, instance);
    pugi::xml_node element = named.append_child("INSTANCE");
    element.append_attribute("CLASSNAME") = instance.className.c_str();
    for (const Property& property : instance.properties) {
        pugi::xml_node child = element.append_child("PROPERTY");
        child.append_attribute("NAME") = property.name.c_str();
        child.append_attribute("TYPE") = property.type.c_str();
        child.append_child("VALUE")
            .append_child(pugi::node_pcdata)
            .set_value(property.value.c_str());
    }
}

void AppendClass(pugi::xml_node parent, const Class& known)
{
    pugi::xml_node element = parent.append_child("CLASS");
    element.append_attribute("NAME") = known.name.c_str();
    if (!known.base.empty())
        element.append_attribute("SUPERCLASS") = known.base.c_str();
    pugi::xml_node property = element.append_child("PROPERTY");
    property.append_attribute("NAME") = "InstanceID";
    property.append_attribute("TYPE") = "string";
    for (const std::string& method : known.methods) {
        pugi::xml_node child = element.append_child("METHOD");
        child.append_attribute("NAME") = method.c_str();
        child.append_attribute("TYPE") = "uint32";
    }
}

void AnswerIntrinsic(const Model& model, const Call& what, pugi::xml_node call,
                     pugi::xml_node response)
{
    if (what.object != kNamespace)
        throw Refusal{kInvalidNamespace, "There is no namespace " + what.object};
    const std::string className = ClassNameOf(call);
    pugi::xml_node result = response.append_child("IRETURNVALUE");
    if (what.name == "EnumerateClassNames") {
        if (!className.empty())
            FindClass(model, className);
        for (const Class* known : model.Subclasses(className, Flag(call, "DeepInheritance", false)))
            Append(result, "CLASSNAME", "NAME", known->name);
    } else if (what.name == "GetClass") {
        AppendClass(result, FindClass(model, className));
    } else if (what.name == "EnumerateInstances") {
        for (const Instance* instance : model.Instances(FindClass(model, className).name))
            AppendInstance(result, *instance);
    } else if (what.name == "EnumerateInstanceNames") {
        for (const Instance* instance : model.Instances(FindClass(model, className).name))
            AppendName(result, *instance);
    } else {
        throw Refusal{kNotSupported, "The operation " + what.name + " is not supported"};
    }
}

void AnswerMethod(const Model& model, const Call& what, pugi::xml_node call,
                  pugi::xml_node response, bool withoutOutput)
{
    const std::size_t colon = what.object.find(':');
    if (what.object.substr(0, colon) != kNamespace)
        throw Refusal{kInvalidNamespace, "There is no such namespace"};
    const std::string className =
        what.object.substr(colon + 1, what.object.find('.', colon) - colon - 1);
    if (!model.HasMethod(FindClass(model, className), what.name))
        throw Refusal{kMethodNotFound, "There is no method " + what.name};

    std::string location;
    if (SameName(what.name, "StartDataCollection")) {
        // A key that is given twice counts once, the first time.
        const pugi::xml_node key = FindParameter(call, "DataCollectionType")
                                       .select_node(".//KEYBINDING[@NAME='InstanceID']/KEYVALUE")
                                       .node();
        if (!key ||
            std::string(FindParameter(call, "RequestedScheme").child_value("VALUE")) != "0x8002")
            throw Refusal{kInvalidParameter, "A parameter is missing"};
        const std::string* const known = model.Location(key.child_value());
        if (known == nullptr)
            throw Refusal{kNotFound, "There is no such data"};
        location = *known;
    }
    pugi::xml_node result = response.append_child("RETURNVALUE");
    result.append_attribute("PARAMTYPE") = "uint32";
    result.append_child("VALUE").append_child(pugi::node_pcdata).set_value("0");
    if (location.empty() || withoutOutput)
        return;
    pugi::xml_node output = response.append_child("PARAMVALUE");
    output.append_attribute("NAME") = "CollectionLocation";
    output.append_attribute("PARAMTYPE") = "string";
    output.append_child("VALUE").append_child(pugi::node_pcdata).set_value(location.c_str());
}

} // namespace

Operation::Operation(const std::string& body) : m_document(std::make_unique<Document>())
{
    if (!m_document->xml.load_buffer(body.data(), body.size()) ||
        body.compare(0, 3, "\xEF\xBB\xBF") == 0)
        throw BadRequest("request-not-well-formed");
    const pugi::xml_node message = m_document->xml.child("CIM").child("MESSAGE");
    m_document->call = message.child("SIMPLEREQ").first_child();
    m_call.id = message.attribute("ID").value();
    m_call.name = m_document->call.attribute("NAME").value();
    m_call.isMethod = m_document->call.name() == std::string("METHODCALL");
    if (m_call.isMethod)
        m_call.object = ObjectOf(m_document->call);
    else if (m_document->call.name() == std::string("IMETHODCALL"))
        m_call.object = NamespaceOf(m_document->call.child("LOCALNAMESPACEPATH"));
    else
        throw BadRequest("request-not-valid");
}

Operation::~Operation() = default;

std::string Operation::Answer(const Model& model, std::optional<int> withError,
                              bool withoutOutput) const
{
    pugi::xml_document document;
    pugi::xml_node declaration = document.append_child(pugi::node_declaration);
    declaration.append_attribute("version") = "1.0";
    declaration.append_attribute("encoding") = "utf-8";
    pugi::xml_node cim = document.append_child("CIM");
    cim.append_attribute("CIMVERSION") = "2.0";
    cim.append_attribute("DTDVERSION") = "2.0";
    pugi::xml_node message = cim.append_child("MESSAGE");
    message.append_attribute("ID") = m_call.id.c_str();
    message.append_attribute("PROTOCOLVERSION") = "1.0";
    pugi::xml_node response =
        message.append_child("SIMPLERSP")
            .append_child(m_call.isMethod ? "METHODRESPONSE" : "IMETHODRESPONSE");
    response.append_attribute("NAME") = m_call.name.c_str();
    try {
        if (withError)
            throw Refusal{*withError, "As scripted <&>"};
        if (m_call.isMethod)
            AnswerMethod(model, m_call, m_document->call, response, withoutOutput);
        else
            AnswerIntrinsic(model, m_call, m_document->call, response);
    } catch (const Refusal& refusal) {
        response.remove_children();
        pugi::xml_node error = response.append_child("ERROR");
        error.append_attribute("CODE") = refusal.code;
        error.append_attribute("DESCRIPTION") = refusal.text.c_str();
    }
    // Small clients stop at an empty element that is written as one tag.
    std::ostringstream text;
    document.save(text, "", pugi::format_raw | pugi::format_no_empty_element_tags,
                  pugi::encoding_utf8);
    return text.str();
}

} // namespace chassis
