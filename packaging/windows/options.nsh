; What can be chosen, on the command line or on a page, and what the system is told of it.
;
;   /S                  silently
;   /ALLUSERS           for all users, which takes an administrator
;   /CURRENTUSER        for this user alone
;   /EXT=.abc,.def      files with these extensions too, besides .tarvex and those of an earlier installation
;   /D=FOLDER           where to; an update stays where the first installation is
;
; For all users or one: where it is installed already, else for all if the user is an administrator.
;
; Exit statuses: 0 installed, 1 cancelled, 2 damaged, and
!define UNUSABLE  3 ; the command line cannot be used
!define NO_RIGHTS 4 ; for all users, without the rights of an administrator
!define FAILED    5 ; something could not be written; nothing has been changed

!define DEFAULT_EXTENSION ".tarvex"
!define LONGEST_EXTENSION 64
; These cannot be in an extension; nor can more dots, because one begins behind the last of a name.
!define NOT_IN_EXTENSIONS "\/:*?$\"<>|.%; $\t$\r$\n"

Var Administrator ; "Admin" if so
Var ForAll        ; 1 or 0
Var GivenFolder   ; by /D; or empty
Var More          ; the extensions asked for in addition, with commas between them
Var Extensions    ; all of them, in the same way
Var List
Var AllButton
Var MoreField

!macro Refuse STATUS
    MessageBox MB_OK|MB_ICONSTOP $Failure /SD IDOK
    SetErrorLevel ${STATUS}
    Quit
!macroend

Function .onInit
    ${NativeView}
    StrCpy $GivenFolder $INSTDIR
    Call ReadScope
    Call UseScope
    Call ReadExtensions
FunctionEnd

; ---- For whom

Function ReadScope
    UserInfo::GetAccountType
    Pop $Administrator
    StrCpy $ForAll 0
    ${If} $Administrator == "Admin"
        StrCpy $ForAll 1
        ReadRegStr $0 HKLM "${OWN_KEY}" InstallLocation
        ReadRegStr $1 HKCU "${OWN_KEY}" InstallLocation
        ${If} $0 == ""
        ${AndIf} $1 != ""
            StrCpy $ForAll 0
        ${EndIf}
    ${EndIf}

    ${GetParameters} $0
    ClearErrors
    ${GetOptions} $0 "/CURRENTUSER" $1
    ${IfNot} ${Errors}
        StrCpy $ForAll 0
    ${EndIf}
    ClearErrors
    ${GetOptions} $0 "/ALLUSERS" $1
    ${IfNot} ${Errors}
        StrCpy $ForAll 1
        ${If} $Administrator != "Admin"
            StrCpy $Failure "Installing for all users takes the rights of an administrator."
            !insertmacro Refuse ${NO_RIGHTS}
        ${EndIf}
    ${EndIf}
FunctionEnd

!macro SelectScope
    ${If} $ForAll = 1
        SetShellVarContext all
        StrCpy $Root 0x80000002 ; HKEY_LOCAL_MACHINE
    ${Else}
        SetShellVarContext current
        StrCpy $Root 0x80000001 ; HKEY_CURRENT_USER
    ${EndIf}
!macroend

Function UseScope
    !insertmacro SelectScope
    ReadRegStr $INSTDIR SHCTX "${OWN_KEY}" InstallLocation
    ${If} $INSTDIR == ""
        StrCpy $INSTDIR $GivenFolder
    ${EndIf}
    ${If} $INSTDIR == ""
        ${If} $ForAll = 0
            StrCpy $INSTDIR "$LOCALAPPDATA\Programs\${PRODUCT}"
        ${ElseIf} ${RunningX64}
            StrCpy $INSTDIR "$PROGRAMFILES64\${PRODUCT}"
        ${Else}
            StrCpy $INSTDIR "$PROGRAMFILES\${PRODUCT}"
        ${EndIf}
    ${EndIf}
FunctionEnd

; ---- For which files

Function ReadExtensions
    ${GetParameters} $0
    System::Call 'shlwapi::StrStrIW(w r0, w "/EXT=") w .r0'
    StrCpy $1 $0 5
    ${If} $1 == "/EXT="
        StrCpy $0 $0 "" 5
        Call ReadValue
        Call CheckMore
        ${If} $More == ""
            StrCpy $Failure "/EXT= names no extension."
        ${EndIf}
        ${If} $Failure != ""
            !insertmacro Refuse ${UNUSABLE}
        ${EndIf}
    ${EndIf}
FunctionEnd

; $0 is the command line behind an option: sets $More to its value, which ends with a blank or is quoted. (The
; usual ${GetOptions} ends it with a slash as well, and so would hide one that is wrong there.) Uses $1 and $2.
Function ReadValue
    StrCpy $1 " "
    StrCpy $2 $0 1
    ${If} $2 == "$\""
        StrCpy $1 "$\""
        StrCpy $0 $0 "" 1
    ${EndIf}
    System::Call 'shlwapi::StrCSpnW(w r0, w r1) i .r2'
    StrCpy $More $0 $2
FunctionEnd

; Takes the first of $List into $Extension. Uses $0 and $1.
Function NextExtension
    StrCpy $0 0
    ${Do}
        StrCpy $1 $List 1 $0
        ${If} $1 == ","
        ${OrIf} $1 == ""
            ${Break}
        ${EndIf}
        IntOp $0 $0 + 1
    ${Loop}
    StrCpy $Extension $List $0
    IntOp $0 $0 + 1
    StrCpy $List $List "" $0
FunctionEnd

; Sets $Failure unless $More can be used.
Function CheckMore
    StrCpy $List $More
    ${DoWhile} $List != ""
        Call NextExtension
        Call CheckExtension
    ${Loop}
