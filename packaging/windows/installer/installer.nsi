; The launcher's setup program, for one user and without administrator rights. make-setup defines VERSION, SIZE_KB,
; COMMANDS (which unpack the files into .new), LIST (of their names), ART, ICON, SIGN and OUTPUT.
;
; An upgrade unpacks beside the installed files and then swaps by renaming, so that what fails or is cut off leaves the
; old launcher or, at worst, something that the next run of a setup puts back. The process ends with 0 or says what stood
; in its way:
!define EXIT_RUNNING 3   ; the launcher was asked to close and did not
!define EXIT_ELSEWHERE 4 ; it is installed in another folder, or this one has files of others with the same names
!define EXIT_FILES 5     ; a file could not be written, moved or removed
!define EXIT_SYSTEM 6    ; this Windows is too old
!define EXIT_BUSY 7      ; another setup is at work
; After each of these, nothing has changed.

!define TITLE "Velmo Games Launcher"
!define PROGRAM "VelmoLauncher.exe"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\VelmoLauncher"
!define RUN_KEY "Software\Microsoft\Windows\CurrentVersion\Run"
!define SHORTCUT "$SMPROGRAMS\${TITLE}.lnk"
!define DATA "$LOCALAPPDATA\VelmoGames"
!define CLOSE_WAIT_MS 15000
!define CLOSE_POLL_MS 250
!define QUESTION_MS 1000

Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
ManifestDPIAware true
ManifestSupportedOS Win10
RequestExecutionLevel user
Name "${TITLE}"
BrandingText "${TITLE} ${VERSION}"
OutFile "${OUTPUT}"
InstallDir "$LOCALAPPDATA\Programs\VelmoLauncher"
InstallDirRegKey HKCU "${UNINSTALL_KEY}" "InstallLocation"
ShowInstDetails nevershow
ShowUninstDetails nevershow
!uninstfinalize '"${SIGN}" "%1"' = 0

VIProductVersion "${VERSION}.0"
VIFileVersion "${VERSION}.0"
VIAddVersionKey "CompanyName" "Velmo Games"
VIAddVersionKey "FileDescription" "${TITLE} Setup"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "LegalCopyright" "Velmo Games"
VIAddVersionKey "ProductName" "${TITLE}"
VIAddVersionKey "ProductVersion" "${VERSION}"

!include FileFunc.nsh
!include LogicLib.nsh
!include MUI2.nsh
!include StrFunc.nsh
!include TextFunc.nsh
!include WinMessages.nsh
!include WinVer.nsh
${StrLoc}
${UnStrLoc}

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_WELCOMEFINISHPAGE_BITMAP "${ART}/side.bmp"
!define MUI_WELCOMEFINISHPAGE_BITMAP_STRETCH AspectFitHeight
!define MUI_HEADERIMAGE
!define MUI_HEADERIMAGE_RIGHT
!define MUI_HEADERIMAGE_BITMAP "${ART}/header.bmp"
!define MUI_HEADERIMAGE_BITMAP_STRETCH AspectFitHeight
!define MUI_ABORTWARNING

!define MUI_WELCOMEPAGE_TITLE "${TITLE} ${VERSION}"
!define MUI_WELCOMEPAGE_TEXT "This installs the launcher for you alone; it needs no administrator.$\r$\n$\r$\nA \
    launcher that is running is asked to close first. Your games, settings and logs stay as they are.$\r$\n$\r$\n$_CLICK"
!insertmacro MUI_PAGE_WELCOME
!define MUI_PAGE_CUSTOMFUNCTION_PRE SkipWhenInstalled
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!define MUI_FINISHPAGE_RUN "$INSTDIR\${PROGRAM}"
!define MUI_FINISHPAGE_RUN_TEXT "Open the launcher"
!insertmacro MUI_PAGE_FINISH

UninstPage custom un.ChooseData un.KeepChoice
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

Var window      ; one of the top-level windows, while they are gone through
Var owner       ; its owner, or 0
Var line        ; a file's path below $INSTDIR, while a list is gone through
Var failed      ; 1 when moving, placing or removing a file did not work
Var unrestored  ; 1 when a file of the old launcher could not be put back
Var removeData  ; 1 when the player wants the settings and logs to go too

; What setup and uninstaller have in common; the uninstaller's functions begin with "un.".
!macro Shared un Find

