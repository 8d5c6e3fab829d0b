CREATE TABLE "schema_version" (
  "name" TEXT NOT NULL PRIMARY KEY,
  "version" INTEGER NOT NULL,
  "migration" INTEGER NOT NULL, "compatibility" INTEGER NOT NULL DEFAULT 0);
CREATE TABLE "tarnlib_Meta" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "guid" TEXT NOT NULL,
  "unit" INTEGER NOT NULL DEFAULT 1,
  "locale" TEXT NOT NULL,
  "region" TEXT NOT NULL);
CREATE TABLE "tarnlib_Tag" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "name" TEXT NOT NULL);
CREATE TABLE sqlite_sequence(name,seq);
CREATE UNIQUE INDEX "tarnlib_Tag_name_i"
  ON "tarnlib_Tag" ("name");
CREATE TABLE "tarnlib_CustomProperty" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "name" TEXT NOT NULL,
  "object_type" INTEGER NOT NULL DEFAULT 0);
CREATE UNIQUE INDEX "tarnlib_CustomProperty_object_type_name_i"
  ON "tarnlib_CustomProperty" (
    "object_type",
    "name");
CREATE TABLE "tarnlib_Layer" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "name" TEXT NOT NULL);
CREATE UNIQUE INDEX "tarnlib_Layer_name_i"
  ON "tarnlib_Layer" ("name");
CREATE TABLE "tarnlib_Asset" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "typeid" TEXT NOT NULL);
CREATE TABLE "tarnlib_InformationAsset" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "name" TEXT NOT NULL,
  "description" TEXT NOT NULL,
  "label" TEXT NOT NULL,
  "manufacturer" TEXT NOT NULL,
  "mark" TEXT NOT NULL,
  "model" TEXT NOT NULL,
  "classification" TEXT NOT NULL,
  "cost" TEXT NOT NULL,
  "keynote" TEXT NOT NULL,
  "url" TEXT NOT NULL,
  "unique_code" TEXT NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_Asset" ("id")
    ON DELETE CASCADE);
CREATE UNIQUE INDEX "tarnlib_InformationAsset_name_i"
  ON "tarnlib_InformationAsset" ("name");
CREATE UNIQUE INDEX "tarnlib_InformationAsset_unique_code_i"
  ON "tarnlib_InformationAsset" ("unique_code");
CREATE TABLE "tarnlib_PhysicalAsset" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "name" TEXT NOT NULL,
  "description" TEXT NOT NULL,
  "density" REAL NULL,
  "specific_heat" REAL NULL,
  "thermal_conductivity" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_Asset" ("id")
    ON DELETE CASCADE);
CREATE UNIQUE INDEX "tarnlib_PhysicalAsset_name_i"
  ON "tarnlib_PhysicalAsset" ("name");
CREATE TABLE "tarnlib_BimAsset" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "name" TEXT NOT NULL,
  "description" TEXT NOT NULL,
  "layer_id" INTEGER NULL,
  "layer_elevation_id" INTEGER NULL,
  "union_section" INTEGER NOT NULL DEFAULT 0,
  "union_elevation" INTEGER NOT NULL DEFAULT 0,
  "default_function" INTEGER NOT NULL DEFAULT 0,
  "variable_thickness" INTEGER NOT NULL DEFAULT 1,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_Asset" ("id")
    ON DELETE CASCADE,
  CONSTRAINT "layer_id_fk"
    FOREIGN KEY ("layer_id")
    REFERENCES "tarnlib_Layer" ("id")
    DEFERRABLE INITIALLY DEFERRED,
  CONSTRAINT "layer_elevation_id_fk"
    FOREIGN KEY ("layer_elevation_id")
    REFERENCES "tarnlib_Layer" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE UNIQUE INDEX "tarnlib_BimAsset_name_i"
  ON "tarnlib_BimAsset" ("name");
