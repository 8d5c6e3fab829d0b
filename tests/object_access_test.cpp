// Object access, read and write side, over tags, layers, custom properties and
// BIM assets: lookups by id, key, GUID, id set and criteria; batched loading;
// the save forms with their id mapping, dirty flags and notifications; what a
// failed, refused or blocked write leaves behind.
#include <gtest/gtest.h>

#include "db/connection.h"
#include "support/catalogue.h"
#include "support/sql.h"
#include "support/temp_dir.h"
#include "tarnlib/asset.h"
#include "tarnlib/custom_property.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/layer.h"
#include "tarnlib/library.h"
#include "tarnlib/tag.h"
#include "tarnlib/transaction.h"

namespace tarnlib {
namespace {

using testing::catalogueText;
using testing::names;
using testing::RawDb;
using testing::readBytes;
using testing::RecordingReactor;
using testing::StatementCounter;
using Mode = StringCriteria::Mode;

class ObjectAccessTest : public testing::LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    library->setReactor(&reactor);
  }
  void TearDown() override { db::Connection::setBusyTimeoutForTesting(db::Connection::kBusyTimeoutMs); }

  TnSmartPtr<BimAsset> bimAsset(const wchar_t* name, const TnSmartPtr<const Layer>& layer) {
    auto asset = BimAsset::create(name);
    asset->set_layer(layer);
    return asset;
  }

  RecordingReactor reactor;
};

// ---- Retrieval

TEST_F(ObjectAccessTest, GetByIdKeyAllAndIdSet) {
  auto wall = store(Layer::create(L"Wall"));
  auto roof = store(Layer::create(L"Roof"));
  auto slab = store(Layer::create(L"Slab"));

  auto loaded = library->get<Layer>(roof->id());
  ASSERT_TRUE(loaded);
  EXPECT_NE(loaded.get(), roof.get());
  EXPECT_TRUE(*loaded == *roof);
  EXPECT_EQ(loaded->id(), roof->id());
  EXPECT_EQ(loaded->library(), library);
  EXPECT_FALSE(loaded->isDirty());
  EXPECT_FALSE(library->get<Layer>(slab->id() + 1));
  EXPECT_FALSE(library->get<Tag>(wall->id()));  // ids are per type

  // Keys are exact and case-sensitive.
  EXPECT_EQ(library->get<Layer>(NameKey(L"Roof"))->id(), roof->id());
  EXPECT_FALSE(library->get<Layer>(NameKey(L"roof")));
  EXPECT_TRUE(library->exists<Layer>(NameKey(L"Roof")));
  EXPECT_FALSE(library->exists<Layer>(NameKey(L"roof")));
  EXPECT_FALSE(library->exists<Tag>(NameKey(L"Roof")));

  // The vector forms append, in id order; unknown ids are simply absent.
  std::vector<TnSmartPtr<Layer>> out{slab};
  library->get<Layer>(out);
  EXPECT_EQ(names(out), "Slab|Wall|Roof|Slab");
  out.clear();
  library->get<Layer>(out, {slab->id(), 999, wall->id()});
  EXPECT_EQ(names(out), "Wall|Slab");
  library->get<Layer>(out, {roof->id()});
  EXPECT_EQ(names(out), "Wall|Slab|Roof");
  out.clear();
  library->get<Layer>(out, {998, 999});
  library->get<Layer>(out, std::set<std::uint32_t>());
  EXPECT_TRUE(out.empty());

  EXPECT_EQ(library->count<Layer>(), 3u);
  EXPECT_EQ(library->count<Tag>(), 0u);
}