; Ends the process when another one changes the files, or is about to.
Function ${un}BeAlone
    System::Call 'kernel32::CreateMutexW(p 0, i 0, w "VelmoLauncherSetup") p .r0 ?e'
    Pop $1
    ${If} $1 = 183 ; it exists already
        SetErrorLevel ${EXIT_BUSY}
        MessageBox MB_OK|MB_ICONEXCLAMATION "Another setup of ${TITLE} is running." /SD IDOK
        Quit
    ${EndIf}
FunctionEnd

; Leaves in $0 the program of the process that $window belongs to; nothing when that may not be asked.
Function ${un}ProgramOfWindow
    StrCpy $0 ""
    System::Call 'user32::GetWindowThreadProcessId(p $window, *i .r1)'
    System::Call 'kernel32::OpenProcess(i 0x1000, i 0, i r1) p .r2' ; only to ask for its program
    ${If} $2 P<> 0
        System::Call 'kernel32::QueryFullProcessImageNameW(p r2, i 0, w .r0, *i ${NSIS_MAX_STRLEN})'
        System::Call 'kernel32::CloseHandle(p r2)'
        ${IfThen} $0 != "" ${|} GetFullPathName $0 $0 ${|}
    ${EndIf}
FunctionEnd

; Calls the function at $R1 with each window of the launcher in $INSTDIR in $window, and with its owner in $owner. Those
; that are hidden are among them, since the launcher may sit in the tray.
Function ${un}ForEachWindow
    GetFullPathName $3 "$INSTDIR\${PROGRAM}"
    StrCpy $window 0
    ${Do}
        FindWindow $window "" "" 0 $window
        ${IfThen} $window P= 0 ${|} ${ExitDo} ${|}
        System::Call 'user32::GetClassNameW(p $window, w .r4, i ${NSIS_MAX_STRLEN})'
        ${${Find}} $5 $4 "QWindow" ">" ; Qt's windows for the tray, the clipboard and the like are called otherwise
        ${If} $5 != ""
            Call ${un}ProgramOfWindow
            ${If} $0 == $3
                System::Call 'user32::GetWindow(p $window, i 4) p .s'
                Pop $owner
                Call $R1
            ${EndIf}
        ${EndIf}
    ${Loop}
FunctionEnd

; A window that another one owns is a dialog: a question to the player, which is not for this program to answer.
Function ${un}AskToClose
    ${If} $owner P= 0
        System::Call 'user32::PostMessageW(p $window, i ${WM_CLOSE}, p 0, p 0)'
    ${EndIf}
FunctionEnd

Function ${un}ShowQuestion
    System::Call 'user32::IsWindowVisible(p $window) i .r0'
    ${If} $owner P<> 0
    ${AndIf} $0 <> 0
        System::Call 'user32::SetForegroundWindow(p $window)'
        ; That gives it the keyboard; on top, it may need help.
        System::Call 'user32::SetWindowPos(p $window, p 0, i 0, i 0, i 0, i 0, i 0x43)'
    ${EndIf}
FunctionEnd

; Leaves 1 in $0 while the installed program runs: Windows then refuses to open its file for writing, and says why.
Function ${un}LauncherRuns
    StrCpy $0 0
    System::Call 'kernel32::CreateFileW(w "$INSTDIR\${PROGRAM}", i 0x40000000, i 7, p 0, i 3, i 0, p 0) p .r1 ?e'
    Pop $2
    ${If} $1 P<> -1
        System::Call 'kernel32::CloseHandle(p r1)'
    ${ElseIf} $2 = 32 ; sharing violation
        StrCpy $0 1
    ${EndIf}
FunctionEnd

