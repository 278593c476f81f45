#include "bench/xml/Parsers.h"

#include "xml/TXmlParser.h"

#include <expat.h>
#include <libxml/parserInternals.h>
#include <pugixml.hpp>
#include <rapidxml/rapidxml.hpp>

#include <cstring>

namespace {

// Every parser reports to handlers, or a walk over its tree, that count and do nothing else.

class CountingReader : public NORXVXA20::TXmlParser {
public:
    Counts counts;

protected:
    void OnStartElement(const char*, std::map<std::string, std::string>* attributes) override
    {
        ++counts.elements;
        counts.attributes += attributes->size();
    }
    void OnEndElement(const char*) override {}
    void OnProcessingInstruction(const char*, const char*) override {}
    void OnCharacterData(const char*, unsigned int length) override { counts.textBytes += length; }
    void OnNotationDecl(const char*, const char*, const char*) override {}
    void OnError(const char*) override { ++counts.faults; }
};

Counts ReadWithUtils(char* text, std::size_t)
{
    CountingReader reader;
    reader.Parse(text);
    return reader.counts;
}

Counts ReadWithExpat(char* text, std::size_t size)
{
    Counts counts;
    XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetUserData(parser, &counts);
    XML_SetElementHandler(
        parser,
        [](void* data, const XML_Char*, const XML_Char** attributes) {
            Counts& found = *static_cast<Counts*>(data);
            ++found.elements;
            for (; *attributes != nullptr; attributes += 2)
                ++found.attributes;
        },
        [](void*, const XML_Char*) {});
    XML_SetCharacterDataHandler(parser, [](void* data, const XML_Char*, int length) {
        static_cast<Counts*>(data)->textBytes += static_cast<std::size_t>(length);
    });
    if (XML_Parse(parser, text, static_cast<int>(size), 1) != XML_STATUS_OK)
        ++counts.faults;
    XML_ParserFree(parser);
    return counts;
}

Counts ReadWithLibxml2(char* text, std::size_t size)
{
    Counts counts;
    xmlSAXHandler handler{};
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = [](void* data, const xmlChar*, const xmlChar*, const xmlChar*,
                                int namespaces, const xmlChar**, int attributes, int,
                                const xmlChar**) {
        Counts& found = *static_cast<Counts*>(data);
        ++found.elements;
        found.attributes += static_cast<std::size_t>(attributes + namespaces);
    };
    handler.endElementNs = [](void*, const xmlChar*, const xmlChar*, const xmlChar*) {};
    handler.characters = [](void* data, const xmlChar*, int length) {
        static_cast<Counts*>(data)->textBytes += static_cast<std::size_t>(length);
    };
    handler.ignorableWhitespace = handler.characters;
    xmlParserCtxtPtr context = xmlCreateMemoryParserCtxt(text, static_cast<int>(size));
    xmlSAXHandlerPtr const own = context->sax;
    context->sax = &handler;
    context->userData = &counts;
    xmlCtxtUseOptions(context, XML_PARSE_HUGE);
    if (xmlParseDocument(context) != 0)
        ++counts.faults;
    context->sax = own;
    xmlFreeParserCtxt(context);
    return counts;
}

void Walk(const pugi::xml_node& node, Counts& counts)
{
    for (const pugi::xml_node& child : node.children()) {
        if (child.type() == pugi::node_element) {
            ++counts.elements;
            for (const pugi::xml_attribute& attribute : child.attributes())
                counts.attributes += attribute.name() != nullptr ? 1 : 0;
            Walk(child, counts);
        } else {
            counts.textBytes += std::strlen(child.value());
        }
    }
}

Counts ReadWithPugixml(char* text, std::size_t size)
{
    Counts counts;
    pugi::xml_document document;
    if (!document.load_buffer_inplace(text, size, pugi::parse_default | pugi::parse_ws_pcdata))
        ++counts.faults;
    Walk(document, counts);
    return counts;
}

void Walk(const rapidxml::xml_node<>& node, Counts& counts)
{
    for (auto child = node.first_node(); child != nullptr; child = child->next_sibling()) {
        if (child->type() == rapidxml::node_element) {
            ++counts.elements;
            for (auto attribute = child->first_attribute(); attribute != nullptr;
                 attribute = attribute->next_attribute())
                ++counts.attributes;
            Walk(*child, counts);
        } else {
            counts.textBytes += child->value_size();
        }
    }
}

Counts ReadWithRapidxml(char* text, std::size_t)
{
    Counts counts;
    rapidxml::xml_document<> document;
    try {
        document.parse<rapidxml::parse_no_element_values>(text);
    } catch (const rapidxml::parse_error&) {
        ++counts.faults;
    }
    Walk(document, counts);
    return counts;
}

} // namespace

const std::vector<Parser>& Parsers()
{
    static const std::vector<Parser> parsers{
        {"utils", ReadWithUtils},     {"expat", ReadWithExpat},       {"libxml2", ReadWithLibxml2},
        {"pugixml", ReadWithPugixml}, {"rapidxml", ReadWithRapidxml},
    };
    return parsers;
}
