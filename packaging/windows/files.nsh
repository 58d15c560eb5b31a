; The installed files. A loaded DLL and a running program can be renamed but not replaced: they are put aside, and
; removed as soon as that is possible.

Var Aside    ; the number in the names of files put aside by this run: NAME.<number>.old
Var Swapping ; not empty: the new files are taking the places of the old ones

; ${ForEachFile} MACRO: with the name below $INSTDIR, and the file that it is made from.
!macro ForEachFile DO
    ;                       name                     from
    ${If} ${RunningX64}
        !insertmacro ${DO} "x64\TarvexShellExt.dll" "${X64}/TarvexShellExt.dll"
        !insertmacro ${DO} "tarvex-preview.exe"     "${X64}/tarvex-preview.exe"
        !insertmacro ${DO} "tarvex-blocks.exe"      "${X64}/tarvex-blocks.exe"
    ${Else}
        !insertmacro ${DO} "tarvex-preview.exe"     "${X86}/tarvex-preview.exe"
        !insertmacro ${DO} "tarvex-blocks.exe"      "${X86}/tarvex-blocks.exe"
    ${EndIf}
    !insertmacro ${DO}     "x86\TarvexShellExt.dll" "${X86}/TarvexShellExt.dll"
    !insertmacro ${DO}     "${UNINSTALLER}"         ""
!macroend
!define ForEachFile "!insertmacro ForEachFile"

!macro ForEachFolder DO
    !insertmacro ${DO} "$INSTDIR\x64"
    !insertmacro ${DO} "$INSTDIR\x86"
    !insertmacro ${DO} "$INSTDIR"
!macroend
!define ForEachFolder "!insertmacro ForEachFolder"

!macro Stage NAME FROM
    ClearErrors
    !if "${FROM}" == ""
        WriteUninstaller "$INSTDIR\${NAME}.new"
    !else
        File "/oname=$INSTDIR\${NAME}.new" "${FROM}"
    !endif
    ${If} ${Errors}
        StrCpy $Failure "The file $INSTDIR\${NAME} cannot be written."
    ${EndIf}
!macroend

; Writes the new files beside the old ones, which go on working.
Function StageFiles
    ${If} ${RunningX64}
        CreateDirectory "$INSTDIR\x64"
    ${EndIf}
    CreateDirectory "$INSTDIR\x86"
    SetOverwrite try ; and no questions
    ${ForEachFile} Stage
FunctionEnd

!macro Swap NAME FROM
    ${If} $Failure == ""
        ClearErrors
        ${If} ${FileExists} "$INSTDIR\${NAME}"
            Rename "$INSTDIR\${NAME}" "$INSTDIR\${NAME}.$Aside.old"
        ${EndIf}
        Rename "$INSTDIR\${NAME}.new" "$INSTDIR\${NAME}"
        ${If} ${Errors}
            StrCpy $Failure "The file $INSTDIR\${NAME} cannot be replaced."
        ${EndIf}
    ${EndIf}
!macroend

Function SwapFiles
    StrCpy $Aside 0
    ${Do}
        IntOp $Aside $Aside + 1
        ${IfNot} ${FileExists} "$INSTDIR\*.$Aside.old"
        ${AndIfNot} ${FileExists} "$INSTDIR\x64\*.$Aside.old"
        ${AndIfNot} ${FileExists} "$INSTDIR\x86\*.$Aside.old"
            ${Break}
        ${EndIf}
    ${Loop}
    StrCpy $Swapping yes
    ${ForEachFile} Swap
FunctionEnd

!macro Restore NAME FROM
    ${If} ${FileExists} "$INSTDIR\${NAME}.new"
        Delete "$INSTDIR\${NAME}.new" ; its turn had not come
    ${ElseIf} $Swapping != ""
        Delete "$INSTDIR\${NAME}"
    ${EndIf}
    ${If} $Swapping != ""
    ${AndIf} ${FileExists} "$INSTDIR\${NAME}.$Aside.old"
        Rename "$INSTDIR\${NAME}.$Aside.old" "$INSTDIR\${NAME}"
    ${EndIf}
!macroend

!macro RemoveFolder FOLDER
    RMDir "${FOLDER}" ; if it is empty
!macroend

Function RestoreFiles
    ${ForEachFile} Restore
    ${ForEachFolder} RemoveFolder
FunctionEnd

; What is still in use is removed when the system starts again, if the user may ask for that; else by the next
; installer or uninstaller that finds it.
!macro RemoveAsidesOf NAME FROM
    Delete /REBOOTOK "$INSTDIR\${NAME}.*.old"
!macroend

Function RemoveAsides
    ${ForEachFile} RemoveAsidesOf
FunctionEnd

; Deletes $0, or moves it out of the way if it is in use, so that our folders can go now. Uses $1.
Function un.Discard
    ClearErrors
    Delete $0
    ${If} ${Errors}
        GetTempFileName $1
        Delete $1
        ClearErrors
        Rename $0 $1
        ${If} ${Errors} ; another drive
            StrCpy $1 $0
        ${EndIf}
        Delete /REBOOTOK $1
    ${EndIf}
FunctionEnd

!macro DiscardFile NAME FROM
    ${If} ${FileExists} "$INSTDIR\${NAME}"
        StrCpy $0 "$INSTDIR\${NAME}"
        Call un.Discard
    ${EndIf}
!macroend

!macro DiscardAsidesOf NAME FROM
    ${GetParent} "$INSTDIR\${NAME}" $4
    FindFirst $2 $3 "$INSTDIR\${NAME}.*.old"
    ${DoWhile} $3 != ""
        StrCpy $0 "$4\$3"
        Call un.Discard
        FindNext $2 $3
    ${Loop}
    FindClose $2
!macroend

Function un.DiscardFiles
    ${ForEachFile} DiscardFile
    ${ForEachFile} DiscardAsidesOf
    ${ForEachFolder} RemoveFolder
FunctionEnd
