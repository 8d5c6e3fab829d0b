// Files in the two legacy layouts: the 'bimlib' schema at its last and earlier
// versions and the unprefixed layout in each of its layer forms become
// current libraries with their ids; a material the current tables refuse is
// left behind; a conversion that fails leaves the file as it was.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/old_files.h"
#include "support/sql.h"
#include "support/temp_dir.h"
#include "tarnlib/library.h"

namespace tarnlib {
namespace {

using testing::RawDb;
using testing::TempDir;
using Rows = std::vector<std::string>;

using testing::fillBimlib;
using testing::insertCommonRows;
using testing::kLibraryGuid;

// The physical assets of a converted file.
constexpr const char* kPhysicalAssets =
    "SELECT a.id, a.typeid, p.name, p.description, p.density, p.specific_heat, "
    "p.thermal_conductivity FROM tarnlib_Asset AS a JOIN tarnlib_PhysicalAsset AS p ON p.id = a.id "
    "ORDER BY a.id";

class Legacy : public ::testing::Test {
 protected:
  std::string bimlibFile(const std::string& name, int version) {
    const std::string path = dir.file(name);
    testing::writeBimlib(path, version);
    RawDb db(path);
    fillBimlib(db, version);
    return path;
  }

  // Opens `path`, which must become a current library with the legacy
  // metadata, and leaves nothing of the legacy schemas behind.
  void expectConverted(const std::string& path) {
    auto library = Library::open(OdString(path));
    ASSERT_TRUE(library);
    EXPECT_FALSE(library->isNew());
    EXPECT_EQ(library->guid(), OdString(kLibraryGuid));
    EXPECT_EQ(library->unit(), LibraryUnit::Inch);
    EXPECT_EQ(library->locale(), OdString(L"de"));
    library.reset();
    testing::expectCurrentSchema(path, dir.file("fresh"));
    EXPECT_EQ(RawDb(path).value("PRAGMA freelist_count"), "0");  // compacted
  }

  // The rows that both layouts give for the data of fillBimlib and its
  // unprefixed equivalent.
  void expectCommonRows(RawDb& db, bool materialLayer, bool compositionLayer) {
    EXPECT_EQ(db.rows("SELECT id, name FROM tarnlib_Tag ORDER BY id"),
              (Rows{"3|warm", "7|outer \xF0\x9D\x84\x9E"}));
    EXPECT_EQ(db.rows("SELECT id, name FROM tarnlib_Layer ORDER BY id"),
              (Rows{"5|A-WALL", "9|A-WALL-INSL"}));
    EXPECT_EQ(db.rows("SELECT * FROM tarnlib_CustomProperty"), Rows{"2|fire class|4"});
    EXPECT_EQ(db.rows("SELECT * FROM tarnlib_MaterialType"), Rows{"4|Masonry"});

    EXPECT_EQ(db.rows("SELECT id, name, type_id, description, comments, appearance, "
                      "cut_pattern_type, cut_pattern_name, cut_pattern_scale, cut_pattern_angle, "
                      "cut_pattern_cross, surface_pattern_type, surface_pattern_name, "
                      "cut_pattern_annotative, cut_pattern_background_color_type "
                      "FROM tarnlib_Material ORDER BY id"),
              (Rows{"11|Brick|4|Clay brick|fired|red|2|ANSI31|2.5|45.0|1|0|Solid|0|-1",
                    "12|Mineral wool \xC3\xA4|4||||-1||1.0|0.0|0|-1||0|-1"}));
    // One information and one BIM asset per material, each its own asset row.
    EXPECT_EQ(db.rows("SELECT m.id, a.typeid, i.name, i.description, i.label, i.manufacturer, "
                      "i.mark, i.model, i.classification, i.cost, i.keynote, i.url, i.unique_code "
                      "FROM tarnlib_Material AS m "
                      "JOIN tarnlib_InformationAsset AS i ON i.id = m.information_asset_id "
                      "JOIN tarnlib_Asset AS a ON a.id = i.id ORDER BY m.id"),
              (Rows{"11|tarnlib::InformationAsset|Brick|Clay brick|B|Acme|M1|NF|Pr_20|12.50|K-04|"
                    "http://b|BR-1",
                    "12|tarnlib::InformationAsset|Mineral wool \xC3\xA4||||||||||NULL"}));
    const std::string brickLayer = materialLayer ? "5" : "NULL";
    EXPECT_EQ(
        db.rows("SELECT m.id, a.typeid, b.name, b.layer_id, b.default_function, "
                "b.variable_thickness, b.layer_elevation_id, b.union_elevation, "
                "(SELECT group_concat(thickness, ' ') FROM "
                "(SELECT thickness FROM tarnlib_BimAsset_thicknesses "
                "WHERE object_id = b.id ORDER BY thickness)) "
                "FROM tarnlib_Material AS m JOIN tarnlib_BimAsset AS b ON b.id = m.bim_asset_id "
                "JOIN tarnlib_Asset AS a ON a.id = b.id ORDER BY m.id"),
        (Rows{"11|tarnlib::BimAsset|Brick|" + brickLayer + "|2|0|NULL|0|115.0 240.0",
              "12|tarnlib::BimAsset|Mineral wool \xC3\xA4|NULL|3|1|NULL|0|50.0"}));
    EXPECT_EQ(db.value("SELECT count(*) FROM tarnlib_InformationAsset"), "2");
    EXPECT_EQ(db.value("SELECT count(*) FROM tarnlib_BimAsset"), "2");
    EXPECT_EQ(db.rows("SELECT * FROM tarnlib_Material_tags ORDER BY \"index\""),
              (Rows{"11|0|3", "11|1|7"}));
    EXPECT_EQ(db.rows("SELECT * FROM tarnlib_Material_custom_values"), Rows{"11|2|A1"});

    const std::string wallLayer = compositionLayer ? "9" : "NULL";
    EXPECT_EQ(db.rows("SELECT id, name, type, description, layer_id, comments, first_core_ply, "
                      "last_core_ply, structural_ply, variable_ply, composition_type_id, guid "
                      "FROM tarnlib_Composition"),
              Rows{"31|Wall 365|128|outer wall|" + wallLayer + "|c|0|1|0|1|NULL|" +
                   testing::expectedNameGuid(kLibraryGuid, "Wall 365")});
    EXPECT_EQ(db.rows("SELECT * FROM tarnlib_Composition_plies ORDER BY \"index\""),
              (Rows{"31|0|11|1|240.0", "31|1|12|2|125.0"}));
    EXPECT_EQ(db.rows("SELECT * FROM tarnlib_Composition_tags"), Rows{"31|0|7"});
    EXPECT_EQ(db.rows("SELECT * FROM tarnlib_Composition_custom_values"), Rows{"31|2|REI 90"});
  }

