// The profile catalogue: standards, series and profiles in their tables, the
// row chain of every shape, keys, criteria and the picker query, and the rules
// that the copy and sync operations lean on: tolerance equality, scaled
// equality and rescaling.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "access/mapping.h"
#include "objects/shape.h"
#include "support/catalogue.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/library.h"
#include "tarnlib/profile_shapes.h"
#include "tarnlib/transaction.h"

namespace tarnlib {
namespace {

using testing::RawDb;
using testing::StatementCounter;

class ProfileTest : public testing::LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    standard = ProfileStandard::create(L"EN 10365");
    ipe = ProfileName::create(standard, L"IPE", ProfileType::StructuralSteel);
  }

  // A stored profile of `type` whose dimensions are 10, 11, 12... in column
  // order; returns its id.
  std::uint32_t storeNumbered(ObjectType type, const OdString& size) {
    TnSmartPtr<Object> object = access::mappingOf(type).create();
    auto* profile = static_cast<Profile*>(object.get());
    profile->set_name(ipe);
    profile->set_size(size);
    Profile::Impl& p = profile->impl();
    for (std::size_t i = 0; i < objects::shapeOf(type)->all.size(); ++i) {
      p.dimensions[i] = 10.0 + static_cast<double>(i);
      p.present[i] = true;
    }
    auto stored = library->save<Profile>(TnSmartPtr<Profile>(profile));
    return stored ? stored->id() : 0;
  }

  TnSmartPtr<ProfileStandard> standard;
  TnSmartPtr<ProfileName> ipe;
};

// ---- Storage

TEST_F(ProfileTest, EveryShape_RowChainStoredLoadedMostDerivedAndRemovedByCascade) {
  for (const objects::Shape& shape : objects::shapes()) {
    SCOPED_TRACE(shape.className);
    const std::uint32_t id = storeNumbered(shape.type, OdString(shape.className));
    ASSERT_NE(id, 0u);

    RawDb db = raw();
    EXPECT_EQ(db.value("SELECT typeid FROM tarnlib_Profile WHERE id = " + std::to_string(id)),
              std::string("tarnlib::") + shape.className);
    EXPECT_EQ(db.value("SELECT count(*) FROM tarnlib_ParametrizedProfile WHERE id = " + std::to_string(id)), "1");
    // Each class of the chain holds its own dimensions under their columns.
    std::size_t index = shape.all.size();
    for (const objects::Shape* s = &shape; s; s = s->base) {
      index -= s->own.size();
      for (std::size_t i = 0; i < s->own.size(); ++i)
        EXPECT_EQ(db.value(std::string("SELECT \"") + s->own[i].column + "\" FROM tarnlib_" + s->className +
                           " WHERE id = " + std::to_string(id)),
                  std::to_string(10 + index + i) + ".0")
            << s->own[i].column;
    }

    // Through the root, the most-derived class comes back, every dimension set.
    auto loaded = library->get<Profile>(id);
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->tarnlibType(), shape.type);
    for (std::size_t i = 0; i < shape.all.size(); ++i) {
      EXPECT_EQ(loaded->impl().dimensions[i], 10.0 + static_cast<double>(i));
      EXPECT_TRUE(loaded->impl().present[i]);
    }

    EXPECT_EQ(library->remove<Profile>(id), Library::RemoveResult::kRemoved);
    std::string left;
    for (const objects::Shape* s = &shape; s; s = s->base)
      left += db.value(std::string("SELECT count(*) FROM tarnlib_") + s->className);
    EXPECT_EQ(left + db.value("SELECT count(*) FROM tarnlib_ParametrizedProfile") +
                  db.value("SELECT count(*) FROM tarnlib_Profile"),
              std::string(left.size(), '0') + "00");
  }
}

