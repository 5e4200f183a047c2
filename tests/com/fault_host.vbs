' Fault injection through COM with a host written in VBScript (the platform's script host): its
' collection and error object are VBScript classes that fail the k-th call the interpreter makes
' to one member (Exists, Item, AddObject, Remove, ReportError), in each way a VBScript host can:
' raising (Err.Raise), AddObject answering non-zero or adding and then raising, Item answering
' Nothing or Empty, ReportError answering non-zero. For ten everyday scripts, every way and every
' k up to the number of such calls the script makes (from Init on):
'  - Init, RealizeRegularExpression and ResetMemory raise nothing;
'  - the instance counter is back: the deepest script a run may hold, run right after with the
'    debug log on, does not meet error 9 (one IF more on a fresh interpreter does);
'  - the collection holds nothing but the host's fields and the temporaries whose own Remove
'    failed;
'  - after the host has taken those out (and called ResetMemory), the next clean run answers
'    what a clean host's second run answers and leaves what it leaves.
' Writes a line "FAIL ..." per failed check (the first 40), the counts, and "done" at the end.
' (Wine's script engine takes one variable per Public statement in a class.)
Option Explicit

' ---- What is counted and how it fails ---------------------------------------------------------

Dim gMember      ' the member that fails: Exists, Item, AddObject, Remove or ReportError
Dim gHow         ' raise, nonzero, addraise, nothing, empty
Dim gFailAt      ' the call of gMember that fails (0: none)
Dim gCounting    ' only the faulted run (Init and the script) is counted
Dim gCalls       ' calls per member so far
Dim gRemoveFailed ' upper-cased names whose Remove failed
Set gCalls = CreateObject("Scripting.Dictionary")
Set gRemoveFailed = CreateObject("Scripting.Dictionary")

Function Hit(member)
  Hit = False
  If Not gCounting Then Exit Function
  gCalls(member) = gCalls(member) + 1
  Hit = (member = gMember And gCalls(member) = gFailAt)
End Function

Sub RaiseInjected()
  Err.Raise 1001, "FaultHost", "Injected failure"
End Sub

' ---- The host's objects -----------------------------------------------------------------------

Class FaultFields
  Public d
  Private Sub Class_Initialize
    Set d = CreateObject("Scripting.Dictionary")
    d.CompareMode = 1
  End Sub
  Public Function Item(strName)
    If Hit("Item") Then
      If gHow = "nothing" Then
        Set Item = Nothing
        Exit Function
      End If
      If gHow = "empty" Then
        Item = Empty
        Exit Function
      End If
      RaiseInjected
    End If
    If Not d.Exists(strName) Then Err.Raise 5
    Set Item = d.Item(strName)
  End Function
  Public Function Exists(strName)
    If Hit("Exists") Then RaiseInjected
    Exists = d.Exists(strName)
  End Function
  Public Function AddObject(objField)
    Dim fail, n
    fail = Hit("AddObject")
    If fail And gHow = "raise" Then RaiseInjected
    If fail And gHow = "nonzero" Then
      AddObject = 1
      Exit Function
    End If
    n = objField.Name
    If d.Exists(n) Then
      AddObject = 457
      Exit Function
    End If
    d.Add n, objField
    If fail Then RaiseInjected ' addraise
    AddObject = 0
  End Function
  Public Sub Remove(strName)
    If Hit("Remove") Then
      If d.Exists(strName) Then gRemoveFailed(UCase(strName)) = 1
      RaiseInjected
    End If
    If Not d.Exists(strName) Then Err.Raise 5
    d.Remove strName
  End Sub
  Public Property Get mCol
    Set mCol = d
  End Property
  Public Property Get Count
    Count = d.Count
  End Property
End Class

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

Class FaultErrors
  Public Function ReportError(lngCode, strText, dtmWhen, intA, intB, vntOmitted, strSystem, _
                              strApplication, strRelease, strModule, strProcedure)
    If Hit("ReportError") Then
      If gHow = "nonzero" Then
        ReportError = -1
        Exit Function
      End If
      RaiseInjected
    End If
    ReportError = 0
  End Function
End Class

Sub AddField(fields, name, kind, value)
  Dim f
  Set f = New ScriptField
  f.Name = name
  f.DataType = kind
  f.Data = value
  fields.d.Add name, f
End Sub

' The host's fields, the same for every script.
Function NewHost()
  Dim fields
  Set fields = New FaultFields
  AddField fields, "A", "Long", CLng(5)
  AddField fields, "B", "String", "banana"
  AddField fields, "Amount", "Double", CDbl(1250.5)
  AddField fields, "VisitDate", "Date", DateSerial(2002, 3, 15) + TimeSerial(9, 30, 0)
  AddField fields, "D", "Date", DateSerial(2002, 3, 14)
  AddField fields, "T", "String", "9:30 AM"
  Set NewHost = fields
End Function
Dim gHostNames
gHostNames = "|A|B|AMOUNT|VISITDATE|D|T|"

' ---- One run ------------------------------------------------------------------------------------