  TempDir dir;
};

// Earlier versions are migrated within their own steps first.
TEST_F(Legacy, EveryBimlibVersionBecomesCurrentWithItsIds) {
  for (int version = 1000; version <= 1008; ++version) {
    SCOPED_TRACE(version);
    const std::string path = bimlibFile(std::to_string(version), version);
    expectConverted(path);
    RawDb db(path);
    expectCommonRows(db, true, true);
    EXPECT_EQ(db.rows("SELECT m.id, b.union_section, m.physical_asset_id FROM tarnlib_Material AS m "
                      "JOIN tarnlib_BimAsset AS b ON b.id = m.bim_asset_id ORDER BY m.id"),
              (Rows{version >= 1006 ? "11|1|21" : version >= 1002 ? "11|1|NULL" : "11|0|NULL", "12|0|NULL"}));
    EXPECT_EQ(db.rows(kPhysicalAssets),
              version >= 1006 ? Rows{"21|tarnlib::PhysicalAsset|Clay|fired clay|1800.0|840.0|0.8"} : Rows{});
  }
}

TEST_F(Legacy, BimlibBelowItsBaseIsNotConverted) {
  const std::string path = dir.file("ancient");
  {
    RawDb db(path);
    db.exec("CREATE TABLE bimlib_Tag (id INTEGER PRIMARY KEY, name TEXT)");
    testing::writeVersionRow(db, "bimlib", 999);
  }
  auto library = Library::open(OdString(path));
  ASSERT_TRUE(library);
  EXPECT_TRUE(library->isNew());
  library.reset();
  EXPECT_EQ(RawDb(path).value("SELECT version FROM schema_version WHERE name = 'bimlib'"), "999");
}

// The layer columns exist in three forms of the layout: on both, on neither,
// on materials only.
TEST_F(Legacy, UnprefixedLayoutConvertsInEveryLayerForm) {
  for (const auto& [materialLayer, compositionLayer] : {std::pair{true, true}, {false, false}, {true, false}}) {
    SCOPED_TRACE(std::to_string(materialLayer) + std::to_string(compositionLayer));
    const std::string path = dir.file("unprefixed" + std::to_string(materialLayer) + std::to_string(compositionLayer));
    testing::writeUnprefixed(path, materialLayer, compositionLayer);
    {
      RawDb db(path);
      insertCommonRows(db, "", materialLayer, compositionLayer);
      db.exec(
          "INSERT INTO Asset VALUES (1, 'StructuralAsset', 'Steel', 'S235'), "
          "(2, 'ThermalAsset', 'Wool', ''), (3, 'Asset', 'Plain', '');"
          "INSERT INTO Asset_tags VALUES (1, 0, 3);"
          "INSERT INTO StructuralAsset VALUES (1, 7850.0);"
          "INSERT INTO ThermalAsset VALUES (2, 1030.0, 0.035)");
    }
    expectConverted(path);
    RawDb db(path);
    expectCommonRows(db, materialLayer, compositionLayer);
    EXPECT_EQ(db.rows(kPhysicalAssets), (Rows{"1|tarnlib::PhysicalAsset|Steel|S235|7850.0|NULL|NULL",
                                              "2|tarnlib::PhysicalAsset|Wool||NULL|1030.0|0.035"}));
  }
}

TEST_F(Legacy, MaterialTheCurrentTablesRefuseIsLeftBehind) {
  const std::string path = bimlibFile("duplicate", 1008);
  {
    // The legacy layout let two materials share a code; information assets may not.
    RawDb db(path);
    db.exec(
        "UPDATE bimlib_Material SET unique_code = 'BR-1' WHERE id = 12;"
        "INSERT INTO bimlib_Material (id, name, type_id, description, comments, appearance, "
        "cut_pattern_name, surface_pattern_name, label, manufacturer, mark, model, classification, "
        "cost, keynote, url) VALUES (13, 'Oak', 4, '', '', '', '', '', '', '', '', '', '', '', '', "
        "'');"
        "INSERT INTO bimlib_Material_thicknesses VALUES (13, 20.0);"
        "INSERT INTO bimlib_Material_tags VALUES (12, 0, 3);"
        "INSERT INTO bimlib_Material_custom_values VALUES (12, 2, 'B2')");
  }
  expectConverted(path);
  RawDb db(path);
  EXPECT_EQ(db.rows("SELECT id, name FROM tarnlib_Material ORDER BY id"),
            (Rows{"11|Brick", "13|Oak"}));
  // Nothing of the refused material is left: no assets, thicknesses, tags or values.
  EXPECT_EQ(db.rows("SELECT name FROM tarnlib_InformationAsset ORDER BY name"),
            (Rows{"Brick", "Oak"}));
  EXPECT_EQ(db.rows("SELECT name FROM tarnlib_BimAsset ORDER BY name"), (Rows{"Brick", "Oak"}));
  EXPECT_EQ(db.value("SELECT count(*) FROM tarnlib_Asset"), "5");
  EXPECT_EQ(db.value("SELECT count(*) FROM tarnlib_BimAsset_thicknesses"), "3");
  EXPECT_EQ(db.rows("SELECT DISTINCT object_id FROM tarnlib_Material_tags"), Rows{"11"});
  EXPECT_EQ(db.rows("SELECT object_id FROM tarnlib_Material_custom_values"), Rows{"11"});
  EXPECT_EQ(db.rows("SELECT m.name, b.name FROM tarnlib_Material AS m "
                    "JOIN tarnlib_BimAsset_thicknesses AS t ON t.object_id = m.bim_asset_id "
                    "JOIN tarnlib_BimAsset AS b ON b.id = m.bim_asset_id WHERE t.thickness = 20.0"),
            Rows{"Oak|Oak"});
}

TEST_F(Legacy, FailedConversionLeavesTheFileByteForByte) {
  struct Case {
    const char* name;
    int version;  // 0: the unprefixed layout
    const char* change;
  };
  const Case cases[] = {
      // Step 1006 of the legacy schema finds its table taken.
      {"step", 1005, "CREATE TABLE bimlib_Asset (x TEXT)"},
      // A table the copy reads is gone.
      {"copy", 1008, "DROP TABLE bimlib_Composition_plies"},
      {"unprefixed", 0, "DROP TABLE Composition_layers"},
      // No metadata: the converted file could never be opened.
      {"meta", 1008, "DELETE FROM bimlib_Meta"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::string path = dir.file(c.name);
    if (c.version) {
      path = bimlibFile(c.name, c.version);
    } else {
      testing::writeUnprefixed(path, true, true);
      RawDb db(path);
      insertCommonRows(db, "");
    }
    RawDb(path).exec(c.change);
    const std::string before = testing::readBytes(path);
    EXPECT_FALSE(Library::open(OdString(path)));
    EXPECT_EQ(testing::readBytes(path), before);
  }
}

}  // namespace
}  // namespace tarnlib