TEST_F(ProfileTest, NamedAccessors_ReadAndWriteTheirColumns_OptionalOnesAbsentAsNull) {
  auto angle = LShapeProfile::create(ipe, L"L 100x10");
  angle->set_depth(100);
  angle->set_thickness(10);
  angle->set_leg_slope(0.5);
  auto rail = CraneRailAShapeProfile::create(ipe, L"A 45");
  rail->set_base_width_2(125);
  rail->set_centre_of_gravity_in_y(33.3);
  auto asym = AsymmetricIShapeProfile::create(ipe, L"A 1");
  asym->set_overall_width(200);
  asym->set_top_flange_width(150);
  const auto a = store(angle)->id();
  const auto r = store(rail)->id();
  const auto s = store(asym)->id();

  RawDb db = raw();
  auto row = [&](const char* table, std::uint32_t id) {
    return db.value(std::string("SELECT * FROM ") + table + " WHERE id = " + std::to_string(id));
  };
  EXPECT_EQ(row("tarnlib_LShapeProfile", a), std::to_string(a) + "|100.0|NULL|10.0|NULL|NULL|0.5|NULL|NULL");
  EXPECT_EQ(row("tarnlib_CraneRailAShapeProfile", r),
            std::to_string(r) + "|0.0|125.0|NULL|0.0|0.0|0.0|0.0|0.0|0.0|0.0|0.0|33.3");
  EXPECT_EQ(row("tarnlib_IShapeProfile", s), std::to_string(s) + "|200.0|0.0|0.0|0.0|NULL");
  EXPECT_EQ(row("tarnlib_AsymmetricIShapeProfile", s), std::to_string(s) + "|150.0|NULL|NULL|NULL");

  auto loaded = library->get<LShapeProfile>(a);
  std::string listed;
  for (const auto& d : loaded->dimensions())
    listed += std::string(d.name) + (d.present ? "=" + std::to_string(static_cast<int>(d.value * 10)) : "") + " ";
  EXPECT_EQ(listed,
            "depth=1000 width thickness=100 filletRadius edgeRadius legSlope=5 centreOfGravityInX "
            "centreOfGravityInY ");
  EXPECT_FALSE(loaded->has_width());
  EXPECT_EQ(loaded->width(), 0.0);
  // By name, as generic code sets them.
  EXPECT_TRUE(loaded->set_dimension(L"width", 90));
  EXPECT_EQ(loaded->width(), 90.0);
  EXPECT_TRUE(loaded->clear_dimension(L"width"));
  EXPECT_FALSE(loaded->has_width());
  EXPECT_FALSE(loaded->clear_dimension(L"depth"));  // required
  EXPECT_FALSE(loaded->set_dimension(L"radius", 1));
  EXPECT_TRUE(loaded->isDirty());
  loaded = library->get<LShapeProfile>(a);
  EXPECT_TRUE(loaded->has_leg_slope());
  EXPECT_FALSE(loaded->isDirty());
  loaded->set_leg_slope(0.5);
  EXPECT_FALSE(loaded->isDirty());
  loaded->clear_leg_slope();
  EXPECT_TRUE(loaded->isDirty());
  EXPECT_EQ(loaded->leg_slope(), 0.0);
}

TEST_F(ProfileTest, CustomProfile_GeometryStoredByteForByte_OffsetAbsentAsNull) {
  const OdString geometry(L"M 0,0 L 10,0 \"q\" <a & b>\n\tZ \u00e9\u4e2d \U0001F600 '); DROP TABLE x; --");
  auto custom = CustomProfile::create(ipe, L"free");
  custom->set_geometry(geometry);
  const auto id = store(custom)->id();
  EXPECT_EQ(raw().value("SELECT offset_x IS NULL AND offset_y IS NULL FROM tarnlib_Profile"), "1");
  auto loaded = library->get<CustomProfile>(id);
  EXPECT_EQ(loaded->geometry(), geometry);
  EXPECT_FALSE(loaded->has_offset());
  loaded->set_offset(Vector2d{0, -2.5});
  store(loaded);
  EXPECT_EQ(raw().value("SELECT offset_x, offset_y FROM tarnlib_Profile"), "0.0|-2.5");
  EXPECT_EQ(library->get<Profile>(id)->offset(), (Vector2d{0, -2.5}));
}

