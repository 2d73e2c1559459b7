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

' Lets events in until `count` have come, for a minute at most.
Sub WaitForEvents(count)
  Dim waited
  Do While events < count And waited < 1200
    WScript.Sleep 50
    waited = waited + 1
  Loop
End Sub

' Downloads the image; `answers` is what the handler does with Cancel. Waits for as many events as there
' should be, and then a little for one too many.
Sub Download(answers, count)
  answer = answers
  events = 0
  ended = False
  total = 0
  diag.ComputeDownload 1, image, 255, 16, 240
  WaitForEvents count
  WScript.Sleep 500
End Sub

Dim segment
Set segment = Bytes(Repeated("0123456789", 8000))
segment.StartAddress = 65536
image.AddSegment segment

Download "False", 3
Expect "all documents and the end", events & " " & ended, "3 True"
Expect "bytes of all documents", total, 40000

Download "alone", 1
Expect "left alone: one document and no end", events & " " & ended, "1 False"

Download "True", 1
Expect "cancelled: one document and no end", events & " " & ended, "1 False"

' After the events are disconnected, nothing arrives and nothing fails.
WScript.DisconnectObject diag
events = 0
diag.ComputeDownload 1, image, 255, 16, 240
WScript.Sleep 300
Expect "no sink", events, 0

WScript.ConnectObject diag, "Diag_"
Download "False", 3
Expect "connected again", events & " " & ended, "3 True"

Passed
