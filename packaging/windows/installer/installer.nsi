; The launcher's setup program, for one user and without administrator rights. make-setup defines VERSION, SIZE_KB,
; COMMANDS (which unpack the files into .velmo-new), LIST (of their names), ART, ICON, SIGN, OUTPUT, and the addresses HOMEPAGE
; and SUPPORT.
;
; An upgrade unpacks beside the installed files and then swaps by renaming, so that what fails or is cut off leaves the
; old launcher or, at worst, something that the next run of a setup or of the uninstaller puts back. It cannot when the
; journal is damaged and new files stand in the old ones' places; then the old ones stay in .velmo-old.
;
;   .velmo-new\.velmo-setup   the marker that the folder is the setup's own; held open for as long as one is at work here
;   .velmo-new\...            the new files, until they are placed
;   .velmo-old\.velmo-setup   the other folder's marker
;   .velmo-old\swap.txt       the journal: "=" before the path of a file that the old launcher has, "+" before one that only
;                             the new one has. It stands, whole, before the first file is moved, and what it tells can be
;                             undone again and again; once it is gone, nothing leads back
;   .velmo-old\...            the old files, once they are moved aside
;
; A folder by one of these names that has no marker is somebody's, and is refused. The process ends with 0 or says what
; stood in its way:
!define EXIT_RUNNING 3   ; the launcher was asked to close and did not
!define EXIT_ELSEWHERE 4 ; it is installed in another folder, or this one has what is others' by the names of ours
!define EXIT_FILES 5     ; a file could not be written, moved or removed
!define EXIT_SYSTEM 6    ; this Windows is older than Qt supports
!define EXIT_BUSY 7      ; another setup is at work
; After each of these, nothing has changed, but for one case of 5: the undo itself met a file that is held, or a journal that
; does not tell all. The launcher is in pieces then, and nothing of it is lost.

!define TITLE "Velmo Games Launcher"
!define PROGRAM "VelmoLauncher.exe"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\VelmoLauncher"
!define RUN_KEY "Software\Microsoft\Windows\CurrentVersion\Run"
!define SHORTCUT "$SMPROGRAMS\${TITLE}.lnk"
!define DESKTOP_SHORTCUT "$DESKTOP\${TITLE}.lnk"
!define OLDEST_BUILD 17763 ; Windows 10, version 1809
!define DATA "$LOCALAPPDATA\VelmoGames"
!define CLOSE_WAIT_MS 15000
!define CLOSE_POLL_MS 250
!define QUESTION_MS 1000
!define NEW ".velmo-new"
!define OLD ".velmo-old"
!define MARKER ".velmo-setup"
!define JOURNAL "$INSTDIR\${OLD}\swap.txt"
!define LONGEST_LINE 200 ; of a list of files; with a folder before it, it must still be a path that Windows takes
!define ERROR_SHARING_VIOLATION 32
!ifndef MUTEX
    !define MUTEX "VelmoLauncherSetup"
!endif

Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
ManifestDPIAware true
ManifestDPIAwareness "PerMonitorV2, System" ; Windows scales its dialogs then, sharply, on each monitor
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
!define MUI_FINISHPAGE_SHOWREADME "" ; the page's second box, for which it has no other name
!define MUI_FINISHPAGE_SHOWREADME_TEXT "Put a shortcut on the desktop"
!define MUI_FINISHPAGE_SHOWREADME_NOTCHECKED
!define MUI_FINISHPAGE_SHOWREADME_FUNCTION PutOnDesktop
!insertmacro MUI_PAGE_FINISH

UninstPage custom un.ChooseData un.KeepChoice
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