TEST_F(ObjectAccessTest, InvalidIdOrEmptyGuidAnswersWithoutTransaction) {
  auto tag = store(Tag::create(L"t"));
  auto asset = store(bimAsset(L"a", Layer::create(L"l")));
  reactor.clear();
  EXPECT_FALSE(library->get<Tag>(0));
  EXPECT_FALSE(library->get<Asset>(0));
  EXPECT_FALSE(library->get<Tag>(Guid(OdString()), tag->id()));
  EXPECT_EQ(library->remove<Tag>(0u), Library::RemoveResult::kNotFound);
  EXPECT_EQ(library->remove<Tag>(TnSmartPtr<Tag>()), Library::RemoveResult::kNotFound);
  EXPECT_FALSE(library->save<Tag>(TnSmartPtr<Tag>()));
  EXPECT_FALSE(library->save<Tag>(TnSmartPtr<const Tag>()));
  EXPECT_EQ(reactor.begun, 0);

  // These types have no GUID: a lookup answers null whatever the id, after an
  // empty transaction.
  EXPECT_FALSE(library->get<Tag>(Guid(), tag->id()));
  EXPECT_FALSE(library->get<BimAsset>(Guid(), asset->id()));
  EXPECT_FALSE(library->get<Asset>(Guid(), 0));
  EXPECT_EQ(reactor.begun, 3);
}

TEST_F(ObjectAccessTest, StringCriteriaModes) {
  for (const wchar_t* name : {L"Alpha", L"alpha beta", L"", L"50% off", L"5_0", L"\u00c4rger", L"\u00e4rger"})
    store(Tag::create(name));
  struct Case {
    StringCriteria criteria;
    const char* expected;
  };
  const Case cases[] = {
      {StringCriteria(), "Alpha|alpha beta||50% off|5_0|\u00c4rger|\u00e4rger"},
      // An empty string matches everything, whatever mode was asked for.
      {StringCriteria(OdString(), Mode::equals), "Alpha|alpha beta||50% off|5_0|\u00c4rger|\u00e4rger"},
      {StringCriteria(OdString(), Mode::unset), "Alpha|alpha beta||50% off|5_0|\u00c4rger|\u00e4rger"},
      {StringCriteria().empty(), ""},
      {StringCriteria().unset(), "(none)"},  // names are never NULL
      {StringCriteria(L"alpha beta", Mode::equals), "alpha beta"},
      {StringCriteria().equals(L"ALPHA BETA"), "(none)"},  // "=" is case-sensitive
      {StringCriteria().contains(L"LPHA"), "Alpha|alpha beta"},
      {StringCriteria().startsWith(L"al"), "Alpha|alpha beta"},
      {StringCriteria().endsWith(L"BETA"), "alpha beta"},
      {StringCriteria().like(L"_LPHA"), "Alpha"},
      // Wildcards inside the string are not escaped.
      {StringCriteria().contains(L"5%0"), "50% off|5_0"},
      {StringCriteria().startsWith(L"5_"), "50% off|5_0"},
      // LIKE folds the case of ASCII letters only.
      {StringCriteria().contains(L"RGER"), "\u00c4rger|\u00e4rger"},
      {StringCriteria().contains(L"\u00e4"), "\u00e4rger"},
      {StringCriteria().equals(L"\u00c4rger"), "\u00c4rger"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << "mode " << static_cast<int>(c.criteria.mode()) << " '"
                                      << c.criteria.str().toUtf8() << "'");
    std::vector<TnSmartPtr<Tag>> found;
    library->get<Tag>(found, NameCriteria{c.criteria});
    EXPECT_EQ(found.empty() ? "(none)" : names(found), c.expected);
    EXPECT_EQ(library->count<Tag>(NameCriteria{c.criteria}), found.size());
  }
  EXPECT_FALSE(StringCriteria(OdString(), Mode::empty));
  EXPECT_TRUE(StringCriteria().empty());
}

