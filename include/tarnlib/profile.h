// The profile catalogue: cross-sections of beams, columns, rails, ducts and
// pipes in three levels. A ProfileStandard names a standard or catalogue
// family; a ProfileName is a series within a standard (or outside any) with a
// discipline, its ProfileType; a Profile is one section of a series, known by
// its size text. Profile is the polymorphic root of CustomProfile, whose outline
// is an opaque text of the host's, and of ParametrizedProfile, the root of the
// sixteen parametric shapes of profile_shapes.h.
//
// Standards are unique by name; names by (type, standard, name); profiles by
// (series, size). Lengths are in the library's unit (LibraryUnit).
//
// Objects are used by one thread at a time (object.h).
#ifndef TARNLIB_PROFILE_H_
#define TARNLIB_PROFILE_H_

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include "tarnlib/criteria.h"
#include "tarnlib/guid.h"
#include "tarnlib/keys.h"
#include "tarnlib/material.h"
#include "tarnlib/object.h"

namespace tarnlib {

// The discipline of a series; single bits, so that filters OR them together.
// The numbers are stored; a stored name holds exactly one of them.
enum class ProfileType : std::int32_t {
  Generic = 1,
  StructuralConcrete = 2,
  StructuralSteel = 4,
  HVAC = 8,
  Piping = 16,
  Electrical = 32,
};

// Its word in library XML ("StructuralSteel"); null for a value that is none.
TARNLIB_EXPORT const wchar_t* profileTypeName(ProfileType type);

struct Vector2d {
  double x = 0.0;
  double y = 0.0;
};
inline bool operator==(const Vector2d& a, const Vector2d& b) { return a.x == b.x && a.y == b.y; }
inline bool operator!=(const Vector2d& a, const Vector2d& b) { return !(a == b); }

class TARNLIB_EXPORT ProfileStandard : public Object {
  TARNLIB_DECLARE_OBJECT(ProfileStandard)
  TARNLIB_DECLARE_PERSISTENT(ProfileStandard)

  static TnSmartPtr<ProfileStandard> create(const OdString& name);

  const OdString& name() const;
  void set_name(const OdString& name);

  // Names equal (exact); the id is not compared.
  bool operator==(const ProfileStandard& other) const;
  bool operator!=(const ProfileStandard& other) const { return !(*this == other); }
};

template <>
struct ObjectTraits<ProfileStandard> {
  static constexpr ObjectType type = ObjectType::ProfileStandard;
  using unique_key_type = NameKey;
  using criteria_type = NameCriteria;
};

class TARNLIB_EXPORT ProfileName : public Object {
  TARNLIB_DECLARE_OBJECT(ProfileName)
  TARNLIB_DECLARE_PERSISTENT(ProfileName)

  static TnSmartPtr<ProfileName> create(const OdString& name, ProfileType type = ProfileType::Generic);
  static TnSmartPtr<ProfileName> create(const TnSmartPtr<ProfileStandard>& standard, const OdString& name,
                                        ProfileType type = ProfileType::Generic);

  // Null for a series outside any standard.
  const TnSmartPtr<ProfileStandard>& standard() const;
  void set_standard(const TnSmartPtr<ProfileStandard>& standard);
  const OdString& name() const;
  void set_name(const OdString& name);
  ProfileType type() const;
  void set_type(ProfileType type);

  // Same runtime class; standards both null, the same or equal; names and types
  // equal. Ids and libraries are not compared.
  bool operator==(const ProfileName& other) const;
  bool operator!=(const ProfileName& other) const { return !(*this == other); }
};

template <>
struct ObjectTraits<ProfileName> {
  static constexpr ObjectType type = ObjectType::ProfileName;
  using unique_key_type = ProfileNameKey;
  using criteria_type = ProfileNameCriteria;
};

// The root of every profile class; never instantiated itself.
class TARNLIB_EXPORT Profile : public Object {
  TARNLIB_DECLARE_OBJECT(Profile)

 public:
  struct Impl;  // every class of the tree keeps its fields here
  ~Profile() override;
  Impl& impl() { return *impl_; }
  const Impl& impl() const { return *impl_; }

  // Required when stored: saving without a series throws NullPointer.
  const TnSmartPtr<ProfileName>& name() const;
  void set_name(const TnSmartPtr<ProfileName>& name);
  const OdString& size() const;
  void set_size(const OdString& size);
  const OdString& description() const;
  void set_description(const OdString& description);
  const TnSmartPtr<Material>& material() const;
  void set_material(const TnSmartPtr<Material>& material);
  // The insertion offset; offset() is meaningful only when has_offset().
  const Vector2d& offset() const;
  bool has_offset() const;
  void set_offset(const Vector2d& offset);
  void clear_offset();
  // Empty until saved: a save gives a profile without one the name-based GUID
  // of its standard, series and size in the library's namespace.
  const Guid& guid() const;
  void set_guid(const Guid& guid);
  const std::set<Guid>& merge_guids() const;
  std::set<Guid>& set_merge_guids();  // marks the profile dirty