CREATE TABLE "tarnlib_BimAsset_thicknesses" (
  "object_id" INTEGER NOT NULL,
  "thickness" REAL NULL,
  CONSTRAINT "object_id_fk"
    FOREIGN KEY ("object_id")
    REFERENCES "tarnlib_BimAsset" ("id")
    ON DELETE CASCADE);
CREATE INDEX "tarnlib_BimAsset_thicknesses_object_id_i"
  ON "tarnlib_BimAsset_thicknesses" ("object_id");
CREATE TABLE "tarnlib_MaterialType" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "name" TEXT NOT NULL);
CREATE UNIQUE INDEX "tarnlib_MaterialType_name_i"
  ON "tarnlib_MaterialType" ("name");
CREATE TABLE "tarnlib_Material" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "name" TEXT NOT NULL,
  "type_id" INTEGER NOT NULL,
  "description" TEXT NOT NULL,
  "comments" TEXT NOT NULL,
  "appearance" TEXT NOT NULL,
  "cut_pattern_type" INTEGER NOT NULL DEFAULT -1,
  "cut_pattern_name" TEXT NOT NULL,
  "cut_pattern_scale" REAL NOT NULL DEFAULT 1,
  "cut_pattern_angle" REAL NOT NULL DEFAULT 0,
  "cut_pattern_cross" INTEGER NOT NULL DEFAULT 0,
  "cut_pattern_annotative" INTEGER NOT NULL DEFAULT 0,
  "cut_pattern_background_color_type" INTEGER NOT NULL DEFAULT -1,
  "cut_pattern_background_color_red" REAL NOT NULL DEFAULT 0,
  "cut_pattern_background_color_green" REAL NOT NULL DEFAULT 0,
  "cut_pattern_background_color_blue" REAL NOT NULL DEFAULT 0,
  "cut_pattern_background_color_alpha" REAL NOT NULL DEFAULT 0,
  "surface_pattern_type" INTEGER NOT NULL DEFAULT -1,
  "surface_pattern_name" TEXT NOT NULL,
  "surface_pattern_scale" REAL NOT NULL DEFAULT 1,
  "surface_pattern_angle" REAL NOT NULL DEFAULT 0,
  "surface_pattern_cross" INTEGER NOT NULL DEFAULT 0,
  "surface_pattern_annotative" INTEGER NOT NULL DEFAULT 0,
  "surface_pattern_background_color_type" INTEGER NOT NULL DEFAULT -1,
  "surface_pattern_background_color_red" REAL NOT NULL DEFAULT 0,
  "surface_pattern_background_color_green" REAL NOT NULL DEFAULT 0,
  "surface_pattern_background_color_blue" REAL NOT NULL DEFAULT 0,
  "surface_pattern_background_color_alpha" REAL NOT NULL DEFAULT 0,
  "information_asset_id" INTEGER NULL,
  "physical_asset_id" INTEGER NULL,
  "bim_asset_id" INTEGER NULL,
  CONSTRAINT "type_id_fk"
    FOREIGN KEY ("type_id")
    REFERENCES "tarnlib_MaterialType" ("id")
    DEFERRABLE INITIALLY DEFERRED,
  CONSTRAINT "information_asset_id_fk"
    FOREIGN KEY ("information_asset_id")
    REFERENCES "tarnlib_InformationAsset" ("id")
    DEFERRABLE INITIALLY DEFERRED,
  CONSTRAINT "physical_asset_id_fk"
    FOREIGN KEY ("physical_asset_id")
    REFERENCES "tarnlib_PhysicalAsset" ("id")
    DEFERRABLE INITIALLY DEFERRED,
  CONSTRAINT "bim_asset_id_fk"
    FOREIGN KEY ("bim_asset_id")
    REFERENCES "tarnlib_BimAsset" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE UNIQUE INDEX "tarnlib_Material_name_i"
  ON "tarnlib_Material" ("name");
