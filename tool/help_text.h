// The texts of the tool itself; everything said about a sort comes from the engine.
#pragma once

namespace fsort_tool {

extern const char* const kHelpText;
extern const char* const kVersionText;

}  // namespace fsort_tool
