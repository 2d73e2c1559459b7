Dim b
Set b = CreateObject("Vantrel.ByteString")
b.Item(9) = 1
WScript.Echo "not reached"