FunctionEnd

; Uses $0 to $3.
Function CheckExtension
    StrCpy $0 $Extension 1
    StrCpy $1 $Extension "" 1
    StrCpy $2 "${NOT_IN_EXTENSIONS}"
    System::Call 'shlwapi::StrCSpnW(w r1, w r2) i .r3' ; how many characters from the start are in order
    StrLen $2 $1
    ${If} $0 != "."
    ${OrIf} $2 = 0
    ${OrIf} $2 > ${LONGEST_EXTENSION}
    ${OrIf} $2 <> $3
        StrCpy $Failure "$\"$Extension$\" is no file name extension, such as .abc"
    ${EndIf}
FunctionEnd

; Adds what was asked for to what is there, and takes it all on.
Function Associate
    ReadRegStr $Extensions SHCTX "${OWN_KEY}" Extensions
    ${If} $Extensions == ""
        StrCpy $Extensions "${DEFAULT_EXTENSION}"
    ${EndIf}
    ${If} $More != ""
        StrCpy $Extensions "$Extensions,$More"
    ${EndIf}
    StrCpy $List $Extensions
    StrCpy $Extensions ""
    ${DoWhile} $List != ""
        Call NextExtension
        Call AssociateExtension
        Call AddToExtensions
    ${Loop}
FunctionEnd

; Adds $Extension to $Extensions unless it is there. Uses $0.
Function AddToExtensions
    ${If} $Extensions == ""
        StrCpy $Extensions $Extension
        Return
    ${EndIf}
    StrCpy $0 ",$Extensions,"
    StrCpy $1 ",$Extension,"
    System::Call 'shlwapi::StrStrIW(w r0, w r1) p .r0'
    ${If} $0 = 0
        StrCpy $Extensions "$Extensions,$Extension"
    ${EndIf}
FunctionEnd

; ---- The page that asks for both

Function OptionsPage
    !insertmacro MUI_HEADER_TEXT "Tips and pictures of projects" "For whom, and for which files?"
    nsDialogs::Create 1018
    Pop $0

    ${NSD_CreateRadioButton} 0 0u 100% 12u "For &all users of this computer"
    Pop $AllButton
    ${NSD_CreateRadioButton} 0 14u 100% 12u "Only for &me"
    Pop $0
    ${If} $Administrator != "Admin"
        EnableWindow $AllButton 0
    ${EndIf}
    ${If} $ForAll = 1
        ${NSD_Check} $AllButton
    ${Else}
        ${NSD_Check} $0
    ${EndIf}

    ${NSD_CreateLabel} 0 44u 100% 20u "Files that end in .tarvex are shown with a tip and a picture. \
        Other &extensions of project files, with commas between them, such as .abc,.def:"
    Pop $0
    ${NSD_CreateText} 0 66u 100% 12u $More
    Pop $MoreField
    nsDialogs::Show
FunctionEnd

Function OptionsPageLeave
    ${NSD_GetState} $AllButton $ForAll ; BST_CHECKED is 1
    ${NSD_GetText} $MoreField $More
    StrCpy $Failure ""
    Call CheckMore
    ${If} $Failure != ""
        MessageBox MB_OK|MB_ICONEXCLAMATION $Failure
        StrCpy $Failure ""
        Abort ; stays on the page
    ${EndIf}
    Call UseScope
FunctionEnd

; ---- The list of installed programs

Function EnterIntoList
    ${GetSize} $INSTDIR "/S=0K" $0 $1 $2
    ClearErrors
    ;                                  name                 text
    WriteRegStr   SHCTX "${OWN_KEY}" DisplayName          "${PRODUCT}"
    WriteRegStr   SHCTX "${OWN_KEY}" DisplayVersion       "${VERSION}"
    WriteRegStr   SHCTX "${OWN_KEY}" DisplayIcon          "$INSTDIR\${UNINSTALLER},0"
    WriteRegStr   SHCTX "${OWN_KEY}" Publisher            "${PUBLISHER}"
    WriteRegStr   SHCTX "${OWN_KEY}" InstallLocation      $INSTDIR
    WriteRegStr   SHCTX "${OWN_KEY}" UninstallString      "$\"$INSTDIR\${UNINSTALLER}$\""
    WriteRegStr   SHCTX "${OWN_KEY}" QuietUninstallString "$\"$INSTDIR\${UNINSTALLER}$\" /S"
    WriteRegStr   SHCTX "${OWN_KEY}" Extensions           $Extensions
    WriteRegDWORD SHCTX "${OWN_KEY}" EstimatedSize        $0
    WriteRegDWORD SHCTX "${OWN_KEY}" NoModify             1
    WriteRegDWORD SHCTX "${OWN_KEY}" NoRepair             1
    ${If} ${Errors}
        StrCpy $Failure "The registry key ${OWN_KEY} cannot be written."
    ${EndIf}
FunctionEnd

; ---- The uninstaller: what it takes back is what was installed into its own folder

Function un.onInit
    ${NativeView}
    GetFullPathName $0 $INSTDIR
    ReadRegStr $1 HKCU "${OWN_KEY}" InstallLocation
    StrCpy $ForAll 1
    ${If} $0 == $1
        StrCpy $ForAll 0
    ${EndIf}
    !insertmacro SelectScope
    UserInfo::GetAccountType
    Pop $Administrator
    ${If} $ForAll = 1
    ${AndIf} $Administrator != "Admin"
        StrCpy $Failure "Uninstalling for all users takes the rights of an administrator."
        !insertmacro Refuse ${NO_RIGHTS}
    ${EndIf}
    ReadRegDWORD $Count SHCTX "${LEDGER}" Count
    StrCpy $Start 0
FunctionEnd
