' What one script costs a VBScript host of QorvIntr.Interpreter, against the platform's Script
' Control (MSScriptControl.ScriptControl, VBScript) doing the same job in the same run:
'   cscript //nologo com_bench.vbs FAMILIES.tsv SCRIPT_CONTROL_CODE.vbs COUNT ROUNDS SECONDS
' The jobs are those of the C++ host (com_bench.exe), read from the same FAMILIES file. QorvIntr
' side: the host fields in a QorvDFld.DataFields collection given to Init, each call
' RealizeRegularExpression, the answer's Data, ResetMemory. Script Control side: the fields are
' script variables of SCRIPT_CONTROL_CODE (AddCode), each call an Eval.
' Timer ticks in steps of several milliseconds, so each measurement repeats batches of COUNT
' calls until SECONDS have passed; the two sides alternate, ROUNDS rounds, the table shows the
' medians per call. Every family's answer is checked on both sides before timing and after
' each measurement: a wrong one writes a FAILED line and stops. The last line is "done".

Option Explicit

Class HostError
  Public Calls
  Private Sub Class_Initialize()
    Calls = 0
  End Sub
  Public Function ReportError(lngCode, strText, dtmWhen, intA, intB, vntOmitted, strSystem, _
                              strApplication, strRelease, strModule, strProcedure)
    Calls = Calls + 1
    WScript.Echo "QorvIntr reported: " & strProcedure & ": " & strText
    ReportError = 0
  End Function
End Class

Dim fso, interp, fields, errors, control, count, rounds, min_seconds
Set fso = CreateObject("Scripting.FileSystemObject")

Sub Fail(text)
  WScript.Echo "FAILED: " & text
  WScript.Quit 1
End Sub

Function ReadAll(path)
  Dim file
  Set file = fso.OpenTextFile(path, 1, False, 0)
  ReadAll = file.ReadAll
  file.Close
End Function

Function Elapsed(started)
  Dim now_seconds
  now_seconds = Timer
  If now_seconds < started Then now_seconds = now_seconds + 86400  ' past midnight
  Elapsed = now_seconds - started
End Function

' Seconds per call of one side (QorvIntr when ours is True, else the Script Control); the last
' answer's text goes to answer.
Function TimeCalls(ours, script, ByRef answer)
  Dim text, started, calls, i, field, data, seconds
  text = script
  calls = 0
  started = Timer
  Do
    If ours Then
      For i = 1 To count
        Set field = interp.RealizeRegularExpression(text)
        data = field.Data
        interp.ResetMemory
      Next
    Else
      For i = 1 To count
        data = control.Eval(text)
      Next
    End If
    calls = calls + count
    seconds = Elapsed(started)
  Loop While seconds < min_seconds
  answer = CStr(data)
  TimeCalls = seconds / calls
End Function

