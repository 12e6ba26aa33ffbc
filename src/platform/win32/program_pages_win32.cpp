// Long texts on Windows: see program_pages.h.
#include "platform/program_pages.h"

namespace fsort {

bool program_page(const char*) { return false; }

}  // namespace fsort
