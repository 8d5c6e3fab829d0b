// Materials and their classes. A Material is one building material of the
// catalogue: its class (MaterialType), descriptive texts, render appearance,
// the hatch patterns drawn where it is cut and on its visible surfaces, links
// to an information, a physical and a BIM asset, an ordered list of tags and a
// map of custom values. Names are unique in a library. A material saved
// without a class gets the class named by the translation of "Generic"
// (translations.h), created in the library when it has none of that name.
//
// Color and Pattern are values. Objects are used by one thread at a time
// (object.h).
#ifndef TARNLIB_MATERIAL_H_
#define TARNLIB_MATERIAL_H_

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "tarnlib/asset.h"
#include "tarnlib/criteria.h"
#include "tarnlib/custom_property.h"
#include "tarnlib/object.h"
#include "tarnlib/tag.h"

namespace tarnlib {

class Library;

struct TARNLIB_EXPORT Color {
  enum class Type : std::int32_t {
    None = -1,  // no colour: the stored default
    ByLayer = 0,
    ByBlock = 1,
    ByColor = 2,  // the four components give the colour
  };

  Color() = default;
  // Type `t` with every component 0.
  explicit Color(Type t) : type(t) {}
  // A ByColor colour.
  Color(double r, double g, double b, double a) : type(Type::ByColor), red(r), green(g), blue(b), alpha(a) {}

  Type type = Type::None;
  double red = 0.0;
  double green = 0.0;
  double blue = 0.0;
  double alpha = 0.0;
};

// All five fields.
inline bool operator==(const Color& a, const Color& b) {
  return a.type == b.type && a.red == b.red && a.green == b.green && a.blue == b.blue && a.alpha == b.alpha;
}
inline bool operator!=(const Color& a, const Color& b) { return !(a == b); }

// A hatch pattern: parallel lines (UserDefined) or one named by `name`.
struct TARNLIB_EXPORT Pattern {
  enum class Type : std::int32_t {
    None = -1,  // no pattern: the stored default
    UserDefined = 0,
    Predefined = 1,
    Custom = 2,
  };

  // No pattern, scale 1.
  Pattern() = default;
  // User-defined lines; no background colour.
  Pattern(double s, double a, bool crossed, bool isAnnotative)
      : type(Type::UserDefined), scale(s), angle(a), cross(crossed), annotative(isAnnotative) {}
  // A named pattern; not crossed, no background colour.
  Pattern(Type t, const OdString& n, double s, double a, bool isAnnotative)
      : type(t), name(n), scale(s), angle(a), annotative(isAnnotative) {}

  Type type = Type::None;
  OdString name;
  double scale = 1.0;
  double angle = 0.0;
  bool cross = false;
  bool annotative = false;
  Color background_color;
};

// Every field.
inline bool operator==(const Pattern& a, const Pattern& b) {
  return a.type == b.type && a.name == b.name && a.scale == b.scale && a.angle == b.angle &&
         a.cross == b.cross && a.annotative == b.annotative && a.background_color == b.background_color;
}
inline bool operator!=(const Pattern& a, const Pattern& b) { return !(a == b); }

// The class of a material ("Concrete", "Timber"). Names are unique in a library.
class TARNLIB_EXPORT MaterialType : public Object {
  TARNLIB_DECLARE_OBJECT(MaterialType)
  TARNLIB_DECLARE_PERSISTENT(MaterialType)

  static TnSmartPtr<MaterialType> create(const OdString& name);

  const OdString& name() const;
  void set_name(const OdString& name);

  // Same runtime class and name; the id is not compared.
  bool operator==(const MaterialType& other) const;
  bool operator!=(const MaterialType& other) const { return !(*this == other); }
};

template <>
struct ObjectTraits<MaterialType> {
  static constexpr ObjectType type = ObjectType::MaterialType;
  using unique_key_type = NameKey;
  using criteria_type = NameCriteria;
};

class TARNLIB_EXPORT Material : public Object {
  TARNLIB_DECLARE_OBJECT(Material)
  TARNLIB_DECLARE_PERSISTENT(Material)

  using CustomValues = std::map<CustomPropertyKey, OdString>;

  // Empty: no name, no class, no patterns, no assets.
  static TnSmartPtr<Material> create();
  static TnSmartPtr<Material> create(const OdString& name, const TnSmartPtr<const MaterialType>& type);

