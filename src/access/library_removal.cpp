// The removals and purges of Library that span several types.
#include <algorithm>
#include <map>
#include <stdexcept>

#include "access/operations.h"
#include "core/transaction_impl.h"

namespace tarnlib {

namespace {

// Referencing types before the types they reference, so that one purge removes
// whole chains. Types without a class in this build are skipped.
const std::vector<ObjectType>& purgeOrder() {
  static const std::vector<ObjectType> order = [] {
    const ObjectType all[] = {
        ObjectType::PropertySet, ObjectType::PropertyDefinition, ObjectType::ValueDefinition,
        ObjectType::EntityType, ObjectType::Unit, ObjectType::Measure, ObjectType::PropertyNamespace,
        ObjectType::AsymmetricIShapeProfile, ObjectType::IShapeProfile, ObjectType::LShapeProfile,
        ObjectType::UShapeProfile, ObjectType::CShapeProfile, ObjectType::ZShapeProfile,
        ObjectType::TShapeProfile, ObjectType::CraneRailFShapeProfile, ObjectType::CraneRailAShapeProfile,
        ObjectType::TrapeziumProfile, ObjectType::RoundedRectangleProfile,
        ObjectType::RectangleHollowProfile, ObjectType::RectangleProfile, ObjectType::EllipseProfile,
        ObjectType::CircleHollowProfile, ObjectType::CircleProfile, ObjectType::CustomProfile,
        ObjectType::ProfileName, ObjectType::ProfileStandard, ObjectType::Composition,
        ObjectType::CompositionType, ObjectType::Material, ObjectType::MaterialType,
        ObjectType::InformationAsset, ObjectType::PhysicalAsset, ObjectType::BimAsset, ObjectType::Layer,
        ObjectType::Tag, ObjectType::CustomProperty};
    std::vector<ObjectType> known;
    for (ObjectType type : all) {
      try {
        access::mappingOf(type);
        known.push_back(type);
      } catch (const std::out_of_range&) {
      }
    }
    return known;
  }();
  return order;
}

}  // namespace

void Library::remove(const std::set<ObjectKey>& keys, RemoveResults& results) {
  std::map<ObjectType, std::set<std::uint32_t>> byType;
  for (const ObjectKey& key : keys) byType[key.type].insert(key.id);
  // One transaction for all types, referencing types first as in a purge;
  // types without a class report not found.
  RemoveResults attempt;
  inTransaction(*this, Access::Write, [&](Transaction::Impl&) {
    attempt.clear();
    for (ObjectType type : purgeOrder()) {
      auto it = byType.find(type);
      if (it != byType.end()) access::removeMany(*this, type, it->second, attempt);
    }
  });
  for (const auto& [type, ids] : byType) {
    const bool known = std::find(purgeOrder().begin(), purgeOrder().end(), type) != purgeOrder().end();
    for (std::uint32_t id : ids)
      if (!known) attempt[ObjectKey(type, id)] = RemoveResult::kNotFound;
  }
  for (auto& entry : attempt) results[entry.first] = entry.second;
}

void Library::purge() {
  RemoveResults ignored;
  purge(ignored);
}

void Library::purge(RemoveResults& results) { access::purgeTypes(*this, purgeOrder(), results); }

void Library::purge(const std::set<ObjectType>& types, RemoveResults& results) {
  std::vector<ObjectType> chosen;
  for (ObjectType type : purgeOrder())
    if (types.count(type)) chosen.push_back(type);
  access::purgeTypes(*this, chosen, results);
}

}  // namespace tarnlib
