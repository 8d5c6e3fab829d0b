// Compositions: layered build-ups of walls, slabs, roofs and the rest. A
// Composition is an ordered list of plies, each a material with a function and
// a thickness, with a core range (first to last core ply), one structural ply
// inside it and optionally a variable ply whose thickness absorbs changes of
// the total. The setters keep first <= structural <= last < number of plies;
// ply edits move the marks with the plies. A composition is classed by one
// Type bit and optionally by a CompositionType, carries tags, custom values, a
// layer, and a GUID that survives copying between libraries. Names are unique
// in a library; GUIDs are not.
//
// Objects are used by one thread at a time (object.h).
#ifndef TARNLIB_COMPOSITION_H_
#define TARNLIB_COMPOSITION_H_

#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "tarnlib/criteria.h"
#include "tarnlib/custom_property.h"
#include "tarnlib/guid.h"
#include "tarnlib/layer.h"
#include "tarnlib/material.h"
#include "tarnlib/object.h"
#include "tarnlib/tag.h"

namespace tarnlib {

// A user-defined class of compositions. Names are unique in a library.
class TARNLIB_EXPORT CompositionType : public Object {
  TARNLIB_DECLARE_OBJECT(CompositionType)
  TARNLIB_DECLARE_PERSISTENT(CompositionType)

  static TnSmartPtr<CompositionType> create(const OdString& name);

  const OdString& name() const;
  void set_name(const OdString& name);

  // Same runtime class and name; the id is not compared.
  bool operator==(const CompositionType& other) const;
  bool operator!=(const CompositionType& other) const { return !(*this == other); }
};

template <>
struct ObjectTraits<CompositionType> {
  static constexpr ObjectType type = ObjectType::CompositionType;
  using unique_key_type = NameKey;
  using criteria_type = NameCriteria;
};

class TARNLIB_EXPORT Composition : public Object {
  TARNLIB_DECLARE_OBJECT(Composition)
  TARNLIB_DECLARE_PERSISTENT(Composition)

  // One bit each; plain enumerators so that filters OR them together.
  enum Type : std::uint32_t {
    Wall = 1,
    Roof = 2,
    Slab = 4,
    Beam = 8,
    Column = 16,
    Member = 32,
    Other = 64,
    Generic = 128,
    Footing = 256,
    Covering = 512,
    Plate = 1024,
  };

  struct Ply {
    Ply() = default;
    Ply(const TnSmartPtr<const Material>& m, MaterialFunction f, double t)
        : material(m), function(f), thickness(t) {}

    TnSmartPtr<const Material> material;  // required when saved
    MaterialFunction function = MaterialFunction::None;
    double thickness = 1.0;
  };

  using CustomValues = std::map<CustomPropertyKey, OdString>;

  // Generic, no plies, every mark 0, no variable ply, a new random GUID.
  static TnSmartPtr<Composition> create();
  static TnSmartPtr<Composition> create(const OdString& name);

  // Every setter marks the composition dirty when the value changes.
  const OdString& name() const;
  void set_name(const OdString& name);
  Type type() const;
  // Keeps one bit of `bits`, the first set in the order Wall, Slab, Roof, Beam,
  // Column, Member, Footing, Covering, Plate, Other; Generic when none is.
  void set_type(std::uint32_t bits);
  // May be null.
  const TnSmartPtr<CompositionType>& composition_type() const;
  void set_composition_type(const TnSmartPtr<CompositionType>& type);
  const OdString& description() const;
  void set_description(const OdString& text);
  const OdString& comments() const;
  void set_comments(const OdString& text);
  // May be null.
  const TnSmartPtr<const Layer>& layer() const;
  void set_layer(const TnSmartPtr<const Layer>& layer);
  const Guid& guid() const;
  void set_guid(const Guid& guid);
  // GUIDs of compositions merged into this one; lookups by GUID find it by them.
  const std::set<Guid>& merge_guids() const;
  std::set<Guid>& set_merge_guids();  // marks dirty

