; The installer: launcher.dll, launcher-console on the PATH, and the browser host with its registration.
;
;   setup.exe [/S] [/AllUsers | /CurrentUser] [/ORIGINS=https://a.example,https://b.example] [/D=FOLDER]
;
; /S asks nothing. /ORIGINS are the pages that may use the browser host; without it an upgrade keeps
; those that there are, and a first installation allows none. Exit codes: 0 done, 2 something failed,
; 3 a page is not an origin, 4 the folder's name is too long.
;
; Made by scripts/package, which defines VERSION, TOOLS, OUT and for a signed installer SIGN.

Target amd64-unicode
SetCompressor /SOLID lzma
; The same files give the same installer.
SetDateSave off
Name "launcher"
OutFile "${OUT}"
XPStyle on
ManifestSupportedOS all
VIProductVersion "${VERSION}.0.0.0"
VIAddVersionKey "ProductName" "launcher"
VIAddVersionKey "FileDescription" "Installer of launcher.dll and its programs"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "LegalCopyright" ""

!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\launcher"
!define NATIVE_NAME "launcher.browser_host"
; Where the library looks for its helper program, in the 32-bit view; it takes up to 129 characters.
!define DIRECTORY_KEY "SOFTWARE\Vantor Web Plugins"
!define DIRECTORY_VARIABLE "KOVLAUNCH_INSTDIR"
!define DIRECTORY_LIMIT 129
!define HELPER "helperx64.exe"

!define MULTIUSER_EXECUTIONLEVEL Highest
!define MULTIUSER_MUI
!define MULTIUSER_INSTALLMODE_COMMANDLINE
!define MULTIUSER_INSTALLMODE_INSTDIR "launcher"
!define MULTIUSER_USE_PROGRAMFILES64
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_KEY "${UNINSTALL_KEY}"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_VALUENAME "InstallLocation"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_KEY "${UNINSTALL_KEY}"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_VALUENAME "InstallLocation"
!include MultiUser.nsh
!include MUI2.nsh
!include FileFunc.nsh
!include LogicLib.nsh
!include WinMessages.nsh

!insertmacro MUI_PAGE_WELCOME
!insertmacro MULTIUSER_PAGE_INSTALLMODE
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

!ifdef SIGN
  !uninstfinalize '${SIGN}'
!endif

Var origins      ; as they were given, and what is left of them
Var origin       ; one of them
Var originLines  ; for origins.txt
Var matches      ; for the extension's manifest
Var environment  ; key of the environment's variables

!define LF "$\n"

; Ends the installation with an exit code.
!macro Fail code text
  DetailPrint "${text}"
  MessageBox MB_OK|MB_ICONSTOP "${text}" /SD IDOK
  SetErrorLevel ${code}
  Quit
!macroend

; ---- Pages -----------------------------------------------------------------------------------------

; Whether $origin is an origin, character by character: what is not would make the browser host refuse
; every page. Left on the stack: 1 or 0.
Function IsOrigin
  StrCpy $0 $origin 8
  StrCpy $1 $origin 7
  ${If} $0 == "https://"
    StrCpy $2 $origin "" 8
  ${ElseIf} $1 == "http://"
    StrCpy $2 $origin "" 7
    StrCpy $3 $2 9
    ${If} $3 != "127.0.0.1"
    ${AndIf} $3 != "localhost"
      Push 0
      Return
    ${EndIf}
  ${Else}
    StrCpy $2 ""
  ${EndIf}
  ${If} $2 == ""
    Push 0
    Return
  ${EndIf}
  StrCpy $4 0
  ${Do}
    StrCpy $5 $2 1 $4
    ${If} $5 == ""
      ${ExitDo}
    ${EndIf}
    ; ==S tells capitals apart, == does not.
    StrCpy $6 0
    ${Do}
      StrCpy $7 "abcdefghijklmnopqrstuvwxyz0123456789.:-" 1 $6
      ${If} $7 == ""
        Push 0
        Return
      ${EndIf}
      IntOp $6 $6 + 1
    ${LoopUntil} $7 S== $5
    IntOp $4 $4 + 1
  ${Loop}
  Push 1
FunctionEnd

; Finds $origins, and in $R8 whether they were given. (GetOptions would end a value at its first slash.)
Function GetOrigins
  StrCpy $R8 no
  StrCpy $origins ""
  ${GetParameters} $R9
  ClearErrors
  StrCpy $R0 0
  ${Do}
    StrCpy $R1 $R9 9 $R0
    ${If} $R1 == ""
      Return
    ${EndIf}
    IntOp $R0 $R0 + 1
  ${LoopUntil} $R1 == "/ORIGINS="
  StrCpy $R8 yes
  IntOp $R0 $R0 + 8
  StrCpy $origins $R9 "" $R0
  StrCpy $R0 0
  ${Do}
    StrCpy $R1 $origins 1 $R0
    ${If} $R1 == " "
    ${OrIf} $R1 == ""
      ${ExitDo}
    ${EndIf}
    IntOp $R0 $R0 + 1
  ${Loop}
  StrCpy $origins $origins $R0
FunctionEnd

; Takes $origins apart into $originLines and $matches.
Function ReadOrigins
  StrCpy $originLines ""
  StrCpy $matches ""
  ${Do}
    ${If} $origins == ""
      ${ExitDo}
    ${EndIf}
    StrCpy $R0 0
    ${Do}
      StrCpy $R1 $origins 1 $R0
      ${If} $R1 == ","
      ${OrIf} $R1 == ""
        ${ExitDo}
      ${EndIf}
      IntOp $R0 $R0 + 1
    ${Loop}
    StrCpy $origin $origins $R0
    IntOp $R0 $R0 + 1
    StrCpy $origins $origins "" $R0
    Call IsOrigin
    Pop $0
    ${If} $0 == 0
      !insertmacro Fail 3 "$\"$origin$\" is not an origin such as https://games.example"
    ${EndIf}
    StrCpy $originLines "$originLines$origin${LF}"
    ${If} $matches != ""
      StrCpy $matches "$matches, "
    ${EndIf}
    StrCpy $matches '$matches"$origin/*"'
  ${Loop}
FunctionEnd

; Adds the pages of the list that there is to $matches. Behind an origin a permission may stand.
Function ReadOldOrigins
  StrCpy $matches ""
  FileOpen $0 "$INSTDIR\origins.txt" r
  ${Do}
    ClearErrors
    FileRead $0 $1
    ${If} ${Errors}
      ${ExitDo}
    ${EndIf}
    StrCpy $2 $1 4
    ${If} $2 != "http"
      ${Continue}
    ${EndIf}
    StrCpy $3 0
    ${Do}
      StrCpy $4 $1 1 $3
      ${If} $4 == ""
      ${OrIf} $4 == " "
      ${OrIf} $4 == "$\t"
      ${OrIf} $4 == "$\r"
      ${OrIf} $4 == "$\n"
        ${ExitDo}
      ${EndIf}
      IntOp $3 $3 + 1
    ${Loop}
    StrCpy $origin $1 $3
    ${If} $matches != ""
      StrCpy $matches "$matches, "
    ${EndIf}
    StrCpy $matches '$matches"$origin/*"'
  ${Loop}
  FileClose $0
  ClearErrors
FunctionEnd

Function WriteOrigins
  FileOpen $0 "$INSTDIR\origins.txt" w
  FileWrite $0 "# The pages that may use launcher.dll: one origin a line.${LF}${EXTENSION_ORIGIN}${LF}$originLines"
  FileClose $0
FunctionEnd

; The extension's manifest lists the same pages.
Function WriteExtension
  FileOpen $0 "$INSTDIR\extension\manifest.template" r
  FileOpen $1 "$INSTDIR\extension\manifest.json" w
  ${Do}
    ClearErrors
    FileRead $0 $2
    ${If} ${Errors}
      ${ExitDo}
    ${EndIf}
    ${If} $2 == '    "matches": []${LF}'
      StrCpy $2 '    "matches": [$matches]${LF}'
    ${EndIf}
    FileWrite $1 $2
  ${Loop}
  FileClose $0
  FileClose $1
  ClearErrors
FunctionEnd

; ---- Files -----------------------------------------------------------------------------------------

; Makes room for a file that may be in use: a loaded program can be renamed, not overwritten.
Function MakeRoom
  Exch $0
  Delete "$0"
  ${If} ${FileExists} "$0"
    StrCpy $1 0
    ${Do}
      IntOp $1 $1 + 1
      ClearErrors
      Delete "$0.$1.old"
    ${LoopWhile} ${FileExists} "$0.$1.old"
    Rename "$0" "$0.$1.old"
    Delete /REBOOTOK "$0.$1.old"
  ${EndIf}
  ClearErrors
  Pop $0
FunctionEnd

!macro InstallProgram name
  Push "$INSTDIR\${name}"
  Call MakeRoom
  File "${TOOLS}\${name}"
!macroend

; ---- The PATH --------------------------------------------------------------------------------------

; The PATH may be longer than a text of this installer, so it never becomes one: it is read, searched and
; written in memory of the system's. Its type is kept.
;
; In $0 the buffer, in $1 the type, in $2 the address of ";FOLDER;" in ";PATH;" or 0, in $3 the key.
!macro PathFunctions un
Function ${un}OpenPath
  System::Call '*(&w65536) p .r0'
  System::Call 'kernel32::lstrcpyW(p r0, w ";")'
  ${If} $MultiUser.InstallMode == "AllUsers"
    StrCpy $4 0x80000002
  ${Else}
    StrCpy $4 0x80000001
  ${EndIf}
  ; KEY_QUERY_VALUE | KEY_SET_VALUE | KEY_WOW64_64KEY
  System::Call 'advapi32::RegOpenKeyExW(p r4, w "$environment", i 0, i 0x103, *p .r3) i .r5'
  IntPtrOp $6 $0 + 2
  StrCpy $1 2
  System::Call 'advapi32::RegQueryValueExW(p r3, w "Path", p 0, *i .r1, p r6, *i 131000) i .r5'
  ${If} $5 != 0
  ${AndIf} $5 != 2
    ; Neither read nor missing: left as it is.
    StrCpy $0 0
    Return
  ${EndIf}
  ${If} $5 == 2
    ; REG_EXPAND_SZ, as Windows makes it.
    StrCpy $1 2
  ${EndIf}
  System::Call 'kernel32::lstrlenW(p r0) i .r5'
  ${If} $5 > 1
    System::Call 'kernel32::lstrcatW(p r0, w ";")'
  ${EndIf}
  System::Call 'shlwapi::StrStrIW(p r0, w ";$INSTDIR;") p .r2'
FunctionEnd

; Writes what lies between the semicolons at both ends; a PATH that has become empty is removed.
Function ${un}WritePath
  System::Call 'kernel32::lstrlenW(p r0) i .r5'
  ${If} $5 < 2
    System::Call 'advapi32::RegDeleteValueW(p r3, w "Path")'
  ${Else}
    ; Without the last semicolon, but with a zero.
    IntOp $6 $5 - 1
    IntOp $6 $6 * 2
    IntPtrOp $7 $0 + $6
    System::Call '*$7(&i2 0)'
    IntPtrOp $7 $0 + 2
    System::Call 'advapi32::RegSetValueExW(p r3, w "Path", i 0, i r1, p r7, i r6) i .r5'
  ${EndIf}
  SendMessage ${HWND_BROADCAST} ${WM_SETTINGCHANGE} 0 "STR:Environment" /TIMEOUT=1000
FunctionEnd

Function ${un}ClosePath
  System::Call 'advapi32::RegCloseKey(p r3)'
  System::Free $0
FunctionEnd

Function ${un}ChooseEnvironment
  ${If} $MultiUser.InstallMode == "AllUsers"
    StrCpy $environment "SYSTEM\CurrentControlSet\Control\Session Manager\Environment"
  ${Else}
    StrCpy $environment "Environment"
  ${EndIf}
FunctionEnd
!macroend
!insertmacro PathFunctions ""
!insertmacro PathFunctions "un."

Function AddToPath
  Call OpenPath
  ${If} $0 == 0
    DetailPrint "The PATH could not be read and stays as it is."
    Return
  ${EndIf}
  System::Call 'kernel32::lstrlenW(p r0) i .r5'
  ${If} $2 == 0
  ${AndIf} $5 < 32000
    System::Call 'kernel32::lstrcatW(p r0, w "$INSTDIR;")'
    Call WritePath
  ${EndIf}
  Call ClosePath
FunctionEnd

Function un.RemoveFromPath
  Call un.OpenPath
  ${If} $0 == 0
    Return
  ${EndIf}
  ${If} $2 != 0
    ; What follows the folder moves to where it began; the second buffer keeps them apart.
    StrLen $5 ";$INSTDIR"
    IntOp $5 $5 * 2
    IntPtrOp $6 $2 + $5
    System::Call '*(&w65536) p .r7'
    System::Call 'kernel32::lstrcpyW(p r7, p r6)'
    System::Call 'kernel32::lstrcpyW(p r2, p r7)'
    System::Free $7
    Call un.WritePath
  ${EndIf}
  Call un.ClosePath
FunctionEnd

; ---- The library's folder --------------------------------------------------------------------------

; A folder that holds a helper program already is left: another product put it there. Otherwise ours is
; written, and what was there before kept for the uninstaller.
Function WriteDirectory
  ${If} ${Errors}
    Return
  ${EndIf}
  SetRegView 32
  ReadRegStr $0 HKLM "${DIRECTORY_KEY}" ""
  ReadRegStr $1 HKCU "Environment" "${DIRECTORY_VARIABLE}"
  SetRegView 64
  ; Either may be missing.
  ClearErrors
  ${If} $0 != ""
  ${AndIf} $0 != $INSTDIR
  ${AndIf} ${FileExists} "$0\${HELPER}"
    DetailPrint "The library's helper program stays that of $0."
    Return
  ${EndIf}
  ${If} $MultiUser.InstallMode == "AllUsers"
    ${If} $0 != $INSTDIR
    ${AndIf} $0 != ""
      WriteRegStr HKLM "${UNINSTALL_KEY}" "PreviousDirectory" $0
    ${EndIf}
    SetRegView 32
    WriteRegStr HKLM "${DIRECTORY_KEY}" "" $INSTDIR
    SetRegView 64
  ${Else}
    ; The library reads the machine's registry alone, but before it this variable.
    ${If} $1 != $INSTDIR
    ${AndIf} $1 != ""
      WriteRegStr HKCU "${UNINSTALL_KEY}" "PreviousDirectory" $1
    ${EndIf}
    WriteRegExpandStr HKCU "Environment" "${DIRECTORY_VARIABLE}" $INSTDIR
  ${EndIf}
FunctionEnd

Function un.RemoveDirectory
  ReadRegStr $1 SHCTX "${UNINSTALL_KEY}" "PreviousDirectory"
  ${If} $MultiUser.InstallMode == "AllUsers"
    SetRegView 32
    ReadRegStr $0 HKLM "${DIRECTORY_KEY}" ""
    ${If} $0 == $INSTDIR
      ${If} $1 != ""
        WriteRegStr HKLM "${DIRECTORY_KEY}" "" $1
      ${Else}
        DeleteRegValue HKLM "${DIRECTORY_KEY}" ""
        DeleteRegKey /ifempty HKLM "${DIRECTORY_KEY}"
      ${EndIf}
    ${EndIf}
    SetRegView 64
  ${Else}
    ReadRegStr $0 HKCU "Environment" "${DIRECTORY_VARIABLE}"
    ${If} $0 == $INSTDIR
      ${If} $1 != ""
        WriteRegExpandStr HKCU "Environment" "${DIRECTORY_VARIABLE}" $1
      ${Else}
        DeleteRegValue HKCU "Environment" "${DIRECTORY_VARIABLE}"
      ${EndIf}
    ${EndIf}
  ${EndIf}
FunctionEnd

; ---- Installing ------------------------------------------------------------------------------------

Function .onInit
  SetRegView 64
  ; What /D= asked for goes before the default and the folder of an older version.
  StrCpy $R7 $INSTDIR
  !insertmacro MULTIUSER_INIT
  ${If} $R7 != ""
    StrCpy $INSTDIR $R7
  ${EndIf}
FunctionEnd

!macro Register browser manifest
  WriteRegStr SHCTX "Software\${browser}\NativeMessagingHosts\${NATIVE_NAME}" "" "$INSTDIR\${manifest}"
!macroend

Section
  SetRegView 64
  ClearErrors
  StrLen $0 $INSTDIR
  ${If} $0 > ${DIRECTORY_LIMIT}
    !insertmacro Fail 4 "The library finds its folder only if its name has at most ${DIRECTORY_LIMIT} characters: $INSTDIR"
  ${EndIf}
  Call GetOrigins
  Call ReadOrigins
  Call ChooseEnvironment

  SetOutPath "$INSTDIR"
  Delete "$INSTDIR\*.old"
  ClearErrors
  !insertmacro InstallProgram "launcher.dll"
  !insertmacro InstallProgram "launcher-console.exe"
  !insertmacro InstallProgram "browser_host.exe"
  File "${TOOLS}\THIRD_PARTY_NOTICES.md"
  File "${MANIFESTS}\${NATIVE_NAME}.json"
  File "${MANIFESTS}\${NATIVE_NAME}.firefox.json"
  SetOutPath "$INSTDIR\doc"
  File /r "${TOOLS}\doc\*.*"
  SetOutPath "$INSTDIR\extension"
  File /r /x manifest.json "${TOOLS}\extension\*.*"
  File "${MANIFESTS}\manifest.template"
  SetOutPath "$INSTDIR"
  ${If} $R8 == yes
  ${OrIfNot} ${FileExists} "$INSTDIR\origins.txt"
    Call WriteOrigins
  ${Else}
    Call ReadOldOrigins
  ${EndIf}
  Call WriteExtension
  Delete "$INSTDIR\extension\manifest.template"

  !insertmacro Register "Chromium" "${NATIVE_NAME}.json"
  !insertmacro Register "Google\Chrome" "${NATIVE_NAME}.json"
  !insertmacro Register "Microsoft\Edge" "${NATIVE_NAME}.json"
  !insertmacro Register "Mozilla" "${NATIVE_NAME}.firefox.json"
  Call WriteDirectory
  Call AddToPath

  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayName" "launcher"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode'
  WriteRegStr SHCTX "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode /S'
  WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD SHCTX "${UNINSTALL_KEY}" "NoRepair" 1
  ${If} ${Errors}
    !insertmacro Fail 2 "Not everything could be installed."
  ${EndIf}
SectionEnd

; ---- Uninstalling ----------------------------------------------------------------------------------

Function un.onInit
  SetRegView 64
  !insertmacro MULTIUSER_UNINIT
FunctionEnd

; Keys that a browser made stay: only empty ones are removed.
!macro Unregister browser
  DeleteRegKey SHCTX "Software\${browser}\NativeMessagingHosts\${NATIVE_NAME}"
  DeleteRegKey /ifempty SHCTX "Software\${browser}\NativeMessagingHosts"
  DeleteRegKey /ifempty SHCTX "Software\${browser}"
!macroend

Section "un.everything"
  SetRegView 64
  Call un.ChooseEnvironment
  !insertmacro Unregister "Chromium"
  !insertmacro Unregister "Google\Chrome"
  DeleteRegKey /ifempty SHCTX "Software\Google"
  !insertmacro Unregister "Microsoft\Edge"
  !insertmacro Unregister "Mozilla"
  Call un.RemoveDirectory
  Call un.RemoveFromPath
  DeleteRegKey SHCTX "${UNINSTALL_KEY}"

  SetOutPath "$TEMP"
  Delete "$INSTDIR\*.old"
  Delete /REBOOTOK "$INSTDIR\launcher.dll"
  Delete /REBOOTOK "$INSTDIR\launcher-console.exe"
  Delete /REBOOTOK "$INSTDIR\browser_host.exe"
  Delete "$INSTDIR\origins.txt"
  Delete "$INSTDIR\THIRD_PARTY_NOTICES.md"
  Delete "$INSTDIR\${NATIVE_NAME}.json"
  Delete "$INSTDIR\${NATIVE_NAME}.firefox.json"
  Delete "$INSTDIR\uninstall.exe"
  RMDir /r "$INSTDIR\doc"
  RMDir /r "$INSTDIR\extension"
  ; Never with what it holds: a helper program may have been put there.
  RMDir "$INSTDIR"
SectionEnd