TEST_F(ProfileTest, BadProfiles_RefusedAndFileUnchanged) {
  store(CircleProfile::create(ipe, L"kept"));
  const std::string before = text(true);
  for (double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                     -std::numeric_limits<double>::infinity()}) {
    auto hollow = CircleHollowProfile::create(ipe, L"bad");
    hollow->set_radius(50);
    hollow->set_wall_thickness(bad);
    EXPECT_THROW(library->save<CircleHollowProfile>(hollow), DatabaseError);
    EXPECT_EQ(hollow->id(), 0u);
    EXPECT_EQ(text(true), before);
  }
  EXPECT_THROW(library->save<CircleProfile>(CircleProfile::create(TnSmartPtr<ProfileName>(), L"orphan")),
               NullPointer);
  EXPECT_EQ(text(true), before);
}

TEST_F(ProfileTest, Uniqueness_BindsNewDuplicatesRefusesRenames_NamesByTypeAndStandard) {
  auto first = store(IShapeProfile::create(ipe, L"IPE 100"));
  auto again = IShapeProfile::create(ipe, L"IPE 100");
  again->set_overall_depth(999);
  auto bound = library->save<IShapeProfile>(again);
  EXPECT_EQ(bound->id(), first->id());
  EXPECT_EQ(bound->overall_depth(), 0.0);  // the stored row, not the new fields

  auto second = store(IShapeProfile::create(ipe, L"IPE 120"));
  second->set_size(L"IPE 100");
  EXPECT_THROW(library->save<IShapeProfile>(second), ObjectNotUnique);

  // The same series text under another type, or outside the standard, is
  // another series; a second standard of one name is the first.
  store(ProfileName::create(standard, L"IPE", ProfileType::Generic));
  store(ProfileName::create(L"IPE", ProfileType::StructuralSteel));
  EXPECT_EQ(library->count<ProfileName>(), 3u);
  EXPECT_EQ(store(ProfileStandard::create(L"EN 10365"))->id(), standard->id());

  // A row written without a type is a Generic series.
  raw().exec("INSERT INTO tarnlib_ProfileName (name) VALUES ('bare')");
  EXPECT_EQ(library->get<ProfileName>(ProfileNameKey(L"bare", 0, ProfileType::Generic))->type(),
            ProfileType::Generic);
}

// ---- Keys, GUIDs, criteria

TEST_F(ProfileTest, Keys_FindBySeriesAndSize_TranslatedThroughAMapping) {
  auto beam = store(IShapeProfile::create(ipe, L"IPE 200"));
  EXPECT_EQ(library->get<IShapeProfile>(ProfileKey(ipe->id(), L"IPE 200"))->id(), beam->id());
  EXPECT_EQ(library->get<Profile>(ProfileKey(ipe->id(), L"IPE 200"))->tarnlibType(), ObjectType::IShapeProfile);
  EXPECT_FALSE(library->get<CircleProfile>(ProfileKey(ipe->id(), L"IPE 200")));
  EXPECT_TRUE(library->exists<ParametrizedProfile>(ProfileKey(ipe->id(), L"IPE 200")));
  EXPECT_FALSE(library->exists<Profile>(ProfileKey(ipe->id(), L"IPE 220")));
  EXPECT_EQ(library->get<ProfileName>(ProfileNameKey(L"IPE", standard->id(), ProfileType::StructuralSteel))->id(),
            ipe->id());
  EXPECT_FALSE(library->get<ProfileName>(ProfileNameKey(L"IPE", 0, ProfileType::StructuralSteel)));

  // A key made from another library's profile names this library's series.
  auto other = Library::create(dir.odFile("other"), LibraryUnit::Millimeter);
  auto foreignName = other->save<ProfileName>(ProfileName::create(L"HEA", ProfileType::StructuralSteel));
  auto foreign = other->save<IShapeProfile>(IShapeProfile::create(foreignName, L"HEA 100"));
  IdMapping mapping(library.get());
  auto copied = library->save<IShapeProfile>(foreign, mapping);
  const ProfileKey key = ProfileKey::make(*foreign, mapping);
  EXPECT_EQ(key.name_id, copied->name()->id());
  EXPECT_NE(key.name_id, foreignName->id());
  EXPECT_EQ(library->get<IShapeProfile>(key)->id(), copied->id());
  EXPECT_EQ(ProfileKey::make(*foreign, IdMapping(library.get())).name_id, foreignName->id());
}

