#include "tarnlib/object.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

#include "tarnlib/id_mapping.h"

// A small hierarchy built with the same boilerplate macros as the catalogue
// classes: ProbeItem (abstract) with ProbeLeaf below it, and ProbeOther beside it.
namespace tarnlib {
namespace object_test {
class ProbeItem;
class ProbeLeaf;
class ProbeOther;
}  // namespace object_test

template <>
struct ObjectTraits<object_test::ProbeItem> {
  static constexpr ObjectType type = ObjectType::Asset;
  using unique_key_type = NameKey;
};
template <>
struct ObjectTraits<object_test::ProbeLeaf> {
  static constexpr ObjectType type = ObjectType::InformationAsset;
  using unique_key_type = NameKey;
};
template <>
struct ObjectTraits<object_test::ProbeOther> {
  static constexpr ObjectType type = ObjectType::Tag;
  using unique_key_type = NameKey;
};

namespace object_test {

// What the last saveImpl call saw.
struct SaveLog {
  const Library* library = nullptr;
  IdMapping* mapping = nullptr;
  std::size_t mappingSize = 0;
  bool constForm = false;
};
SaveLog g_saveLog;
int g_destroyed = 0;

class ProbeItem : public Object {
  TARNLIB_DECLARE_OBJECT(ProbeItem)

  ~ProbeItem() override { ++g_destroyed; }
  int value = 0;
  bool sameClass(const Object& other) const { return Object::operator==(other); }

 protected:
  // Stored back into the library it is saved to, as the real classes do;
  // saving without a library gives nothing.
  TnSmartPtr<Object> saveImpl(const std::shared_ptr<Library>& library, IdMapping& mapping) override {
    g_saveLog = {library.get(), &mapping, mapping.size(), false};
    if (!library) return TnSmartPtr<Object>();
    state_.library = library;
    return TnSmartPtr<Object>(this);
  }
  TnSmartPtr<const Object> saveImpl(const std::shared_ptr<Library>& library, IdMapping& mapping) const override {
    g_saveLog = {library.get(), &mapping, mapping.size(), true};
    return library ? TnSmartPtr<const Object>(cloneObject()) : TnSmartPtr<const Object>();
  }
  ObjectState& state() override { return state_; }
  const ObjectState& state() const override { return state_; }

  ObjectState state_;
};

class ProbeLeaf : public ProbeItem {
  TARNLIB_DECLARE_OBJECT(ProbeLeaf)
  OdRxObjectPtr clone() const override { return OdRxObjectPtr(new ProbeLeaf(*this)); }
};

class ProbeOther : public ProbeItem {
  TARNLIB_DECLARE_OBJECT(ProbeOther)
  OdRxObjectPtr clone() const override { return OdRxObjectPtr(new ProbeOther(*this)); }
};

TARNLIB_DEFINE_ABSTRACT_OBJECT(ProbeItem, Object)
TARNLIB_DEFINE_OBJECT(ProbeLeaf, ProbeItem)
TARNLIB_DEFINE_OBJECT(ProbeOther, ProbeItem)

}  // namespace object_test
}  // namespace tarnlib

