' What every test in VBScript begins with: expectations, and reply documents, recorded ones as well as request
' documents run against recorded frames.
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

' A document of XML text.
Function Parsed(xml)
  Set Parsed = CreateObject("Msxml2.DOMDocument")
  Parsed.async = False
  Parsed.preserveWhiteSpace = True
  If Not Parsed.loadXML(xml) Then
    WScript.Echo "no document: " & xml
    WScript.Quit 1
  End If
End Function

' A reply document in a CAN form whose `r` elements received these frames, separated by blanks; "-"
' stands for none.
Function CanReplies(frames)
  Set CanReplies = Parsed("<can><x>" & Steps(frames) & "</x></can>")
End Function

' The same in K form.
Function KReplies(frames)
  Set KReplies = Parsed("<k>" & Steps(frames) & "</k>")
End Function

Function Steps(frames)
  Dim frame
  For Each frame In Split(frames)
    If frame = "-" Then
      Steps = Steps & "<r><c/></r>"
    Else
      Steps = Steps & "<r><c/><d>" & frame & "</d></r>"
    End If
  Next
End Function

' Writes the frames, separated by blanks, into the `r` elements of a request, as a host does that has
' received them. Each must begin as its `c` says, and there must be one for each.
Sub Run(document, frames)
  Dim elements, received, index, expected, data
  Set elements = document.selectNodes("//r")
  received = Split(frames)
  Expect "number of frames", UBound(received) + 1, elements.length
  For index = 0 To UBound(received)
    expected = elements.item(index).selectSingleNode("c").text
    Expect "beginning of frame " & index, Left(received(index), Len(expected)), expected
    Set data = document.createElement("d")
    data.text = received(index)
    elements.item(index).appendChild data
  Next
End Sub

' A byte string of hexadecimal text.
Function Bytes(hex)
  Set Bytes = CreateObject("Vantrel.ByteString")
  Bytes.Hex = hex
End Function

' The four frames of a history record on plain CAN: 24 bytes of its identifier.
Function RecordFrames(identifier)
  RecordFrames = " 101A61" & Repeated(identifier, 5) & " 21" & Repeated(identifier, 7) & _
                 " 22" & Repeated(identifier, 7) & " 23" & Repeated(identifier, 7)
End Function

Function Repeated(text, count)
  Dim index
  For index = 1 To count
    Repeated = Repeated & text
  Next
End Function

' What an ECU on plain CAN answers to StartDiag.
Function StartDiagFrames()
  Dim identifier
  StartDiagFrames = "0250C0AAAAAAAAAA" & RecordFrames("80") & " 025085AAAAAAAAAA"
  For Each identifier In Split("F0 F1 FE FF FC FD FA FB F8 F9 F6 F7 F4 F5 F2 F3")
    StartDiagFrames = StartDiagFrames & RecordFrames(identifier)
  Next
End Function
