// The entry of the DLL: the system calls it when a process or thread attaches to the library or leaves it.
//
// The C runtime of the library starts first and ends last; the entry lock lives in between. The result is
// always success: nothing here can fail.
//
// The start of MinGW's runtime calls a function of this very name when it has initialised itself (a stub,
// where a library brings none), so the entry is entered twice. The inner call has nothing to do. The system
// makes these calls one at a time, so a flag tells the two apart.
#include <windows.h>

#include "platform/os.h"

extern "C" BOOL WINAPI DllMainCRTStartup(HINSTANCE module, DWORD reason, LPVOID reserved);

static constinit bool in_runtime_start = false;

extern "C" BOOL WINAPI DllEntryPoint(HINSTANCE module, DWORD reason, LPVOID reserved) {
  if (in_runtime_start) return TRUE;
  if (reason == DLL_PROCESS_DETACH) fsort::library_detach();
  in_runtime_start = true;
  DllMainCRTStartup(module, reason, reserved);
  in_runtime_start = false;
  if (reason == DLL_PROCESS_ATTACH) fsort::library_attach();
  return TRUE;
}

namespace fsort {

constinit const OsTable* os = &kSystemOs;

}  // namespace fsort