TEST_F(ProfileTest, Guid_GivenOnSaveByName_FoundByOwnAndMergedGuid) {
  auto beam = IShapeProfile::create(ipe, L"IPE 300");
  EXPECT_TRUE(beam->guid().toString().isEmpty());
  store(beam);
  EXPECT_EQ(beam->guid().toString(), nameBasedGuid(library->guid(), L"EN 10365IPEIPE 300"));
  EXPECT_EQ(library->get<Profile>(beam->guid(), 0)->id(), beam->id());

  const Guid absorbed(OdString(L"7f0c4b52-39c2-4c3f-8a55-9d7c6c1b2a01"));
  beam->set_merge_guids().insert(absorbed);
  store(beam);
  EXPECT_EQ(library->get<IShapeProfile>(absorbed, 0)->id(), beam->id());
  EXPECT_EQ(library->get<Profile>(absorbed, beam->id())->id(), beam->id());
  EXPECT_FALSE(library->get<ProfileName>(beam->guid(), ipe->id()));
}

TEST_F(ProfileTest, Criteria_FilterBySizeSeriesStandardTypeAndClass_PickerInOneQuery) {
  auto hea = ProfileName::create(standard, L"HEA", ProfileType::StructuralSteel);
  auto ducts = ProfileName::create(L"Ducts", ProfileType::HVAC);
  store(IShapeProfile::create(ipe, L"IPE 80"));
  store(IShapeProfile::create(ipe, L"IPE 100"));
  store(AsymmetricIShapeProfile::create(hea, L"HEA 100"));
  store(CircleHollowProfile::create(ducts, L"D 100"));
  store(CustomProfile::create(ducts, L"Oval 100"));

  auto sizes = [&](const ProfileCriteria& c) {
    std::vector<TnSmartPtr<Profile>> out;
    library->get<Profile>(out, c);
    std::string text;
    for (const auto& p : out) text += (text.empty() ? "" : "|") + p->size().toUtf8();
    EXPECT_EQ(library->count<Profile>(c), out.size());
    return text;
  };
  ProfileCriteria c;
  c.size.endsWith(L"100");
  EXPECT_EQ(sizes(c), "IPE 100|HEA 100|D 100|Oval 100");
  c.standard.equals(L"EN 10365");
  EXPECT_EQ(sizes(c), "IPE 100|HEA 100");
  c.series.equals(L"HEA");
  EXPECT_EQ(sizes(c), "HEA 100");
  ProfileCriteria outside;
  outside.standard.unset();
  outside.classes = {ObjectType::CircleHollowProfile, ObjectType::IShapeProfile};
  EXPECT_EQ(sizes(outside), "D 100");
  ProfileCriteria types;
  types.types = static_cast<std::uint32_t>(ProfileType::HVAC) | static_cast<std::uint32_t>(ProfileType::Piping);
  EXPECT_EQ(sizes(types), "D 100|Oval 100");
  std::vector<TnSmartPtr<IShapeProfile>> beams;
  library->get<IShapeProfile>(beams, ProfileCriteria{});
  EXPECT_EQ(beams.size(), 3u);  // the asymmetric one is an I-shape too

  ProfileNameCriteria names;
  names.types = static_cast<std::uint32_t>(ProfileType::StructuralSteel);
  names.standard.equals(L"EN 10365");
  EXPECT_EQ(library->count<ProfileName>(names), 2u);
  names.standard.unset();
  EXPECT_EQ(library->count<ProfileName>(names), 0u);

  Transaction transaction(library, Transaction::kBeginCurrent);
  StatementCounter statements(transaction);
  std::vector<ProfilesPanelQuery::Row> rows;
  ProfilesPanelQuery picker;
  picker.filter.size.contains(L"100");
  library->get<ProfilesPanelQuery>(rows, picker);
  EXPECT_EQ(statements.take(), 1);
  std::string text;
  for (const auto& r : rows)
    text += r.standard.toUtf8() + "/" + r.series.toUtf8() + "/" + r.size.toUtf8() + "/" +
            std::to_string(static_cast<int>(r.profile_class)) + "/" + std::to_string(static_cast<int>(r.type)) +
            " ";
  EXPECT_EQ(text, "/Ducts/D 100/21/8 /Ducts/Oval 100/18/8 EN 10365/HEA/HEA 100/35/4 EN 10365/IPE/IPE 100/34/4 ");
}