namespace {

using tarnlib::IdMapping;
using tarnlib::Library;
using tarnlib::NameKey;
using tarnlib::Object;
using tarnlib::ObjectReactor;
using tarnlib::ObjectType;
using tarnlib::object_test::ProbeItem;
using tarnlib::object_test::ProbeLeaf;
using tarnlib::object_test::ProbeOther;
using tarnlib::object_test::g_saveLog;
using tarnlib::TnSmartPtr;

static_assert(std::is_convertible<TnSmartPtr<ProbeLeaf>, TnSmartPtr<Object>>::value, "upcast is implicit");
static_assert(std::is_convertible<TnSmartPtr<ProbeLeaf>, TnSmartPtr<const ProbeLeaf>>::value, "to const is implicit");
static_assert(!std::is_convertible<TnSmartPtr<Object>, TnSmartPtr<ProbeLeaf>>::value, "downcast is explicit");
static_assert(std::is_constructible<TnSmartPtr<ProbeLeaf>, TnSmartPtr<Object>>::value, "downcast exists");
static_assert(!std::is_constructible<TnSmartPtr<ProbeLeaf>, TnSmartPtr<const ProbeLeaf>>::value, "const stays");
static_assert(!std::is_constructible<TnSmartPtr<ProbeLeaf>, TnSmartPtr<const Object>>::value, "const stays");
static_assert(!std::is_convertible<ProbeLeaf*, TnSmartPtr<ProbeLeaf>>::value, "raw pointers are taken explicitly");

// The type numbers are stored in files.
static_assert(static_cast<int>(ObjectType::Layer) == 7 && static_cast<int>(ObjectType::PhysicalAsset) == 11 &&
                  static_cast<int>(ObjectType::InformationAsset) == 13 &&
                  static_cast<int>(ObjectType::AsymmetricIShapeProfile) == 35 &&
                  static_cast<int>(ObjectType::PropertySet) == 44,
              "ObjectType numbering");

// A stand-in library pointer: saving here only passes it along.
std::shared_ptr<Library> fakeLibrary() {
  static int token;
  return std::shared_ptr<Library>(std::shared_ptr<int>(), reinterpret_cast<Library*>(&token));
}

class ObjectClasses : public ::testing::Test {
 protected:
  void SetUp() override {
    Object::rxInit();
    ProbeItem::rxInit();
    ProbeLeaf::rxInit();
    ProbeOther::rxInit();
    destroyedAtStart_ = tarnlib::object_test::g_destroyed;
  }
  void TearDown() override {
    ProbeOther::rxUninit();
    ProbeLeaf::rxUninit();
    ProbeItem::rxUninit();
    Object::rxUninit();
  }
  int destroyed() const { return tarnlib::object_test::g_destroyed - destroyedAtStart_; }