TEST_F(ObjectAccessTest, CustomPropertyCriteriaIncludeGenericProperties) {
  store(CustomProperty::create(L"Colour", ObjectType{0}));
  store(CustomProperty::create(L"Colour", ObjectType::Material));
  store(CustomProperty::create(L"Colour", ObjectType::Composition));
  store(CustomProperty::create(L"Price", ObjectType::Material));
  store(CustomProperty::create(L"Fire", ObjectType::Composition));
  EXPECT_EQ(library->count<CustomProperty>(), 5u);  // a name is unique per object type

  auto described = [&](const CustomPropertyCriteria& criteria) {
    std::vector<TnSmartPtr<CustomProperty>> found;
    library->get<CustomProperty>(found, criteria);
    EXPECT_EQ(library->count<CustomProperty>(criteria), found.size());
    std::string out;
    for (const auto& p : found)
      out += (out.empty() ? "" : "|") + p->name().toUtf8() + "/" +
             std::to_string(static_cast<int>(p->object_type()));
    return out;
  };
  EXPECT_EQ(described({StringCriteria(), ObjectType::Material}), "Colour/0|Colour/4|Price/4");
  EXPECT_EQ(described({StringCriteria(), ObjectType::Composition}), "Colour/0|Colour/5|Fire/5");
  EXPECT_EQ(described({StringCriteria(), ObjectType{0}}), "Colour/0|Colour/4|Colour/5|Price/4|Fire/5");
  EXPECT_EQ(described({StringCriteria().startsWith(L"c"), ObjectType::Material}), "Colour/0|Colour/4");

  std::vector<TnSmartPtr<CustomProperty>> out{CustomProperty::create(L"stale", ObjectType{0})};
  EXPECT_EQ(getCustomProperties(out, library, ObjectType::Composition), 3u);
  EXPECT_EQ(names(out), "Colour|Colour|Fire");
  EXPECT_EQ(getCustomProperties(out, nullptr, ObjectType::Composition), 0u);
  EXPECT_TRUE(out.empty());

  auto byKey = library->get<CustomProperty>(NameTypeKey(L"Colour", ObjectType::Composition));
  ASSERT_TRUE(byKey);
  EXPECT_EQ(byKey->object_type(), ObjectType::Composition);
  EXPECT_FALSE(library->exists<CustomProperty>(NameTypeKey(L"Price", ObjectType::Composition)));
  EXPECT_TRUE(library->exists<CustomProperty>(NameTypeKey(L"Price", ObjectType::Material)));
}

TEST_F(ObjectAccessTest, AwkwardNamesAreStoredAndFoundExactly) {
  const wchar_t* const awkward[] = {
      L"it's", L"say \"hi\"", L"100%", L"a_b", L"back\\slash", L"semi; DROP TABLE tarnlib_Layer; --",
      L"\u00c6r\u00f8 \u2211 \u6771\u4eac", L"\U0001F9F1 brick \U00010348", L"  padded  "};
  // Near misses that a wildcard or an unescaped quote would match.
  for (const wchar_t* name : {L"1000", L"axb", L"its", L"padded"}) store(Layer::create(name));
  for (const wchar_t* name : awkward) store(Layer::create(name));

  for (const wchar_t* name : awkward) {
    SCOPED_TRACE(OdString(name).toUtf8());
    auto found = library->get<Layer>(NameKey(name));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->name(), OdString(name));
    EXPECT_TRUE(library->exists<Layer>(NameKey(name)));
    EXPECT_EQ(library->count<Layer>(NameCriteria{StringCriteria().equals(name)}), 1u);
  }
  // Characters beyond U+FFFF are four UTF-8 bytes in the file.
  EXPECT_EQ(raw().value("SELECT hex(name) FROM tarnlib_Layer WHERE name LIKE '%brick%'"),
            "F09FA7B120627269636B20F0908D88");
  EXPECT_EQ(loaded<Layer>(NameCriteria{StringCriteria().contains(L"\U0001F9F1")}),
            "\U0001F9F1 brick \U00010348");
}