Sub Expect(label, side, answer, expected)
  If answer <> expected Then
    Fail label & ", " & side & " answered """ & answer & """, expected """ & expected & """"
  End If
End Sub

Function Median(values)
  Dim i, j, swap, n
  n = UBound(values)
  For i = 0 To n - 1
    For j = i + 1 To n
      If values(j) < values(i) Then
        swap = values(i)
        values(i) = values(j)
        values(j) = swap
      End If
    Next
  Next
  If n Mod 2 = 0 Then
    Median = values(n \ 2)
  Else
    Median = (values(n \ 2) + values(n \ 2 + 1)) / 2
  End If
End Function

Function PadRight(text, width)
  If Len(text) < width Then PadRight = text & Space(width - Len(text)) Else PadRight = text
End Function
Function PadLeft(text, width)
  If Len(text) < width Then PadLeft = Space(width - Len(text)) & text Else PadLeft = text
End Function
Function Fixed2(value)
  Fixed2 = FormatNumber(value, 2, -1, 0, 0)
End Function

' The check before timing: one call, its answer's text.
Sub OursOnce(script, ByRef answer)
  Dim text
  text = script
  answer = CStr(interp.RealizeRegularExpression(text).Data)
  interp.ResetMemory
End Sub

Function Row(label, control_us, ours_us)
  Dim verdict
  If ours_us <= control_us Then
    verdict = "QorvIntr is " & FormatNumber(control_us / ours_us, 1, -1, 0, 0) & "x faster"
  Else
    verdict = "QorvIntr is " & FormatNumber(ours_us / control_us, 1, -1, 0, 0) & "x slower"
  End If
  Row = PadRight(label, 20) & " | " & PadLeft(Fixed2(control_us), 17) & " | " & _
        PadLeft(Fixed2(ours_us), 11) & " | " & verdict
End Function

If WScript.Arguments.Count <> 5 Then
  Fail "usage: com_bench.vbs FAMILIES.tsv SCRIPT_CONTROL_CODE.vbs COUNT ROUNDS SECONDS"
End If
count = CLng(WScript.Arguments(2))
rounds = CLng(WScript.Arguments(3))
min_seconds = CDbl(WScript.Arguments(4))
If count < 1 Or rounds < 1 Then Fail "COUNT and ROUNDS must be at least 1"

Set interp = CreateObject("QorvIntr.Interpreter")
Set fields = CreateObject("QorvDFld.DataFields")
fields.Add "A", CLng(41), "Long"
fields.Add "T", "x-ray box", "String"
fields.Add "D", DateSerial(2002, 3, 14), "Date"
Set errors = New HostError
If Not interp.Init(fields, errors, "Bench", "ComBenchVbs") Then Fail "Init of QorvIntr.Interpreter"

Set control = CreateObject("MSScriptControl.ScriptControl")
control.Language = "VBScript"
control.AddCode ReadAll(WScript.Arguments(1))

Dim lines, line, parts, label, our_script, expression, expected, answer, round, turn
Dim ours_times, control_times, table
'  (assigned before ReDim: Wine's VBScript crashes on ReDim of a "Dim x()" at script level)
ours_times = Array()
control_times = Array()
ReDim ours_times(rounds - 1)
ReDim control_times(rounds - 1)
table = ""
lines = Split(Replace(ReadAll(WScript.Arguments(0)), vbCr, ""), vbLf)
For Each line In lines
  If Len(line) > 0 And Left(line, 1) <> "#" Then
    parts = Split(line, vbTab)
    If UBound(parts) <> 3 Then Fail "not four tab-separated parts: " & line
    label = parts(0)
    our_script = parts(1)
    expression = parts(2)
    expected = parts(3)

    OursOnce our_script, answer
    Expect label, "QorvIntr", answer, expected
    answer = CStr(control.Eval(expression))
    Expect label, "Script Control", answer, expected

    For round = 0 To rounds - 1
      ' Swapping the order each round spreads the drift of the machine over both sides.
      For turn = 0 To 1
        If (turn = 0) = (round Mod 2 = 0) Then
          control_times(round) = TimeCalls(False, expression, answer)
          Expect label, "Script Control", answer, expected
        Else
          ours_times(round) = TimeCalls(True, our_script, answer)
          Expect label, "QorvIntr", answer, expected
        End If
      Next
    Next
    If errors.Calls > 0 Then Fail label & ", QorvIntr reported an error"
    table = table & Row(label, Median(control_times) * 1000000, Median(ours_times) * 1000000) & vbLf
  End If
Next

WScript.Echo "VBScript host: batches of " & count & " calls for at least " & min_seconds & _
             " s per side per round, " & rounds & " rounds, median per call"
WScript.Echo ""
' "us" for microseconds: Wine's cscript stops writing at a micro sign when its output is a pipe.
WScript.Echo PadRight("family", 20) & " | Script Control us | QorvIntr us | ratio"
WScript.Echo String(20, "-") & " | " & String(17, "-") & " | " & String(11, "-") & " | " & _
             String(28, "-")
WScript.Echo Left(table, Len(table) - 1)
WScript.Echo "done"
