// SPDX-License-Identifier: MIT
// Events in the other language, whose engine can receive them, while setting Cancel depends on it.
function expect(what, found, expected) {
  if (String(found) !== String(expected)) {
    WScript.Echo(what + ': expected "' + expected + '", found "' + found + '"');
    WScript.Quit(1);
  }
}

var totals = [];
var cancels = [];
function Diag_XMLReady(Node, Cancel) {
  totals.push(Node.documentElement.getAttribute("totalbytes"));
  cancels.push(Cancel);
}

var diag = WScript.CreateObject("Quillmark.DiagOnCANReprog", "Diag_");
diag.CANIDs(1850, 1586);
var map = new ActiveXObject("Vantrel.MemoryMap");
map.AddRange(4096, 100);
diag.ComputeUpload(map, 1);
for (var wait = 0; wait < 3000 && totals.length === 0; ++wait) {
  WScript.Sleep(20);
}
WScript.Sleep(200);
expect("documents", totals.length, 1);
expect("Cancel comes in", cancels[0], true);
expect("bytes", totals[0], "100");

WScript.Echo("passed");