Var window      ; one of the top-level windows, while they are gone through
Var owner       ; its owner, or 0
Var closed      ; what the launcher showed before it was closed, "window" or "tray"; "" when none was open
Var line        ; a file's path below $INSTDIR, while a list is gone through
Var kept        ; what stood before it in the journal
Var refused     ; 1 when a list had a line that leads elsewhere
Var failed      ; 1 when moving, placing or removing a file, or reading a list, did not work
Var unrestored  ; 1 when a file of the old launcher could not be put back
Var left        ; 1 when something in a folder of the setup's own could not be removed
Var lock        ; the open marker of .velmo-new, or 0
Var removeData  ; 1 when the player wants the settings and logs to go too

; A setup for a trial defines STEPS, a folder where a file by a step's name holds it up there: it adds ".reached" to the
; name and goes on once that is gone.
!macro Step name
    !ifdef STEPS
        ${If} ${FileExists} "${STEPS}\${name}"
            Rename "${STEPS}\${name}" "${STEPS}\${name}.reached"
            ${Do}
                Sleep 20
            ${LoopWhile} ${FileExists} "${STEPS}\${name}.reached"
        ${EndIf}
    !endif
!macroend
!define Step '!insertmacro Step'

; What setup and uninstaller have in common; the uninstaller's functions begin with "un.".
!macro Shared un Find

Function ${un}EndAsBusy
    SetErrorLevel ${EXIT_BUSY}
    MessageBox MB_OK|MB_ICONEXCLAMATION "Another setup of ${TITLE} is running." /SD IDOK
    Quit
FunctionEnd

; Ends the process when another one of this session changes the files, or is about to. Whoever may not have the mutex, for
; whatever reason, cannot know that he is alone. Setups of other sessions meet at BeginWork.
Function ${un}BeAlone
    System::Call 'kernel32::CreateMutexW(p 0, i 0, w "${MUTEX}") p .r0 ?e'
    Pop $1
    ${If} $0 P= 0
    ${OrIf} $1 = 183 ; it exists already
        Call ${un}EndAsBusy
    ${EndIf}
FunctionEnd

; Leaves in $0 what stands at the path in $0: "nothing", "file", "folder", or "link", which is a folder that stands
; elsewhere, by a junction or a link.
Function ${un}Kind
    Push $1
    System::Call 'kernel32::GetFileAttributesW(w r0) i .r1'
    IntOp $2 $1 & 0x410
    ${If} $1 = -1
        StrCpy $0 "nothing"
    ${ElseIf} $2 = 0x410
        StrCpy $0 "link"
    ${ElseIf} $2 = 0x10
        StrCpy $0 "folder"
    ${Else}
        StrCpy $0 "file"
    ${EndIf}
    Pop $1
FunctionEnd

; Removes the folder $0 if it is empty. One that is a link is the player's arrangement and stays.
Function ${un}RemoveIfEmpty
    Push $0
    Call ${un}Kind
    Exch $0
    Pop $1
    ${IfThen} $1 == "folder" ${|} RMDir $0 ${|}
FunctionEnd

; Empties the folder $R0 but for its marker, and leaves 1 in $left when that does not work. RMDir /r is not for this: it
; goes into links, and would empty the folders that they lead to.
Function ${un}Empty
    Push $R5
    Push $R6
    FindFirst $R5 $R6 "$R0\*"
    ${DoWhile} $R6 != ""
        ${If} $R6 != "."
        ${AndIf} $R6 != ".."
        ${AndIf} $R6 != ${MARKER}
            StrCpy $0 "$R0\$R6"
            Call ${un}Kind
            ${If} $0 == "folder"
                Push $R0
                StrCpy $R0 "$R0\$R6"
                Call ${un}Empty
                ClearErrors
                RMDir $R0
                Pop $R0
            ${ElseIf} $0 == "link"
                ClearErrors
                RMDir "$R0\$R6" ; the link alone
            ${Else}
                ClearErrors
                Delete "$R0\$R6"
            ${EndIf}
            ${IfThen} ${Errors} ${|} StrCpy $left 1 ${|}
        ${EndIf}
        ClearErrors
        FindNext $R5 $R6
    ${Loop}
    FindClose $R5
    ClearErrors
    Pop $R6
    Pop $R5
