// What the pipes of tests have in common on all systems.
#include "support/std_handles.h"

#include <utility>

namespace fsort::test {

OpenFile pipe_with(const std::string& content) {
  Pipe pipe;
  pipe.writer.write(content);
  pipe.writer.close();
  return std::move(pipe.reader);
}

}  // namespace fsort::test
