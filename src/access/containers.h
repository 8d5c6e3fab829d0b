// Container bindings for the common kinds of collection members. A class whose
// elements are structures writes a small codec and uses CollectionBinding.
//
// A codec names the member's type and says how one element is bound, read and
// put back:
//   using Collection = ...;  using Element = ...;  (what a row stages)
//   static constexpr bool kHasRef; static constexpr ObjectType kRefTarget;
//   static void refs(Collection&, std::vector<RefSlot>&);
//   static void write(const Collection&, RowWriter&);
//   static Element read(const db::Statement&, int firstColumn);
//   static RefSlot ref(Element&);              (when kHasRef)
//   static void insert(Collection&, Element&&);
#ifndef TARNLIB_ACCESS_CONTAINERS_H_
#define TARNLIB_ACCESS_CONTAINERS_H_

#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "access/mapping.h"

namespace tarnlib::access {

std::vector<std::string> elementColumnsOf(const db::Table& table);
bool refColumnRequired(const db::Table& table);

template <class Codec>
class CollectionBinding final : public ContainerBinding {
  using Collection = typename Codec::Collection;
  using Element = typename Codec::Element;

 public:
  CollectionBinding(const db::Table& table, Collection* (*access)(Object&))
      : ContainerBinding(table, elementColumnsOf(table), Codec::kHasRef, Codec::kRefTarget,
                         Codec::kHasRef && refColumnRequired(table)),
        access_(access) {}

  void refs(Object& owner, std::vector<RefSlot>& out) const override {
    Codec::refs(*access_(owner), out);
  }
  void write(Object& owner, RowWriter& writer) const override { Codec::write(*access_(owner), writer); }
  void clear(Object& owner) const override { access_(owner)->clear(); }

  class Staged final : public Staging {
   public:
    explicit Staged(Collection* (*access)(Object&)) : access_(access) {}
    void stage(Object& owner, const db::Statement& row, int firstColumn, std::uint32_t refId) override {
      rows_.emplace_back(&owner, Codec::read(row, firstColumn));
      refIds_.push_back(refId);
    }
    void pending(ObjectType, std::vector<PendingRef>& out) override {
      if constexpr (Codec::kHasRef) {
        for (std::size_t i = 0; i < rows_.size(); ++i)
          if (refIds_[i] != 0) out.push_back(PendingRef{refIds_[i], Codec::ref(rows_[i].second)});
      } else {
        (void)out;
      }
    }
    void finish() override {
      for (auto& [owner, element] : rows_) Codec::insert(*access_(*owner), std::move(element));
      rows_.clear();
    }

   private:
    Collection* (*access_)(Object&);
    std::vector<std::pair<Object*, Element>> rows_;
    std::vector<std::uint32_t> refIds_;
  };
  std::unique_ptr<Staging> staging() const override { return std::make_unique<Staged>(access_); }

 private:
  Collection* (*access_)(Object&);
};

template <class Codec, class Collection>
std::unique_ptr<ContainerBinding> collection(const db::Table& table, Collection* (*access)(Object&)) {
  return std::make_unique<CollectionBinding<Codec>>(table, access);
}

// An ordered list of references (a material's tags, a property set's entity types).
template <class Ptr, ObjectType Target>
struct RefListCodec {
  using Collection = std::vector<Ptr>;
  using Element = Ptr;
  static constexpr bool kHasRef = true;
  static constexpr ObjectType kRefTarget = Target;
  static void refs(Collection& c, std::vector<RefSlot>& out) {
    for (Ptr& p : c) out.push_back(refSlot(p));
  }
  static void write(const Collection& c, RowWriter& w) {
    for (const Ptr& p : c) {
      w.stmt().bind(w.firstParam(), p->id());
      w.row();
    }
  }
  static Element read(const db::Statement&, int) { return Element(); }
  static RefSlot ref(Element& e) { return refSlot(e); }
  static void insert(Collection& c, Element&& e) { c.push_back(std::move(e)); }
};

// A set of plain values (thicknesses, merged GUIDs) in one column.
template <class V>
struct ValueSetCodec {
  using Collection = std::set<V>;
  using Element = V;
  static constexpr bool kHasRef = false;
  static constexpr ObjectType kRefTarget = ObjectType{0};
  static void refs(Collection&, std::vector<RefSlot>&) {}
  static void write(const Collection& c, RowWriter& w) {
    for (const V& v : c) {
      bindValue(w.stmt(), w.firstParam(), v);
      w.row();
    }
  }
  static Element read(const db::Statement& row, int column) {
    V v{};
    readValue(row, column, v);
    return v;
  }
  static void insert(Collection& c, Element&& e) { c.insert(std::move(e)); }
};

}  // namespace tarnlib::access

#endif  // TARNLIB_ACCESS_CONTAINERS_H_