FunctionEnd

; Leaves 1 in $0 when $R0 is a folder with the setup's marker.
Function ${un}IsOwn
    StrCpy $0 $R0
    Call ${un}Kind
    ${If} $0 == "folder"
        StrCpy $0 "$R0\${MARKER}"
        Call ${un}Kind
    ${Else}
        StrCpy $0 "nothing"
    ${EndIf}
    ${If} $0 == "file"
        StrCpy $0 1
    ${Else}
        StrCpy $0 0
    ${EndIf}
FunctionEnd

; Opens the marker of $R0, which is made if need be. Leaves its handle in $R7, or -1 there and the error in $R8. Others may
; read it meanwhile, but no second setup may open it.
Function ${un}OpenMarker
    CreateDirectory $R0
    System::Call 'kernel32::CreateFileW(w "$R0\${MARKER}", i 0x40000000, i 1, p 0, i 4, i 0, p 0) p .r0 ?e'
    Pop $R8
    StrCpy $R7 $0
    ${If} $R7 P<> -1
        FileWrite $R7 "This folder belongs to the setup program of ${TITLE}, which removes all that is in it.$\r$\n"
    ${EndIf}
FunctionEnd

; Removes $R0 if it is the setup's own, the marker last. What cannot go yet keeps its marker, so that a later run may; but what
; has come into it meanwhile is somebody's.
Function ${un}RemoveOwn
    Call ${un}IsOwn
    ${IfThen} $0 = 0 ${|} Return ${|}
    StrCpy $left 0
    Call ${un}Empty
    ${IfThen} $left = 1 ${|} Return ${|}
    Delete "$R0\${MARKER}"
    ${Step} unmarked
    RMDir $R0
    ${DirState} $R0 $0
    ${If} $0 = 0 ; it is there and empty
        Call ${un}OpenMarker
        System::Call 'kernel32::CloseHandle(p $R7)'
    ${EndIf}
FunctionEnd

; Another setup may begin here from now on.
Function ${un}EndWork
    ${If} $lock P<> 0
        System::Call 'kernel32::CloseHandle(p $lock)'
        StrCpy $lock 0
        StrCpy $R0 "$INSTDIR\${NEW}"
        Call ${un}RemoveOwn
    ${EndIf}
FunctionEnd

Function ${un}RefuseUnmarked
    StrCpy $0 $R0
    Call ${un}Kind
    ${IfThen} $0 == "nothing" ${|} Return ${|}
    ${If} $0 == "folder"
        Call ${un}IsOwn
        ${IfThen} $0 = 1 ${|} Return ${|}
        RMDir $R0 ; an empty one may be of a setup that was cut off before it made the marker
        StrCpy $0 $R0
        Call ${un}Kind
        ${IfThen} $0 == "nothing" ${|} Return ${|}
    ${EndIf}
    SetErrorLevel ${EXIT_ELSEWHERE}
    MessageBox MB_OK|MB_ICONSTOP "$R0 does not come from this program, which needs that name. Move it to another place \
        or give it another name, then try again." /SD IDOK
    Abort "Nothing was changed."
FunctionEnd

; The setup empties its folders, so whatever else may be called like them has to be out of the way.
Function ${un}RefuseForeignWork
    StrCpy $R0 "$INSTDIR\${OLD}"
    Call ${un}RefuseUnmarked
    StrCpy $R0 "$INSTDIR\${NEW}"
    Call ${un}RefuseUnmarked
FunctionEnd

; Leaves 1 in $0 when $INSTDIR has a launcher that a setup installed, be it in pieces.
Function ${un}LooksInstalled
    ReadRegStr $0 HKCU "${UNINSTALL_KEY}" "InstallLocation"
    ${If} $0 == $INSTDIR
    ${OrIf} ${FileExists} "$INSTDIR\${PROGRAM}"
    ${OrIf} ${FileExists} "${JOURNAL}"
        StrCpy $0 1
    ${Else}
        StrCpy $0 0
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

