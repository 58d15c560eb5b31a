; What is written into the registry, other than the installer's own key, is written by ${Put}. It first notes in
; a ledger, below that key, what was there; undoing goes through the ledger backwards. So whatever a handler
; of somebody else had is put back, and what somebody else has written since stays.
;
; An entry of the ledger is a key, named by its number, with the values
;   View, Key, Name  the place
;   Ours             what was written there
;   Before           what had been there, of whichever type; missing if there was nothing
;   Made             the outermost key that had to be made for it; empty if there was none to make
; The ledger itself has
;   Count            the number of the last entry
;   Made             the outermost key that had to be made for the installer's own

!define OWN_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\TarvexShellExt"
!define LEDGER  "${OWN_KEY}\Ledger"

!define /ifndef KEY_READ  0x20019
!define /ifndef KEY_WRITE 0x20006

Var Root  ; the key that SHCTX stands for: HKEY_LOCAL_MACHINE or HKEY_CURRENT_USER
Var View  ; 64 or 32: the view of the registry that is written
Var Count ; the number of the last entry
Var Start ; of the last one that was there before this run
Var Entry ; the key of an entry
Var Key   ; the place of an entry
Var Name
Var Ours
Var Made

; The ledger, and all that is not written for one machine alone, is in the view of the system itself. A 32-bit
; system has no views.
!macro NativeView
    ${If} ${RunningX64}
        SetRegView 64
    ${Else}
        SetRegView default
    ${EndIf}
!macroend
!define NativeView "!insertmacro NativeView"

!macro ChosenView
    ${If} $View = 64
        SetRegView 64
    ${ElseIf} ${RunningX64}
        SetRegView 32
    ${Else}
        SetRegView default
    ${EndIf}
!macroend
!define ChosenView "!insertmacro ChosenView"

; ${OpenKey} HANDLE VIEW KEY ACCESS: the handle is 0 if the key cannot be opened. Uses $R0 to $R2.
!macro OpenKey HANDLE VIEW KEY ACCESS
    StrCpy $R0 "${KEY}"
    StrCpy $R1 ${ACCESS}
    ${If} ${RunningX64}
        ${If} ${VIEW} = 64
            IntOp $R1 $R1 | 0x100 ; KEY_WOW64_64KEY
        ${Else}
            IntOp $R1 $R1 | 0x200 ; KEY_WOW64_32KEY
        ${EndIf}
    ${EndIf}
    System::Call 'advapi32::RegOpenKeyExW(p $Root, w R0, i 0, i R1, *p .R2) i .R0'
    ${If} $R0 <> 0
        StrCpy $R2 0
    ${EndIf}
    StrCpy ${HANDLE} $R2
!macroend
!define OpenKey "!insertmacro OpenKey"

; ${CopyValue} VIEW KEY NAME, of the source and of the target: as it is, whatever its type.
; $R0 is 0 if there was one. Uses $R0 to $R7.
!macro CopyValue VIEW KEY NAME TO_VIEW TO_KEY TO_NAME
    ${OpenKey} $R5 ${VIEW} "${KEY}" ${KEY_READ}
    ${OpenKey} $R6 ${TO_VIEW} "${TO_KEY}" ${KEY_WRITE}
    StrCpy $R1 "${NAME}"
    StrCpy $R2 "${TO_NAME}"
    System::Call 'advapi32::RegQueryValueExW(p R5, w R1, p 0, *i .R3, p 0, *i .R4) i .R0'
    ${If} $R0 = 0
        System::Alloc $R4
        Pop $R7
        System::Call 'advapi32::RegQueryValueExW(p R5, w R1, p 0, p 0, p R7, *i R4) i .R0'
        System::Call 'advapi32::RegSetValueExW(p R6, w R2, i 0, i R3, p R7, i R4)'
        System::Free $R7
    ${EndIf}
    System::Call 'advapi32::RegCloseKey(p R5)'
    System::Call 'advapi32::RegCloseKey(p R6)'
!macroend
!define CopyValue "!insertmacro CopyValue"

; Sets $Made to the outermost part of $Key that is not there, in the view in use. Uses $0 and $1.
Function FindMade
    StrCpy $Made ""
    StrCpy $0 $Key
    ${Do}
        ClearErrors
        EnumRegKey $1 SHCTX $0 0
        ${IfNot} ${Errors}
            ${Break}
        ${EndIf}
        StrCpy $Made $0
        ${GetParent} $0 $0
    ${LoopUntil} $0 == ""