; Goes on once the launcher has ended. It is only ever asked: during a download it asks its player in turn.
Function ${un}CloseLauncher
    ${Do}
        Call ${un}LauncherRuns
        ${IfThen} $0 = 0 ${|} ${ExitDo} ${|}
        DetailPrint "Asking the launcher to close"
        GetFunctionAddress $R1 ${un}AskToClose
        Call ${un}ForEachWindow
        StrCpy $7 0
        ${DoWhile} $7 < ${CLOSE_WAIT_MS}
            Sleep ${CLOSE_POLL_MS}
            IntOp $7 $7 + ${CLOSE_POLL_MS}
            Call ${un}LauncherRuns
            ${IfThen} $0 = 0 ${|} ${ExitDo} ${|}
            ${If} $7 = ${QUESTION_MS}
            ${AndIfNot} ${Silent}
                GetFunctionAddress $R1 ${un}ShowQuestion ; or it stands behind this program's window
                Call ${un}ForEachWindow
                StrCpy $0 1
            ${EndIf}
        ${Loop}
        ${IfThen} $0 = 0 ${|} ${ExitDo} ${|}
        ${If} ${Cmd} `MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION|MB_SETFOREGROUND "The launcher is still \
                open.$\r$\n$\r$\nIt may be asking you whether to close during a download. Answer it or close the \
                launcher, then press Retry." /SD IDCANCEL IDCANCEL`
            SetErrorLevel ${EXIT_RUNNING}
            Abort "The launcher is still open. Nothing was changed."
        ${EndIf}
    ${Loop}
FunctionEnd

; Calls the function at $R1 with each line of the file $R2 in $line, until one fails.
Function ${un}ForEachLine
    FileOpen $R3 $R2 r
    ${Do}
        ClearErrors ; of the line before; only the end of the file is to end this
        FileRead $R3 $line
        ${IfThen} ${Errors} ${|} ${ExitDo} ${|}
        ${TrimNewLines} $line $line
        Call $R1
    ${LoopUntil} $failed = 1
    FileClose $R3
    ClearErrors
FunctionEnd

Function ${un}NoteLine
    FileWrite $R4 "$line$\r$\n"
FunctionEnd

Function ${un}MoveAside
    ${If} ${FileExists} "$INSTDIR\$line"
        ${GetParent} "$INSTDIR\.old\$line" $0
        CreateDirectory $0
        ClearErrors
        Rename "$INSTDIR\$line" "$INSTDIR\.old\$line"
        ${IfThen} ${Errors} ${|} StrCpy $failed 1 ${|}
    ${EndIf}
FunctionEnd

Function ${un}RemoveNew
    Delete "$INSTDIR\$line"
FunctionEnd

Function ${un}PutBack
    ${If} ${FileExists} "$INSTDIR\.old\$line"
        ${GetParent} "$INSTDIR\$line" $0
        CreateDirectory $0
        ClearErrors
        Rename "$INSTDIR\.old\$line" "$INSTDIR\$line"
        ${IfThen} ${Errors} ${|} StrCpy $unrestored 1 ${|}
    ${EndIf}
FunctionEnd

; Puts the old launcher back into its place after a swap that failed, or one that an earlier run did not finish. While
; .old\swap.txt stands, a swap is not finished; .old\moved says that what stands in place of the old files is new.
Function ${un}UndoSwap
    StrCpy $unrestored 0
    StrCpy $failed 0
    StrCpy $R2 "$INSTDIR\.old\swap.txt"
    ${If} ${FileExists} $R2
        ${If} ${FileExists} "$INSTDIR\.old\moved"
            GetFunctionAddress $R1 ${un}RemoveNew
            Call ${un}ForEachLine
            Delete "$INSTDIR\.old\moved"
        ${EndIf}
        GetFunctionAddress $R1 ${un}PutBack
        Call ${un}ForEachLine
    ${EndIf}
    RMDir /r "$INSTDIR\.new"
    ${IfThen} $unrestored = 0 ${|} RMDir /r "$INSTDIR\.old" ${|}
FunctionEnd

; Moves the files that the lists $8 and $9 name into .old; a list that is not there names nothing.
Function ${un}MoveOldAside
    StrCpy $failed 0
    CreateDirectory "$INSTDIR\.old"
    ClearErrors
    FileOpen $R4 "$INSTDIR\.old\swap.txt" w
    ${If} ${Errors}
        StrCpy $failed 1
        Return
    ${EndIf}
    GetFunctionAddress $R1 ${un}NoteLine
    StrCpy $R2 $8
    Call ${un}ForEachLine
    StrCpy $R2 $9
    Call ${un}ForEachLine
    FileClose $R4
    GetFunctionAddress $R1 ${un}MoveAside
    StrCpy $R2 "$INSTDIR\.old\swap.txt"
    Call ${un}ForEachLine
FunctionEnd

Function ${un}RemoveEmptyFolder
    ${GetParent} $line $0
    ${IfThen} $0 != "" ${|} RMDir "$INSTDIR\$0" ${|}
FunctionEnd