CREATE TABLE "tarnlib_Material_tags" (
  "object_id" INTEGER NOT NULL,
  "index" INTEGER NOT NULL,
  "tag_id" INTEGER NOT NULL,
  CONSTRAINT "object_id_fk"
    FOREIGN KEY ("object_id")
    REFERENCES "tarnlib_Material" ("id")
    ON DELETE CASCADE,
  CONSTRAINT "tag_id_fk"
    FOREIGN KEY ("tag_id")
    REFERENCES "tarnlib_Tag" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE INDEX "tarnlib_Material_tags_object_id_i"
  ON "tarnlib_Material_tags" ("object_id");
CREATE INDEX "tarnlib_Material_tags_index_i"
  ON "tarnlib_Material_tags" ("index");
CREATE TABLE "tarnlib_Material_custom_values" (
  "object_id" INTEGER NOT NULL,
  "property_id" INTEGER NULL,
  "value" TEXT NOT NULL,
  CONSTRAINT "object_id_fk"
    FOREIGN KEY ("object_id")
    REFERENCES "tarnlib_Material" ("id")
    ON DELETE CASCADE,
  CONSTRAINT "property_id_fk"
    FOREIGN KEY ("property_id")
    REFERENCES "tarnlib_CustomProperty" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE INDEX "tarnlib_Material_custom_values_object_id_i"
  ON "tarnlib_Material_custom_values" ("object_id");
CREATE TABLE "tarnlib_CompositionType" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "name" TEXT NOT NULL);
CREATE UNIQUE INDEX "tarnlib_CompositionType_name_i"
  ON "tarnlib_CompositionType" ("name");
CREATE TABLE "tarnlib_Composition" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "name" TEXT NOT NULL,
  "type" INTEGER NOT NULL DEFAULT 128,
  "composition_type_id" INTEGER NULL,
  "description" TEXT NOT NULL,
  "layer_id" INTEGER NULL,
  "comments" TEXT NOT NULL,
  "first_core_ply" INTEGER NOT NULL DEFAULT 0,
  "last_core_ply" INTEGER NOT NULL DEFAULT 0,
  "structural_ply" INTEGER NOT NULL DEFAULT 0,
  "variable_ply" INTEGER NULL,
  "variable_ply_min_thickness" REAL NOT NULL DEFAULT 0,
  "variable_ply_max_thickness" REAL NULL,
  "guid" TEXT NOT NULL DEFAULT '',
  CONSTRAINT "composition_type_id_fk"
    FOREIGN KEY ("composition_type_id")
    REFERENCES "tarnlib_CompositionType" ("id")
    DEFERRABLE INITIALLY DEFERRED,
  CONSTRAINT "layer_id_fk"
    FOREIGN KEY ("layer_id")
    REFERENCES "tarnlib_Layer" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE UNIQUE INDEX "tarnlib_Composition_name_i"
  ON "tarnlib_Composition" ("name");
CREATE TABLE "tarnlib_Composition_tags" (
  "object_id" INTEGER NOT NULL,
  "index" INTEGER NOT NULL,
  "tag_id" INTEGER NOT NULL,
  CONSTRAINT "object_id_fk"
    FOREIGN KEY ("object_id")
    REFERENCES "tarnlib_Composition" ("id")
    ON DELETE CASCADE,
  CONSTRAINT "tag_id_fk"
    FOREIGN KEY ("tag_id")
    REFERENCES "tarnlib_Tag" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE INDEX "tarnlib_Composition_tags_object_id_i"
  ON "tarnlib_Composition_tags" ("object_id");
CREATE INDEX "tarnlib_Composition_tags_index_i"
  ON "tarnlib_Composition_tags" ("index");
CREATE TABLE "tarnlib_Composition_plies" (
  "object_id" INTEGER NOT NULL,
  "index" INTEGER NOT NULL,
  "material_id" INTEGER NOT NULL,
  "function" INTEGER NOT NULL DEFAULT 0,
  "thickness" REAL NULL DEFAULT 1,
  CONSTRAINT "object_id_fk"
    FOREIGN KEY ("object_id")
    REFERENCES "tarnlib_Composition" ("id")
    ON DELETE CASCADE,
  CONSTRAINT "material_id_fk"
    FOREIGN KEY ("material_id")
    REFERENCES "tarnlib_Material" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE INDEX "tarnlib_Composition_plies_object_id_i"
  ON "tarnlib_Composition_plies" ("object_id");
CREATE INDEX "tarnlib_Composition_plies_index_i"
  ON "tarnlib_Composition_plies" ("index");
CREATE TABLE "tarnlib_Composition_custom_values" (
  "object_id" INTEGER NOT NULL,
  "property_id" INTEGER NULL,
  "value" TEXT NOT NULL,
  CONSTRAINT "object_id_fk"
    FOREIGN KEY ("object_id")
    REFERENCES "tarnlib_Composition" ("id")
    ON DELETE CASCADE,
  CONSTRAINT "property_id_fk"
    FOREIGN KEY ("property_id")
    REFERENCES "tarnlib_CustomProperty" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE INDEX "tarnlib_Composition_custom_values_object_id_i"
  ON "tarnlib_Composition_custom_values" ("object_id");
CREATE TABLE "tarnlib_Composition_merge_guids" (
  "object_id" INTEGER NOT NULL,
  "value" TEXT NOT NULL DEFAULT '',
  CONSTRAINT "object_id_fk"
    FOREIGN KEY ("object_id")
    REFERENCES "tarnlib_Composition" ("id")
    ON DELETE CASCADE);
CREATE INDEX "tarnlib_Composition_merge_guids_object_id_i"
  ON "tarnlib_Composition_merge_guids" ("object_id");
CREATE TABLE "tarnlib_ProfileStandard" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "name" TEXT NOT NULL);
CREATE UNIQUE INDEX "tarnlib_ProfileStandard_name_i"
  ON "tarnlib_ProfileStandard" ("name");
CREATE TABLE "tarnlib_ProfileName" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "standard_id" INTEGER NULL,
  "name" TEXT NOT NULL,
  "type" INTEGER NOT NULL DEFAULT 1,
  CONSTRAINT "standard_id_fk"
    FOREIGN KEY ("standard_id")
    REFERENCES "tarnlib_ProfileStandard" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE UNIQUE INDEX "tarnlib_ProfileName_type_standard_name_i"
  ON "tarnlib_ProfileName" (
    "type",
    "standard_id",
    "name");
CREATE TABLE "tarnlib_Profile" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "typeid" TEXT NOT NULL,
  "name_id" INTEGER NOT NULL,
  "size" TEXT NOT NULL,
  "description" TEXT NOT NULL,
  "material_id" INTEGER NULL,
  "offset_x" REAL NULL DEFAULT 0,
  "offset_y" REAL NULL DEFAULT 0,
  "guid" TEXT NOT NULL DEFAULT '',
  CONSTRAINT "name_id_fk"
    FOREIGN KEY ("name_id")
    REFERENCES "tarnlib_ProfileName" ("id")
    DEFERRABLE INITIALLY DEFERRED,
  CONSTRAINT "material_id_fk"
    FOREIGN KEY ("material_id")
    REFERENCES "tarnlib_Material" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE UNIQUE INDEX "tarnlib_Profile_name_size_i"
  ON "tarnlib_Profile" (
    "name_id",
    "size");
CREATE TABLE "tarnlib_Profile_merge_guids" (
  "object_id" INTEGER NOT NULL,
  "value" TEXT NOT NULL DEFAULT '',
  CONSTRAINT "object_id_fk"
    FOREIGN KEY ("object_id")
    REFERENCES "tarnlib_Profile" ("id")
    ON DELETE CASCADE);
CREATE INDEX "tarnlib_Profile_merge_guids_object_id_i"
  ON "tarnlib_Profile_merge_guids" ("object_id");
CREATE TABLE "tarnlib_CustomProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "geometry" TEXT NOT NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_Profile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_ParametrizedProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_Profile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_CircleProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "radius" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_ParametrizedProfile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_CircleHollowProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "wallThickness" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_CircleProfile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_EllipseProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "semiAxis1" REAL NULL,
  "semiAxis2" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_ParametrizedProfile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_RectangleProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "xDim" REAL NULL,
  "yDim" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_ParametrizedProfile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_RectangleHollowProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "wallThickness" REAL NULL,
  "innerFilletRadius" REAL NULL,
  "outerFilletRadius" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_RectangleProfile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_RoundedRectangleProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "roundingRadius" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_RectangleProfile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_TrapeziumProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "bottomXDim" REAL NULL,
  "topXDim" REAL NULL,
  "yDim" REAL NULL,
  "topXOffset" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_ParametrizedProfile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_CraneRailAShapeProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "overallHeight" REAL NULL,
  "baseWidth2" REAL NULL,
  "radius" REAL NULL,
  "headWidth" REAL NULL,
  "headDepth2" REAL NULL,
  "headDepth3" REAL NULL,
  "webThickness" REAL NULL,
  "baseWidth4" REAL NULL,
  "baseDepth1" REAL NULL,
  "baseDepth2" REAL NULL,
  "baseDepth3" REAL NULL,
  "centreOfGravityInY" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_ParametrizedProfile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_CraneRailFShapeProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "overallHeight" REAL NULL,
  "headWidth" REAL NULL,
  "radius" REAL NULL,
  "headDepth2" REAL NULL,
  "headDepth3" REAL NULL,
  "webThickness" REAL NULL,
  "baseDepth1" REAL NULL,
  "baseDepth2" REAL NULL,
  "centreOfGravityInY" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_ParametrizedProfile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_TShapeProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "depth" REAL NULL,
  "flangeWidth" REAL NULL,
  "webThickness" REAL NULL,
  "flangeThickness" REAL NULL,
  "filletRadius" REAL NULL,
  "flangeEdgeRadius" REAL NULL,
  "webEdgeRadius" REAL NULL,
  "webSlope" REAL NULL,
  "flangeSlope" REAL NULL,
  "centreOfGravityInY" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_ParametrizedProfile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_ZShapeProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "depth" REAL NULL,
  "flangeWidth" REAL NULL,
  "webThickness" REAL NULL,
  "flangeThickness" REAL NULL,
  "filletRadius" REAL NULL,
  "edgeRadius" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_ParametrizedProfile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_CShapeProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "depth" REAL NULL,
  "width" REAL NULL,
  "wallThickness" REAL NULL,
  "girth" REAL NULL,
  "internalFilletRadius" REAL NULL,
  "centreOfGravityInX" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_ParametrizedProfile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_UShapeProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "depth" REAL NULL,
  "flangeWidth" REAL NULL,
  "webThickness" REAL NULL,
  "flangeThickness" REAL NULL,
  "filletRadius" REAL NULL,
  "edgeRadius" REAL NULL,
  "flangeSlope" REAL NULL,
  "centreOfGravityInX" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_ParametrizedProfile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_LShapeProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "depth" REAL NULL,
  "width" REAL NULL,
  "thickness" REAL NULL,
  "filletRadius" REAL NULL,
  "edgeRadius" REAL NULL,
  "legSlope" REAL NULL,
  "centreOfGravityInX" REAL NULL,
  "centreOfGravityInY" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_ParametrizedProfile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_IShapeProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "overallWidth" REAL NULL,
  "overallDepth" REAL NULL,
  "webThickness" REAL NULL,
  "flangeThickness" REAL NULL,
  "filletRadius" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_ParametrizedProfile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_AsymmetricIShapeProfile" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "topFlangeWidth" REAL NULL,
  "topFlangeThickness" REAL NULL,
  "topFlangeFilletRadius" REAL NULL,
  "centreOfGravityInY" REAL NULL,
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_IShapeProfile" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_Measure" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "name" TEXT NOT NULL,
  "description" TEXT NOT NULL DEFAULT '',
  "length" INTEGER NOT NULL DEFAULT 0,
  "mass" INTEGER NOT NULL DEFAULT 0,
  "time" INTEGER NOT NULL DEFAULT 0,
  "thermodynamic_temperature" INTEGER NOT NULL DEFAULT 0,
  "electric_current" INTEGER NOT NULL DEFAULT 0,
  "luminous_intensity" INTEGER NOT NULL DEFAULT 0,
  "amount_of_substance" INTEGER NOT NULL DEFAULT 0);
CREATE UNIQUE INDEX "tarnlib_Measure_name_i"
  ON "tarnlib_Measure" ("name");
CREATE TABLE "tarnlib_Unit" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "name" TEXT NULL,
  "label" TEXT NOT NULL,
  "scale" REAL NOT NULL DEFAULT 1,
  "measure_id" INTEGER NOT NULL,
  CONSTRAINT "measure_id_fk"
    FOREIGN KEY ("measure_id")
    REFERENCES "tarnlib_Measure" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE UNIQUE INDEX "tarnlib_Unit_name_i"
  ON "tarnlib_Unit" ("name");
CREATE UNIQUE INDEX "tarnlib_Unit_measure_label_i"
  ON "tarnlib_Unit" (
    "measure_id",
    "label");
CREATE TABLE "tarnlib_ColumnUnit" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "table" TEXT NOT NULL,
  "column" TEXT NOT NULL,
  "unit_id" INTEGER NOT NULL,
  CONSTRAINT "unit_id_fk"
    FOREIGN KEY ("unit_id")
    REFERENCES "tarnlib_Unit" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE UNIQUE INDEX "tarnlib_ColumnUnit_table_column_i"
  ON "tarnlib_ColumnUnit" (
    "table",
    "column");
CREATE TABLE "tarnlib_DefaultUnit" (
  "measure_id" INTEGER NOT NULL PRIMARY KEY,
  "unit_id" INTEGER NULL,
  CONSTRAINT "measure_id_fk"
    FOREIGN KEY ("measure_id")
    REFERENCES "tarnlib_Measure" ("id")
    DEFERRABLE INITIALLY DEFERRED,
  CONSTRAINT "unit_id_fk"
    FOREIGN KEY ("unit_id")
    REFERENCES "tarnlib_Unit" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE TABLE "tarnlib_EntityType" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "name" TEXT NOT NULL);
CREATE UNIQUE INDEX "tarnlib_EntityType_name_i"
  ON "tarnlib_EntityType" ("name");
CREATE TABLE "tarnlib_PropertyNamespace" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "name" TEXT NOT NULL,
  "label" TEXT NULL,
  "editable" INTEGER NOT NULL DEFAULT 1,
  "visible" INTEGER NOT NULL DEFAULT 1,
  "revision" INTEGER NOT NULL DEFAULT 0);
CREATE UNIQUE INDEX "tarnlib_PropertyNamespace_name_i"
  ON "tarnlib_PropertyNamespace" ("name");
CREATE UNIQUE INDEX "tarnlib_PropertyNamespace_label_i"
  ON "tarnlib_PropertyNamespace" ("label");
CREATE TABLE "tarnlib_AbstractDefinition" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "typeid" TEXT NOT NULL,
  "namespace_id" INTEGER NOT NULL,
  "name" TEXT NOT NULL,
  "label" TEXT NULL,
  "description" TEXT NOT NULL DEFAULT '',
  "type_structure" INTEGER NOT NULL DEFAULT 1,
  "type_value_type" INTEGER NOT NULL DEFAULT 11,
  "type_key_type" INTEGER NOT NULL DEFAULT 0,
  "unit_id" INTEGER NULL,
  "visible" INTEGER NOT NULL DEFAULT 1,
  CONSTRAINT "namespace_id_fk"
    FOREIGN KEY ("namespace_id")
    REFERENCES "tarnlib_PropertyNamespace" ("id")
    DEFERRABLE INITIALLY DEFERRED,
  CONSTRAINT "unit_id_fk"
    FOREIGN KEY ("unit_id")
    REFERENCES "tarnlib_Unit" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE UNIQUE INDEX "tarnlib_AbstractDefinition_name_ns_i"
  ON "tarnlib_AbstractDefinition" (
    "name",
    "namespace_id");
CREATE TABLE "tarnlib_PropertyDefinition" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "type_spec" TEXT NOT NULL DEFAULT '',
  "default_value" TEXT NOT NULL DEFAULT '',
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_AbstractDefinition" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_ValueDefinition" (
  "id" INTEGER NOT NULL PRIMARY KEY,
  "value_spec" TEXT NOT NULL DEFAULT '',
  CONSTRAINT "id_fk"
    FOREIGN KEY ("id")
    REFERENCES "tarnlib_AbstractDefinition" ("id")
    ON DELETE CASCADE);
CREATE TABLE "tarnlib_PropertySet" (
  "id" INTEGER NOT NULL PRIMARY KEY AUTOINCREMENT,
  "namespace_id" INTEGER NOT NULL,
  "name" TEXT NOT NULL,
  "label" TEXT NULL,
  "per_instance" INTEGER NOT NULL DEFAULT 0,
  "ifc_name" TEXT NULL,
  "visible" INTEGER NOT NULL DEFAULT 1,
  CONSTRAINT "namespace_id_fk"
    FOREIGN KEY ("namespace_id")
    REFERENCES "tarnlib_PropertyNamespace" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE UNIQUE INDEX "tarnlib_PropertySet_name_ns_i"
  ON "tarnlib_PropertySet" (
    "name",
    "namespace_id");
CREATE TABLE "tarnlib_PropertySet_definitions" (
  "object_id" INTEGER NOT NULL,
  "index" INTEGER NOT NULL,
  "abstract_definition_id" INTEGER NOT NULL,
  CONSTRAINT "object_id_fk"
    FOREIGN KEY ("object_id")
    REFERENCES "tarnlib_PropertySet" ("id")
    ON DELETE CASCADE,
  CONSTRAINT "abstract_definition_id_fk"
    FOREIGN KEY ("abstract_definition_id")
    REFERENCES "tarnlib_AbstractDefinition" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE INDEX "tarnlib_PropertySet_definitions_object_id_i"
  ON "tarnlib_PropertySet_definitions" ("object_id");
CREATE INDEX "tarnlib_PropertySet_definitions_index_i"
  ON "tarnlib_PropertySet_definitions" ("index");
CREATE TABLE "tarnlib_PropertySet_entity_types" (
  "object_id" INTEGER NOT NULL,
  "index" INTEGER NOT NULL,
  "entity_type_id" INTEGER NOT NULL,
  CONSTRAINT "object_id_fk"
    FOREIGN KEY ("object_id")
    REFERENCES "tarnlib_PropertySet" ("id")
    ON DELETE CASCADE,
  CONSTRAINT "entity_type_id_fk"
    FOREIGN KEY ("entity_type_id")
    REFERENCES "tarnlib_EntityType" ("id")
    DEFERRABLE INITIALLY DEFERRED);
CREATE INDEX "tarnlib_PropertySet_entity_types_object_id_i"
  ON "tarnlib_PropertySet_entity_types" ("object_id");
CREATE INDEX "tarnlib_PropertySet_entity_types_index_i"
  ON "tarnlib_PropertySet_entity_types" ("index");
