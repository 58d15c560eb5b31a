; What the shell finds us by. Everything here is written by ${Put} and so is undone by the ledger.

!define CLASS_ID   "{05DE8458-5BB6-444E-B969-38830122D2D5}"
!define APP_ID     "{E2254355-EEF9-4318-8FA8-298C1F190E2F}"
!define LIBRARY_ID "{4F91C081-3221-4D94-A36B-673EC0543BF7}"
!define TIP_ID     "{00021500-0000-0000-C000-000000000046}" ; IQueryInfo
!define PICTURE_ID "{BB2E617C-0920-11d1-9A0B-00C04FC2D6C1}" ; IExtractImage
!define CLASSES    "Software\Classes"
!define APPROVED   "Software\Microsoft\Windows\CurrentVersion\Shell Extensions\Approved"

Var Folder    ; of the DLL
Var Extension
Var ProgId

; ${ForEachView} MACRO: with $View set to each view of the system, $Folder to that of its DLL. What both views share
; is in the end what the system's own programs need.
!macro ForEachView DO
    StrCpy $View 32
    StrCpy $Folder "$INSTDIR\x86"
    !insertmacro ${DO} win32
    ${If} ${RunningX64}
        StrCpy $View 64
        StrCpy $Folder "$INSTDIR\x64"
        !insertmacro ${DO} win64
    ${EndIf}
!macroend
!define ForEachView "!insertmacro ForEachView"

; What the DLL writes when it registers itself, but for a key that holds nothing. It is not left to the DLL
; because that registers for all users only, replaces what others have there, and must still be there, and load,
; to take it back.
!macro PutClass MACHINE
    ;       key                                              name           text
    ${Put} "${CLASSES}\AppID\${APP_ID}"                      ""             "TarvexShellExt"
    ${Put} "${CLASSES}\AppID\TarvexShellExt.DLL"             AppID          "${APP_ID}"
    ${Put} "${CLASSES}\CLSID\${CLASS_ID}"                    ""             "TarvexShellExt 7.0 for ZEPH 15.0 Class"
    ${Put} "${CLASSES}\CLSID\${CLASS_ID}\InprocServer32"     ""             "$Folder\TarvexShellExt.dll"
    ${Put} "${CLASSES}\CLSID\${CLASS_ID}\InprocServer32"     ThreadingModel "Apartment"
    ${Put} "${CLASSES}\CLSID\${CLASS_ID}\TypeLib"            ""             "${LIBRARY_ID}"
    ${Put} "${CLASSES}\TypeLib\${LIBRARY_ID}\1.0"            ""             "TarvexShellExt 1.0 Type Library"
    ${Put} "${CLASSES}\TypeLib\${LIBRARY_ID}\1.0\0\${MACHINE}" ""           "$Folder\TarvexShellExt.dll"
    ${Put} "${CLASSES}\TypeLib\${LIBRARY_ID}\1.0\FLAGS"      ""             "0"
    ${Put} "${CLASSES}\TypeLib\${LIBRARY_ID}\1.0\HELPDIR"    ""             "$Folder"
    ; Shell extensions that an administrator lets run.
    ${Put} "${APPROVED}"                                     "${CLASS_ID}"  "${PRODUCT}"
!macroend

Function RegisterClass
    ${ForEachView} PutClass
FunctionEnd

!macro PutHandlers KEY
    ${Put} "${CLASSES}\${KEY}\ShellEx\${TIP_ID}"     "" "${CLASS_ID}"
    ${Put} "${CLASSES}\${KEY}\ShellEx\${PICTURE_ID}" "" "${CLASS_ID}"
!macroend

; At the extension itself, and at its ProgID, which the shell asks before it, if it has one. It is given none: a
; file type that belongs to nobody keeps the system's icon and its "Open with".
!macro PutExtension MACHINE
    !insertmacro PutHandlers $Extension
    Call FindProgId
    ${If} $ProgId != ""
        !insertmacro PutHandlers $ProgId
    ${EndIf}
!macroend

Function AssociateExtension
    ${ForEachView} PutExtension
FunctionEnd

; The ProgID of $Extension in $View, if there is one and it exists.
Function FindProgId
    ${ChosenView}
    ReadRegStr $ProgId SHCTX "${CLASSES}\$Extension" ""
    ${If} $ProgId == ""
        ReadRegStr $ProgId HKCR $Extension "" ; for one user: that of all of them
    ${EndIf}
    ClearErrors
    EnumRegKey $0 SHCTX "${CLASSES}\$ProgId" 0
    ${If} ${Errors}
        ClearErrors
        EnumRegKey $0 HKCR $ProgId 0
        ${If} ${Errors}
            StrCpy $ProgId ""
        ${EndIf}
    ${EndIf}
    ${NativeView}
FunctionEnd