  int destroyedAtStart_ = 0;
};

TEST(ObjectClassLifecycle, InitTwiceAndUninitWithoutClassFail) {
  // It starts from no runtime classes at all, as in a process of its own (ctest
  // runs each test so); uninitialising them under other tests would break those.
  if (Object::desc()) GTEST_SKIP() << "the classes are initialised already";
  auto expectCode = [](int code, void (*call)()) {
    try {
      call();
      ADD_FAILURE() << "no OdError " << code;
    } catch (const OdError& e) {
      EXPECT_EQ(e.code(), code);
    }
  };
  expectCode(255, [] { Object::rxUninit(); });
  expectCode(255, [] { Object::createVirtualObject(); });
  expectCode(255, [] { ProbeLeaf::createVirtualObject(); });
  // A derived class cannot hang off a parent that does not exist yet.
  expectCode(255, [] { ProbeItem::rxInit(); });
  EXPECT_EQ(ProbeItem::desc(), nullptr);

  Object::rxInit();
  expectCode(313, [] { Object::rxInit(); });
  EXPECT_EQ(odrxFindClass(L"Object"), Object::desc());
  Object::rxUninit();
  EXPECT_EQ(Object::desc(), nullptr);
  EXPECT_EQ(odrxFindClass(L"Object"), nullptr);
}

TEST_F(ObjectClasses, ClassesAreNamedChainedAndMadeOnlyWhenConcrete) {
  EXPECT_EQ(Object::desc()->name(), L"Object");
  EXPECT_EQ(Object::desc()->myParent(), OdRxObject::desc());
  EXPECT_EQ(ProbeLeaf::desc()->name(), L"ProbeLeaf");
  EXPECT_EQ(ProbeLeaf::desc()->myParent(), ProbeItem::desc());
  EXPECT_EQ(ProbeItem::desc()->myParent(), Object::desc());
  EXPECT_EQ(ProbeItem::staticTarnlibType(), ObjectType::Asset);

  EXPECT_TRUE(Object::createVirtualObject().isNull());
  EXPECT_TRUE(ProbeItem::createVirtualObject().isNull());
  OdSmartPtr<ProbeLeaf> leaf = ProbeLeaf::createVirtualObject();
  ASSERT_FALSE(leaf.isNull());
  EXPECT_EQ(leaf->isA(), ProbeLeaf::desc());
  EXPECT_EQ(leaf->numRefs(), 1);
  EXPECT_TRUE(leaf->isKindOf(Object::desc()));
  EXPECT_FALSE(leaf->isKindOf(ProbeOther::desc()));
  EXPECT_EQ(leaf->tarnlibType(), ObjectType::InformationAsset);
}

TEST_F(ObjectClasses, ReferencesCountFromZeroAndClonesAreFresh) {
  auto* raw = new ProbeLeaf();
  EXPECT_EQ(raw->numRefs(), 0);
  {
    TnSmartPtr<ProbeLeaf> a(raw);
    TnSmartPtr<Object> b = a;
    TnSmartPtr<const Object> c = b;
    EXPECT_EQ(raw->numRefs(), 3);
    TnSmartPtr<Object> moved = std::move(b);
    EXPECT_TRUE(b.isNull());
    EXPECT_EQ(raw->numRefs(), 3);

    a->value = 7;
    TnSmartPtr<ProbeLeaf> copy = a->cloneObject();
    ASSERT_FALSE(copy.isNull());
    EXPECT_NE(copy.get(), raw);
    EXPECT_EQ(copy->value, 7);
    EXPECT_EQ(copy->numRefs(), 1);
    EXPECT_EQ(raw->numRefs(), 3);
    // The base equality compares the runtime class only.
    copy->value = 8;
    EXPECT_TRUE(copy->sameClass(*a));
    EXPECT_FALSE(copy->sameClass(*TnSmartPtr<ProbeOther>(new ProbeOther())));
  }
  EXPECT_EQ(destroyed(), 3);
}

TEST(ObjectEquality, UninitialisedClassesStillDiffer) {
  TnSmartPtr<ProbeLeaf> a(new ProbeLeaf());
  TnSmartPtr<ProbeOther> b(new ProbeOther());
  EXPECT_FALSE(a->sameClass(*b));
  EXPECT_TRUE(a->sameClass(*TnSmartPtr<ProbeLeaf>(new ProbeLeaf())));
}

TEST_F(ObjectClasses, DowncastGoesByRuntimeClass) {
  TnSmartPtr<Object> object(new ProbeLeaf());
  TnSmartPtr<ProbeLeaf> leaf(object);
  TnSmartPtr<ProbeItem> item(object);
  TnSmartPtr<ProbeOther> other(object);
  EXPECT_EQ(leaf.get(), object.get());
  EXPECT_EQ(item.get(), object.get());
  EXPECT_TRUE(other.isNull());
  EXPECT_EQ(object->numRefs(), 3);

  TnSmartPtr<const Object> constObject = object;
  TnSmartPtr<const ProbeLeaf> constLeaf(constObject);
  EXPECT_EQ(constLeaf.get(), object.get());

  EXPECT_EQ(Object::queryX(object.get()).get(), object.get());
  EXPECT_EQ(ProbeItem::queryX(object.get()).get(), object.get());
  EXPECT_TRUE(ProbeOther::queryX(object.get()).isNull());
  EXPECT_TRUE(Object::queryX(static_cast<const OdRxObject*>(nullptr)).isNull());
  EXPECT_EQ(object->numRefs(), 5);

  // A plain runtime object is no object.
  OdRxObjectPtr plain = OdRxObjectImpl<OdRxObject>::createObject();
  EXPECT_TRUE(Object::queryX(plain.get()).isNull());
  EXPECT_TRUE(TnSmartPtr<ProbeLeaf>::cast(plain.get()).isNull());
  EXPECT_EQ(plain->numRefs(), 1);

  // An extension registered under ProbeOther's class on ProbeLeaf's class:
  // asking a leaf for ProbeOther finds the extension, which is not a ProbeOther.
  ProbeLeaf::desc()->addX(ProbeOther::desc(), plain.get());
  OdRxObjectPtr found(object->queryX(ProbeOther::desc()), kOdRxObjAttach);
  EXPECT_EQ(found.get(), plain.get());
  EXPECT_TRUE(TnSmartPtr<ProbeOther>(object).isNull());
  EXPECT_EQ(plain->numRefs(), 3);
  found.release();
  ProbeLeaf::desc()->delX(ProbeOther::desc());
  EXPECT_EQ(plain->numRefs(), 1);
}

TEST_F(ObjectClasses, SaveFormsForwardMappingAndLibrary) {
  TnSmartPtr<ProbeLeaf> leaf(new ProbeLeaf());
  EXPECT_EQ(leaf->id(), 0u);
  EXPECT_TRUE(leaf->isDirty());
  EXPECT_FALSE(leaf->save());  // no library of its own yet
  EXPECT_EQ(g_saveLog.library, nullptr);

  std::shared_ptr<Library> library = fakeLibrary();
  IdMapping mapping(library.get());
  mapping.assign(IdMapping::Key(ObjectType::Tag, 1, nullptr), IdMapping::Value{4, 0});
  TnSmartPtr<ProbeLeaf> saved = leaf->save(library, mapping);
  EXPECT_EQ(saved.get(), leaf.get());
  EXPECT_EQ(g_saveLog.mapping, &mapping);
  EXPECT_EQ(g_saveLog.mappingSize, 1u);
  EXPECT_FALSE(g_saveLog.constForm);
  EXPECT_EQ(leaf->library(), library);

  // Without a mapping a fresh, empty one into the same library is used; without
  // a library the object's own.
  saved = leaf->save(library);
  EXPECT_NE(g_saveLog.mapping, &mapping);
  EXPECT_EQ(g_saveLog.mappingSize, 0u);
  EXPECT_EQ(g_saveLog.library, library.get());
  g_saveLog.library = nullptr;
  EXPECT_TRUE(leaf->save());
  EXPECT_EQ(g_saveLog.library, library.get());

  const ProbeLeaf& constLeaf = *leaf;
  TnSmartPtr<const ProbeLeaf> copy = constLeaf.save(library);
  EXPECT_TRUE(g_saveLog.constForm);
  ASSERT_FALSE(copy.isNull());
  EXPECT_NE(copy.get(), leaf.get());
}

// Records notifications, and looks at the dying object the way a library's
// reactor would.
class RecordingReactor : public ObjectReactor {
 public:
  void objectDeleted(Object* object) override {
    seen.push_back(object);
    stillObserved = objects().count(object) != 0;
    TnSmartPtr<ProbeLeaf> leaf = ProbeLeaf::queryX(object);
    wasLeaf = !leaf.isNull();
  }
  std::vector<Object*> seen;
  bool stillObserved = true;
  bool wasLeaf = false;
};

TEST_F(ObjectClasses, LastReleaseNotifiesEveryReactorOnceThenDestroys) {
  RecordingReactor first;
  RecordingReactor second;
  Object* raw = nullptr;
  {
    TnSmartPtr<Object> leaf(new ProbeLeaf());
    raw = leaf.get();
    leaf->addReactor(&first);
    leaf->addReactor(&second);
    leaf->addReactor(&second);
    EXPECT_EQ(second.objects().size(), 1u);
  }
  ASSERT_EQ(first.seen, std::vector<Object*>{raw});
  ASSERT_EQ(second.seen, std::vector<Object*>{raw});
  EXPECT_FALSE(first.stillObserved);
  EXPECT_TRUE(first.objects().empty());
  EXPECT_TRUE(second.objects().empty());
  // The reactor's own smart pointer during the notification did not end the
  // object early or twice.
  EXPECT_TRUE(first.wasLeaf);
  EXPECT_EQ(destroyed(), 1);
}

TEST_F(ObjectClasses, LinksBetweenReactorAndObjectEndFromEitherSide) {
  RecordingReactor reactor;
  TnSmartPtr<Object> a(new ProbeLeaf());
  TnSmartPtr<Object> b(new ProbeLeaf());
  Object* const kept = b.get();
  a->addReactor(&reactor);
  b->addReactor(&reactor);
  a->removeReactor(&reactor);
  EXPECT_EQ(reactor.objects().count(a.get()), 0u);
  EXPECT_EQ(reactor.objects().count(b.get()), 1u);
  {
    // A copy lists the objects but is not registered with them: detaching it
    // there changes nothing. It must not outlive what it lists.
    RecordingReactor copy(reactor);
    EXPECT_EQ(copy.objects().count(b.get()), 1u);
    b->removeReactor(&copy);
    EXPECT_EQ(copy.objects().count(b.get()), 1u);
    EXPECT_EQ(reactor.objects().count(b.get()), 1u);
  }
  {
    // Under the sanitizers this is a use after free if the object still lists
    // the reactor.
    RecordingReactor shortLived;
    a->addReactor(&shortLived);
  }
  a.reset();
  b.reset();
  EXPECT_EQ(reactor.seen, std::vector<Object*>{kept});
  EXPECT_EQ(destroyed(), 2);
}

TEST_F(ObjectClasses, ReactorKeepingAReferenceKeepsTheObject) {
  struct Keeper : ObjectReactor {
    void objectDeleted(Object* object) override { kept = TnSmartPtr<Object>(object); }
    TnSmartPtr<Object> kept;
  } keeper;
  TnSmartPtr<Object> leaf(new ProbeLeaf());
  leaf->addReactor(&keeper);
  leaf.reset();
  EXPECT_EQ(destroyed(), 0);
  ASSERT_FALSE(keeper.kept.isNull());
  EXPECT_EQ(keeper.kept->numRefs(), 1);
  keeper.kept.reset();
  EXPECT_EQ(destroyed(), 1);
}

}  // namespace