TEST_F(ObjectAccessTest, LoadingIsBatchedAndSharesReferencedObjects) {
  auto cut = Layer::create(L"cut");
  auto view = Layer::create(L"view");
  std::set<std::uint32_t> two;
  std::set<std::uint32_t> forty;
  Transaction writing(library, Transaction::kBeginCurrent);
  for (int i = 0; i < 40; ++i) {
    auto asset = bimAsset(OdString(L"asset " + std::to_wstring(i)), cut);
    if (i % 2) asset->set_layer_elevation(view);
    asset->set_thicknesses() = {i + 0.5, i + 1.5, i + 2.5};
    store(asset);
    if (i < 2) two.insert(asset->id());
    forty.insert(asset->id());
  }
  auto physical = store(PhysicalAsset::create(L"p"));
  writing.commit();

  Transaction tx(library, Transaction::kBeginCurrent);
  StatementCounter statements(tx);
  std::vector<TnSmartPtr<BimAsset>> few;
  library->get<BimAsset>(few, two);
  const int forFew = statements.take();
  EXPECT_EQ(forFew, 3);  // asset rows, thickness rows, layers
  std::vector<TnSmartPtr<BimAsset>> many;
  library->get<BimAsset>(many, forty);
  EXPECT_EQ(statements.take(), forFew);
  std::vector<TnSmartPtr<BimAsset>> all;
  library->get<BimAsset>(all);
  EXPECT_EQ(statements.take(), forFew);

  // Through the root: one more statement to learn each row's kind.
  std::vector<TnSmartPtr<Asset>> mixed;
  library->get<Asset>(mixed, {*two.begin(), physical->id()});
  const int forMixed = statements.take();
  mixed.clear();
  library->get<Asset>(mixed);
  EXPECT_EQ(statements.take(), forMixed);
  EXPECT_EQ(mixed.size(), 41u);

  ASSERT_EQ(many.size(), 40u);
  for (const auto& asset : many) {
    EXPECT_EQ(asset->layer().get(), many[0]->layer().get());
    EXPECT_EQ(asset->layer_elevation().get(), asset->id() % 2 ? nullptr : many[1]->layer_elevation().get());
    EXPECT_EQ(asset->thicknesses().size(), 3u);
    EXPECT_FALSE(asset->isDirty());
  }
  EXPECT_EQ(many[0]->layer()->name(), OdString(L"cut"));
  EXPECT_EQ(many[1]->layer_elevation()->name(), OdString(L"view"));
  EXPECT_EQ(many[39]->thicknesses(), (std::set<double>{39.5, 40.5, 41.5}));
  // Each operation loads its own instances.
  EXPECT_NE(all[0]->layer().get(), many[0]->layer().get());
}

// ---- Saving

TEST_F(ObjectAccessTest, SaveFormsStoreNewObjectsThemselves) {
  IdMapping mapping(library.get());
  TnSmartPtr<Tag> a = Tag::create(L"a");
  TnSmartPtr<Tag> b = Tag::create(L"b");
  TnSmartPtr<const Tag> c = Tag::create(L"c");
  TnSmartPtr<const Tag> d = Tag::create(L"d");
  EXPECT_EQ(library->save<Tag>(a).get(), a.get());
  EXPECT_EQ(library->save<Tag>(b, mapping).get(), b.get());
  EXPECT_EQ(library->save<Tag>(c).get(), c.get());
  EXPECT_EQ(library->save<Tag>(d, mapping).get(), d.get());
  EXPECT_EQ(a->save(library)->name(), OdString(L"a"));  // the object's own form, a clean object
  for (const TnSmartPtr<const Tag>& t : {TnSmartPtr<const Tag>(a), TnSmartPtr<const Tag>(b), c, d}) {
    EXPECT_EQ(t->library(), library);
    EXPECT_FALSE(t->isDirty());
  }
  EXPECT_EQ((std::vector<std::uint32_t>{a->id(), b->id(), c->id(), d->id()}),
            (std::vector<std::uint32_t>{1, 2, 3, 4}));
  EXPECT_EQ(text(), "tarnlib_Tag: 1|a; 2|b; 3|c; 4|d\n");

  // Inside the caller's transaction each save is heard and delivered at once.
  reactor.clear();
  {
    Transaction tx(library, Transaction::kBeginCurrent);
    store(Tag::create(L"x"));
    store(Tag::create(L"y"));
    tx.commit();
  }
  EXPECT_EQ(reactor.events, "begin saved(1:5) committed(1:5) saved(1:6) committed(1:6) end0");
}