Function ${un}NoteWindow
    System::Call 'user32::IsWindowVisible(p $window) i .r0'
    ${If} $owner P= 0
    ${AndIf} $0 <> 0
        StrCpy $closed "window"
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
    ${ElseIf} $2 = ${ERROR_SHARING_VIOLATION}
        StrCpy $0 1
    ${EndIf}
FunctionEnd

; Goes on once the launcher has ended. It is only ever asked: during a download it asks its player in turn.
Function ${un}CloseLauncher
    ${Do}
        Call ${un}LauncherRuns
        ${IfThen} $0 = 0 ${|} ${ExitDo} ${|}
        ${If} $closed == ""
            StrCpy $closed "tray"
            GetFunctionAddress $R1 ${un}NoteWindow
            Call ${un}ForEachWindow
        ${EndIf}
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
            Call ${un}EndWork
            SetErrorLevel ${EXIT_RUNNING}
            Abort "The launcher is still open. Nothing was changed."
        ${EndIf}
    ${Loop}
FunctionEnd

; Leaves 1 in $0 when $line may name a launcher's file below $INSTDIR and nothing else: no way up, no drive, no stream, none
; of the signs that stand for others, no root, nothing in the setup's own folders, and not so long that a path with it would
; be cut. Nor may it be another way to write the path of one of these: with ".", a short name, or what Windows leaves out.
Function ${un}IsLineSound
    StrCpy $1 0
    StrCpy $0 $line 1
    ${If} $0 == "="
    ${OrIf} $0 == "+"
        StrCpy $1 1 ; the journal's signs are not of the path
    ${EndIf}
    StrCpy $0 $line "" $1
    StrLen $2 $0
    StrCpy $0 $0 1
    ${If} $2 = 0
    ${OrIf} $2 > ${LONGEST_LINE}
    ${OrIf} $0 == "\"
    ${OrIf} $0 == "."
        StrCpy $0 0
        Return
    ${EndIf}
    ${Do}
        StrCpy $0 $line 1 $1
        ${IfThen} $0 == "" ${|} ${ExitDo} ${|}
        StrCpy $2 $line 2 $1
        ${If} $2 == ".."
        ${OrIf} $2 == "\."
        ${OrIf} $2 == ".\"
        ${OrIf} $2 == " \"
        ${OrIf} $2 == "\\"
        ${OrIf} $0 == "~"
        ${OrIf} $0 == ":"
        ${OrIf} $0 == "/"
        ${OrIf} $0 == "*"
        ${OrIf} $0 == "?"
        ${OrIf} $0 == "<" ; Windows reads the last three as signs for others, too
        ${OrIf} $0 == ">"
        ${OrIf} $0 == '"'
            StrCpy $0 0
            Return
        ${EndIf}
        IntOp $1 $1 + 1
    ${Loop}
    StrCpy $0 1
FunctionEnd

; Calls the function at $R1 with each line of the file $R2 in $line, until one fails. A file that is not there has no
; lines; one that cannot be read has failed. A line that leads elsewhere is passed over, and noted in $refused.
Function ${un}ForEachLine
    ${IfNot} ${FileExists} $R2
        Return
    ${EndIf}
    ClearErrors
    FileOpen $R3 $R2 r
    ${If} ${Errors}
        StrCpy $failed 1
        Return
    ${EndIf}
    ${Do}
        ClearErrors ; of the line before; only the end of the file is to end this
        FileRead $R3 $line
        ${IfThen} ${Errors} ${|} ${ExitDo} ${|}
        ${TrimNewLines} $line $line
        Call ${un}IsLineSound
        ${If} $0 = 1
            Call $R1
        ${Else}
            StrCpy $refused 1
        ${EndIf}
    ${LoopUntil} $failed = 1
    FileClose $R3
    ClearErrors