TEST_F(ProfileTest, LoadingAMixedList_OneQueryPerTableNotPerObject) {
  for (int i = 0; i < 30; ++i) {
    const OdString size(std::to_string(i));
    if (i % 3 == 0) storeNumbered(ObjectType::IShapeProfile, size);
    else if (i % 3 == 1) storeNumbered(ObjectType::RectangleHollowProfile, size);
    else storeNumbered(ObjectType::CircleHollowProfile, size);
  }
  auto statementsFor = [&](int count) {
    std::vector<TnSmartPtr<Profile>> out;
    Transaction transaction(library, Transaction::kBeginCurrent);
    StatementCounter statements(transaction);
    std::set<std::uint32_t> ids;
    for (int id = 1; id <= count; ++id) ids.insert(static_cast<std::uint32_t>(id));
    library->get<Profile>(out, ids);
    EXPECT_EQ(out.size(), static_cast<std::size_t>(count));
    return statements.take();
  };
  EXPECT_EQ(statementsFor(30), statementsFor(6));
}

// ---- Comparisons and rescaling. The numbers are worked out by hand from the
// rules: tolerance max(1, f) * 0.0001, f the unit factor between the libraries.

template <class S>
TnSmartPtr<S> shape(const std::function<void(S&)>& set) {
  auto s = S::create(ProfileName::create(L"S"), L"s");
  set(*s);
  return s;
}

TnSmartPtr<CircleProfile> circle(double radius) {
  return shape<CircleProfile>([radius](CircleProfile& c) { c.set_radius(radius); });
}

TnSmartPtr<RectangleProfile> rectangle(double x, double y) {
  return shape<RectangleProfile>([x, y](RectangleProfile& r) {
    r.set_x_dim(x);
    r.set_y_dim(y);
  });
}

class ProfileComparisonTest : public testing::LibraryTest {
 protected:
  template <class S>
  TnSmartPtr<S> in(const std::shared_ptr<Library>& lib, const TnSmartPtr<S>& s) {
    s->set_size(OdString(std::to_string(++serial_)));
    return lib->save<S>(s);
  }
  int serial_ = 0;
};