TEST_F(ObjectAccessTest, DirtyObjectIsUpdatedAndCleanOneWritesNothing) {
  auto layer = store(Layer::create(L"Old"));
  layer->set_name(L"Old");
  EXPECT_FALSE(layer->isDirty());  // an equal value changes nothing

  reactor.clear();
  const std::string bytes = readBytes(dir.file("lib"));
  EXPECT_EQ(library->save<Layer>(layer).get(), layer.get());
  auto loaded = library->get<Layer>(layer->id());
  EXPECT_EQ(library->save<Layer>(TnSmartPtr<const Layer>(loaded)).get(), loaded.get());
  EXPECT_EQ(readBytes(dir.file("lib")), bytes);
  EXPECT_EQ(reactor.events, "begin end0 begin end2 begin end0");

  // Through a const pointer too, a dirty object of this library updates its row.
  loaded->set_name(L"New");
  EXPECT_TRUE(loaded->isDirty());
  TnSmartPtr<const Layer> view = loaded;
  EXPECT_EQ(library->save<Layer>(view).get(), loaded.get());
  EXPECT_FALSE(loaded->isDirty());
  EXPECT_EQ(text(), "tarnlib_Layer: 1|New\n");

  auto asset = store(bimAsset(L"a", layer));
  asset->set_thicknesses().insert(0.2);
  EXPECT_TRUE(asset->isDirty());
  store(asset);
  EXPECT_FALSE(asset->isDirty());
  EXPECT_EQ(text(),
            "tarnlib_Asset: 1|tarnlib::BimAsset\n"
            "tarnlib_BimAsset: 1|a||1|NULL|0|0|0|1\n"
            "tarnlib_BimAsset_thicknesses: 1|0.2\n"
            "tarnlib_Layer: 1|New\n");
}

// Also what the reactor hears of a save outside a transaction: each object
// inside, then all of them committed.
TEST_F(ObjectAccessTest, ObjectOfAnotherLibraryIsClonedOncePerMapping) {
  store(Layer::create(L"here first"));  // so that ids differ between the libraries
  auto other = Library::create(dir.odFile("other"), LibraryUnit::Millimeter);
  auto cut = Layer::create(L"cut");
  auto source = bimAsset(L"Brick", cut);
  other->save<BimAsset>(source);
  const std::string otherText = catalogueText(dir.file("other"));

  IdMapping mapping(library.get());
  reactor.clear();
  auto first = library->save<BimAsset>(source, mapping);
  auto second = library->save<BimAsset>(TnSmartPtr<const BimAsset>(source), mapping);
  ASSERT_TRUE(first && second);
  EXPECT_NE(first.get(), source.get());
  EXPECT_EQ(first->library(), library);
  EXPECT_EQ(second->id(), first->id());
  EXPECT_TRUE(*second == *source);
  EXPECT_EQ(first->layer()->library(), library);
  EXPECT_EQ(first->layer()->id(), 2u);
  EXPECT_EQ(reactor.events, "begin saved(7:2) saved(14:1) committed(7:2,14:1) end0 begin end0");

  // The source and what it points at stay with their library, unchanged.
  EXPECT_EQ(source->library(), other);
  EXPECT_EQ(source->id(), 1u);
  EXPECT_FALSE(source->isDirty());
  EXPECT_EQ(source->layer().get(), cut.get());
  EXPECT_EQ(cut->library(), other);
  EXPECT_EQ(catalogueText(dir.file("other")), otherText);

  IdMapping::Value value;
  ASSERT_TRUE(mapping.compute(IdMapping::Key(ObjectType::BimAsset, 1, other.get()), value));
  EXPECT_EQ(value.id, first->id());
  ASSERT_TRUE(mapping.compute(IdMapping::Key(ObjectType::Layer, 1, other.get()), value));
  EXPECT_EQ(value.id, 2u);

  // A fresh mapping brings the clone again; it binds to the equal stored rows,
  // which stay as they are and are not announced.
  reactor.clear();
  auto third = library->save<BimAsset>(source);
  EXPECT_EQ(third->id(), first->id());
  EXPECT_EQ(reactor.events, "begin end0");
  EXPECT_EQ(text(),
            "tarnlib_Asset: 1|tarnlib::BimAsset\n"
            "tarnlib_BimAsset: 1|Brick||2|NULL|0|0|0|1\n"
            "tarnlib_Layer: 1|here first; 2|cut\n");
}

