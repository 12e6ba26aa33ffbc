// Files that the engine opens while this lives can be read and changed by others, where it asks for them
// alone: for tests that look at a file, or cut it, while a stream has it open.
#pragma once

#include "platform/os.h"

namespace fsort::test {

class OpenToOthers {
 public:
  OpenToOthers() : table_(*os) {
    below_ = os;
    table_.create_file = [](const char* name, std::uint32_t access, std::uint32_t /*share*/, void* security,
                            std::uint32_t disposition, std::uint32_t attributes, Handle file) -> Handle {
      constexpr std::uint32_t kShareReadAndWrite = 3;
      return below_->create_file(name, access, kShareReadAndWrite, security, disposition, attributes, file);
    };
    os = &table_;
  }
  ~OpenToOthers() { os = below_; }
  OpenToOthers(const OpenToOthers&) = delete;
  OpenToOthers& operator=(const OpenToOthers&) = delete;

 private:
  static inline const OsTable* below_ = nullptr;
  OsTable table_;
};

}  // namespace fsort::test
