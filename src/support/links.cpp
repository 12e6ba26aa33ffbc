// Making elements; the list primitives themselves are inline in links.h.
#include "support/links.h"

#include "platform/heap.h"

namespace fsort {

Element mkelem(std::size_t size, std::uint8_t n) {
  const std::size_t link_bytes = kLinkBytes * n;
  if (size > SIZE_MAX - link_bytes) return nullptr;
  auto* block = static_cast<Element>(heap_alloc(size + link_bytes));
  return block == nullptr ? nullptr : block + link_bytes;
}

void free_elem(Element e, std::uint8_t n) {
  if (e != nullptr) heap_free(e - kLinkBytes * n);
}

}  // namespace fsort
