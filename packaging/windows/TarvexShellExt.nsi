; The installer for Windows: one 32-bit program for 32-bit and 64-bit systems, for all users or one.
;
;   makensis -WX -DVERSION=7.0.0 -DX64=FOLDER -DX86=FOLDER -DOUTPUT=setup.exe TarvexShellExt.nsi
;
; X64 and X86 hold TarvexShellExt.dll, tarvex-preview.exe and tarvex-blocks.exe for their machine.
; options.nsh says what the command line takes and which exit statuses there are.
Unicode true
SetCompressor /SOLID lzma
SetDateSave off ; what is built twice is the same
ManifestSupportedOS all
ManifestDPIAware true
RequestExecutionLevel highest ; administrators install for all users, others for themselves
XPStyle on
AllowSkipFiles off

!define PRODUCT     "Tarvex project previews"
!define PUBLISHER   "Tarvex project previews"
!define UNINSTALLER "uninstall.exe"

Name "${PRODUCT}"
Caption "${PRODUCT} ${VERSION}"
OutFile "${OUTPUT}"
BrandingText "${PRODUCT} ${VERSION}"
ShowInstDetails nevershow
ShowUninstDetails nevershow

VIProductVersion "${VERSION}.0"
VIAddVersionKey ProductName     "${PRODUCT}"
VIAddVersionKey ProductVersion  "${VERSION}"
VIAddVersionKey FileVersion     "${VERSION}"
VIAddVersionKey FileDescription "Tips and thumbnails of Tarvex projects"
VIAddVersionKey CompanyName     "${PUBLISHER}"
VIAddVersionKey LegalCopyright  ""

; Says why what was asked for could not be done, until then empty.
Var Failure

!include FileFunc.nsh
!include LogicLib.nsh
!include MUI2.nsh
!include x64.nsh
; Each step is taken if those before it went well.
!macro Step FUNCTION
    ${If} $Failure == ""
        Call ${FUNCTION}
    ${EndIf}
!macroend
!define Step "!insertmacro Step"

!include ledger.nsh
!include registry.nsh
!include files.nsh
!include options.nsh

Page custom OptionsPage OptionsPageLeave
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE English

; Open windows of the file manager learn of it.
!define TellShell "System::Call 'shell32::SHChangeNotify(i 0x08000000, i 0, p 0, p 0)'" ; SHCNE_ASSOCCHANGED

Section
    Call OpenLedger
    ${Step} StageFiles
    ${Step} SwapFiles
    ${Step} RegisterClass
    ${Step} Associate
    ${Step} EnterIntoList
    ${If} $Failure != ""
        Call RollBack
        SetErrorLevel ${FAILED}
        Abort
    ${EndIf}
    Call RemoveAsides
    ${TellShell}
SectionEnd

; What was there before is there again: nothing, or an older version.
Function RollBack
    Call Undo
    Call RestoreFiles
    MessageBox MB_OK|MB_ICONSTOP "$Failure$\nNothing has been changed." /SD IDOK
FunctionEnd

; A file that cannot be written whole ends the installation by itself.
Function .onInstFailed
    ${If} $Failure == ""
        StrCpy $Failure "The files cannot be written to $INSTDIR."
        Call RollBack
    ${EndIf}
FunctionEnd

Section Uninstall
    Call un.Undo
    Call un.DiscardFiles
    ${TellShell}
SectionEnd