FunctionEnd

; Calls the function at $R1 with each line of the journal, parted into $kept and $line.
Function ${un}TakeJournalLine
    StrCpy $kept $line 1
    StrCpy $line $line "" 1
    Call $R9
FunctionEnd

Function ${un}ForEachMove
    StrCpy $R9 $R1
    GetFunctionAddress $R1 ${un}TakeJournalLine
    StrCpy $R2 "${JOURNAL}"
    Call ${un}ForEachLine
FunctionEnd

; A folder where a list has a file is no file of a launcher.
Function ${un}NoteLine
    StrCpy $0 "$INSTDIR\$line"
    Call ${un}Kind
    ClearErrors
    ${If} $0 == "file"
        FileWrite $R4 "=$line$\r$\n"
    ${ElseIf} $0 == "nothing"
        FileWrite $R4 "+$line$\r$\n"
    ${EndIf}
    ${IfThen} ${Errors} ${|} StrCpy $failed 1 ${|}
FunctionEnd

; A file that two lists name is moved at its first line.
Function ${un}MoveAside
    StrCpy $0 "$INSTDIR\$line"
    Call ${un}Kind
    ${If} $kept == "="
    ${AndIf} $0 == "file"
        ${GetParent} "$INSTDIR\${OLD}\$line" $0
        CreateDirectory $0
        ClearErrors
        Rename "$INSTDIR\$line" "$INSTDIR\${OLD}\$line"
        ${IfThen} ${Errors} ${|} StrCpy $failed 1 ${|}
        ${Step} moving
    ${EndIf}
FunctionEnd

; What stands in an old file's place is new if the old one is still in .velmo-old; else the old one was never moved, or is
; back already. So each line can be taken as often as need be.
Function ${un}PutBack
    ${If} $kept == "="
        StrCpy $0 "$INSTDIR\${OLD}\$line"
        Call ${un}Kind
        ${IfThen} $0 != "file" ${|} Return ${|}
        ${GetParent} "$INSTDIR\$line" $0
        CreateDirectory $0
        Delete "$INSTDIR\$line"
        ${Step} putting-back
        ClearErrors
        Rename "$INSTDIR\${OLD}\$line" "$INSTDIR\$line"
    ${Else}
        ClearErrors
        Delete "$INSTDIR\$line"
    ${EndIf}
    ${IfThen} ${Errors} ${|} StrCpy $unrestored 1 ${|}
    ${If} $kept == "+"
        Call ${un}RemoveEmptyFolder
    ${EndIf}
FunctionEnd

; Puts back what is left in the folder $R0 of .velmo-old, "" being that itself: the journal may be damaged, and one that
; cannot be read on looks like one that ends. Where something stands already, nothing tells whether it may go.
Function ${un}PutBackUntold
    Push $R5
    Push $R6
    FindFirst $R5 $R6 "$INSTDIR\${OLD}$R0\*"
    ${DoWhile} $R6 != ""
        StrCpy $line "$R0\$R6"
        StrCpy $0 "$INSTDIR\${OLD}$line"
        Call ${un}Kind
        ${If} $R6 == "."
        ${OrIf} $R6 == ".."
        ${OrIf} $line == "\${MARKER}"
        ${OrIf} "$INSTDIR\${OLD}$line" == "${JOURNAL}"
        ${OrIf} "$INSTDIR\${OLD}$line" == "${JOURNAL}.part"
            ; not of the launcher
        ${ElseIf} $0 == "folder"
            Push $R0
            StrCpy $R0 $line
            Call ${un}PutBackUntold
            Pop $R0
        ${ElseIf} $0 == "file"
            ${GetParent} "$INSTDIR$line" $0
            CreateDirectory $0
            ClearErrors
            Rename "$INSTDIR\${OLD}$line" "$INSTDIR$line" ; which replaces nothing
            ${IfThen} ${Errors} ${|} StrCpy $unrestored 1 ${|}
        ${EndIf}
        ClearErrors
        FindNext $R5 $R6
    ${Loop}
    FindClose $R5
    ClearErrors
    Pop $R6
    Pop $R5
