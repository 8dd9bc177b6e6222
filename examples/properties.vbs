' Advanced properties of Quorvane adapters through WMI scripting, in VBScript:
'
'   cscript //nologo properties.vbs list
'   cscript //nologo properties.vbs get ADAPTER PROPERTY
'   cscript //nologo properties.vbs set ADAPTER PROPERTY NUMBER [PROPERTY NUMBER ...]
'
' ADAPTER is the number of an adapter, as "list" shows it, or the name of its connection, such as "Ethernet 2".
' Run it in an elevated prompt. Only where all went well, the exit status is 0 and the last line "done".
Option Explicit

Const ClassName = "QvrnEN_NetworkAdapterConfiguration"
Const NotFound = &H80041002
Const AccessDenied = &H80041003
Const InvalidClass = &H80041010
Const LoadFailure = &H80041013

Sub Fail(message)
  WScript.Echo "failed: " & message
  WScript.Quit 1
End Sub

' What an error means, for people.
Function Reason(number)
  Select Case number
    Case NotFound: Reason = "not found: no such adapter is served, this prompt is not elevated, or the classes are missing"
    Case AccessDenied: Reason = "access denied: it takes an administrator, in an elevated prompt"
    Case InvalidClass: Reason = "the provider's classes are not registered"
    Case LoadFailure: Reason = "the provider could not be loaded"
    Case Else: Reason = "an error of WMI"
  End Select
  Reason = Reason & " (" & Hex(number) & ")"
End Function

Dim services
On Error Resume Next
Set services = CreateObject("WbemScripting.SWbemLocator").ConnectServer(".", "root\cimv2")
If Err.Number <> 0 Then Fail "WMI: " & Reason(Err.Number)
On Error GoTo 0

' The query itself does not fail yet: an error comes with the first look at its result. "Not found" is how the provider
' tells that it serves no adapter. Some scripting libraries report no error there but an empty list, whatever the reason:
' so nothing counts as empty unless a get, whose errors always arrive, ends with "not found", too.
Function CountOf(found)
  Dim nothingThere
  On Error Resume Next
  CountOf = found.Count
  If Err.Number = 0 And CountOf = 0 Then Set nothingThere = services.Get(ClassName & ".SettingID=""0""")
  If Err.Number = NotFound Then
    CountOf = 0
  ElseIf Err.Number <> 0 Then
    Fail "listing the adapters: " & Reason(Err.Number)
  End If
End Function

Sub ListAdapters
  Dim found, i
  Set found = services.ExecQuery("SELECT * FROM " & ClassName)
  For i = 0 To CountOf(found) - 1
    WScript.Echo "adapter " & found.ItemIndex(i).SettingID & ": MaxFrameSize " & found.ItemIndex(i).MaxFrameSize
  Next
End Sub

' The number of the adapter with this connection; a number is its own.
Function NumberOf(name)
  Dim all, i
  NumberOf = name
  If IsNumeric(name) Then Exit Function
  Set all = services.ExecQuery("SELECT * FROM Win32_NetworkAdapter")
  For i = 0 To all.Count - 1
    If StrComp("" & all.ItemIndex(i).NetConnectionID, name, vbTextCompare) = 0 Then
      NumberOf = all.ItemIndex(i).DeviceID
      Exit Function
    End If
  Next
  Fail "no adapter has the connection """ & name & """"
End Function

Function Adapter(id)
  On Error Resume Next
  Set Adapter = services.Get(ClassName & ".SettingID=""" & id & """")
  If Err.Number <> 0 Then Fail "adapter " & id & ": " & Reason(Err.Number)
End Function

' Null where the adapter's driver does not have the property.
Function ValueOf(id, name)
  Dim instance
  Set instance = Adapter(id)
  On Error Resume Next
  ValueOf = instance.Properties_.Item(name).Value
  If Err.Number <> 0 Then Fail name & " is no property"
End Function

Sub Show(id, name)
  Dim value
  value = ValueOf(id, name)
  If IsNull(value) Then Fail "this adapter's driver has no " & name
  WScript.Echo name & " " & value
End Sub

' Writes all values in one put, for which the adapter restarts once. A put that was applied ends with "not found", and a
' value that the driver does not take is ignored: what is read back afterwards tells.
Sub Change(id, words)
  Dim instance, problem, i
  Set instance = Adapter(id)
  For i = 2 To words.Count - 1 Step 2
    If IsNull(ValueOf(id, words.Item(i))) Then Fail "this adapter's driver has no " & words.Item(i)
    If Not IsNumeric(words.Item(i + 1)) Then Fail words.Item(i) & " takes a number, not " & words.Item(i + 1)
  Next
  On Error Resume Next
  For i = 2 To words.Count - 1 Step 2
    instance.Properties_.Item(words.Item(i)).Value = CLng(words.Item(i + 1))
  Next
  If Err.Number = 0 Then instance.Put_
  problem = Hex(Err.Number)
  On Error GoTo 0
  For i = 2 To words.Count - 1 Step 2
    If ValueOf(id, words.Item(i)) <> CLng(words.Item(i + 1)) Then
      Fail words.Item(i) & " is still " & ValueOf(id, words.Item(i)) & " (status " & problem & ")"
    End If
    Show id, words.Item(i)
  Next
End Sub

Const Usage = "usage: list | get ADAPTER PROPERTY | set ADAPTER PROPERTY NUMBER [PROPERTY NUMBER ...]"
Dim words
Set words = WScript.Arguments
If words.Count = 0 Then Fail Usage
If words.Item(0) = "list" And words.Count = 1 Then
  ListAdapters
ElseIf words.Item(0) = "get" And words.Count = 3 Then
  Show NumberOf(words.Item(1)), words.Item(2)
ElseIf words.Item(0) = "set" And words.Count >= 4 And words.Count Mod 2 = 0 Then
  Change NumberOf(words.Item(1)), words
Else
  Fail Usage
End If
WScript.Echo "done"
