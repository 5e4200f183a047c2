' A VBScript host of QorvIntr.Interpreter, run by the platform's script host:
'   cscript //nologo compare_host.vbs FIELDS SCRIPTS OUTPUT
' It builds a QorvDFld.DataFields collection from FIELDS (NAME=VALUE or NAME:TYPE=VALUE, the
' value converted as the platform converts text), gives the interpreter the collection and an
' error object written here, calls Init, runs every line of SCRIPTS through
' RealizeRegularExpression with one interpreter, and writes to OUTPUT:
'   V <Release> <Major> <Minor> <Revision>
'   R <Name> TAB <DataType> TAB <Data>     (or: R Nothing)        one per script
'   E ReportError: <the eleven arguments joined by " | ">          one per ReportError call
' The date argument is written as its type name (Date); an argument of the wrong kind writes a
' line "E BADKINDS", a failing step a line "E SCRIPTERROR". The files are UTF-16 (the script
' host's Unicode text files); FIELDS and SCRIPTS use the escapes of the qorvintr command's files
' (\t \r \n \\, any other backslash stands for itself), and texts written to OUTPUT are
' escaped the same way, as the command writes its result lines.

Option Explicit

Function Esc(text)
  Esc = Replace(Replace(Replace(Replace(text, "\", "\\"), vbTab, "\t"), vbCr, "\r"), vbLf, "\n")
End Function

Function Unescape(text)
  Dim i, c, n, out
  out = ""
  i = 1
  Do While i <= Len(text)
    c = Mid(text, i, 1)
    If c = "\" And i < Len(text) Then
      n = Mid(text, i + 1, 1)
      If n = "t" Then
        out = out & vbTab
        i = i + 2
      ElseIf n = "r" Then
        out = out & vbCr
        i = i + 2
      ElseIf n = "n" Then
        out = out & vbLf
        i = i + 2
      ElseIf n = "\" Then
        out = out & "\"
        i = i + 2
      Else
        out = out & c
        i = i + 1
      End If
    Else
      out = out & c
      i = i + 1
    End If
  Loop
  Unescape = out
End Function

Function Text(value)
  If IsNull(value) Then
    Text = "Null"
  ElseIf IsEmpty(value) Then
    Text = ""
  Else
    Text = CStr(value)
  End If
End Function

Class HostError
  Public Function ReportError(lngCode, strText, dtmWhen, intA, intB, vntOmitted, strSystem, _
                              strApplication, strRelease, strModule, strProcedure)
    Dim kinds
    kinds = VarType(lngCode) & " " & VarType(strText) & " " & VarType(dtmWhen) & " " & _
            VarType(intA) & " " & VarType(intB) & " " & VarType(vntOmitted) & " " & _
            VarType(strSystem) & " " & VarType(strApplication) & " " & VarType(strRelease) & _
            " " & VarType(strModule) & " " & VarType(strProcedure)
    If kinds <> "3 8 7 2 2 10 8 8 8 8 8" Then Emit "E BADKINDS " & kinds
    Emit "E ReportError: " & Esc(Text(lngCode)) & " | " & Esc(Text(strText)) & " | " & _
                 TypeName(dtmWhen) & " | " & Esc(Text(intA)) & " | " & Esc(Text(intB)) & " | " & _
                 " | " & Esc(Text(strSystem)) & " | " & Esc(Text(strApplication)) & " | " & _
                 Esc(Text(strRelease)) & " | " & Esc(Text(strModule)) & " | " & _
                 Esc(Text(strProcedure))
    ReportError = 0
  End Function
End Class

Function ReadLines(path)
  Dim fso, stream, all
  Set fso = CreateObject("Scripting.FileSystemObject")
  Set stream = fso.OpenTextFile(path, 1, False, -1)
  If stream.AtEndOfStream Then
    all = ""
  Else
    all = stream.ReadAll
  End If
  stream.Close
  all = Replace(all, vbCrLf, vbLf)
  If Len(all) > 0 And Right(all, 1) = vbLf Then all = Left(all, Len(all) - 1)
  If Len(all) = 0 Then
    ReadLines = Array()
  Else
    ReadLines = Split(all, vbLf)
  End If
End Function

Sub AddField(fields, line)
  Dim eq, head, value, colon, name, kind, data
  eq = InStr(line, "=")
  head = Left(line, eq - 1)
  value = Unescape(Mid(line, eq + 1))
  colon = InStrRev(head, ":")
  If colon > 0 Then
    name = Trim(Left(head, colon - 1))
    kind = Trim(Mid(head, colon + 1))
  Else
    name = Trim(head)
    kind = "String"
  End If
  Select Case LCase(kind)
    Case "long": data = CLng(value): kind = "Long"
    Case "integer": data = CInt(value): kind = "Integer"
    Case "boolean": data = CBool(value): kind = "Boolean"
    Case "single": data = CSng(value): kind = "Single"
    Case "double": data = CDbl(value): kind = "Double"
    Case "date": data = CDate(value): kind = "Date"
    Case "variant": data = value: kind = "Variant"
    Case Else: data = value: kind = "String"
  End Select
  fields.Add Unescape(name), data, kind, "Host"
End Sub

Dim output
Sub Emit(line)
  output.WriteLine line
End Sub

Sub Check(what)
  If Err.Number <> 0 Then Emit "E SCRIPTERROR " & what & ": " & Err.Number & " " & Err.Description
  Err.Clear
End Sub

Dim fso, interp, fields, errs, lines, line, i, script, result, system, application
Set fso = CreateObject("Scripting.FileSystemObject")
Set output = fso.CreateTextFile(WScript.Arguments(2), True, True)

On Error Resume Next
Set interp = CreateObject("QorvIntr.Interpreter")
Check "CreateObject QorvIntr.Interpreter"
Emit "V " & interp.Release & " " & interp.Major & " " & interp.Minor & " " & interp.Revision
Check "version properties"

Set fields = CreateObject("QorvDFld.DataFields")
Check "CreateObject QorvDFld.DataFields"
lines = ReadLines(WScript.Arguments(0))
Check "reading the fields"
For i = 0 To UBound(lines)
  line = lines(i)
  If Len(Trim(line)) > 0 And Left(line, 1) <> "#" Then AddField fields, line
  Check "field " & line
Next

Set errs = New HostError
system = "ComTest"
application = "VBScript"
If Not interp.Init(fields, errs, system, application) Then Emit "E Init answered False"
Check "Init"

lines = ReadLines(WScript.Arguments(1))
Check "reading the scripts"
For i = 0 To UBound(lines)
  script = Unescape(lines(i))
  Set result = interp.RealizeRegularExpression(script)
  Check "script " & (i + 1)
  If result Is Nothing Then
    Emit "R Nothing"
  Else
    Emit "R " & Esc(result.Name) & vbTab & Esc(result.DataType) & vbTab & Esc(Text(result.Data))
  End If
  Check "result " & (i + 1)
  Set result = Nothing
Next

Set interp = Nothing
Set fields = Nothing
Set errs = Nothing
output.Close