FunctionEnd

; Puts the old launcher back into its place after a swap that failed, or one that an earlier run did not finish. The
; journal goes when all of it is back, and not before.
Function ${un}UndoSwap
    StrCpy $unrestored 0
    StrCpy $failed 0
    ${Step} undoing
    GetFunctionAddress $R1 ${un}PutBack
    Call ${un}ForEachMove
    ${IfThen} $failed = 1 ${|} StrCpy $unrestored 1 ${|}
    ${IfThen} $unrestored = 1 ${|} Return ${|}
    ${If} ${FileExists} "${JOURNAL}"
        StrCpy $R0 ""
        Call ${un}PutBackUntold
        ${IfThen} $unrestored = 1 ${|} Return ${|}
    ${EndIf}
    ${Step} undone
    StrCpy $R0 "$INSTDIR\${OLD}"
    Call ${un}RemoveOwn
FunctionEnd

; Claims the folder and puts right what an earlier run has left there.
Function ${un}BeginWork
    ${Step} beginning
    Call ${un}RefuseForeignWork ; waiting for the launcher to close may have taken long
    StrCpy $R0 "$INSTDIR\${NEW}"
    Call ${un}OpenMarker
    ${If} $R7 P= -1
        RMDir $R0
        ${IfThen} $R8 = ${ERROR_SHARING_VIOLATION} ${|} Call ${un}EndAsBusy ${|}
        Call ${un}GiveUp
    ${EndIf}
    StrCpy $lock $R7
    Call ${un}UndoSwap
    ${IfThen} $unrestored = 1 ${|} Call ${un}GiveUp ${|}
    StrCpy $left 0
    StrCpy $R0 "$INSTDIR\${NEW}"
    Call ${un}Empty
    ; What is left in .velmo-old would be taken for this launcher's in an undo.
    ${If} $left = 1
    ${OrIf} ${FileExists} "$INSTDIR\${OLD}"
        Call ${un}GiveUp
    ${EndIf}
FunctionEnd

; Writes the journal for the files that the lists $8 and $9 name.
Function ${un}WriteJournal
    StrCpy $R0 "$INSTDIR\${OLD}"
    ${If} ${FileExists} $R0 ; somebody's, since BeginWork has left nothing there
        StrCpy $failed 1
        Return
    ${EndIf}
    Call ${un}OpenMarker
    ${If} $R7 P= -1
        StrCpy $failed 1
        Return
    ${EndIf}
    System::Call 'kernel32::CloseHandle(p $R7)'
    ClearErrors
    FileOpen $R4 "${JOURNAL}.part" w
    ${If} ${Errors}
        StrCpy $failed 1
        Return
    ${EndIf}
    GetFunctionAddress $R1 ${un}NoteLine
    StrCpy $R2 $8
    Call ${un}ForEachLine
    StrCpy $R2 $9
    Call ${un}ForEachLine
    System::Call 'kernel32::FlushFileBuffers(p $R4) i .r0'
    ${IfThen} $0 = 0 ${|} StrCpy $failed 1 ${|}
    FileClose $R4
    ${IfThen} $failed = 1 ${|} Return ${|}
    ClearErrors
    Rename "${JOURNAL}.part" "${JOURNAL}"
    ${IfThen} ${Errors} ${|} StrCpy $failed 1 ${|}
FunctionEnd

; Moves the files that the lists $8 and $9 name into .velmo-old.
Function ${un}MoveOldAside
    StrCpy $failed 0
    Call ${un}WriteJournal
    ${If} $failed = 0
        ${Step} noted
        GetFunctionAddress $R1 ${un}MoveAside
        Call ${un}ForEachMove
    ${EndIf}
    ${Step} moved
    ${IfThen} $failed = 1 ${|} Call ${un}GiveUp ${|}
