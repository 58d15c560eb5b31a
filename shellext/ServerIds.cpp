// The ids that the interface compiler took from TarvexShellExt.idl, defined once for the DLL.
#include <objbase.h>
#include <windows.h>

#include <initguid.h>

#include "TarvexShellExt_i.h"
