' What a host without a diagnostic library is told where it needs one.
Dim reprog, document, received
Set reprog = CreateObject("Quillmark.DiagOnCANReprog")
reprog.CANIDs 1850, 1586
Set document = reprog.readseed
Set received = document.createElement("d")
received.text = "0667811122334455"
document.selectSingleNode("/can/x/r").appendChild received
On Error Resume Next
Call reprog.getseed(document)
WScript.Echo Err.Number & ": " & Err.Description
