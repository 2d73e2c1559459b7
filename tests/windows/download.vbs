' A whole download with its events, and the three answers that a handler can give.
Dim diag, image, answer, events, ended, total
Set diag = WScript.CreateObject("Quillmark.DiagOnCANReprog", "Diag_")
Set image = CreateObject("Vantrel.MemoryImage")
diag.CANIDs 0, &H11

Sub Diag_XMLReady(Node, Cancel)
  events = events + 1
  Expect "Cancel comes in", Cancel, True
  If Node Is Nothing Then
    ended = True
    Exit Sub
  End If
  total = total + CLng(Node.documentElement.getAttribute("totalbytes"))
  Expect "first block", Node.selectSingleNode("/k/r/c").text, "82F1117402FA"
  diag.checkdownload Node
  If answer <> "alone" Then
    Cancel = (answer = "True")
  End If
End Sub

' Downloads the image and waits until the events stop; `answers` is what the handler does with Cancel.
Sub Download(answers)
  answer = answers
  events = 0
  ended = False
  total = 0
  diag.ComputeDownload 1, image, 255, 16, 240
  Dim quiet, seen
  Do While quiet < 20 And Not ended
    seen = events
    WScript.Sleep 50
    If events = seen And events > 0 Then
      quiet = quiet + 1
    Else
      quiet = 0
    End If
  Loop
End Sub

Dim segment
Set segment = Bytes(Repeated("0123456789", 8000))
segment.StartAddress = 65536
image.AddSegment segment

Download "False"
Expect "all documents and the end", events & " " & ended, "3 True"
Expect "bytes of all documents", total, 40000

Download "alone"
Expect "left alone: one document and no end", events & " " & ended, "1 False"

Download "True"
Expect "cancelled: one document and no end", events & " " & ended, "1 False"

' After the events are disconnected, nothing arrives and nothing fails.
WScript.DisconnectObject diag
events = 0
diag.ComputeDownload 1, image, 255, 16, 240
WScript.Sleep 300
Expect "no sink", events, 0

WScript.ConnectObject diag, "Diag_"
Download "False"
Expect "connected again", events & " " & ended, "3 True"

Passed
