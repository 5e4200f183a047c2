' The members our objects answer with their own dispatch, as a script calls them: every line
' shows a call's answer or its error (number, source, description) and the variables passed
' by reference afterwards. fastpath_compare.sh runs it with and without
' QORVINTR_COM_GENERIC_INVOKE=1 and compares the two transcripts; it ends with "done".
Option Explicit
On Error Resume Next

Sub Show(label, value)
  If Err.Number <> 0 Then
    WScript.Echo label & ": error " & Err.Number & " | " & Err.Source & " | " & Err.Description
    Err.Clear
  ElseIf IsObject(value) Then
    If value Is Nothing Then
      WScript.Echo label & ": Nothing"
    Else
      WScript.Echo label & ": object " & TypeName(value)
    End If
  Else
    WScript.Echo label & ": " & TypeName(value) & " " & CStr(value)
  End If
End Sub

Dim fs, f, g, x, key, obj, col, interp, script, sys, app, answer, log
Set fs = CreateObject("QorvDFld.DataFields")
Set f = CreateObject("QorvDFld.DataField")

f.Name = "Fld" : Show "put Name", f.Name
key = "ByRef" : f.Name = key : Show "put Name variable", f.Name
f.Name = 12 : Show "put Name number", f.Name
f.DataType = "Long" : Show "DataType", f.DataType
f.DataClass = "Host" : Show "DataClass", f.DataClass
f.Data = 41 : Show "Data", f.Data
f.Data = "text" : Show "Data text", f.Data
f.Data = Null : Show "Data Null", f.Data
f.Data = Empty : Show "Data Empty", f.Data
Set f.Data = fs : Show "Data object", f.Data
Show "Data object type", TypeName(f.Data)
f.Data = 3.5 : Show "default member", f
x = f.Data(1) : Show "Data with an argument", x
f.Bogus = 1 : Show "unknown member", 0

Set g = fs.Add("A", 41, "Long") : Show "Add", g
Set g = fs.Add("T", "x-ray box") : Show "Add 2", g
Set g = fs.Add("B", "b", "String", "Host") : Show "Add 4", g
Set g = fs.Add("A", 1) : Show "Add duplicate", g
key = "K" : Set g = fs.Add(key, 5, "Long") : Show "Add variable name", g
Set g = fs.Add(7, 5) : Show "Add number name", g
For Each key In Array("A", "a", 1, 2.0, "zz", 41, Null)
  Set g = fs.Item(key) : Show "Item " & TypeName(key), g
  If Err.Number = 0 And Not g Is Nothing Then Show "  its Name", g.Name
  Err.Clear
  Show "Exists " & TypeName(key), fs.Exists(key)
Next
Set g = fs("a") : Show "default Item", g
Show "Item identity", fs("A") Is fs.Item("a")
Show "Count", fs.Count
Show "AddObject", fs.AddObject(f)
Show "AddObject again", fs.AddObject(f)
Show "AddObject text", fs.AddObject("text")
Set obj = Nothing
Show "AddObject Nothing", fs.AddObject(obj)
Show "AddObject identity", fs.Item(f.Name) Is f
fs.Remove "zz" : Show "Remove missing", 0
key = f.Name : fs.Remove key : Show "Remove", fs.Exists(key)
fs.Remove key : Show "Remove again", 0
Set col = fs.mCol : Show "mCol", col
Show "mCol identity", col Is fs.mCol
Show "mCol Item", col.Item("A").Name
Show "mCol Item identity", col("A") Is fs("A")
Set g = col.Item("zz") : Show "mCol Item missing", g
Set g = col.Item(1) : Show "mCol Item 1", g
Show "mCol Count", col.Count
x = 0
For Each g In fs
  x = x + 1
Next
Show "For Each", x

Set interp = CreateObject("QorvIntr.Interpreter")
Show "Release", interp.Release
Show "Major", interp.Major
script = "A + 1"
Set answer = interp.RealizeRegularExpression(script) : Show "before Init", answer
sys = "Sys" : app = "App"
Set obj = Nothing
Show "Init", interp.Init(fs, obj, sys, app)
Show "  sys", sys
For Each script In Array("A + 1", "1 + 2 * 3 - 4 / 2", """ab"" & ""cd""", _
                         "IF A = 1 THEN ""x"" ELSE ""y"" END IF", "Replace T, ""x"" , ""y""", _
                         "Nosuch + 1", "(1 + ", "A")
  Set answer = interp.RealizeRegularExpression(script)
  Show script, answer
  If Err.Number = 0 And Not answer Is Nothing Then
    Show "  Name", answer.Name
    Show "  DataType", answer.DataType
    Show "  Data", answer.Data
  End If
  Err.Clear
  Show "  Count", fs.Count
  interp.ResetMemory : Show "  ResetMemory", fs.Count
Next
Set answer = interp.RealizeRegularExpression("A + 1") : Show "literal script", answer
Show "DataFields identity", interp.DataFields Is fs
Show "objError", interp.objError
Set interp.DataFields = fs : Show "putref DataFields", interp.DataFields Is fs
Set interp.objError = Nothing : Show "putref objError", interp.objError
interp.g_orlina_ini_filename = "C:\x.ini" : Show "g_orlina_ini_filename", interp.g_orlina_ini_filename
x = "C:\y.ini" : interp.OrlinaIniFilename = x : Show "OrlinaIniFilename", interp.OrlinaIniFilename
interp.ResetMemory 1 : Show "ResetMemory with an argument", 0

Set log = CreateObject("QorvLog.Log")
Show "WriteLogMsg before Init", log.WriteLogMsg("message")
WScript.Echo "done"
