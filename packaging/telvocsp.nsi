; The installer: it puts the provider into the system folder and the registry, and telvotool and the documentation into the
; program folder.
; packaging/package.sh calls it: makensis -DVERSION=4.5 -DNUMBERS=4.5.0.0 -DBUILD=folder-with-the-files -DDOCS=folder
; -DOUTPUT=setup.exe telvocsp.nsi
;
; Silent: telvocsp-setup.exe /S (/ADAPTER also installs the adapter) and uninstall.exe /S. Exit codes: 0 done, 1 cancelled,
; 2 failed.
Unicode true
Target amd64-unicode  ; a 64-bit installer: a 32-bit one does nothing on a system without 32-bit Windows
SetCompressor /SOLID lzma
SetDateSave off  ; the files would have the time of the build
!include "MUI2.nsh"
!include "x64.nsh"
!include "FileFunc.nsh"
!include "Sections.nsh"

!define NAME "Brenholt Devices CSP v4.5"
!define PROVIDER_KEY "SOFTWARE\Microsoft\Cryptography\Defaults\Provider\${NAME}"
!define COMPANY_KEY "SOFTWARE\Brenholt Devices Ltd."
!define UNINSTALL_KEY "SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\telvocsp"

Name "${NAME}"
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES64\Brenholt Devices\TELVO CSP"
RequestExecutionLevel admin
VIProductVersion "${NUMBERS}"
VIAddVersionKey "ProductName" "${NAME}"
VIAddVersionKey "CompanyName" "Brenholt Devices Ltd."
VIAddVersionKey "FileDescription" "Installer of the ${NAME}"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "LegalCopyright" ""

!insertmacro MUI_PAGE_WELCOME
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

!macro Prepare
  SetRegView 64
  SetShellVarContext all
  ${IfNot} ${RunningX64}
    MessageBox MB_OK|MB_ICONSTOP "The ${NAME} is for 64-bit Windows." /SD IDOK
    SetErrorLevel 2
    Quit
  ${EndIf}
!macroend

; A library in the system folder that a program has loaded cannot be replaced or deleted, but it can be renamed. The old
; one is deleted at the next start of Windows. The name of the library is on the stack.
!macro GiveWay un
Function ${un}GiveWay
  Pop $1
  ClearErrors
  Delete "$SYSDIR\$1"
  ${If} ${Errors}
    GetTempFileName $0 "$SYSDIR"
    Delete "$0"
    Rename "$SYSDIR\$1" "$0"
    Delete /REBOOTOK "$0"
  ${EndIf}
FunctionEnd
!macroend
!insertmacro GiveWay ""
!insertmacro GiveWay "un."

; Pushes what telvopkcs11.dll in the system folder is, by its version resource: "none", "adapter" or "other".
!macro KindOfModule un
Function ${un}KindOfModule
  StrCpy $0 "none"
  ${DisableX64FSRedirection}
  ${If} ${FileExists} "$SYSDIR\telvopkcs11.dll"
    StrCpy $0 "other"
    System::Call 'version::GetFileVersionInfoSizeW(w "$SYSDIR\telvopkcs11.dll", p 0) i .r1'
    ${If} $1 > 0
      System::Alloc $1
      Pop $2
      System::Call 'version::GetFileVersionInfoW(w "$SYSDIR\telvopkcs11.dll", i 0, i r1, p r2) i .r3'
      System::Call 'version::VerQueryValueW(p r2, w "\StringFileInfo\040904B0\FileDescription", *p .r4, *i .r5) i .r3'
      ${If} $3 != 0
        System::Call 'kernel32::lstrcpynW(w .r5, p r4, i 100)'
        ${If} $5 == "telvopkcs11 adapter"
          StrCpy $0 "adapter"
        ${EndIf}
      ${EndIf}
      System::Free $2
    ${EndIf}
  ${EndIf}
  ${EnableX64FSRedirection}
  Push $0
FunctionEnd
!macroend
!insertmacro KindOfModule ""
!insertmacro KindOfModule "un."