  // Every setter marks the material dirty when the value changes.
  const OdString& name() const;
  void set_name(const OdString& name);
  // Required when stored; saving fills in the "Generic" class when null.
  const TnSmartPtr<const MaterialType>& type() const;
  void set_type(const TnSmartPtr<const MaterialType>& type);
  const OdString& description() const;
  void set_description(const OdString& text);
  const OdString& comments() const;
  void set_comments(const OdString& text);
  // The name of a render material.
  const OdString& appearance() const;
  void set_appearance(const OdString& text);
  const Pattern& cut_pattern() const;
  void set_cut_pattern(const Pattern& pattern);
  const Pattern& surface_pattern() const;
  void set_surface_pattern(const Pattern& pattern);

  // The assets may be null. The non-const forms hand out the stored pointer to
  // be changed in place; `markDirty` marks the material dirty, as a caller that
  // changes it must.
  const TnSmartPtr<InformationAsset>& information_asset() const;
  TnSmartPtr<InformationAsset>& information_asset(bool markDirty);
  void set_information_asset(const TnSmartPtr<InformationAsset>& asset);
  const TnSmartPtr<PhysicalAsset>& physical_asset() const;
  TnSmartPtr<PhysicalAsset>& physical_asset(bool markDirty);
  void set_physical_asset(const TnSmartPtr<PhysicalAsset>& asset);
  const TnSmartPtr<BimAsset>& bim_asset() const;
  TnSmartPtr<BimAsset>& bim_asset(bool markDirty);
  void set_bim_asset(const TnSmartPtr<BimAsset>& asset);

  // Tags in order; duplicates are kept. Each of the tag mutators marks the
  // material dirty, also when nothing was removed.
  const std::vector<TnSmartPtr<Tag>>& tags() const;
  std::vector<TnSmartPtr<Tag>>& set_tags();
  void add_tag(const TnSmartPtr<Tag>& tag);
  // Appends a new tag of that name; saving binds it to a stored tag of the name.
  void add_tag(const OdString& name);
  // Removes every tag with the id of `tag`: for an unsaved tag, every unsaved one.
  void remove_tag(const TnSmartPtr<Tag>& tag);
  // Removes every tag of that name.
  void remove_tag(const OdString& name);
  void remove_tag(const wchar_t* name);

  // Custom values, one per property name. A property must be meant for
  // materials or for any type, else InappropriateCustomProperty is thrown and
  // nothing changes; a null property throws NullPointer. A value set by name
  // uses a new material property of that name, which saving resolves to the
  // library's property of that name for materials or for any type, creating
  // one when there is none. Reading an absent value gives an empty text.
  void set_custom_value(const TnSmartPtr<const CustomProperty>& property, const OdString& value);
  void set_custom_value(const OdString& name, const OdString& value);
  bool has_custom_value(const TnSmartPtr<const CustomProperty>& property) const;
  bool has_custom_value(const OdString& name) const;
  OdString custom_value(const TnSmartPtr<const CustomProperty>& property) const;
  OdString custom_value(const OdString& name) const;
  void clear_custom_value(const TnSmartPtr<const CustomProperty>& property);
  void clear_custom_value(const OdString& name);
  void clear_custom_values();
  const CustomValues& custom_values() const;
  // Mutable iteration over the values; marks the material dirty.
  CustomValues::iterator set_custom_values_begin();
  CustomValues::iterator set_custom_values_end();

  // Same runtime class and every field equal; referenced objects, tags and
  // custom-value properties by value. Ids are not compared.
  bool operator==(const Material& other) const;
  bool operator!=(const Material& other) const { return !(*this == other); }
};

template <>
struct ObjectTraits<Material> {
  static constexpr ObjectType type = ObjectType::Material;
  using unique_key_type = NameKey;
  using criteria_type = MaterialCriteria;
};

// Whether a material of `library` has the class named `className` (exact,
// case-sensitive). False for a null library.
TARNLIB_EXPORT bool isMaterialClassUsed(std::shared_ptr<const Library> library, OdString className);

// Gives `material` the class named `className` from the material's own
// library; never creates one. False when the material is null or unsaved, the
// name is empty or the library has no such class.
TARNLIB_EXPORT bool setClass(TnSmartPtr<Material>& material, OdString className);

// Points the class and the three assets of `target` at those of `source`, in
// that order. Nothing happens when either is null.
TARNLIB_EXPORT void syncPointerProps(TnSmartPtr<const Material> source, TnSmartPtr<Material> target);

}  // namespace tarnlib

#endif  // TARNLIB_MATERIAL_H_