FunctionEnd

Function OpenLedger
    ${NativeView}
    ReadRegDWORD $Count SHCTX "${LEDGER}" Count
    ${If} $Count == ""
        StrCpy $Count 0
        StrCpy $Key "${OWN_KEY}"
        Call FindMade
        ClearErrors
        WriteRegStr SHCTX "${LEDGER}" Made $Made
        WriteRegDWORD SHCTX "${LEDGER}" Count 0
        ${If} ${Errors}
            StrCpy $Failure "The registry key ${OWN_KEY} cannot be written."
        ${EndIf}
    ${EndIf}
    StrCpy $Start $Count
FunctionEnd

; ${Put} KEY NAME TEXT: below $Root, in $View.
!macro Put KEY NAME TEXT
    StrCpy $Key  "${KEY}"
    StrCpy $Name "${NAME}"
    StrCpy $Ours "${TEXT}"
    ${Step} Put
!macroend
!define Put "!insertmacro Put"

Function Put
    ${ChosenView}
    ClearErrors
    ReadRegStr $0 SHCTX $Key $Name
    ${IfNot} ${Errors}
    ${AndIf} $0 == $Ours
        ${NativeView}
        Return ; written by an earlier run or through the other view; if by hand, it is not ours to remove
    ${EndIf}
    Call FindMade
    ${NativeView}
    Call Note
    ${ChosenView}
    ClearErrors
    WriteRegStr SHCTX $Key $Name $Ours
    ${If} ${Errors}
        StrCpy $Failure "The registry key $Key cannot be written."
    ${EndIf}
    ${NativeView}
FunctionEnd

; Noted before it is done: an installation that is cut short can be undone as well.
Function Note
    IntOp $Count $Count + 1
    StrCpy $Entry "${LEDGER}\$Count"
    WriteRegStr SHCTX $Entry View $View
    WriteRegStr SHCTX $Entry Key  $Key
    WriteRegStr SHCTX $Entry Name $Name
    WriteRegStr SHCTX $Entry Ours $Ours
    WriteRegStr SHCTX $Entry Made $Made
    ${CopyValue} $View $Key $Name 64 $Entry Before
    WriteRegDWORD SHCTX "${LEDGER}" Count $Count
FunctionEnd

; Deletes $Key and the keys around it, out to $Made, as far as they are empty.
!macro DeleteEmptyKeys
    StrLen $0 $Made
    ${DoWhile} $Made != ""
        DeleteRegKey /ifempty SHCTX $Key
        StrLen $1 $Key
        ${If} $1 <= $0
            ${Break}
        ${EndIf}
        ${GetParent} $Key $Key
    ${Loop}
!macroend

; Undoes the entries behind $Start; without entries before it, the ledger goes as well.
!macro UndoFunction UN
Function ${UN}Undo
    ${DoWhile} $Count > $Start
        StrCpy $Entry "${LEDGER}\$Count"
        ${NativeView}
        ReadRegStr $View SHCTX $Entry View
        ReadRegStr $Key  SHCTX $Entry Key
        ReadRegStr $Name SHCTX $Entry Name
        ReadRegStr $Ours SHCTX $Entry Ours
        ReadRegStr $Made SHCTX $Entry Made
        Call ${UN}UndoEntry
        ${NativeView}
        DeleteRegKey SHCTX $Entry
        IntOp $Count $Count - 1
        WriteRegDWORD SHCTX "${LEDGER}" Count $Count
    ${Loop}
    ${If} $Count = 0
        ReadRegStr $Made SHCTX "${LEDGER}" Made
        StrCpy $Key "${OWN_KEY}"
        DeleteRegKey SHCTX $Key
        !insertmacro DeleteEmptyKeys
    ${EndIf}
FunctionEnd

; What is not ours any more stays.
Function ${UN}UndoEntry
    ${ChosenView}
    ReadRegStr $0 SHCTX $Key $Name
    ${If} $0 == $Ours
        ${CopyValue} 64 $Entry Before $View $Key $Name
        ${If} $R0 <> 0
            DeleteRegValue SHCTX $Key $Name
        ${EndIf}
    ${EndIf}
    !insertmacro DeleteEmptyKeys
FunctionEnd
!macroend
!insertmacro UndoFunction ""
!insertmacro UndoFunction un.
