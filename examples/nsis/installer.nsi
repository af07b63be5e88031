; An NSIS installer that uses install_cpputil in its own process: System::Call calls the DLL's C
; functions, handing the script's UTF-16 text to their _u16 forms unconverted. It also runs the
; command-line tool once, as a process of its own, with ExecWait.
;
; Build it with makensis 3 (Windows, or Debian's nsis) from the Windows SDK's bin folder, which
; holds install_cpputil.dll, the DLLs it needs and install-cpputil.exe:
;   makensis -INPUTCHARSET UTF8 -DBIN=C:\sdk\bin -DOUTFILE=example-installer.exe installer.nsi
; and run it, silently with /S, with the answers it carries or those of another file:
;   example-installer.exe /S [/SETTINGS=C:\answers.txt] [/D=C:\Product]
; Exit status 0, or 2 when the setup stopped: the log in the install folder says why.

Unicode true
Target amd64-unicode ; the DLL is 64-bit, and so must be the process that loads it
!include FileFunc.nsh
!include LogicLib.nsh

!define PRODUCT "Prödukt 製品"
!define VERSION 1.10.0
!define DLL "$PLUGINSDIR\install_cpputil.dll"

Name "${PRODUCT}"
OutFile "${OUTFILE}"
InstallDir "$LOCALAPPDATA\Produkt"
RequestExecutionLevel user
Page directory
Page instfiles

; Held for the whole section: $R8 the log's scope, $R9 the parsed answers.

; Stops the setup: message $2 into the log, the log ended, exit status 2.
Function Stop
  System::Call '${DLL}::install_cpputil_append_message_u16(w r2)'
  System::Call '${DLL}::install_cpputil_map_free(p R9)'
  System::Call '${DLL}::install_cpputil_logger_destroy(p R8)'
  SetErrorLevel 2
  Abort
FunctionEnd

; After a call that left its status in $0: on failure, stops with "$1: " and the library's text.
; A string comparison, as System::Call leaves "error" when it cannot call at all.
Function CheckStatus
  ${If} $0 != 0
    System::Call '${DLL}::install_cpputil_last_error_u16() w .r2'
    StrCpy $2 "$1: $2"
    Call Stop
  ${EndIf}
FunctionEnd

; $4: the single text of setting $2 in the answers ("" when they have none), kept to rule $3.
Function Setting
  StrCpy $4 ""
  System::Call '${DLL}::install_cpputil_map_find_u16(p R9, w r2, *p .r5) i .r0'
  ${If} $0 = 0
    System::Call '${DLL}::install_cpputil_map_value_u16(p R9, p r5, p 0, w .r4, p ${NSIS_MAX_STRLEN}, p 0)'
  ${EndIf}
  System::Call '${DLL}::install_cpputil_validate_arg_u16(w r2, w r4, w r3) i .r0'
  StrCpy $1 "Setup stopped"
  Call CheckStatus
FunctionEnd
!macro Setting KEY RULE VAR
  StrCpy $2 "${KEY}"
  StrCpy $3 "${RULE}"
  Call Setting
  StrCpy ${VAR} $4
!macroend

; Appends one record to the installation log.
!macro Log TEXT
  StrCpy $2 "${TEXT}"
  System::Call '${DLL}::install_cpputil_append_message_u16(w r2)'
!macroend
!define Log "!insertmacro Log"

Section
  ; The library with the DLLs it needs, and the tool, for this run only. An NSIS installer loads
  ; DLLs from the system's folder and from those that AddDllDirectory adds, no others.
  InitPluginsDir
  SetOutPath $PLUGINSDIR
  File "${BIN}\*.dll"
  File "${BIN}\install-cpputil.exe"
  File settings.txt
  System::Call 'kernel32::AddDllDirectory(w "$PLUGINSDIR") p'

  ; The installation log, in the install folder, until the setup ends.
  StrCpy $1 "No installation log"
  System::Call '${DLL}::install_cpputil_logger_create_u16(w "$INSTDIR\Logs\install.log", *p .R8) i .r0'
  Call CheckStatus
  ${Log} "Setup of ${PRODUCT} ${VERSION} begun in $INSTDIR."

  ; The answers it carries, or those of /SETTINGS=FILE, each kept to its rule.
  ${GetParameters} $3
  ClearErrors
  ${GetOptions} $3 "/SETTINGS=" $2
  ${If} ${Errors}
    StrCpy $2 "$PLUGINSDIR\settings.txt"
  ${EndIf}
  StrCpy $1 "No answers"
  System::Call '${DLL}::install_cpputil_parse_u16(w r2, *p .R9) i .r0'
  Call CheckStatus
  !insertmacro Setting mode "strval:typical,custom" $6
  !insertmacro Setting port intval $7
  System::Call '${DLL}::install_cpputil_map_free(p R9)'
  StrCpy $R9 0
  ${Log} "Settings: mode $6, port $7."

  ; An upgrade only over an older version, by number: 1.10.0 is newer than 1.9.2.
  ReadINIStr $3 "$INSTDIR\product.ini" Product Version
  ${If} $3 == ""
    ${Log} "Installing ${VERSION}."
  ${Else}
    StrCpy $1 "Installed version unknown"
    System::Call '${DLL}::install_cpputil_compare_versions_u16(w r3, w "${VERSION}", *i .r4) i .r0'
    Call CheckStatus
    ${If} $4 >= 0
      ${Log} "Version $3 is installed already."
      Goto finish
    ${EndIf}
    ${Log} "Upgrading $3 to ${VERSION}."
  ${EndIf}
  SetOutPath $INSTDIR
  File components.txt
  WriteINIStr "$INSTDIR\product.ini" Product Version ${VERSION}

  ; The manifest into the log, one record between two lines that name it.
  StrCpy $1 "Manifest not logged"
  System::Call '${DLL}::install_cpputil_append_file_u16(w "$INSTDIR\components.txt") i .r0'
  Call CheckStatus
  System::Call '${DLL}::install_cpputil_locale_u16(w .r3, p ${NSIS_MAX_STRLEN}, p 0)'
  ${Log} "Installer locale: $3."

  ; The tool appends to the same log from a process of its own. It reads its command line in the
  ; ANSI code page, so the log is named relative to $OUTDIR, where it runs.
  ExecWait '"$PLUGINSDIR\install-cpputil.exe" log --to Logs\install.log "Logged by install-cpputil.exe."' $3
  ${If} $3 != 0
    StrCpy $2 "install-cpputil.exe ended with status $3."
    Call Stop
  ${EndIf}

  finish:
  ${Log} "Setup of ${PRODUCT} ${VERSION} finished."
  System::Call '${DLL}::install_cpputil_logger_destroy(p R8)'
SectionEnd
