#!/usr/bin/env python3
"""Checks what the built DLL exports and imports, and the machine it is for.

usage: check_image.py OBJDUMP DLL MACHINE     (MACHINE: x86_64 or i686)
"""
import re
import subprocess
import sys

EXPORTS = ["DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"]

# Part of every Windows installation. No language run time but the system's own.
SYSTEM_DLLS = {
    "advapi32.dll", "gdi32.dll", "gdiplus.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll",
    "oleaut32.dll", "shell32.dll", "shlwapi.dll", "user32.dll",
}

FORMATS = {"x86_64": "pei-x86-64", "i686": "pei-i386"}
# Addresses at random, no code in data pages.
DLL_FLAGS = {"x86_64": {"DYNAMIC_BASE", "NX_COMPAT", "HIGH_ENTROPY_VA"}, "i686": {"DYNAMIC_BASE", "NX_COMPAT"}}


def faults(dump, machine):
    if f"file format {FORMATS[machine]}" not in dump:
        yield f"the image is not for {machine}"
    names = dump.partition("[Ordinal/Name Pointer] Table")[2].partition("\n\n")[0]
    exports = re.findall(r"^\s*\[\s*\d+\]\s+(?:\+base\[\s*\d+\]\s+[0-9a-f]+\s+)?(\S+)$", names, re.M)
    if sorted(exports) != EXPORTS:
        yield f"exports {exports} instead of {EXPORTS}"
    imports = {name.lower() for name in re.findall(r"^\s*DLL Name: (\S+)", dump, re.M)}
    if not imports:
        yield "no imports found: has the dump another form?"
    if imports - SYSTEM_DLLS:
        yield f"imports {sorted(imports - SYSTEM_DLLS)}, which are no system DLLs"
    missing = {flag for flag in DLL_FLAGS[machine] if flag not in dump}
    if missing:
        yield f"lacks the flags {sorted(missing)}"


def main():
    objdump, dll, machine = sys.argv[1:]
    dump = subprocess.run([objdump, "-p", dll], check=True, capture_output=True, text=True).stdout
    found = list(faults(dump, machine))
    for fault in found:
        print(f"{dll}: {fault}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
