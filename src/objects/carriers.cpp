#include "objects/carriers.h"

#include <algorithm>

#include "core/schema.h"
#include "tarnlib/exceptions.h"

namespace tarnlib::objects {

void addTag(TagList& tags, const TnSmartPtr<Tag>& tag, ObjectState& state) {
  tags.push_back(tag);
  state.dirty = true;
}

void removeTag(TagList& tags, const TnSmartPtr<Tag>& tag, ObjectState& state) {
  if (tag) {
    const std::uint32_t id = tag->id();
    tags.erase(std::remove_if(tags.begin(), tags.end(),
                              [id](const TnSmartPtr<Tag>& t) { return t && t->id() == id; }),
               tags.end());
  }
  state.dirty = true;
}

void removeTag(TagList& tags, const OdString& name, ObjectState& state) {
  tags.erase(std::remove_if(tags.begin(), tags.end(),
                            [&name](const TnSmartPtr<Tag>& t) { return t && t->name() == name; }),
             tags.end());
  state.dirty = true;
}

std::unique_ptr<access::ContainerBinding> tagsBinding(const char* table, TagList* (*member)(Object&)) {
  return access::collection<access::RefListCodec<TnSmartPtr<Tag>, ObjectType::Tag>>(schema::table(table),
                                                                                    member);
}

bool sameTags(const TagList& a, const TagList& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const TnSmartPtr<Tag>& x, const TnSmartPtr<Tag>& y) { return sameValue(x, y); });
}

namespace {

// A key standing for a name, to look a value up by name.
CustomPropertyKey keyNamed(const OdString& name) {
  return CustomPropertyKey(CustomProperty::create(name, ObjectType{0}));
}

}  // namespace

void setCustomValue(CustomValues& values, ObjectType carrier,
                    const TnSmartPtr<const CustomProperty>& property, const OdString& value,
                    ObjectState& state) {
  if (!property) throw NullPointer();
  const ObjectType applies = property->object_type();
  if (applies != ObjectType{0} && applies != carrier) throw InappropriateCustomProperty();
  state.dirty = true;
  auto it = values.find(property);
  // A property of the same name replaces the one in the key, as the value does.
  if (it != values.end()) values.erase(it);
  values.emplace(property, value);
}

void setCustomValue(CustomValues& values, ObjectType carrier, const OdString& name, const OdString& value,
                    ObjectState& state) {
  setCustomValue(values, carrier, CustomProperty::create(name, carrier), value, state);
}

bool hasCustomValue(const CustomValues& values, const TnSmartPtr<const CustomProperty>& property) {
  return property && values.count(property) != 0;
}

bool hasCustomValue(const CustomValues& values, const OdString& name) {
  return values.count(keyNamed(name)) != 0;
}

OdString customValue(const CustomValues& values, const TnSmartPtr<const CustomProperty>& property) {
  if (!property) return OdString();
  auto it = values.find(property);
  return it == values.end() ? OdString() : it->second;
}

OdString customValue(const CustomValues& values, const OdString& name) {
  auto it = values.find(keyNamed(name));
  return it == values.end() ? OdString() : it->second;
}

void clearCustomValue(CustomValues& values, const TnSmartPtr<const CustomProperty>& property,
                      ObjectState& state) {
  if (property && values.erase(property) != 0) state.dirty = true;
}

void clearCustomValue(CustomValues& values, const OdString& name, ObjectState& state) {
  if (values.erase(keyNamed(name)) != 0) state.dirty = true;
}

void clearCustomValues(CustomValues& values, ObjectState& state) {
  if (values.empty()) return;
  values.clear();
  state.dirty = true;
}

void resolveCustomProperties(Object& owner, CustomValues& values, ObjectType carrier,
                             access::WriteContext& context) {
  for (const auto& entry : values) {
    TnSmartPtr<const CustomProperty>& property = detail::CustomPropertyKeyAccess::property(entry.first);
    if (!property || property->library() || property->object_type() != carrier) continue;
    std::vector<TnSmartPtr<Object>> found;
    context.load(ObjectType::CustomProperty,
                 access::Selection::matching("\"tarnlib_CustomProperty\".\"name\" = ? AND "
                                             "\"tarnlib_CustomProperty\".\"object_type\" IN (?, 0)",
                                             {property->name().toUtf8(), static_cast<std::int64_t>(carrier)}),
                 found);
    if (found.empty()) continue;
    auto own = std::find_if(found.begin(), found.end(), [carrier](const TnSmartPtr<Object>& o) {
      return static_cast<const CustomProperty&>(*o).object_type() == carrier;
    });
    const TnSmartPtr<Object>& stored = own != found.end() ? *own : found.front();
    context.repoint(owner, access::refSlot(property), stored.get());
  }
}

void CustomValueCodec::refs(Collection& values, std::vector<access::RefSlot>& out) {
  for (const auto& entry : values)
    out.push_back(access::refSlot(detail::CustomPropertyKeyAccess::property(entry.first)));
}

void CustomValueCodec::write(const Collection& values, access::RowWriter& writer) {
  const int first = writer.firstParam();
  for (const auto& [key, value] : values) {
    writer.stmt().bind(first, key->id());
    writer.stmt().bind(first + 1, value);
    writer.row();
  }
}

CustomValueCodec::Element CustomValueCodec::read(const db::Statement& row, int firstColumn) {
  Element element;
  access::readValue(row, firstColumn, element.value);
  return element;
}

void CustomValueCodec::insert(Collection& values, Element&& element) {
  if (element.property) values.emplace(std::move(element.property), std::move(element.value));
}

std::unique_ptr<access::ContainerBinding> customValuesBinding(const char* table,
                                                              CustomValues* (*member)(Object&)) {
  return access::collection<CustomValueCodec>(schema::table(table), member);
}

}  // namespace tarnlib::objects