TEST_F(ProfileComparisonTest, ToleranceEquality_InOneLibraryAndAcrossUnits) {
  EXPECT_TRUE(*circle(100.00005) == *circle(100));
  EXPECT_FALSE(*circle(100.0002) == *circle(100));
  EXPECT_TRUE(*circle(100) != *circle(100.0002));

  auto inches = Library::create(dir.odFile("inch"), LibraryUnit::Inch);
  auto ten = in(inches, circle(10));
  EXPECT_TRUE(*ten == *in(library, circle(254.0009)));    // within 0.00254
  EXPECT_FALSE(*ten == *in(library, circle(254.003)));
  // The other way round the factor is 1/25.4 and the tolerance 0.0001.
  EXPECT_TRUE(*in(library, circle(254.0009)) == *ten);
  EXPECT_FALSE(*in(library, circle(254.003)) == *ten);

  // Series and size take no part; an absent optional dimension is a zero.
  auto a = shape<TShapeProfile>([](TShapeProfile& t) {
    t.set_depth(200);
    t.set_web_slope(0);
  });
  auto b = shape<TShapeProfile>([](TShapeProfile& t) { t.set_depth(200); });
  b->set_size(L"other");
  EXPECT_TRUE(*a == *b);
  b->set_fillet_radius(0.001);
  EXPECT_FALSE(*a == *b);
  // The offset counts, an absent one as (0, 0).
  a = shape<TShapeProfile>([](TShapeProfile& t) { t.set_offset(Vector2d{0, 0.00005}); });
  b = shape<TShapeProfile>([](TShapeProfile&) {});
  EXPECT_TRUE(*a == *b);
  b->set_offset(Vector2d{0.5, 0});
  EXPECT_FALSE(*a == *b);
}

TEST_F(ProfileComparisonTest, ScaledEquality_FindsTheFactorOrRefuses) {
  double scale = -1;
  EXPECT_TRUE(rectangle(100, 50)->scaledEqual(*rectangle(254, 127), scale));
  EXPECT_DOUBLE_EQ(scale, 2.54);
  EXPECT_FALSE(rectangle(100, 50)->scaledEqual(*rectangle(200, 50), scale));
  EXPECT_EQ(scale, 0.0);
  EXPECT_TRUE(rectangle(100, 50)->scaledEqual(*rectangle(100, 50), scale));
  EXPECT_EQ(scale, 1.0);
  // Within 0.0004 / x of 25.4 the factor snaps to exactly 25.4.
  EXPECT_TRUE(rectangle(10, 5)->scaledEqual(*rectangle(254.0003, 127), scale));
  EXPECT_EQ(scale, 25.4);
  EXPECT_TRUE(rectangle(254, 127)->scaledEqual(*rectangle(10, 5), scale));
  EXPECT_EQ(scale, 1 / 25.4);
  EXPECT_FALSE(rectangle(0, 0)->scaledEqual(*rectangle(0, 0), scale));

  auto filleted = [](double r) {
    return shape<IShapeProfile>([r](IShapeProfile& i) {
      i.set_overall_width(100);
      i.set_overall_depth(200);
      i.set_web_thickness(5);
      i.set_flange_thickness(8);
      i.set_fillet_radius(r);
    });
  };
  EXPECT_FALSE(filleted(0)->scaledEqual(*filleted(5), scale));
  EXPECT_TRUE(filleted(0)->scaledEqual(*filleted(0), scale));
  EXPECT_EQ(scale, 1.0);

  // Across units: 10 x 5 inches is 254 x 127 millimetres, the same section.
  auto inches = Library::create(dir.odFile("inch"), LibraryUnit::Inch);
  EXPECT_TRUE(in(inches, rectangle(10, 5))->scaledEqual(*in(library, rectangle(254, 127)), scale));
  EXPECT_EQ(scale, 1.0);
}

