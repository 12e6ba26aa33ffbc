// The entry of the DLL: the system calls it when a process or thread attaches to the library or leaves it.
//
// The C runtime of the library starts first and ends last; the entry lock lives in between. The result is
// always success: nothing here can fail.
#include <windows.h>

#include "platform/os.h"

extern "C" BOOL WINAPI DllMainCRTStartup(HINSTANCE module, DWORD reason, LPVOID reserved);

extern "C" BOOL WINAPI DllEntryPoint(HINSTANCE module, DWORD reason, LPVOID reserved) {
  if (reason == DLL_PROCESS_DETACH) fsort::library_detach();
  DllMainCRTStartup(module, reason, reserved);
  if (reason == DLL_PROCESS_ATTACH) fsort::library_attach();
  return TRUE;
}

namespace fsort {

constinit const OsTable* os = &kSystemOs;

}  // namespace fsort
