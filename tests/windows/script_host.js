// SPDX-License-Identifier: MIT
// The script host by itself, from the other language.
function expect(what, found, expected) {
  if (String(found) !== String(expected)) {
    WScript.Echo(what + ': expected "' + expected + '", found "' + found + '"');
    WScript.Quit(1);
  }
}

expect("Arguments.Count", WScript.Arguments.Count, 0);
expect("ScriptFullName", /script_host\.js$/.test(WScript.ScriptFullName), true);

var before = new Date().getTime();
WScript.Sleep(50);
expect("Sleep", new Date().getTime() - before >= 45, true);

try {
  WScript.Arguments.Item(0);
  expect("argument that there is not", "nothing raised", "an error");
} catch (e) {
  expect("argument that there is not", e.number & 0xFFFF, 9);
}

try {
  WScript.ConnectObject(WScript.CreateObject("Vantrel.ByteString"), "on_");
  expect("events of an object without", "nothing raised", "an error");
} catch (e) {
  expect("events of an object without", e.description, "The object has no events");
}

var b = new ActiveXObject("Vantrel.ByteString");
b.Hex = "01020304";
b.Item(2) = 0xAB;
expect("a property with an argument", b.Hex, "01AB0304");

WScript.Echo("passed");
WScript.Quit();
WScript.Echo("nothing runs after Quit");