TEST_F(ProfileComparisonTest, Dispatch_EqualNeedsTheSameClass_ScaledFallsBackToTheBase) {
  auto i = shape<IShapeProfile>([](IShapeProfile& s) {
    s.set_overall_width(100);
    s.set_overall_depth(200);
  });
  auto asym = shape<AsymmetricIShapeProfile>([](AsymmetricIShapeProfile& s) {
    s.set_overall_width(200);
    s.set_overall_depth(400);
    s.set_top_flange_width(77);
  });
  double scale = 0;
  const TnSmartPtr<Profile> a(asym.get()), b(i.get());
  EXPECT_FALSE(equalProfiles(a, b));
  EXPECT_TRUE(scaledEqualProfiles(a, b, scale));
  EXPECT_EQ(scale, 0.5);
  EXPECT_TRUE(scaledEqualProfiles(b, a, scale));
  EXPECT_EQ(scale, 2.0);

  const TnSmartPtr<Profile> hollow(shape<RectangleHollowProfile>([](RectangleHollowProfile& r) {
    r.set_x_dim(100);
    r.set_y_dim(50);
    r.set_wall_thickness(4);
  }).get());
  const TnSmartPtr<Profile> solid(rectangle(100, 50).get());
  EXPECT_FALSE(equalProfiles(hollow, solid));
  EXPECT_TRUE(scaledEqualProfiles(hollow, solid, scale));
  EXPECT_EQ(scale, 1.0);
  EXPECT_FALSE(equalProfiles(solid, TnSmartPtr<Profile>(circle(100).get())));
  EXPECT_FALSE(equalProfiles(solid, TnSmartPtr<Profile>()));

  // Custom profiles: equal by their fields, offsets by presence only; never
  // scaled-equal; GUIDs never compared.
  auto series = ProfileName::create(L"Free");
  auto c1 = CustomProfile::create(series, L"x");
  auto c2 = CustomProfile::create(series, L"x");
  c1->set_geometry(L"outline");
  c2->set_geometry(L"outline");
  c1->set_offset(Vector2d{1, 2});
  c2->set_offset(Vector2d{3, 4});
  c2->set_guid(Guid());
  c2->set_merge_guids().insert(Guid());
  const TnSmartPtr<Profile> p1(c1.get()), p2(c2.get());
  EXPECT_TRUE(equalProfiles(p1, p2));
  EXPECT_FALSE(scaledEqualProfiles(p1, p2, scale));
  c2->clear_offset();
  EXPECT_FALSE(equalProfiles(p1, p2));
}

TEST_F(ProfileComparisonTest, Rescaling_EveryDimensionAndTheOffset_NotTheSizeOrACustomProfile) {
  auto t = shape<TShapeProfile>([](TShapeProfile& s) {
    s.set_depth(10);
    s.set_web_slope(8);
    s.set_centre_of_gravity_in_y(2);
  });
  store(t);
  t->convertByScaling(1.00000000001);
  EXPECT_FALSE(t->isDirty());
  EXPECT_EQ(t->web_slope(), 8.0);
  t->convertByScaling(25.4);
  EXPECT_TRUE(t->isDirty());
  EXPECT_DOUBLE_EQ(t->web_slope(), 203.2);
  EXPECT_DOUBLE_EQ(t->depth(), 254.0);
  EXPECT_DOUBLE_EQ(t->centre_of_gravity_in_y(), 50.8);
  EXPECT_FALSE(t->has_fillet_radius());
  EXPECT_EQ(t->size(), OdString(L"s"));

  auto hollow = shape<CircleHollowProfile>([](CircleHollowProfile& c) {
    c.set_radius(50);
    c.set_wall_thickness(3);
    c.set_offset(Vector2d{1, -2});
  });
  hollow->convertByScaling(2);
  EXPECT_EQ(hollow->radius(), 100.0);
  EXPECT_EQ(hollow->wall_thickness(), 6.0);
  EXPECT_EQ(hollow->offset(), (Vector2d{2, -4}));

  auto custom = CustomProfile::create(ProfileName::create(L"Free"), L"x");
  custom->set_geometry(L"M 0 0 L 1 1");
  custom->set_offset(Vector2d{1, 1});
  store(custom);
  custom->convertByScaling(25.4);
  EXPECT_FALSE(custom->isDirty());
  EXPECT_EQ(custom->offset(), (Vector2d{1, 1}));
}

}  // namespace
}  // namespace tarnlib