Dim fso, gFolder, gIni, gLog, gLogCopy, gLogSeen, gDeepest
Set fso = CreateObject("Scripting.FileSystemObject")
gFolder = fso.BuildPath(fso.GetSpecialFolder(2), "qorvintr_fault_vbs")
If Not fso.FolderExists(gFolder) Then fso.CreateFolder gFolder
gIni = fso.BuildPath(gFolder, "deepest.ini")
gLog = fso.BuildPath(gFolder, "OrUpDebg.Log")
gLogCopy = fso.BuildPath(gFolder, "copy.log")
If fso.FileExists(gLog) Then fso.DeleteFile gLog
gLogSeen = 0
Dim iniFile
Set iniFile = fso.CreateTextFile(gIni, True)
iniFile.Write "[Upload]" & vbCrLf & "WriteDebugLog=True" & vbCrLf & "DebugLogPath=" & gFolder & vbCrLf
iniFile.Close

Function Deepest(ifs)
  Deepest = ""
  Dim i
  For i = 1 To ifs
    Deepest = Deepest & "IF "
  Next
  Deepest = Deepest & "1 THEN 2 END IF"
End Function

Function ResultLine(r)
  If r Is Nothing Then
    ResultLine = "Nothing"
  Else
    ResultLine = r.Name & " " & r.DataType & " " & DataText(r)
  End If
End Function

' A field's Data as text; a failed run may answer a field that holds an object, or Nothing.
Function DataText(r)
  Dim v
  If IsObject(r.Data) Then
    If r.Data Is Nothing Then DataText = "(Nothing)" Else DataText = "(" & TypeName(r.Data) & ")"
    Exit Function
  End If
  v = r.Data
  If IsNull(v) Then
    DataText = "Null"
  Else
    DataText = CStr(v)
  End If
End Function

' The temporaries in the collection: every key that is no host field.
Function Temporaries(fields)
  Dim k
  Temporaries = ""
  For Each k In fields.d.Keys
    If InStr(gHostNames, "|" & UCase(k) & "|") = 0 Then Temporaries = Temporaries & k & ","
  Next
End Function

' What the last run saw.
Dim gEscaped, gResult, gLeft, gDeep9, gCleanResult, gCleanLeft, gLeftUnexpected

' The deepest script with the debug log on; True when it met error 9 (what the log shows after
' the entries of the last probe).
Function MeetsError9(interp, fields, errors)
  Dim text, all, stream
  On Error Resume Next
  interp.OrlinaIniFilename = gIni
  interp.Init fields, errors, "QorvSys", "QorvApp"
  If Err.Number <> 0 Then gEscaped = gEscaped & " Init (log on) " & Err.Number
  Err.Clear
  text = gDeepest
  interp.RealizeRegularExpression text
  If Err.Number <> 0 Then gEscaped = gEscaped & " RealizeRegularExpression (deepest) " & Err.Number
  Err.Clear
  interp.OrlinaIniFilename = ""
  interp.Init fields, errors, "QorvSys", "QorvApp"
  If Err.Number <> 0 Then gEscaped = gEscaped & " Init (log off) " & Err.Number
  Err.Clear
  On Error GoTo 0
  ' The log object keeps its file open for writing, which a text stream cannot share: a copy
  ' is read.
  all = ""
  If fso.FileExists(gLog) Then
    fso.CopyFile gLog, gLogCopy, True
    If fso.GetFile(gLogCopy).Size > 0 Then
      Set stream = fso.OpenTextFile(gLogCopy, 1)
      all = stream.ReadAll
      stream.Close
    End If
  End If
  If Len(all) < gLogSeen Then gLogSeen = 0
  MeetsError9 = InStr(gLogSeen + 1, all, "Error: 9" & vbCrLf & "Subscript out of range") > 0
  gLogSeen = Len(all)
End Function

Sub Go(script, member, how, failAt)
  Dim fields, errors, interp, r, text, k
  gMember = member
  gHow = how
  gFailAt = failAt
  gCalls.RemoveAll
  For Each k In Array("Exists", "Item", "AddObject", "Remove", "ReportError")
    gCalls(k) = 0
  Next
  gRemoveFailed.RemoveAll
  gEscaped = ""
  Set fields = NewHost()
  Set errors = New FaultErrors
  Set interp = CreateObject("QorvIntr.Interpreter")

  gCounting = True
  On Error Resume Next
  interp.Init fields, errors, "QorvSys", "QorvApp"
  If Err.Number <> 0 Then gEscaped = gEscaped & " Init " & Err.Number
  Err.Clear
  text = script
  Set r = interp.RealizeRegularExpression(text)
  If Err.Number <> 0 Then
    gEscaped = gEscaped & " RealizeRegularExpression " & Err.Number & " " & Err.Description
    Set r = Nothing
  End If
  Err.Clear
  On Error GoTo 0
  gCounting = False
  gResult = ResultLine(r)
  gLeft = Temporaries(fields)
  gLeftUnexpected = ""
  For Each k In Split(gLeft, ",")
    If k <> "" Then
      If Not gRemoveFailed.Exists(UCase(k)) Then gLeftUnexpected = gLeftUnexpected & k & ","
    End If
  Next

  gDeep9 = MeetsError9(interp, fields, errors)

  On Error Resume Next
  ' The host takes out what its own failed Remove left, and starts the interpreter afresh.
  If gRemoveFailed.Count > 0 Then
    For Each k In gRemoveFailed.Keys
      If fields.d.Exists(k) Then fields.d.Remove k
    Next
    interp.ResetMemory
    If Err.Number <> 0 Then gEscaped = gEscaped & " ResetMemory " & Err.Number
    Err.Clear
  End If
  text = script
  Set r = interp.RealizeRegularExpression(text)
  If Err.Number <> 0 Then
    gEscaped = gEscaped & " RealizeRegularExpression (clean) " & Err.Number
    Set r = Nothing
  End If
  Err.Clear
  gCleanResult = ResultLine(r)
  gCleanLeft = Temporaries(fields)
  interp.ResetMemory
  If Err.Number <> 0 Then gEscaped = gEscaped & " ResetMemory (end) " & Err.Number
  Err.Clear
  On Error GoTo 0
  Set r = Nothing
  Set interp = Nothing