Section "The provider" ProviderSection
  SectionIn RO
  Call SpareOtherModule
  ${DisableX64FSRedirection}
  Push "telvocsp.dll"
  Call GiveWay
  ClearErrors
  SetOutPath "$SYSDIR"
  File "${BUILD}\telvocsp.dll"
  ${EnableX64FSRedirection}
  SetOutPath "$INSTDIR"
  File "${BUILD}\telvotool.exe"
  File "/oname=administration.txt" "${DOCS}\administration.md"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  ${If} ${Errors}
    MessageBox MB_OK|MB_ICONSTOP "The files cannot be written. Close the programs that use the provider, and try again." /SD IDOK
    SetErrorLevel 2
    Abort
  ${EndIf}

  WriteRegDWORD HKLM "${PROVIDER_KEY}" "Type" 1
  WriteRegStr HKLM "${PROVIDER_KEY}" "Image Path" "telvocsp.dll"
  WriteRegDWORD HKLM "${PROVIDER_KEY}" "SigInFile" 0

  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayName" "${NAME}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "Publisher" "Brenholt Devices Ltd."
  WriteRegStr HKLM "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoRepair" 1

  ; The settings. The provider reads the first of the product's keys that exists. A new key would hide an older one, and
  ; an existing key does not belong to this installation.
  StrCpy $1 0
  StrCpy $2 ""
  ${Do}
    EnumRegKey $0 HKLM "${COMPANY_KEY}" $1
    ${If} $0 == "TELVO SDK"
    ${OrIf} $0 == "TELVO-Quillkey Client Kit"
    ${OrIf} $0 == "BHD Quillkey Cryptographic USB Token Client Kit"
      StrCpy $2 $0
    ${EndIf}
    IntOp $1 $1 + 1
  ${LoopUntil} $0 == ""
  ${If} $2 == ""
    WriteRegStr HKLM "${COMPANY_KEY}\TELVO SDK" "CSPLOG" "0"
    WriteRegStr HKLM "${COMPANY_KEY}\TELVO SDK" "PINCACHE" "1"
    WriteRegDWORD HKLM "${UNINSTALL_KEY}" "OwnsSettings" 1
  ${EndIf}
SectionEnd

Section /o "The adapter: any PKCS #11 module behind the provider" AdapterSection
  ${DisableX64FSRedirection}
  Push "telvopkcs11.dll"
  Call GiveWay
  ClearErrors
  SetOutPath "$SYSDIR"
  File "${BUILD}\adapter\telvopkcs11.dll"
  ${EnableX64FSRedirection}
  ${If} ${Errors}
    MessageBox MB_OK|MB_ICONSTOP "The adapter cannot be written. Close the programs that use the provider, and try again." /SD IDOK
    SetErrorLevel 2
    Abort
  ${EndIf}
SectionEnd

; Called before anything is changed, so that the module of a card's maker is not replaced.
Function SpareOtherModule
  ${IfNot} ${SectionIsSelected} ${AdapterSection}
    Return
  ${EndIf}
  Call KindOfModule
  Pop $0
  ${If} $0 == "other"
    MessageBox MB_OK|MB_ICONSTOP "The system folder has a telvopkcs11.dll of another maker, which is not replaced. Remove the \
        software of that card first, or install without the adapter." /SD IDOK
    SetErrorLevel 2
    Abort
  ${EndIf}
FunctionEnd

; /ADAPTER selects the adapter, and so does an older one that is installed.
Function .onInit
  !insertmacro Prepare
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/ADAPTER" $1
  ${IfNot} ${Errors}
    !insertmacro SelectSection ${AdapterSection}
  ${EndIf}
  Call KindOfModule
  Pop $0
  ${If} $0 == "adapter"
    !insertmacro SelectSection ${AdapterSection}
  ${EndIf}
FunctionEnd

Function un.onInit
  !insertmacro Prepare
FunctionEnd

Section "Uninstall"
  ReadRegDWORD $1 HKLM "${UNINSTALL_KEY}" "OwnsSettings"
  ${If} $1 == 1
    DeleteRegKey HKLM "${COMPANY_KEY}\TELVO SDK"
    DeleteRegKey /ifempty HKLM "${COMPANY_KEY}"
  ${EndIf}
  DeleteRegKey HKLM "${PROVIDER_KEY}"
  DeleteRegKey HKLM "${UNINSTALL_KEY}"

  Call un.KindOfModule
  Pop $0
  ${If} $0 == "adapter"
    ${DisableX64FSRedirection}
    Push "telvopkcs11.dll"
    Call un.GiveWay
    ${EnableX64FSRedirection}
    DeleteRegValue HKLM "${COMPANY_KEY}\TELVO SDK" "AdapterSettings"
    DeleteRegValue HKLM "${COMPANY_KEY}\TELVO-Quillkey Client Kit" "AdapterSettings"
    DeleteRegValue HKLM "${COMPANY_KEY}\BHD Quillkey Cryptographic USB Token Client Kit" "AdapterSettings"
    Delete "$APPDATA\Brenholt Devices\TELVO CSP\telvopkcs11-adapter.conf"  ; of all users
    RMDir "$APPDATA\Brenholt Devices\TELVO CSP"
    RMDir "$APPDATA\Brenholt Devices"  ; only when it is empty
  ${EndIf}

  ${DisableX64FSRedirection}
  Push "telvocsp.dll"
  Call un.GiveWay
  ${EnableX64FSRedirection}
  Delete "$INSTDIR\telvotool.exe"
  Delete "$INSTDIR\administration.txt"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  RMDir "$PROGRAMFILES64\Brenholt Devices"  ; only when it is empty
SectionEnd
