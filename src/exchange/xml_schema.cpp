#include "exchange/xml_schema.h"

#include <cstring>
#include <vector>

namespace tarnlib::exchange {

void Reader::missing(pugi::xml_node parent, const char* name) {
  report(parent, OdString(L"Missing '") + OdString(name) + L"' property");
}
void Reader::invalid(pugi::xml_node node, const char* name, const char* text) {
  OdString shown;
  if (!fromXml(text, shown)) shown = OdString(text);  // replacement characters show where
  report(node, OdString(L"Invalid '") + OdString(name) + L"' property value: " + shown);
}
void Reader::empty(pugi::xml_node node, const char* name) {
  report(node, OdString(L"Property '") + OdString(name) + L"' can not be empty");
}
void Reader::nil(pugi::xml_node node, const char* name) {
  report(node, OdString(L"Property '") + OdString(name) + L"' can not be nil");
}

bool isNil(pugi::xml_node node) { return std::strcmp(node.attribute("xsi:nil").value(), "true") == 0; }

pugi::xml_node appendNil(pugi::xml_node parent, const char* name) {
  pugi::xml_node child = parent.append_child(name);
  child.append_attribute("xsi:nil").set_value("true");
  return child;
}

bool childText(Reader& reader, pugi::xml_node child, const char* name, OdString& out) {
  if (isNil(child)) {
    reader.nil(child, name);
    return false;
  }
  const char* text = child.text().get();
  if (!fromXml(text, out)) {
    reader.invalid(child, name, text);
    return false;
  }
  return true;
}

const XmlType* xmlTypeOf(ObjectType type) {
  // Asked for every object and every reference written: an array by type.
  static const std::vector<const XmlType*> byType = [] {
    std::vector<const XmlType*> table;
    for (const XmlType& t : xmlTypes()) {
      const auto index = static_cast<std::size_t>(t.type);
      if (table.size() <= index) table.resize(index + 1);
      table[index] = &t;
    }
    return table;
  }();
  const auto index = static_cast<std::size_t>(type);
  return index < byType.size() ? byType[index] : nullptr;
}

const XmlType* xmlTypeNamed(const char* element) {
  for (const XmlType& t : xmlTypes())
    if (std::strcmp(t.element, element) == 0) return &t;
  return nullptr;
}

OdString elementName(const XmlType& type, pugi::xml_node element) {
  OdString name;
  fromXml(type.namedByText ? element.text().get() : element.child("name").text().get(), name);
  return name;
}
}  // namespace tarnlib::exchange
