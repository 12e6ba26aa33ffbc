// The tool's layer in front of the system's table: it sees each file that the sort opens.
//
// The engine asks the system for files by one table (platform/os.h). The tool puts a table of its own there,
// which hands everything on and watches. A file's role shows in how it is opened:
//
//     created as new                       work file          listed as unfinished until it is deleted
//     opened for transfers in sectors      work file, again
//     created or truncated                 output             maybe under another name (safe_output.h)
//     opened for reading                   input              noted, so that an output can be told to be one
//
// A transfer moves a whole buffer, so what is done here costs nothing that could be measured.
#pragma once

namespace fsort_tool {

// Puts the layer in force. Called before the sort's instance is made, once.
void os_layer_install();

}  // namespace fsort_tool
