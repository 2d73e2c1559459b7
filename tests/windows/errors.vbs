' Err.Number and Err.Description of every error that reaches a host.
Const kNotSet = "Object variable or With block variable not set"
Const kNoText = "Application-defined or object-defined error"

Dim fresh, can, gateway, k
Set fresh = CreateObject("Quillmark.DiagOnCANReprog")
Set can = CreateObject("Quillmark.DiagOnCANReprog")
can.CANIDs 1850, 1586
Set gateway = CreateObject("Quillmark.DiagOnCANReprog")
gateway.CANIDs 0, &H6E
Set k = CreateObject("Quillmark.DiagOnCANReprog")
k.CANIDs 0, &H11

Dim image
Set image = CreateObject("Vantrel.MemoryImage")
Dim histo, reprog, ident

On Error Resume Next

' Wrong use.
fresh.CANIDs 0, 300
ExpectError "address", 6, "Overflow"
can.starterase -1
ExpectError "Byte", 6, "Overflow"
can.checkroutine CanReplies("027102"), 2
ExpectError "reply without status", 9, "Subscript out of range"
WScript.CreateObject "Quillmark.XMLDocClient"
ExpectError "an interface", 9, "pure virtual class"
can.getseed CanReplies("06678111223344ZZ")
ExpectError "no hexadecimal text", 13, "Type mismatch"
fresh.readseed
ExpectError "before CANIDs", 91, kNotSet
can.checkunlock Nothing
ExpectError "no document", 91, kNotSet
k.dounlock Bytes(Repeated("00", 254))
ExpectError "long key", 1000, "Invalid request length (256)"
can.ComputeDownload 1, image, 255, 16, 0
ExpectError "block size", 1000, "Invalid block size (0)"
can.FlowControl 1, -1
ExpectError "STmin", 4009, "Diag On CAN STmin can't be negative."
can.FlowControl 1, 256
ExpectError "STmin", 4010, "Diag On CAN STmin can't exceed 255."
can.FlowControl -1, 0
ExpectError "BS", 4011, "Diag On CAN BS can't be negative."
can.FlowControl 256, 0
ExpectError "BS", 4012, "Diag On CAN BS can't exceed 255."

' The ECU did not answer, or not as expected.
can.getseed CanReplies("-")
ExpectError "no reply", 2000, "No reply"
can.checkcheckerase CanReplies("-")
ExpectError "no reply and no text", 2000, kNoText
gateway.getseed CanReplies("0182F16EC1E98B -")
ExpectError "start of communication", 2000, "Reprog on CAN : init failed C1E9"
k.checkstarterase KReplies("83F11171810100")
ExpectError "checksum", 2003, "Checksum error 83F11171810100"
can.getseed CanReplies("056781112233")
ExpectError "seed", 2003, "SA#1 Illegal Reply : 6781112233"
can.checkunlock CanReplies("0167")
ExpectError "key", 2003, "SA#2 Illegal Reply 67"
can.gethisto CanReplies("-"), histo, reprog, ident
ExpectError "history", 4000, "Ecu is not reprogrammable"
k.getseed KReplies("82F11167816C")
ExpectError "seed in K form", 4001, "SA#1 error 6781"
can.checkstarterase CanReplies("037F3122")
ExpectError "start of the erase", 4003, "Start erase error 7F3122"
can.checkcheckerase CanReplies("037F3122")
ExpectError "erase", 4004, "Erase error 7F3122"
can.checkdownload Parsed("<can><x><r><c>6E</c><d>7F</d><e>no</e></r></x></can>")
Expect "download", Err.Number & Left(Err.Description, 15), "4005Download error "
Err.Clear
can.checkstartroutine CanReplies("037F3122"), 10
ExpectError "start of a routine", 4006, "Start routine AH error 7F3122"
can.checkupload Parsed("<can><x><e/></x></can>"), image
ExpectError "upload", 4007, "Upload error"
can.checkwritelogzone Parsed("<can><x><r><c>6E</c><d>7F</d><e>no</e></r></x></can>")
Expect "log zone", Err.Number & Left(Err.Description, 21), "4008Write log zone error "
Err.Clear

' Negative responses: code, number.
Dim response
For Each response In Split("10=2044 11=2032 12=2034 21=2035 22=2033 23=2043 33=2036 35=2037 80=2042 87=2038 78=2040")
  can.getseed CanReplies("037F27" & Left(response, 2))
  ExpectError response, Mid(response, 4), _
              "Requested Service : 27 Negative response code : " & Left(response, 2)
Next
can.getseed CanReplies("027F10")
ExpectError "cut short", 2041, "Illegal Negative Reply : 7F10"

' What a call cannot take at all.
can.Missing
Expect "unknown member", Err.Number, 438
Err.Clear
can.CANIDs 1
Expect "missing argument", Err.Number, 450
Err.Clear
can.dounlock 5
Expect "no object", Err.Number, 13
Err.Clear

On Error GoTo 0
Passed
