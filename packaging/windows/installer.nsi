; The installer.  scripts/build-windows calls makensis with
;   -DVERSION=1.2.3
;   -DSTAGE=the folder with the files to install
;   -DOUTPUT=the installer
;   -DINSTALL_LIST=, -DREMOVE_LIST=: scripts with a File, or Delete, line for each of those files
; /S installs silently. /D=C:\somewhere (the last argument, unquoted) installs to another folder.
; Exit codes: 0 success, 1 cancelled by the user, 2 failure.

Target amd64-unicode
Unicode true
SetCompressor /SOLID lzma
RequestExecutionLevel admin
ManifestSupportedOS all

!define NAME "Velmo KVX2 DFU"
!define PROGRAM "Velmo_KVX2_DFU.exe"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\VelmoKVX2DFU"
; Lets launching applications start the program by its name.
!define APP_PATH_KEY "Software\Microsoft\Windows\CurrentVersion\App Paths\${PROGRAM}"

Name "${NAME} ${VERSION}"
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES64\${NAME}"
InstallDirRegKey HKLM "${UNINSTALL_KEY}" "InstallLocation"
ShowInstDetails show
ShowUninstDetails show

VIProductVersion "${VERSION}.0"
VIAddVersionKey /LANG=1033 "CompanyName" "Velmo"
VIAddVersionKey /LANG=1033 "FileDescription" "${NAME} installer"
VIAddVersionKey /LANG=1033 "FileVersion" "${VERSION}"
VIAddVersionKey /LANG=1033 "ProductName" "${NAME}"
VIAddVersionKey /LANG=1033 "ProductVersion" "${VERSION}"
VIAddVersionKey /LANG=1033 "LegalCopyright" "Velmo"

!include LogicLib.nsh
!include x64.nsh

Page directory
Page instfiles
UninstPage uninstConfirm
UninstPage instfiles
LoadLanguageFile "${NSISDIR}\Contrib\Language files\English.nlf"

; Stops while an upgrade is running, before anything is changed. The file of a running program
; cannot be opened for writing.
!macro StopWhileRunning PREFIX
Function ${PREFIX}StopWhileRunning
    ${If} ${FileExists} "$INSTDIR\${PROGRAM}"
        ClearErrors
        FileOpen $0 "$INSTDIR\${PROGRAM}" a
        ${If} ${Errors}
            MessageBox MB_OK|MB_ICONEXCLAMATION "An updater is running from $INSTDIR. Leave the microphone plugged in, wait until the upgrade is done, and try again." /SD IDOK
            SetErrorLevel 2
            Abort
        ${EndIf}
        FileClose $0
    ${EndIf}
FunctionEnd
!macroend
!insertmacro StopWhileRunning ""
!insertmacro StopWhileRunning "un."

Function .onInit
    SetRegView 64
    SetShellVarContext all
    ${IfNot} ${RunningX64}
        MessageBox MB_OK|MB_ICONSTOP "${NAME} needs 64-bit Windows." /SD IDOK
        SetErrorLevel 2
        Abort
    ${EndIf}
FunctionEnd

Section
    Call StopWhileRunning
    ; Remove the earlier version, which may have files that this one does not have.
    ReadRegStr $1 HKLM "${UNINSTALL_KEY}" "InstallLocation"
    ${If} $1 != ""
    ${AndIf} ${FileExists} "$1\uninstall.exe"
        ExecWait '"$1\uninstall.exe" /S _?=$1' $2
        ${If} $2 != 0
            SetErrorLevel 2
            Abort "The installed version cannot be removed."
        ${EndIf}
        ; The uninstaller could not remove itself.
        Delete "$1\uninstall.exe"
        RMDir "$1"
    ${EndIf}

    ClearErrors
    !include "${INSTALL_LIST}"
    SetOutPath "$INSTDIR"
    WriteUninstaller "$INSTDIR\uninstall.exe"
    ${If} ${Errors}
        SetErrorLevel 2
        Abort "Not all files could be written to $INSTDIR."
    ${EndIf}

    WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayName" "${NAME}"
    WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
    WriteRegStr HKLM "${UNINSTALL_KEY}" "Publisher" "Velmo"
    WriteRegStr HKLM "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
    WriteRegStr HKLM "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
    WriteRegStr HKLM "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
    WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoModify" 1
    WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoRepair" 1
    WriteRegStr HKLM "${APP_PATH_KEY}" "" "$INSTDIR\${PROGRAM}"
SectionEnd

Function un.onInit
    SetRegView 64
    SetShellVarContext all
FunctionEnd

Section "Uninstall"
    Call un.StopWhileRunning
    ; Only our files are removed. If the folder has other files, it stays.
    !include "${REMOVE_LIST}"
    Delete "$INSTDIR\uninstall.exe"
    RMDir "$INSTDIR"
    DeleteRegKey HKLM "${UNINSTALL_KEY}"
    DeleteRegKey HKLM "${APP_PATH_KEY}"
SectionEnd
