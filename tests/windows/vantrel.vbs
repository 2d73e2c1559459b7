' The stand-in for a host's library, as a script uses it.
Function Bytes(hex)
  Set Bytes = CreateObject("Vantrel.ByteString")
  Bytes.Hex = hex
End Function

Dim b, view
Set b = Bytes("0102ff")
Expect "Hex", b.Hex, "0102FF"
Expect "Length", b.Length, 3
Expect "StartAddress", b.StartAddress, 1
Expect "EndAddress", b.EndAddress, 3
Expect "Checksum", b.Checksum, 258
Expect "Item", b.Item(2), 2
Expect "default member", b(3), 255
Expect "type of Item", TypeName(b.Item(2)), "Byte"

b.Item(2) = 7
b.Length = 4
Expect "resized", b.Hex, "0107FF00"
Set view = b.Mid(2, 2)
view.Hex = "ABCD"
Expect "written through a view", b.Hex, "01ABCD00"
b.Mid(b.EndAddress + 1, 0).Assign Bytes("99")
Expect "appended", b.Hex, "01ABCD0099"
b.Clone.Item(1) = 5
Expect "a clone is apart", b.Item(1), 1
Expect "FillRunLength", Bytes("FFFFFF01").FillRunLength(255, 1), 3

Dim image, segment, found
Set image = CreateObject("Vantrel.MemoryImage")
b.StartAddress = 100
image.AddSegment b
b.StartAddress = 50
image.AddSegment b
b.Hex = ""
For Each segment In image
  found = found & segment.StartAddress & ":" & segment.Hex & " "
Next
Expect "segments", found, "50:01ABCD0099 100:01ABCD0099 "
Expect "Count of segments", image.Count, 2

Dim map, range
Set map = CreateObject("Vantrel.MemoryMap")
map.AddRange 500, 6
map.AddRange 4, 5
found = ""
For Each range In map
  found = found & range.Start & "+" & range.Count & " "
Next
Expect "ranges", found, "500+6 4+5 "

Dim calculator
Set calculator = CreateObject("Vantrel.ChecksumCalculator")
calculator.Add Bytes("FF02")
calculator.Reset
calculator.Add Bytes("FF02")
calculator.Add Bytes("01")
Set b = Bytes("AA0000")
calculator.StoreInto b
Expect "StoreInto", b.Hex, "AA0102"

On Error Resume Next
b.Item(4) = 1
ExpectError "position outside", 9, "Subscript out of range"
b.Item(1) = 256
ExpectError "no Byte", 6, "Overflow"
b.Hex = "0"
ExpectError "odd number of digits", 13, "Type mismatch"
b.Assign 5
ExpectError "no object", 13, "Type mismatch"
b.Assign Nothing
ExpectError "Nothing", 13, "Type mismatch"
Expect "unchanged after errors", b.Hex, "AA0102"
b.Mid 1
Expect "missing argument", Err.Number, 450
Err.Clear
b.EndAddress = 3
Expect "read-only property", Err.Number <> 0, True
Err.Clear
b.Missing
Expect "unknown member", Err.Number, 438
On Error GoTo 0

Passed