TEST_F(ObjectAccessTest, FailedSaveLeavesNothingBehind) {
  store(bimAsset(L"X", Layer::create(L"A")));
  auto asset = store(bimAsset(L"Y", Layer::create(L"B")));
  const std::string before = text(true);

  // A stored asset renamed onto another's name, bringing a new layer along.
  auto fresh = Layer::create(L"fresh");
  asset->set_layer(fresh);
  asset->set_name(L"X");
  reactor.clear();
  EXPECT_THROW(library->save<BimAsset>(asset), ObjectNotUnique);
  EXPECT_EQ(text(true), before);
  EXPECT_EQ(reactor.events, "begin saved(7:3) end2");  // heard inside, never committed
  // The objects are as they were before the attempt, so that it can be repeated.
  EXPECT_EQ(fresh->id(), 0u);
  EXPECT_FALSE(fresh->library());
  EXPECT_TRUE(fresh->isDirty());
  EXPECT_TRUE(asset->isDirty());
  EXPECT_EQ(asset->layer().get(), fresh.get());
  asset->set_name(L"Y again");
  store(asset);
  EXPECT_EQ(fresh->id(), 3u);
  EXPECT_EQ(library->get<BimAsset>(asset->id())->layer()->name(), OdString(L"fresh"));

  // Inside the caller's transaction only the failed save is undone.
  auto b = library->get<Layer>(NameKey(L"B"));
  b->set_name(L"A");
  {
    Transaction tx(library, Transaction::kBeginCurrent);
    store(Tag::create(L"kept"));
    EXPECT_THROW(library->save<Layer>(b), ObjectNotUnique);
    tx.commit();
  }
  EXPECT_EQ(library->count<Tag>(), 1u);
  EXPECT_TRUE(library->exists<Layer>(NameKey(L"B")));

  // A row removed behind an object's back.
  auto gone = library->get<Layer>(NameKey(L"fresh"));
  library->remove<BimAsset>(asset->id());
  library->remove<Layer>(gone->id());
  gone->set_name(L"back");
  const std::string withoutIt = text(true);
  EXPECT_THROW(library->save<Layer>(gone), ObjectNotFound);
  EXPECT_EQ(text(true), withoutIt);

  // A reference to such a row fails the save itself rather than a later commit.
  auto lone = store(Layer::create(L"lone"));
  library->remove<Layer>(lone->id());
  const std::string withoutLone = text(true);
  auto orphan = bimAsset(L"orphan", lone);
  EXPECT_THROW(library->save<BimAsset>(orphan), ObjectInUse);
  EXPECT_EQ(orphan->id(), 0u);
  EXPECT_TRUE(orphan->isDirty());
  EXPECT_EQ(text(true), withoutLone);
}

TEST_F(ObjectAccessTest, FailedSaveInCallerTransactionUndoesOnlyItself) {
  auto stored = bimAsset(L"stored", Layer::create(L"old"));
  stored->set_thicknesses() = {1.0};
  store(stored);
  // Faults planted in the file: a new asset of one name is refused, and so is
  // one thickness, which an update writes after it changed the asset's row and
  // deleted its old thicknesses. Both saves bring a new layer in first.
  RawDb(dir.file("lib"))
      .exec("CREATE TRIGGER refuse_name BEFORE INSERT ON tarnlib_BimAsset WHEN NEW.name = 'refused' "
            "BEGIN SELECT RAISE(ABORT, 'refused'); END;"
            "CREATE TRIGGER refuse_thickness BEFORE INSERT ON tarnlib_BimAsset_thicknesses "
            "WHEN NEW.thickness = 13 BEGIN SELECT RAISE(ABORT, 'refused'); END;");
  const std::string before = text();
  auto fresh = bimAsset(L"refused", Layer::create(L"brought by insert"));
  stored->set_layer(Layer::create(L"brought by update"));
  stored->set_description(L"changed");
  stored->set_thicknesses() = {13.0};
  reactor.clear();
  {
    Transaction tx(library, Transaction::kBeginCurrent);
    store(Tag::create(L"kept"));
    EXPECT_THROW(library->save<BimAsset>(fresh), ObjectNotUnique);
    EXPECT_THROW(library->save<BimAsset>(stored), ObjectNotUnique);
    store(Tag::create(L"kept too"));
    tx.commit();
  }
  EXPECT_EQ(text(), before + "tarnlib_Tag: 1|kept; 2|kept too\n");
  EXPECT_EQ(reactor.events,
            "begin saved(1:1) committed(1:1) saved(7:2) saved(7:3) saved(1:2) committed(1:2) end0");
  EXPECT_EQ(fresh->layer()->id(), 0u);
  EXPECT_EQ(stored->layer()->id(), 0u);
  EXPECT_TRUE(stored->isDirty());
}

