// Assets: reusable property bundles a material points at. Asset is the abstract
// root; InformationAsset (commercial and documentary data), PhysicalAsset
// (physical constants) and BimAsset (layers, thicknesses and default function in
// a building model) are stored in one polymorphic hierarchy of tables. Names are
// unique per kind, not across kinds. Objects are used by one thread at a time.
#ifndef TARNLIB_ASSET_H_
#define TARNLIB_ASSET_H_

#include <cstdint>
#include <optional>
#include <set>

#include "tarnlib/criteria.h"
#include "tarnlib/keys.h"
#include "tarnlib/layer.h"
#include "tarnlib/object.h"

namespace tarnlib {

// The role of a material in a build-up.
enum class MaterialFunction : std::int32_t {
  None = 0,
  Structure = 1,
  Substrate = 2,
  Insulation = 3,
  Finish1 = 4,
  Finish2 = 5,
  Membrane = 6,
};

class TARNLIB_EXPORT Asset : public Object {
  TARNLIB_DECLARE_OBJECT(Asset)

  virtual const OdString& name() const = 0;
  virtual void set_name(const OdString& name) = 0;
  virtual const OdString& description() const = 0;
  virtual void set_description(const OdString& description) = 0;

 protected:
  Asset() = default;
  Asset(const Asset&) = default;
};

// Root-level lookups find an asset of any kind by name.
struct TARNLIB_EXPORT AssetCriteria {
  StringCriteria name;
};

template <>
struct ObjectTraits<Asset> {
  static constexpr ObjectType type = ObjectType::Asset;
  using AssetCriteria = ::tarnlib::AssetCriteria;
  using unique_key_type = AssetKey;
  using criteria_type = AssetCriteria;
};

class TARNLIB_EXPORT InformationAsset : public Asset {
  TARNLIB_DECLARE_OBJECT(InformationAsset)
  TARNLIB_DECLARE_PERSISTENT(InformationAsset)

  static TnSmartPtr<InformationAsset> create(const OdString& name);

  const OdString& name() const override;
  void set_name(const OdString& name) override;
  const OdString& description() const override;
  void set_description(const OdString& description) override;
  const OdString& label() const;
  void set_label(const OdString& value);
  const OdString& manufacturer() const;
  void set_manufacturer(const OdString& value);
  const OdString& mark() const;
  void set_mark(const OdString& value);
  const OdString& model() const;
  void set_model(const OdString& value);
  const OdString& classification() const;
  void set_classification(const OdString& value);
  // Free text, not a number.
  const OdString& cost() const;
  void set_cost(const OdString& value);
  const OdString& keynote() const;
  void set_keynote(const OdString& value);
  const OdString& url() const;
  void set_url(const OdString& value);
  // Optional and, when present, unique among information assets. An empty
  // code is present (stored as ''); only clear_unique_code makes it absent.
  bool has_unique_code() const;
  const OdString& unique_code() const;  // empty when absent
  void set_unique_code(const OdString& code);
  void clear_unique_code();

  // Same runtime class and every field equal.
  bool operator==(const InformationAsset& other) const;
  bool operator!=(const InformationAsset& other) const { return !(*this == other); }
};

template <>
struct ObjectTraits<InformationAsset> {
  static constexpr ObjectType type = ObjectType::InformationAsset;
  using unique_key_type = NameKey;
  using criteria_type = NameCriteria;
};

class TARNLIB_EXPORT PhysicalAsset : public Asset {
  TARNLIB_DECLARE_OBJECT(PhysicalAsset)
  TARNLIB_DECLARE_PERSISTENT(PhysicalAsset)

  static TnSmartPtr<PhysicalAsset> create(const OdString& name);

  const OdString& name() const override;
  void set_name(const OdString& name) override;
  const OdString& description() const override;
  void set_description(const OdString& description) override;
  // Each optional: test has_...() first; an absent value reads as 0.
  bool has_density() const;
  double density() const;
  void set_density(double value);
  void clear_density();
  bool has_specific_heat() const;
  double specific_heat() const;
  void set_specific_heat(double value);
  void clear_specific_heat();
  bool has_thermal_conductivity() const;
  double thermal_conductivity() const;
  void set_thermal_conductivity(double value);
  void clear_thermal_conductivity();

  // Same runtime class and every field equal (absent equals absent only).
  bool operator==(const PhysicalAsset& other) const;
  bool operator!=(const PhysicalAsset& other) const { return !(*this == other); }
};

template <>
struct ObjectTraits<PhysicalAsset> {
  static constexpr ObjectType type = ObjectType::PhysicalAsset;
  using unique_key_type = NameKey;
  using criteria_type = NameCriteria;
};

class TARNLIB_EXPORT BimAsset : public Asset {
  TARNLIB_DECLARE_OBJECT(BimAsset)
  TARNLIB_DECLARE_PERSISTENT(BimAsset)

  // Variable thickness, no layers, no thicknesses, function None.
  static TnSmartPtr<BimAsset> create(const OdString& name);

  const OdString& name() const override;
  void set_name(const OdString& name) override;
  const OdString& description() const override;
  void set_description(const OdString& description) override;
  // The layer of the material's geometry in section; may be null.
  const TnSmartPtr<const Layer>& layer() const;
  void set_layer(const TnSmartPtr<const Layer>& layer);
  // The layer used in elevation; may be null.
  const TnSmartPtr<const Layer>& layer_elevation() const;
  void set_layer_elevation(const TnSmartPtr<const Layer>& layer);
  bool union_section() const;
  void set_union_section(bool value);
  bool union_elevation() const;
  void set_union_elevation(bool value);
  MaterialFunction default_function() const;
  void set_default_function(MaterialFunction value);
  bool variable_thickness() const;
  void set_variable_thickness(bool value);
  // The thicknesses offered for the material, ascending.
  const std::set<double>& thicknesses() const;
  // The set to change; marks the asset dirty.
  std::set<double>& set_thicknesses();

  // Same runtime class and every field equal; layers by value.
  bool operator==(const BimAsset& other) const;
  bool operator!=(const BimAsset& other) const { return !(*this == other); }
};

template <>
struct ObjectTraits<BimAsset> {
  static constexpr ObjectType type = ObjectType::BimAsset;
  using unique_key_type = NameKey;
  using criteria_type = NameCriteria;
};

}  // namespace tarnlib

#endif  // TARNLIB_ASSET_H_