  // ---- The core range and the structural ply. Each setter re-establishes
  // first <= structural <= last <= plies_size() - 1, the bound computed in
  // unsigned arithmetic (so without plies it is 4294967295):
  // - set_first_core_ply(v) stores v and raises last to v when needed;
  // - set_last_core_ply(v) clamps v to the bound and lowers first to it when needed;
  // - set_structural_ply(v): below first, the first Structure ply of the core,
  //   else first; above last, the last Structure ply of the core, else last.
  std::uint32_t first_core_ply() const;
  void set_first_core_ply(std::uint32_t index);
  std::uint32_t last_core_ply() const;
  void set_last_core_ply(std::uint32_t index);
  std::uint32_t structural_ply() const;
  void set_structural_ply(std::uint32_t index);

  // The ply whose thickness absorbs changes of the total; optional.
  bool has_variable_ply() const;
  std::uint32_t variable_ply() const;  // 0 when absent
  void set_variable_ply(std::uint32_t index);
  void clear_variable_ply();
  double variable_ply_min_thickness() const;
  void set_variable_ply_min_thickness(double value);
  bool has_variable_ply_max_thickness() const;
  double variable_ply_max_thickness() const;  // 0 when absent
  void set_variable_ply_max_thickness(double value);
  void clear_variable_ply_max_thickness();

  // ---- Plies. An index outside the list throws std::out_of_range. The edits
  // mark the composition dirty. Inserting or removing moves the marks at or
  // after the position with their plies (removing the variable ply clears it);
  // a move is a removal followed by an insertion at min(to, size after the
  // removal), the variable mark travelling with its ply.
  const std::vector<Ply>& plies() const;
  std::size_t plies_size() const;
  const Ply& ply(std::uint32_t index) const;
  Ply& set_ply(std::uint32_t index);             // marks dirty
  std::vector<Ply>::iterator set_plies_begin();  // marks dirty
  std::vector<Ply>::iterator set_plies_end();
  // Leaves the marks as they are.
  void append_ply(const Ply& ply);
  // `index` may be plies_size(), appending with the adjustments.
  void insert_ply(std::uint32_t index, const Ply& ply);
  void remove_ply(std::uint32_t index);
  void move_ply(std::uint32_t from, std::uint32_t to);

  // Tags, as on Material.
  const std::vector<TnSmartPtr<Tag>>& tags() const;
  std::vector<TnSmartPtr<Tag>>& set_tags();
  void add_tag(const TnSmartPtr<Tag>& tag);
  void add_tag(const OdString& name);
  void remove_tag(const TnSmartPtr<Tag>& tag);
  void remove_tag(const OdString& name);
  void remove_tag(const wchar_t* name);

  // Custom values, as on Material; the properties must be meant for
  // compositions or for any type.
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
  CustomValues::iterator set_custom_values_begin();  // marks dirty
  CustomValues::iterator set_custom_values_end();

  // Same runtime class and every field but the GUIDs equal; referenced objects,
  // tags, ply materials and custom-value properties by value.
  bool operator==(const Composition& other) const;
  bool operator!=(const Composition& other) const { return !(*this == other); }
};

template <>
struct ObjectTraits<Composition> {
  static constexpr ObjectType type = ObjectType::Composition;
  using unique_key_type = NameKey;
  using criteria_type = CompositionCriteria;
};

// The sum of the thicknesses of the plies but the variable one; `variablePly`
// receives the variable ply's index, -1 when there is none. 0 for null.
TARNLIB_EXPORT double calcCompositionThickness(TnSmartPtr<Composition> composition, int& variablePly);

// Makes `ply` a ply of `material`: the function and the smallest offered
// thickness of the material's BIM asset (0 when it offers none), or None and 0
// without a BIM asset.
TARNLIB_EXPORT void defaultPly(Composition::Ply& ply, TnSmartPtr<const Material> material);

}  // namespace tarnlib

#endif  // TARNLIB_COMPOSITION_H_