// Every write form, through objects, removal or the metadata: refused, the
// objects as they were, the file byte for byte.
TEST_F(ObjectAccessTest, ReadOnlyLibraryRefusesWritesAndKeepsTheFile) {
  store(bimAsset(L"a", Layer::create(L"cut")));
  store(Layer::create(L"free"));
  store(Tag::create(L"t"));
  library.reset();
  const std::string bytes = readBytes(dir.file("lib"));
  auto readOnly = Library::open(dir.odFile("lib"), true);
  ASSERT_TRUE(readOnly);
  EXPECT_TRUE(readOnly->isReadOnly());

  EXPECT_THROW(readOnly->save<Tag>(Tag::create(L"new")), LibraryReadOnly);
  auto layer = readOnly->get<Layer>(1);
  layer->set_name(L"renamed");
  EXPECT_THROW(readOnly->save<Layer>(layer), LibraryReadOnly);
  EXPECT_TRUE(layer->isDirty());
  auto asset = bimAsset(L"b", Layer::create(L"new layer"));
  EXPECT_THROW(readOnly->save<BimAsset>(asset), LibraryReadOnly);
  EXPECT_EQ(asset->layer()->id(), 0u);

  EXPECT_THROW(readOnly->remove<Layer>(2u), LibraryReadOnly);
  EXPECT_EQ(readOnly->remove<Layer>(99u), Library::RemoveResult::kNotFound);  // nothing to write
  Library::RemoveResults results;
  EXPECT_THROW(readOnly->remove<Tag>({1, 2}, results), LibraryReadOnly);
  EXPECT_THROW(readOnly->purge<Tag>(), LibraryReadOnly);
  EXPECT_THROW(readOnly->purge(), LibraryReadOnly);

  EXPECT_THROW(readOnly->locale(L"fr"), LibraryReadOnly);
  EXPECT_TRUE(readOnly->locale().isEmpty());
  EXPECT_FALSE(readOnly->vacuum());
  readOnly.reset();
  EXPECT_EQ(readBytes(dir.file("lib")), bytes);
}

TEST_F(ObjectAccessTest, LockedDatabaseExhaustsRetriesAndChangesNothing) {
  store(Tag::create(L"t"));
  db::Connection::setBusyTimeoutForTesting(0);
  library.reset();
  library = Library::open(dir.odFile("lib"));
  library->setReactor(&reactor);
  const std::string before = text(true);

  RawDb blocker(dir.file("lib"));
  blocker.exec("BEGIN EXCLUSIVE");
  reactor.clear();
  EXPECT_THROW(library->get<Tag>(1), RetryLimitExceeded);
  EXPECT_EQ(reactor.begun, 7);
  EXPECT_THROW(library->count<Tag>(), RetryLimitExceeded);
  EXPECT_THROW(library->save<Tag>(Tag::create(L"u")), RetryLimitExceeded);
  EXPECT_THROW(library->remove<Tag>(1u), RetryLimitExceeded);
  EXPECT_THROW(library->locale(L"blocked"), RetryLimitExceeded);
  blocker.exec("ROLLBACK");

  EXPECT_EQ(text(true), before);
  EXPECT_TRUE(library->save<Tag>(Tag::create(L"u")));
  library->locale(L"free again");
  EXPECT_EQ(library->count<Tag>(), 2u);
  EXPECT_EQ(raw().value("SELECT locale FROM tarnlib_Meta"), "free again");
}

}  // namespace
}  // namespace tarnlib