; What the old launcher had and the new one has not goes for good, with folders that it leaves empty.
Function ${un}FinishSwap
    GetFunctionAddress $R1 ${un}RemoveEmptyFolder
    StrCpy $R2 "$INSTDIR\.old\swap.txt"
    Call ${un}ForEachLine
    Delete "$INSTDIR\.old\swap.txt" ; from here on, nothing leads back
    RMDir /r "$INSTDIR\.old"
    RMDir /r "$INSTDIR\.new"
FunctionEnd

Function ${un}GiveUp
    Call ${un}UndoSwap
    RMDir "$INSTDIR" ; if there was nothing in it before
    SetErrorLevel ${EXIT_FILES}
    StrCpy $0 "Nothing was changed."
    ${IfThen} $unrestored = 1 ${|} StrCpy $0 "The launcher is incomplete now; the next attempt puts it back." ${|}
    MessageBox MB_OK|MB_ICONSTOP "A file in $INSTDIR is in use, may not be changed, or the drive is full.$\r$\n$\r$\n\
        $0 Free some space or close other programs, then try again." /SD IDOK
    Abort "$0"
FunctionEnd

!macroend
!insertmacro Shared "" StrLoc
!insertmacro Shared "un." UnStrLoc

Function .onInit
    ${IfNot} ${AtLeastWin10}
        SetErrorLevel ${EXIT_SYSTEM}
        MessageBox MB_OK|MB_ICONSTOP "${TITLE} needs Windows 10 or 11." /SD IDOK
        Quit
    ${EndIf}
    Call BeAlone
    ReadRegStr $0 HKCU "${UNINSTALL_KEY}" "InstallLocation"
    ${If} $0 != ""
    ${AndIf} $0 != $INSTDIR
    ${AndIf} ${FileExists} "$0\${PROGRAM}"
        SetErrorLevel ${EXIT_ELSEWHERE}
        MessageBox MB_OK|MB_ICONSTOP "${TITLE} is installed in $0.$\r$\n$\r$\nUninstall it there first, or install \
            into that folder." /SD IDOK
        Quit
    ${EndIf}
FunctionEnd

Function SkipWhenInstalled
    ${IfThen} ${FileExists} "$INSTDIR\${PROGRAM}" ${|} Abort ${|}
FunctionEnd

Function LookForForeign
    ${IfThen} ${FileExists} "$INSTDIR\$line" ${|} StrCpy $failed 1 ${|}
FunctionEnd

; A folder without a launcher may belong to another program, whose Uninstall.exe is not ours to replace.
Function RefuseForeignFolder
    ${If} ${FileExists} "$INSTDIR\${PROGRAM}"
    ${OrIf} ${FileExists} "$INSTDIR\.old\swap.txt"
        Return
    ${EndIf}
    StrCpy $failed 0
    GetFunctionAddress $R1 LookForForeign
    StrCpy $R2 "$PLUGINSDIR\files.txt"
    Call ForEachLine
    ${If} $failed = 1
        SetErrorLevel ${EXIT_ELSEWHERE}
        MessageBox MB_OK|MB_ICONSTOP "$INSTDIR holds files of another program that have the same names as the \
            launcher's. Choose another folder." /SD IDOK
        Abort "Nothing was changed."
    ${EndIf}
FunctionEnd

Function PlaceNew
    ${GetParent} "$INSTDIR\$line" $0
    CreateDirectory $0
    ClearErrors
    Rename "$INSTDIR\.new\$line" "$INSTDIR\$line"
    ${IfThen} ${Errors} ${|} StrCpy $failed 1 ${|}
FunctionEnd