FunctionEnd

Function ${un}RemoveEmptyFolder
    ${GetParent} $line $0
    ${If} $0 != ""
        StrCpy $0 "$INSTDIR\$0"
        Call ${un}RemoveIfEmpty
    ${EndIf}
FunctionEnd

; What the old launcher had and the new one has not goes for good, with folders that it leaves empty.
Function ${un}FinishSwap
    ${Step} placed
    GetFunctionAddress $R1 ${un}RemoveEmptyFolder
    Call ${un}ForEachMove
    ClearErrors
    Delete "${JOURNAL}" ; from here on, nothing leads back
    ${IfThen} ${Errors} ${|} Call ${un}GiveUp ${|}
    ${Step} finished
    StrCpy $R0 "$INSTDIR\${OLD}"
    Call ${un}RemoveOwn
FunctionEnd

Function ${un}GiveUp
    Call ${un}UndoSwap
    Call ${un}EndWork
    StrCpy $0 $INSTDIR
    Call ${un}RemoveIfEmpty ; if there was nothing in it before
    SetErrorLevel ${EXIT_FILES}
    StrCpy $0 "Nothing was changed."
    ${IfThen} $unrestored = 1 ${|} StrCpy $0 "The launcher may be incomplete now; the next attempt tries to put it back." ${|}
    MessageBox MB_OK|MB_ICONSTOP "A file in $INSTDIR is in use, may not be changed, or the drive is full.$\r$\n$\r$\n\
        $0 Free some space or close other programs, then try again." /SD IDOK
    Abort "$0"
FunctionEnd

!macroend
!insertmacro Shared "" StrLoc
!insertmacro Shared "un." UnStrLoc

Function .onInit
    ; Whether it is a 64-bit one is not asked: on another, this program does not even start.
    ${IfNot} ${AtLeastWin10}
    ${OrIfNot} ${AtLeastBuild} ${OLDEST_BUILD}
        SetErrorLevel ${EXIT_SYSTEM}
        MessageBox MB_OK|MB_ICONSTOP "${TITLE} needs 64-bit Windows 11, or Windows 10 from version 1809 on." /SD IDOK
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

Function PutOnDesktop
    SetOutPath "$INSTDIR" ; where the shortcut starts the program
    CreateShortCut "${DESKTOP_SHORTCUT}" "$INSTDIR\${PROGRAM}"
FunctionEnd

; Where the player sees no page that offers it, the launcher that had to close is opened again, in the tray if it was there.
Function Reopen
    Call LauncherRuns
    ${If} $closed == ""
    ${OrIf} $0 = 1
    ${OrIfNot} ${Silent}
    ${OrIfNot} ${FileExists} "$INSTDIR\${PROGRAM}"
        Return
    ${EndIf}
    SetOutPath "$INSTDIR" ; where it starts, as by its shortcut
    ${If} $closed == "tray"
        Exec '"$INSTDIR\${PROGRAM}" --autostart'
    ${Else}
        Exec '"$INSTDIR\${PROGRAM}"'
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
    Call LooksInstalled
    ${IfThen} $0 = 1 ${|} Return ${|}
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
    Rename "$INSTDIR\${NEW}\$line" "$INSTDIR\$line"
    ${IfThen} ${Errors} ${|} StrCpy $failed 1 ${|}
    ${Step} placing
FunctionEnd

