// Emission; see emit.h. A bin without records on file needs no memory and no frame: its records are where
// they are.
#include "engine/emit.h"

#include "engine/engine_access.h"
#include "keys/record.h"

namespace fsort {

void output_sublist(SublistArray* array, std::uint16_t bin, bool unique) {
  sublist_input_init(array, bin);
  if (unique) {
    if (const std::uint8_t* record = sublist_input()) rec_output(record);
    Sublist& b = array->bins()[bin];
    const Sublist before = b;
    b = sublist_empty();
    b.key = before.key;
    b.position = before.position;
    return;
  }
  while (const std::uint8_t* record = sublist_input()) rec_output(record);
}

}  // namespace fsort
