// The mapping of every catalogue class, built on first use. The registry asks
// each for its mapping once, so that lookups by type and "typeid" find them.
#ifndef TARNLIB_OBJECTS_MAPPINGS_H_
#define TARNLIB_OBJECTS_MAPPINGS_H_

#include "access/mapping.h"

namespace tarnlib::objects {

const access::Mapping& tagMapping();
const access::Mapping& layerMapping();
const access::Mapping& customPropertyMapping();
const access::Mapping& assetMapping();
const access::Mapping& informationAssetMapping();
const access::Mapping& physicalAssetMapping();
const access::Mapping& bimAssetMapping();
const access::Mapping& materialTypeMapping();
const access::Mapping& materialMapping();
const access::Mapping& compositionTypeMapping();
const access::Mapping& compositionMapping();
const access::Mapping& profileStandardMapping();
const access::Mapping& profileNameMapping();
const access::Mapping& profileMapping();
const access::Mapping& customProfileMapping();
const access::Mapping& parametrizedProfileMapping();
const access::Mapping& measureMapping();
const access::Mapping& unitMapping();
const access::Mapping& propertyNamespaceMapping();
const access::Mapping& entityTypeMapping();
const access::Mapping& abstractDefinitionMapping();
const access::Mapping& propertyDefinitionMapping();
const access::Mapping& valueDefinitionMapping();
const access::Mapping& propertySetMapping();
// Every parametric shape's, from its description.
const access::Mapping& shapeMapping(ObjectType type);

// Initialises the runtime classes and the mappings once per process; every
// factory and library opening calls it, so downcasts work from the start.
void ensureClasses();

}  // namespace tarnlib::objects

#endif  // TARNLIB_OBJECTS_MAPPINGS_H_