Section
    SetErrorLevel ${EXIT_FILES} ; a full drive ends the unpacking without asking this section
    SetOverwrite try
    InitPluginsDir
    File "/oname=$PLUGINSDIR\files.txt" "${LIST}"
    Call RefuseForeignWork
    Call RefuseForeignFolder
    Call CloseLauncher
    Call BeginWork

    DetailPrint "Unpacking"
    ClearErrors
    !include "${COMMANDS}"
    SetOutPath "$INSTDIR\${NEW}"
    File "/oname=files.txt" "${LIST}"
    SetOutPath "$TEMP" ; a folder that a program stands in cannot go
    WriteUninstaller "$INSTDIR\${NEW}\Uninstall.exe"
    ${IfThen} ${Errors} ${|} Call GiveUp ${|}
    SetErrorLevel 0
    ${Step} unpacked

    Call CloseLauncher ; the player may have opened it meanwhile
    StrCpy $8 "$INSTDIR\files.txt"
    StrCpy $9 "$PLUGINSDIR\files.txt"
    Call MoveOldAside
    GetFunctionAddress $R1 PlaceNew
    StrCpy $R2 "$PLUGINSDIR\files.txt"
    Call ForEachLine
    ${IfThen} $failed = 1 ${|} Call GiveUp ${|}
    Call FinishSwap
    Call EndWork

    SetOutPath "$INSTDIR" ; where the shortcut starts the program
    CreateShortCut "${SHORTCUT}" "$INSTDIR\${PROGRAM}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayName" "${TITLE}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\${PROGRAM}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "Publisher" "Velmo Games"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "URLInfoAbout" "${HOMEPAGE}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "HelpLink" "${SUPPORT}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\Uninstall.exe"'
    WriteRegStr HKCU "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\Uninstall.exe" /S'
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" "EstimatedSize" ${SIZE_KB}
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" "NoModify" 1
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" "NoRepair" 1
    ${GetParameters} $0
    ClearErrors
    ${GetOptions} $0 "/DESKTOP" $1
    ${IfNot} ${Errors}
        Call PutOnDesktop
    ${EndIf}
    Call Reopen
SectionEnd

; What the unpacking that ended so has left.
Function .onInstFailed
    SetOutPath "$TEMP"
    Call EndWork
    StrCpy $0 $INSTDIR
    Call RemoveIfEmpty
    ${If} $unrestored <> 1
        Call Reopen
    ${EndIf}
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

; The uninstaller may have been copied to a folder of other things, some of them by the names of the launcher's.
Function un.RefuseForeignFolder
    Call un.LooksInstalled
    ${If} $0 = 0
        SetErrorLevel ${EXIT_ELSEWHERE}
        MessageBox MB_OK|MB_ICONSTOP "${TITLE} is not installed in $INSTDIR." /SD IDOK
        Abort "Nothing was changed."
    ${EndIf}
FunctionEnd

Section "un.Launcher"
    SetOutPath "$TEMP" ; a folder that a program stands in cannot go
    Call un.RefuseForeignWork
    Call un.RefuseForeignFolder
    Call un.CloseLauncher
    Call un.BeginWork
    ; What this version has installed goes even when the list of it has been lost.
    InitPluginsDir
    File "/oname=$PLUGINSDIR\files.txt" "${LIST}"
    StrCpy $8 "$INSTDIR\files.txt"
    StrCpy $9 "$PLUGINSDIR\files.txt"
    StrCpy $refused 0
    ${IfNot} ${FileExists} $8
        StrCpy $refused 1
    ${EndIf}
    Call un.MoveOldAside
    Call un.FinishSwap
    Call un.EndWork
    StrCpy $0 $INSTDIR
    Call un.RemoveIfEmpty
    ${If} $refused = 1
        MessageBox MB_OK|MB_ICONINFORMATION "The list of the installed files, files.txt, was missing or \
            damaged.$\r$\n$\r$\nThe files that this version of the launcher comes with were removed. What else lies in \
            $INSTDIR stays there." /SD IDOK
    ${EndIf}

    ReadRegStr $0 HKCU "${UNINSTALL_KEY}" "InstallLocation"
    ${If} $0 == $INSTDIR
        Delete "${SHORTCUT}"
        Delete "${DESKTOP_SHORTCUT}"
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
