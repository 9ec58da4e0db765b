// The members of TypedJSONContainer that are not read at a glance: coding,
// sorting members, and the walks that keep any depth safe (destruction,
// comparison, hashing). Included by TypedJSONContainer.hpp.
#pragma once

#include "zorlan/JSON/TypedJSONContainer.hpp"

namespace zorlan {

template <class T>
auto TypedJSONContainer<T>::encode(Encoder& encoder) const -> void requires detail::IsEncodable<T> {
  switch (payload_.index()) {
    case 0: {
      const Members& all = *members();
      KeyedEncodingContainer c = encoder.container();
      encoder.json().get_object().reserve(all.size());
      for (const Member& m : all) c.encode(m.second, m.first);
      break;
    }
    case 1: {
      const Elements& all = *elements();
      UnkeyedEncodingContainer c = encoder.unkeyedContainer();
      encoder.json().get_array().reserve(all.size());
      for (const TypedJSONContainer& e : all) c.encode(e);
      break;
    }
    case 2:
      encoder.encode(*leaf());
      break;
    default:
      encoder.encodeNil();
  }
}

template <class T>
auto TypedJSONContainer<T>::takeLast() noexcept -> std::uintptr_t {
  static_assert(alignof(typename ObjectBox::Node) > 1 && alignof(typename ArrayBox::Node) > 1);
  if (ObjectBox* box = std::get_if<0>(&payload_)) {
    return reinterpret_cast<std::uintptr_t>(box->takeLast());
  }
  if (ArrayBox* box = std::get_if<1>(&payload_)) {
    if (typename ArrayBox::Node* node = box->takeLast()) {
      return reinterpret_cast<std::uintptr_t>(node) | 1;
    }
  }
  return 0;
}

template <class T>
auto TypedJSONContainer<T>::destroyStorage(std::uintptr_t storage) noexcept -> void {
  std::uintptr_t deeper = 0;
  destroyStorage(storage, 0, deeper);
  while (deeper != 0) {
    storage = deeper;
    deeper =
        storage & 1 ? ArrayBox::link(arrayNode(storage)) : ObjectBox::link(objectNode(storage));
    destroyStorage(storage, 0, deeper);
  }
}

template <class T>
auto TypedJSONContainer<T>::destroyStorage(std::uintptr_t storage, int depth,
                                           std::uintptr_t& deeper) noexcept -> void {
  auto destroyChild = [depth, &deeper](TypedJSONContainer& child) {
    const std::uintptr_t taken = child.takeLast();
    if (taken == 0) return;
    if (depth + 1 < kRecursionDepth) {
      destroyStorage(taken, depth + 1, deeper);
    } else if (taken & 1) {
      ArrayBox::setLink(arrayNode(taken), deeper);
      deeper = taken;
    } else {
      ObjectBox::setLink(objectNode(taken), deeper);
      deeper = taken;
    }
  };
  if (storage & 1) {
    typename ArrayBox::Node* node = arrayNode(storage);
    for (TypedJSONContainer& e : ArrayBox::payload(node)) destroyChild(e);
    ArrayBox::destroy(node);
  } else {
    typename ObjectBox::Node* node = objectNode(storage);
    for (Member& m : ObjectBox::payload(node)) destroyChild(m.second);
    ObjectBox::destroy(node);
  }
}

template <class T>
template <bool kRough, class LeavesMatch>
auto TypedJSONContainer<T>::match(const TypedJSONContainer& a, const TypedJSONContainer& b,
                                  const LeavesMatch& leavesMatch) -> bool {
  MatchWalk<LeavesMatch> walk{leavesMatch, {}};
  if (!matchAt<kRough>(a, b, walk, 0)) return false;
  while (!walk.deeper.empty()) {
    const auto [x, y] = walk.deeper.back();
    walk.deeper.pop_back();
    if (!matchAt<kRough>(*x, *y, walk, 0)) return false;
  }
  return true;
}

template <class T>
template <bool kRough, class LeavesMatch>
auto TypedJSONContainer<T>::matchAt(const TypedJSONContainer& a, const TypedJSONContainer& b,
                                    MatchWalk<LeavesMatch>& walk, int depth) -> bool {
  if (a.payload_.index() != b.payload_.index()) return false;
  switch (a.payload_.index()) {
    case 0: {
      const ObjectBox& lhs = *std::get_if<0>(&a.payload_);
      const ObjectBox& rhs = *std::get_if<0>(&b.payload_);
      if (!kRough && lhs.sharesWith(rhs)) return true;
      const Members& l = lhs.read();
      const Members& r = rhs.read();
      if (l.size() != r.size()) return false;
      if (depth == kRecursionDepth && !l.empty()) {
        walk.deeper.emplace_back(&a, &b);
        return true;
      }
      // Both sorted with unique keys and of one size: the same keys exactly
      // when they match pairwise.
      for (std::size_t i = 0; i < l.size(); ++i) {
        if (l[i].first != r[i].first) return false;
        if (!matchChild<kRough>(l[i].second, r[i].second, walk, depth + 1)) {
          return false;
        }
      }
      return true;
    }
    case 1: {
      const ArrayBox& lhs = *std::get_if<1>(&a.payload_);
      const ArrayBox& rhs = *std::get_if<1>(&b.payload_);
      if (!kRough && lhs.sharesWith(rhs)) return true;
      const Elements& l = lhs.read();
      const Elements& r = rhs.read();
      if (!kRough && l.size() != r.size()) return false;
      const std::size_t count = std::min(l.size(), r.size());
      if (depth == kRecursionDepth && count != 0) {
        walk.deeper.emplace_back(&a, &b);
        return true;
      }
      for (std::size_t i = 0; i < count; ++i) {
        if (!matchChild<kRough>(l[i], r[i], walk, depth + 1)) return false;
      }
      return true;
    }
    case 2:
      return walk.leavesMatch(*a.leaf(), *b.leaf());
    default:
      return true;
  }
}

template <class T>
template <bool kRough, class LeavesMatch>
auto TypedJSONContainer<T>::matchChild(const TypedJSONContainer& a, const TypedJSONContainer& b,
                                       MatchWalk<LeavesMatch>& walk, int depth) -> bool {
  const T* x = a.leaf();
  const T* y = b.leaf();
  if (x && y) return walk.leavesMatch(*x, *y);
  return matchAt<kRough>(a, b, walk, depth);
}

template <class T>
auto TypedJSONContainer<T>::hashAt(int depth) const -> std::size_t {
  std::size_t count;
  std::size_t h = hashHead(count);
  if (count == 0) return h;
  if (depth == kRecursionDepth) return hashDeep();
  if (const Members* all = members()) {
    for (const Member& m : *all) {
      h = mix(h, std::hash<std::string>()(m.first));
      h = mix(h, m.second.hashChildAt(depth + 1));
    }
    return h;
  }
  for (const TypedJSONContainer& e : *elements()) h = mix(h, e.hashChildAt(depth + 1));
  return h;
}

template <class T>
auto TypedJSONContainer<T>::hashChildAt(int depth) const -> std::size_t {
  if (const T* v = leaf()) return mix(2, std::hash<T>()(*v));
  return hashAt(depth);
}

template <class T>
auto TypedJSONContainer<T>::hashDeep() const -> std::size_t {
  struct Frame {
    const TypedJSONContainer* node;
    std::size_t next;
    std::size_t count;
    std::size_t hash;
  };
  std::size_t count;
  const std::size_t head = hashHead(count);
  if (count == 0) return head;
  std::vector<Frame> stack{{this, 0, count, head}};
  for (;;) {
    Frame& top = stack.back();
    if (top.next == top.count) {
      const std::size_t done = top.hash;
      stack.pop_back();
      if (stack.empty()) return done;
      stack.back().hash = mix(stack.back().hash, done);
      continue;
    }
    const TypedJSONContainer& child = top.node->hashChild(top.next++, top.hash);
    const std::size_t childHead = child.hashHead(count);
    if (count != 0) {
      stack.push_back({&child, 0, count, childHead});
    } else {
      top.hash = mix(top.hash, childHead);
    }
  }
}

template <class T>
auto TypedJSONContainer<T>::hashHead(std::size_t& count) const -> std::size_t {
  count = 0;
  switch (payload_.index()) {
    case 0:
      count = members()->size();
      return 0;
    case 1:
      count = elements()->size();
      return 1;
    case 2:
      return mix(2, std::hash<T>()(*leaf()));
    default:
      return 3;
  }
}

template <class T>
auto TypedJSONContainer<T>::hashChild(std::size_t i, std::size_t& h) const
    -> const TypedJSONContainer& {
  if (const Members* all = members()) {
    const Member& m = (*all)[i];
    h = mix(h, std::hash<std::string>()(m.first));
    return m.second;
  }
  return (*elements())[i];
}

template <class T>
auto TypedJSONContainer<T>::find(const Members& all, std::string_view key) noexcept ->
    typename Members::const_iterator {
  auto it = std::lower_bound(all.begin(), all.end(), key, KeyLess());
  return it != all.end() && it->first == key ? it : all.end();
}

template <class T>
auto TypedJSONContainer<T>::normalize(Members& members) -> void {
  if (std::is_sorted(members.begin(), members.end(), [](const Member& a, const Member& b) {
        return a.first <= b.first;  // strictly increasing: sorted and unique
      })) {
    return;
  }
  if (members.size() <= 32) {
    // Insertion sort: stable, and no buffer for the small objects of most
    // documents.
    for (auto it = members.begin() + 1; it != members.end(); ++it) {
      if (!(it->first < (it - 1)->first)) continue;
      Member moving = std::move(*it);
      auto hole = it;
      do {
        *hole = std::move(*(hole - 1));
        --hole;
      } while (hole != members.begin() && moving.first < (hole - 1)->first);
      *hole = std::move(moving);
    }
  } else {
    std::stable_sort(members.begin(), members.end(), KeyLess());
  }
  // Of each run of one key, keep the last (moved to the run's end).
  auto out = members.begin();
  for (auto it = members.begin(); it != members.end();) {
    auto last = it;
    while (last + 1 != members.end() && (last + 1)->first == it->first) ++last;
    if (out != last) *out = std::move(*last);
    ++out;
    it = last + 1;
  }
  members.erase(out, members.end());
}

template <class T>
auto TypedJSONContainer<T>::tryDecode(const Decoder& decoder, TypedJSONContainer& out) -> bool {
  const boost::json::value& json = decoder.json();
  const detail::PathNode& node = decoder.node();
  const bool deepEnough = node.depth < kMaxCodingDepth;
  if (json.is_object() && deepEnough) {
    const boost::json::object& jsonObject = json.get_object();
    Members all;
    all.reserve(jsonObject.size());
    bool complete = true;
    for (const auto& kv : jsonObject) {
      TypedJSONContainer child;
      if (!tryDecode(Decoder(kv.value(), decoder.options(), node.child(kv.key())), child)) {
        complete = false;
        break;
      }
      all.emplace_back(std::string(kv.key()), std::move(child));
    }
    if (complete) {
      out = object(std::move(all));
      return true;
    }
  } else if (json.is_array() && deepEnough) {
    const boost::json::array& jsonArray = json.get_array();
    Elements all;
    all.reserve(jsonArray.size());
    bool complete = true;
    for (std::size_t i = 0; i < jsonArray.size(); ++i) {
      TypedJSONContainer child;
      const detail::PathNode at = node.element(static_cast<int>(i));
      if (!tryDecode(Decoder(jsonArray[i], decoder.options(), at), child)) {
        complete = false;
        break;
      }
      all.push_back(std::move(child));
    }
    if (complete) {
      out = TypedJSONContainer(ArrayBox(std::move(all)));
      return true;
    }
  }
  if (std::optional<T> v = detail::TypedJSONLeafDecoding<T>::tryDecode(decoder)) {
    out = TypedJSONContainer(std::move(*v));
    return true;
  }
  if (json.is_null()) {
    out = TypedJSONContainer();
    return true;
  }
  return false;
}

}  // namespace zorlan