End Sub

' ---- The checks -----------------------------------------------------------------------------------

Dim failures, checks, shown
failures = 0
checks = 0
shown = 0
Sub Check(ok, what)
  checks = checks + 1
  If Not ok Then
    failures = failures + 1
    shown = shown + 1
    If shown <= 40 Then WScript.Echo "FAIL " & what
  End If
End Sub

' The deepest script: the most IFs a fresh interpreter runs without error 9.
Dim n, found
found = False
For n = 20 To 40
  gDeepest = Deepest(n)
  Go "1", "", "", 0
  If gDeep9 Then
    found = n > 20
    gDeepest = Deepest(n - 1)
    WScript.Echo "the deepest script: " & (n - 1) & " IFs (with " & n & ", a fresh interpreter meets error 9)"
    Exit For
  End If
Next
Check found, "no script reaches the deepest level exactly"

Dim scripts
scripts = Array( _
  "A + 2 * 3", _
  "(A + 2 ) * 3", _
  "IF A = 5 THEN ""five"" ELSE ""other"" END IF", _
  "Replace B, ""a"", ""o""", _
  "FormatHL7DateTime VisitDate", _
  "A / 0", _
  "Format Amount, ""#,##0.00""", _
  "DateCompare #3/14/2002#, #3/15/2002#", _
  "DateCat D T", _
  "1 + 2 + 3 + 4 + 5 + 6")
' The ways each member fails.
Dim ways
ways = Array("Exists raise", "Item raise", "Item nothing", "Item empty", "AddObject raise", _
             "AddObject nonzero", "AddObject addraise", "Remove raise", "ReportError raise", _
             "ReportError nonzero")

Dim s, w, parts, calls, cleanResult, cleanSecond, cleanLeft, kk, runs, where, started
Dim runsBy
Set runsBy = CreateObject("Scripting.Dictionary")
runs = 0
started = Timer
For Each s In scripts
  Go s, "", "", 0
  Check gEscaped = "", s & ": the clean run failed:" & gEscaped
  Check gLeft = "", s & ": the clean run left " & gLeft
  Check Not gDeep9, s & ": the deepest script met error 9 after a clean run"
  cleanResult = gResult
  cleanSecond = gCleanResult
  cleanLeft = gCleanLeft
  Set calls = CreateObject("Scripting.Dictionary")
  For Each kk In gCalls.Keys
    calls(kk) = gCalls(kk)
  Next
  For Each w In ways
    parts = Split(w, " ")
    For kk = 1 To calls(parts(0))
      Go s, parts(0), parts(1), kk
      runs = runs + 1
      runsBy(parts(0)) = runsBy(parts(0)) + 1
      where = s & " | " & w & " k=" & kk & " of " & calls(parts(0))
      Check gEscaped = "", where & ": failed:" & gEscaped
      Check Not gDeep9, where & ": the instance counter stayed raised (the deepest script met error 9)"
      Check gLeftUnexpected = "", where & ": left in the collection: " & gLeftUnexpected & " (the run answered " & gResult & ")"
      If cleanResult = cleanSecond Then
        Check gCleanResult = cleanSecond, where & ": the next clean run answered " & gCleanResult & ", not " & cleanSecond
      End If
      Check gCleanLeft = cleanLeft, where & ": the next clean run left " & gCleanLeft
    Next
  Next
Next

' The log stays open while this thread lives: the folder is left for the next run, which
' starts it afresh.
If fso.FileExists(gLogCopy) Then fso.DeleteFile gLogCopy

Dim summary
summary = ""
For Each kk In runsBy.Keys
  summary = summary & kk & " " & runsBy(kk) & "; "
Next
summary = (UBound(scripts) + 1) & " scripts, " & runs & " faulted runs (" & summary & "), " & _
          checks & " checks, " & failures & " failed, " & Round(Timer - started, 1) & " s"
WScript.Echo summary
If shown > 40 Then WScript.Echo "(" & (shown - 40) & " more failures not shown)"
If failures = 0 Then WScript.Echo "done" Else WScript.Echo "FAIL " & failures & " checks"
