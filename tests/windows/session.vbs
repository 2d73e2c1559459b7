' A whole session on plain CAN against recorded replies: create, configure, request, run, check.
Dim diag, document, index
Set diag = CreateObject("Quillmark.DiagOnCANReprog")
diag.FlowControl 8, 20
diag.CANIDs 1850, 1586

' The document as text, line by line. One document model writes the carriage returns of its line ends as
' they are, another as references.
Dim lines, line
lines = vbLf & Replace(Replace(diag.TesterPresent().xml, "&#13;", ""), vbCr, "")
For Each line In Split("<x i=""1850"">|<i>1586</i>|<s><d>013E000000000000</d></s>|<r><c>017E</c></r>|<w>20</w>|</x>", "|")
  Expect line & " in" & lines, InStr(lines, vbLf & line & vbLf) > 0, True
Next

' StartDiag is a property; the arrays come back as arrays.
Dim histo, reprog, ident
Set document = diag.StartDiag
Run document, StartDiagFrames()
diag.gethisto document, histo, reprog, ident
Expect "ident", ident.Hex, Repeated("80", 24)
Expect "bounds of the history", LBound(histo) & ".." & UBound(histo), "0..7"
Expect "bounds of the reprogramming", LBound(reprog) & ".." & UBound(reprog), "0..7"
Expect "first history record", histo(0).Hex, Repeated("F0", 24)
Expect "first reprogramming record", reprog(0).Hex, Repeated("F1", 24)
Expect "last history record", histo(7).Hex, Repeated("F2", 24)
Expect "last reprogramming record", reprog(7).Hex, Repeated("F3", 24)

' An array of the script's own, and an ECU with two entries: the others are Nothing.
Dim own(7), other(7)
document = StartDiagFrames()
document = Left(document, InStr(document, " 101A61FC"))
diag.gethisto CanReplies(document & "-"), own, other, ident
Expect "own array", own(1).Hex, Repeated("FE", 24)
Expect "entry that the ECU does not have", own(2) Is Nothing, True
Expect "entry that the ECU does not have", other(7) Is Nothing, True

Dim seed
Set document = diag.readseed
Run document, "0667811122334455"
Set seed = diag.getseed(document)
Expect "seed", seed.Hex, "11223344"
Set document = diag.dounlock(Bytes("A1B2C3D4"))
Expect "key", document.selectSingleNode("//s/d").text, "062782A1B2C3D400"
Run document, "0267823400000000"
diag.checkunlock document

Set document = diag.starterase(1)
Run document, "0371810100000000"
diag.checkstarterase document
Set document = diag.checkerase
document.selectSingleNode("//r").appendChild(document.createElement("d")).text = "0371810100000000"
Expect "the erase runs", diag.checkcheckerase(document), False
document.selectSingleNode("//r/d").text = "0371810200000000"
Expect "the erase has ended", diag.checkcheckerase(document), True
Expect "type of the answer", TypeName(diag.checkcheckerase(document)), "Boolean"

Set document = diag.startroutine(2)
Run document, "0371020100000000"
diag.checkstartroutine document, 2
Set document = diag.routinestatus("2")
Run document, "0371020200000000"
Expect "the routine has ended", diag.checkroutine(document, 2), True

Set document = diag.writelogzone(Bytes(Repeated("A5", 48)))
Run document, "300814 0274020000000000"
diag.checkwritelogzone document

Dim image, segment
Set image = CreateObject("Vantrel.MemoryImage")
diag.checkupload CanReplies("100A750101234502 21AABB0246000000"), image
For Each segment In image
  Expect "uploaded", segment.StartAddress & ":" & segment.Hex, "74565:AABB"
Next
Expect "segments", image.Count, 1

Set document = diag.stopcomm
Run document, "0250810000000000"

Passed
