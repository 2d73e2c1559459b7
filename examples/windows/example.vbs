' Reads a seed out of a reply, and streams a download. Needs the component and the stand-in for a host
' library registered; see README.txt.
Option Explicit

Dim reprog, ended
Set reprog = WScript.CreateObject("Quillmark.DiagOnCANReprog", "Reprog_")
reprog.CANIDs 1850, 1586   ' plain CAN: receive on 1850, send on 1586

' What to send, what to receive. A real host runs it on its bus; here the ECU's reply is written in.
Dim document, received
Set document = reprog.readseed
WScript.Echo document.xml
Set received = document.createElement("d")
received.text = "0667811122334455"
document.selectSingleNode("/can/x/r").appendChild received
WScript.Echo "seed " & reprog.getseed(document).Hex

' An error is an Err.Number with its description.
received.text = "037F2736"
On Error Resume Next
Call reprog.getseed(document)
WScript.Echo "error " & Err.Number & ": " & Err.Description
On Error GoTo 0

' A download: documents arrive as events until Node is Nothing.
Dim image, segment
Set segment = CreateObject("Vantrel.ByteString")
segment.Hex = "0102030405060708"
segment.StartAddress = &H8000
Set image = CreateObject("Vantrel.MemoryImage")
image.AddSegment segment
reprog.ComputeDownload 1, image, 255, 16, 240

Sub Reprog_XMLReady(Node, Cancel)
  If Node Is Nothing Then
    ended = True
    Exit Sub
  End If
  ' Run the document on the bus and check it with checkdownload; then ask for the next one.
  WScript.Echo "document with " & Node.documentElement.getAttribute("totalbytes") & " bytes"
  Cancel = False
End Sub

Do Until ended
  WScript.Sleep 20
Loop
WScript.Echo "done"