  // Multiplies every length by `factor` (unit conversion). A custom profile's
  // geometry is opaque and stays, and so does its offset.
  virtual void convertByScaling(double factor);

 protected:
  Profile();
  explicit Profile(std::unique_ptr<Impl> impl);
  Profile(const Profile&) = delete;
  ::tarnlib::ObjectState& state() override;
  const ::tarnlib::ObjectState& state() const override;
  // Same runtime class, series equal, size and description equal, materials
  // equal, offsets both present or both absent (their values are not compared).
  bool operator==(const Profile& other) const;

  std::unique_ptr<Impl> impl_;
};

// The boilerplate of a concrete profile class.
#define TARNLIB_DECLARE_PROFILE(Class)                                                         \
 public:                                                                                       \
  static TnSmartPtr<Class> create(const TnSmartPtr<ProfileName>& name, const OdString& size); \
  TARNLIB_DECLARE_TREE_MEMBER(Class, Profile)

class TARNLIB_EXPORT CustomProfile : public Profile {
  TARNLIB_DECLARE_OBJECT(CustomProfile)
  TARNLIB_DECLARE_PROFILE(CustomProfile)

  // Stored, copied and compared byte for byte; never parsed.
  const OdString& geometry() const;
  void set_geometry(const OdString& geometry);

  bool operator==(const CustomProfile& other) const;
  bool operator!=(const CustomProfile& other) const { return !(*this == other); }
  // Always false: an opaque outline cannot be compared under scaling.
  bool scaledEqual(const CustomProfile& other, double& scale) const;
};

// The root of the parametric shapes (profile_shapes.h); no dimensions of its own.
class TARNLIB_EXPORT ParametrizedProfile : public Profile {
  TARNLIB_DECLARE_OBJECT(ParametrizedProfile)

 public:
  // One dimension as data, for code that handles every shape alike (a
  // property grid, a listing): its stored column name ("flangeWidth"), whether
  // it is optional and present, and its value (0 when absent).
  struct Dimension {
    const char* name;
    bool optional;
    bool present;
    double value;
  };
  // Every dimension of the shape, its bases' first, in column order.
  std::vector<Dimension> dimensions() const;
  // The same by stored name, for generic code: set makes an optional one
  // present, clear makes it absent (a required one cannot be cleared). False,
  // nothing changed, for a name the shape does not have.
  bool set_dimension(const OdString& name, double value);
  bool clear_dimension(const OdString& name);

 protected:
  explicit ParametrizedProfile(std::unique_ptr<Profile::Impl> impl);
};

// Every profile class is unique by its series and size.
#define TARNLIB_PROFILE_TRAITS(Class)                 \
  template <>                                         \
  struct ObjectTraits<Class> {                        \
    static constexpr ObjectType type = ObjectType::Class; \
    using unique_key_type = ProfileKey;               \
    using criteria_type = ProfileCriteria;            \
  };

TARNLIB_PROFILE_TRAITS(Profile)
TARNLIB_PROFILE_TRAITS(CustomProfile)
TARNLIB_PROFILE_TRAITS(ParametrizedProfile)

// Same geometry: the class of `a` is looked up in a fixed order (custom
// profile, then the shapes, derived before base); `b` must be of that class
// too, and that class's operator== decides. Null or an unknown class: false.
TARNLIB_EXPORT bool equalProfiles(const TnSmartPtr<Profile>& a, const TnSmartPtr<Profile>& b);
// Whether `b` is `a` uniformly scaled, and by which factor (in `scale`, 0 when
// not). Unlike equalProfiles, a `b` that is not of the class found for `a` sends
// the search on down the order, so an asymmetric I-shape and an I-shape are
// compared as I-shapes. Custom profiles are never scaled-equal.
TARNLIB_EXPORT bool scaledEqualProfiles(const TnSmartPtr<Profile>& a, const TnSmartPtr<Profile>& b,
                                        double& scale);

// One row of the profile picker: a profile seen through its series and standard.
struct TARNLIB_EXPORT ProfilesPanelRow {
  std::uint32_t id = 0;
  ObjectType profile_class = ObjectType::Profile;  // the most-derived class
  OdString series;
  OdString standard;  // empty for a series outside any standard
  OdString size;
  ProfileType type = ProfileType::Generic;
};

// A read-only browsing query over tens of thousands of sections in one SQL
// query, for a host's profile picker: the rows matching `filter`, ordered by
// standard, series and id. Library::get<ProfilesPanelQuery>(rows, query).
struct TARNLIB_EXPORT ProfilesPanelQuery {
  using Row = ProfilesPanelRow;
  ProfileCriteria filter;
};

}  // namespace tarnlib

#endif  // TARNLIB_PROFILE_H_
