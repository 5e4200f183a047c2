' Run by check_windows.sh with cscript in a Wine prefix where the unpacked zip's register.cmd
' ran: creates the interpreter and a data-field collection by ProgID and checks one script's
' answer. With the argument "unregistered" (after unregister.cmd) it checks instead that
' neither ProgID can be created any more. The last line is "done" when every check passed
' (cscript's exit status says nothing of a script stopped by an error).
Option Explicit

Class HostError
  Public Calls
  Public Function ReportError(lngCode, strText, dtmWhen, intA, intB, vntOmitted, _
                              strSystem, strApplication, strRelease, strModule, strProcedure)
    WScript.Echo "ReportError: " & strProcedure & ": " & strText
    Calls = Calls + 1
    ReportError = 0
  End Function
End Class

Sub Fail(text)
  WScript.Echo "FAILED: " & text
  WScript.Quit 1
End Sub

Sub CheckGone(progId)
  Dim obj
  On Error Resume Next
  Set obj = CreateObject(progId)
  If Err.Number = 0 Then
    On Error GoTo 0
    Fail progId & " can still be created"
  End If
  On Error GoTo 0
  WScript.Echo progId & ": not registered"
End Sub

If WScript.Arguments.Count > 0 Then
  If WScript.Arguments(0) <> "unregistered" Then Fail "unknown argument " & WScript.Arguments(0)
  CheckGone "QorvIntr.Interpreter"
  CheckGone "QorvDFld.DataFields"
  WScript.Echo "done"
  WScript.Quit 0
End If

Dim interp, fields, errors, result
Set interp = CreateObject("QorvIntr.Interpreter")
Set fields = CreateObject("QorvDFld.DataFields")
fields.Add "Amount", 1250.5, "Double"
Set errors = New HostError
errors.Calls = 0
If Not interp.Init(fields, errors, "Upload", "PackageCheck") Then Fail "Init answered False"
Set result = interp.RealizeRegularExpression("Format Amount, ""#,##0.00""")
WScript.Echo result.Name & " " & result.DataType & " " & result.Data
If result.Data <> "1,250.50" Then Fail "the script answered " & result.Data
If errors.Calls <> 0 Then Fail errors.Calls & " ReportError calls"
WScript.Echo "done"
