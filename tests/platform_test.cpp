#include "tarnlib/platform/OdRxObject.h"

#include <gtest/gtest.h>

namespace {

// A plain runtime-class object whose class is registered per test.
class Shape : public OdRxObject {
 public:
  static OdRxClass* cls;
  static OdRxClass* desc() { return cls; }
  OdRxClass* isA() const override { return cls; }
  OdRxObject* queryX(const OdRxClass* protocolClass) const override {
    if (protocolClass && protocolClass == cls) {
      const_cast<Shape*>(this)->addRef();
      return const_cast<Shape*>(this);
    }
    return OdRxObject::queryX(protocolClass);
  }
};
OdRxClass* Shape::cls = nullptr;

// A protocol extension, and the class it is registered under.
class Painter : public OdRxObject {
 public:
  static OdRxClass* cls;
  static OdRxClass* desc() { return cls; }
  OdRxClass* isA() const override { return cls; }
};
OdRxClass* Painter::cls = nullptr;

OdRxObjectPtr makeShape() { return OdRxObjectImpl<Shape>::createObject(); }

// Runs `call`, which must throw an OdError of `code`.
template <class Call>
void expectOdError(OdResult code, Call call) {
  try {
    call();
    ADD_FAILURE() << "no OdError " << code;
  } catch (const OdError& e) {
    EXPECT_EQ(e.code(), code);
  }
}

class RuntimeClasses : public ::testing::Test {
 protected:
  void SetUp() override {
    Shape::cls = newOdRxClass(L"TestShape", OdRxObject::desc(), &makeShape);
    Painter::cls = newOdRxClass(L"TestPainter", OdRxObject::desc());
    circle_ = newOdRxClass(L"TestCircle", Shape::cls);
  }
  void TearDown() override {
    deleteOdRxClass(circle_);
    deleteOdRxClass(Painter::cls);
    deleteOdRxClass(Shape::cls);
  }

  OdRxClass* circle_ = nullptr;
};

TEST_F(RuntimeClasses, RegistryFindsByNameUntilDeletedAndKeepsFirstAndRoot) {
  EXPECT_EQ(odrxFindClass(L"TestShape"), Shape::cls);
  EXPECT_EQ(odrxFindClass(L"OdRxObject"), OdRxObject::desc());
  EXPECT_EQ(Shape::cls->name(), L"TestShape");
  EXPECT_EQ(circle_->myParent(), Shape::cls);

  OdRxClass* temporary = newOdRxClass(L"TestTemporary", OdRxObject::desc());
  deleteOdRxClass(temporary);
  EXPECT_EQ(odrxFindClass(L"TestTemporary"), nullptr);
  // The name is free again.
  deleteOdRxClass(newOdRxClass(L"TestTemporary", OdRxObject::desc()));

  expectOdError(eDuplicateKey, [] { newOdRxClass(L"TestShape", OdRxObject::desc()); });
  EXPECT_EQ(odrxFindClass(L"TestShape"), Shape::cls);
  deleteOdRxClass(OdRxObject::desc());
  EXPECT_EQ(odrxFindClass(L"OdRxObject"), OdRxObject::desc());
  deleteOdRxClass(nullptr);
}

TEST_F(RuntimeClasses, DerivationCreationAndCastsFollowTheClass) {
  EXPECT_TRUE(circle_->isDerivedFrom(circle_));
  EXPECT_TRUE(circle_->isDerivedFrom(Shape::cls));
  EXPECT_TRUE(circle_->isDerivedFrom(OdRxObject::desc()));
  EXPECT_FALSE(Shape::cls->isDerivedFrom(circle_));
  EXPECT_FALSE(circle_->isDerivedFrom(Painter::cls));
  EXPECT_FALSE(circle_->isDerivedFrom(nullptr));

  EXPECT_TRUE(Painter::cls->create().isNull());  // no pseudo-constructor
  OdRxObjectPtr shape = Shape::cls->create();
  ASSERT_FALSE(shape.isNull());
  EXPECT_EQ(shape->isA(), Shape::cls);
  EXPECT_EQ(shape->numRefs(), 1);
  EXPECT_TRUE(shape->isKindOf(OdRxObject::desc()));
  EXPECT_FALSE(shape->isKindOf(Painter::cls));

  OdSmartPtr<Shape> asShape = OdSmartPtr<Shape>::cast(shape.get());
  EXPECT_EQ(asShape.get(), shape.get());
  EXPECT_TRUE(OdSmartPtr<Painter>::cast(shape.get()).isNull());
  EXPECT_TRUE(OdSmartPtr<Shape>::cast(nullptr).isNull());
  EXPECT_EQ(shape->numRefs(), 2);
  asShape.release();
  EXPECT_EQ(shape->numRefs(), 1);

  // The default clone needs copyFrom.
  expectOdError(eNotImplemented, [&] { shape->clone(); });
  EXPECT_TRUE(shape->isEqualTo(shape.get()));
  EXPECT_EQ(shape->comparedTo(shape.get()), OdRx::kNotOrderable);
}

TEST_F(RuntimeClasses, ExtensionsAreInheritedAndReplaceable) {
  OdSmartPtr<Painter> first = OdRxObjectImpl<Painter>::createObject();
  OdSmartPtr<Painter> second = OdRxObjectImpl<Painter>::createObject();

  EXPECT_TRUE(Shape::cls->addX(Painter::cls, first.get()).isNull());
  EXPECT_EQ(first->numRefs(), 2);
  // A class without an extension of its own uses its parent's.
  EXPECT_EQ(circle_->getX(Painter::cls).get(), first.get());

  EXPECT_EQ(circle_->addX(Painter::cls, second.get()).get(), nullptr);
  EXPECT_EQ(circle_->getX(Painter::cls).get(), second.get());
  EXPECT_EQ(Shape::cls->getX(Painter::cls).get(), first.get());

  EXPECT_EQ(circle_->delX(Painter::cls).get(), second.get());
  EXPECT_EQ(circle_->getX(Painter::cls).get(), first.get());
  EXPECT_EQ(Shape::cls->addX(Painter::cls, second.get()).get(), first.get());
  EXPECT_EQ(first->numRefs(), 1);
  Shape::cls->addX(Painter::cls, nullptr);
  EXPECT_TRUE(Shape::cls->getX(Painter::cls).isNull());
}

TEST_F(RuntimeClasses, QueryXFindsSelfExtensionOrNothing) {
  OdRxObjectPtr shape = Shape::cls->create();
  OdSmartPtr<Painter> painter = OdRxObjectImpl<Painter>::createObject();
  Shape::cls->addX(Painter::cls, painter.get());

  OdRxObjectPtr self(shape->queryX(Shape::cls), kOdRxObjAttach);
  EXPECT_EQ(self.get(), shape.get());
  EXPECT_EQ(shape->numRefs(), 2);
  OdRxObjectPtr root(shape->queryX(OdRxObject::desc()), kOdRxObjAttach);
  EXPECT_EQ(root.get(), shape.get());
  OdRxObjectPtr extension(shape->queryX(Painter::cls), kOdRxObjAttach);
  EXPECT_EQ(extension.get(), painter.get());

  Shape::cls->delX(Painter::cls);
  EXPECT_EQ(shape->queryX(Painter::cls), nullptr);
  expectOdError(eNotThatKindOfClass, [&] { shape->x(Painter::cls); });
}

}  // namespace
