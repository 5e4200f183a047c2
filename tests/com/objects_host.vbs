' The companion objects and the interpreter from VBScript (the platform's script host), by name:
' QorvDFld.DataFields as a script uses it (Add, Count, Item by key in any case and by position,
' For Each, mCol, Exists, AddObject, Remove, the platform's errors), QorvDFld.DataField, the
' interpreter's properties and its by-reference parameters, and an interpreter working over a
' collection, fields and an error object that are all VBScript classes. Writes "ok ..." or
' "FAIL ..." per check and "done" at the end; an unexpected error stops the script before "done".
' (Wine's script engine takes one variable per Public statement in a class.)
Option Explicit

' A host's own collection of data fields: the members the interpreter calls, over a dictionary
' (which is also its mCol: Item by name).
Class ScriptFields
  Private d
  Private Sub Class_Initialize
    Set d = CreateObject("Scripting.Dictionary")
    d.CompareMode = 1
  End Sub
  Public Function Item(strName)
    Set Item = d.Item(strName)
  End Function
  Public Function Exists(strName)
    Exists = d.Exists(strName)
  End Function
  Public Function AddObject(objField)
    If d.Exists(objField.Name) Then
      AddObject = 457
    Else
      d.Add objField.Name, objField
      AddObject = 0
    End If
  End Function
  Public Sub Remove(strName)
    d.Remove strName
  End Sub
  Public Property Get mCol
    Set mCol = d
  End Property
  Public Property Get Count
    Count = d.Count
  End Property
End Class

' A host's own data field; Data is the default member.
Class ScriptField
  Public Name
  Public DataType
  Public DataClass
  Private v
  Public Default Property Get Data
    Data = v
  End Property
  Public Property Let Data(x)
    v = x
  End Property
End Class

' A host's own error object: keeps the last report.
Class ScriptErrors
  Public Calls
  Public LastProcedure
  Public Function ReportError(lngCode, strText, dtmWhen, intA, intB, vntOmitted, strSystem, _
                              strApplication, strRelease, strModule, strProcedure)
    Calls = Calls + 1
    LastProcedure = strProcedure
    ReportError = 0
  End Function
End Class

Dim failures
failures = 0
Sub Check(ok, what)
  If ok Then
    WScript.Echo "ok " & what
  Else
    WScript.Echo "FAIL " & what
    failures = failures + 1
  End If
End Sub
' After a statement run under On Error Resume Next: the error it raised.
Sub CheckError(number, what)
  If Err.Number = number Then
    WScript.Echo "ok " & what & " raises " & number
  Else
    WScript.Echo "FAIL " & what & ": error " & Err.Number & " " & Err.Description & ", expected " & number
    failures = failures + 1
  End If
  Err.Clear
End Sub

Dim fields, f, g, names, n, col, interp, text, index, r
Set fields = CreateObject("QorvDFld.DataFields")
Check Not fields Is Nothing, "CreateObject QorvDFld.DataFields"
Set f = fields.Add("Amount", 12.5)
Check f.DataType = "Double", "Add without a type word takes the value's kind"
fields.Add "Name", "Smith", "String", "Host"
Set g = CreateObject("QorvDFld.DataField")
g.Name = "Count"
g.DataType = "Long"
g.Data = 5
Check fields.AddObject(g) = 0, "AddObject answers 0"
Check fields.AddObject(g) <> 0, "AddObject of a name held answers non-zero"
Check fields.Count = 3, "Count"
Check fields.Item("amount") Is f, "Item by key, any case, is the object added"
Check fields("COUNT") Is g, "Item is the default member"
Check fields.Item(2).Name = "Name", "Item by position"
Check fields.Exists("Name") And Not fields.Exists("Nope"), "Exists"
names = ""
For Each n In fields
  names = names & n.Name & ";"
Next
Check names = "Amount;Name;Count;", "For Each in the order added"
Set col = fields.mCol
Check col.Count = 3 And col.Item("name").Data = "Smith", "mCol"
Check fields.mCol Is col, "mCol is always the same object"
names = ""
For Each n In col
  names = names & n.Name & ";"
Next
Check names = "Amount;Name;Count;", "For Each over mCol"
Check g = 5 And g.Data = 5, "a data field's default member is its Data"

On Error Resume Next
Set r = fields.Item("Nope")
CheckError 5, "Item of a name not held"
On Error GoTo 0
On Error Resume Next
Set r = fields.Item(9)
CheckError 9, "Item of a position past the end"
On Error GoTo 0
On Error Resume Next
fields.Add "Amount", 1
CheckError 457, "Add of a name held"
On Error GoTo 0
On Error Resume Next
r = fields.NoSuchMember
CheckError 438, "a member the collection lacks"
On Error GoTo 0
fields.Remove "Name"
Check Not fields.Exists("Name") And fields.Count = 2, "Remove"
On Error Resume Next
fields.Remove "Name"
CheckError 5, "Remove of a name not held"
On Error GoTo 0

' The interpreter's properties and by-reference parameters.
Set interp = CreateObject("QorvIntr.Interpreter")
Check interp.Release = Right("0" & interp.Major, 2) & "." & Right("0" & interp.Minor, 2) & "." & Right("000" & interp.Revision, 4), "Release from Major, Minor, Revision"
text = "C:\hosts\orlina.ini"
interp.OrlinaIniFilename = text
Check interp.g_orlina_ini_filename = text, "OrlinaIniFilename sets g_orlina_ini_filename"
interp.g_orlina_ini_filename = ""
Check interp.OrlinaIniFilename = "", "g_orlina_ini_filename is what OrlinaIniFilename reads"
index = 4
On Error Resume Next
interp.strExpression(index) = "1 + 1"
CheckError 9, "strExpression of an instance that is not open"
On Error GoTo 0
Set interp.DataFields = fields
Check interp.DataFields Is fields, "DataFields gives back the collection"
Set interp.objError = Nothing
Check interp.objError Is Nothing, "objError Nothing"
text = "   Count * 2   "
Set r = interp.RealizeRegularExpression(text)
Check r.Data = 10 And r.DataType = "Long", "a script over a field changed from VBScript"
Check text = "Count * 2", "the script variable comes back trimmed (by reference)"
Check fields.Count = 2, "the temporaries are gone from the collection"
Set r = interp.RealizeRegularExpression("Nope +")
Check r.Name = "Error" Or r.DataType = "Operator", "a failing script answers, it does not raise"
interp.ResetMemory
Check interp.Major <> "", "ResetMemory"
Set interp = Nothing
Set fields = Nothing

' Everything the interpreter touches written in VBScript.
Dim own, amount, errors
Set own = New ScriptFields
Set amount = New ScriptField
amount.Name = "Amount"
amount.DataType = "Double"
amount.Data = 1250.5
own.AddObject amount
Set errors = New ScriptErrors
errors.Calls = 0
Set interp = CreateObject("QorvIntr.Interpreter")
Check interp.Init(own, errors, "Sys", "App"), "Init over VBScript objects"
Set r = interp.RealizeRegularExpression("Format Amount, ""#,##0.00""")
Check r.Data = "1,250.50" And r.DataType = "String", "a script over a VBScript collection and field"
Check own.Count = 1, "the temporaries left the VBScript collection"
Set r = interp.RealizeRegularExpression("Amount / 0")
Check r.Name = "Error", "a failing script over VBScript objects"
Check errors.Calls = 1 And errors.LastProcedure = "EvaluateExpression", "the VBScript error object heard of it"
Set interp = Nothing

If failures = 0 Then WScript.Echo "done" Else WScript.Echo "FAIL " & failures & " checks"
