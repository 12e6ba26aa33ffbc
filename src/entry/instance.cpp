// The current instance: process-wide by design, switched by every export under the entry lock.
#include "entry/instance.h"

namespace fsort {

constinit Instance* current_instance = nullptr;

}  // namespace fsort
