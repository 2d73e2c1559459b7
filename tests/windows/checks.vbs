' What every script test begins with.
Option Explicit

' Ends the test where `found` is not `expected`.
Sub Expect(what, found, expected)
  If CStr(found) <> CStr(expected) Then
    WScript.Echo what & ": expected """ & expected & """, found """ & found & """"
    WScript.Quit 1
  End If
End Sub

' Ends the test where the error is another; goes on without one.
Sub ExpectError(what, number, description)
  Expect what & ": Err.Number", Err.Number, number
  Expect what & ": Err.Description", Err.Description, description
  Err.Clear
End Sub

' The last line of every test.
Sub Passed()
  WScript.Echo "passed"
End Sub
