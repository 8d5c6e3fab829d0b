#include <mutex>

#include "objects/mappings.h"
#include "objects/profile_support.h"
#include "tarnlib/asset.h"
#include "tarnlib/composition.h"
#include "tarnlib/custom_property.h"
#include "tarnlib/layer.h"
#include "tarnlib/material.h"
#include "tarnlib/profile.h"
#include "tarnlib/property.h"
#include "tarnlib/tag.h"
#include "tarnlib/unit.h"

namespace tarnlib {

namespace access {

// Called once by the mapping registry on its first lookup.
void registerAllMappings() {
  objects::tagMapping();
  objects::layerMapping();
  objects::customPropertyMapping();
  objects::informationAssetMapping();
  objects::physicalAssetMapping();
  objects::bimAssetMapping();
  objects::materialTypeMapping();
  objects::materialMapping();
  objects::compositionTypeMapping();
  objects::compositionMapping();
  objects::profileStandardMapping();
  objects::profileNameMapping();
  objects::customProfileMapping();
  objects::measureMapping();
  objects::unitMapping();
  objects::propertyNamespaceMapping();
  objects::entityTypeMapping();
  objects::propertyDefinitionMapping();
  objects::valueDefinitionMapping();
  objects::propertySetMapping();
  for (const objects::Shape& shape : objects::shapes()) objects::shapeMapping(shape.type);
}

}  // namespace access

namespace objects {

void ensureClasses() {
  static std::once_flag once;
  std::call_once(once, [] {
    // Bases before derived classes.
    Object::rxInit();
    Tag::rxInit();
    Layer::rxInit();
    CustomProperty::rxInit();
    Asset::rxInit();
    InformationAsset::rxInit();
    PhysicalAsset::rxInit();
    BimAsset::rxInit();
    MaterialType::rxInit();
    Material::rxInit();
    CompositionType::rxInit();
    Composition::rxInit();
    ProfileStandard::rxInit();
    ProfileName::rxInit();
    Profile::rxInit();
    CustomProfile::rxInit();
    ParametrizedProfile::rxInit();
    initShapeClasses();
    Measure::rxInit();
    Unit::rxInit();
    PropertyNamespace::rxInit();
    EntityType::rxInit();
    AbstractDefinition::rxInit();
    PropertyDefinition::rxInit();
    ValueDefinition::rxInit();
    PropertySet::rxInit();
  });
}

}  // namespace objects
}  // namespace tarnlib
