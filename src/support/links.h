// Intrusive lists: links that lie in front of the element they chain.
//
// An element is known by the address just past its links. Link i is the word i + 1 words before that address
// (link 0 is the word just before it). A segment, a stack header and an io buffer are such elements; a record
// in memory is one with a packed link of its own (record_links.h).
//
//        ... | link 1 | link 0 | element bytes ...
//                              ^ the element's address
//
// A queue head is an element with two adjacent links i and i + 1: first and last element (the head itself
// when empty). The queue is circular through link i: the last element's link i names the head.
//
// The primitives check nothing. Elements may lie at any address; links are read and written bytewise.
#pragma once

#include <cstddef>
#include <cstdint>

#include "support/bytes.h"

namespace fsort {

using Element = std::uint8_t*;

inline constexpr std::size_t kLinkBytes = 8;

[[nodiscard]] inline Element link_get(const std::uint8_t* e, unsigned i) {
  return load_le<Element>(e - kLinkBytes * (i + 1));
}
inline void link_set(Element e, unsigned i, Element target) { store_le(e - kLinkBytes * (i + 1), target); }

// A heap block of `size` bytes with `n` links in front; null when the heap has no room. Links are not set.
// Owns: the caller, until free_elem with the same `n`.
[[nodiscard]] Element mkelem(std::size_t size, std::uint8_t n);
void free_elem(Element e, std::uint8_t n);

// Unhooks and returns the element that follows `e` through link `i`.
inline Element delink(Element e, unsigned i) {
  Element removed = link_get(e, i);
  link_set(e, i, link_get(removed, i));
  return removed;
}

// Inserts `x` after `e`.
inline void enlink(Element e, Element x, unsigned i) {
  link_set(x, i, link_get(e, i));
  link_set(e, i, x);
}

// Makes `q` an empty queue and returns it.
inline Element il2(Element q, unsigned i) {
  link_set(q, i, q);
  link_set(q, i + 1, q);
  return q;
}

// Appends `x` at the tail of the queue `q`.
inline void enqueue(Element q, Element x, unsigned i) {
  link_set(x, i, q);
  link_set(link_get(q, i + 1), i, x);
  link_set(q, i + 1, x);
}

// Removes and returns the first element of `q`. Requires: the queue is not empty.
inline Element dequeue(Element q, unsigned i) {
  Element first = link_get(q, i);
  link_set(q, i, link_get(first, i));
  if (link_get(q, i) == q) link_set(q, i + 1, q);
  return first;
}

}  // namespace fsort
