' What the Script Control is given with AddCode before the benchmark: the host fields as
' variables, and the functions its side of the IF and HL7 date families call.
Dim A, T, D
A = CLng(41)
T = "x-ray box"
D = DateSerial(2002, 3, 14)

Function IIf(condition, when_true, when_false)
  If condition Then IIf = when_true Else IIf = when_false
End Function

' yyyymmdd, as FormatHL7DateTime writes a date without its time.
Function HL7Date(value)
  HL7Date = Year(value) & Right("0" & Month(value), 2) & Right("0" & Day(value), 2)
End Function