Section
    SetErrorLevel ${EXIT_FILES} ; a full drive ends the unpacking without asking this section
    SetOverwrite try
    InitPluginsDir
    File "/oname=$PLUGINSDIR\files.txt" "${LIST}"
    Call RefuseForeignFolder
    Call CloseLauncher
    Call UndoSwap
    ${IfThen} $unrestored = 1 ${|} Call GiveUp ${|}

    DetailPrint "Unpacking"
    ClearErrors
    !include "${COMMANDS}"
    SetOutPath "$INSTDIR\.new"
    File "/oname=files.txt" "${LIST}"
    SetOutPath "$TEMP" ; a folder that a program stands in cannot go
    WriteUninstaller "$INSTDIR\.new\Uninstall.exe"
    ${IfThen} ${Errors} ${|} Call GiveUp ${|}
    SetErrorLevel 0

    Call CloseLauncher ; the player may have opened it meanwhile
    StrCpy $8 "$INSTDIR\files.txt"
    StrCpy $9 "$PLUGINSDIR\files.txt"
    Call MoveOldAside
    ${IfThen} $failed = 1 ${|} Call GiveUp ${|}
    ClearErrors
    FileOpen $0 "$INSTDIR\.old\moved" w
    FileClose $0
    ${IfThen} ${Errors} ${|} Call GiveUp ${|}
    GetFunctionAddress $R1 PlaceNew
    StrCpy $R2 "$PLUGINSDIR\files.txt"
    Call ForEachLine
    ${IfThen} $failed = 1 ${|} Call GiveUp ${|}
    Call FinishSwap

    SetOutPath "$INSTDIR" ; where the shortcut starts the program
    CreateShortCut "${SHORTCUT}" "$INSTDIR\${PROGRAM}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayName" "${TITLE}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\${PROGRAM}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "Publisher" "Velmo Games"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\Uninstall.exe"'
    WriteRegStr HKCU "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\Uninstall.exe" /S'
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" "EstimatedSize" ${SIZE_KB}
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" "NoModify" 1
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" "NoRepair" 1
SectionEnd

; What the unpacking that ended so has left.
Function .onInstFailed
    SetOutPath "$TEMP"
    RMDir /r "$INSTDIR\.new"
    RMDir "$INSTDIR"
FunctionEnd

Function un.onInit
    Call un.BeAlone
    ${GetParameters} $0
    ClearErrors
    ${GetOptions} $0 "/REMOVEDATA" $1
    StrCpy $removeData 0
    ${IfNot} ${Errors}
        StrCpy $removeData 1
    ${EndIf}
FunctionEnd

Function un.ChooseData
    !insertmacro MUI_HEADER_TEXT "Uninstall ${TITLE}" "The launcher is removed from this computer."
    nsDialogs::Create 1018
    Pop $0
    ${NSD_CreateLabel} 0 0 100% 24u "${TITLE} is removed from:$\r$\n$INSTDIR"
    Pop $0
    ${NSD_CreateLabel} 0 34u 100% 24u "Games that you have installed stay where they are. So do your settings and \
        logs, unless you say otherwise."
    Pop $0
    ${NSD_CreateCheckBox} 0 66u 100% 12u "&Remove my settings and logs too"
    Pop $R5
    ${NSD_SetState} $R5 $removeData
    GetDlgItem $0 $HWNDPARENT 1
    SendMessage $0 ${WM_SETTEXT} 0 "STR:&Uninstall"
    nsDialogs::Show
FunctionEnd

Function un.KeepChoice
    ${NSD_GetState} $R5 $removeData
FunctionEnd

Section "un.Launcher"
    SetOutPath "$TEMP" ; a folder that a program stands in cannot go
    Call un.CloseLauncher
    Call un.UndoSwap
    ${IfThen} $unrestored = 1 ${|} Call un.GiveUp ${|}
    StrCpy $8 "$INSTDIR\files.txt"
    StrCpy $9 ""
    Call un.MoveOldAside
    ${IfThen} $failed = 1 ${|} Call un.GiveUp ${|}
    Call un.FinishSwap
    RMDir "$INSTDIR"

    ReadRegStr $0 HKCU "${UNINSTALL_KEY}" "InstallLocation"
    ${If} $0 == $INSTDIR
        Delete "${SHORTCUT}"
        DeleteRegKey HKCU "${UNINSTALL_KEY}"
    ${EndIf}
    ReadRegStr $0 HKCU "${RUN_KEY}" "VelmoLauncher"
    StrCpy $1 '"$INSTDIR\${PROGRAM}"'
    StrLen $2 $1
    StrCpy $0 $0 $2
    ${IfThen} $0 == $1 ${|} DeleteRegValue HKCU "${RUN_KEY}" "VelmoLauncher" ${|}

    ; By name and not the folder as a whole: a player may have put a game there.
    ${If} $removeData = 1
        Delete "${DATA}\Launcher\launcher.json*"
        Delete "${DATA}\Launcher\logs\launcher-*.log"
        RMDir "${DATA}\Launcher\logs"
        RMDir "${DATA}\Launcher"
        RMDir "${DATA}"
    ${EndIf}
SectionEnd
