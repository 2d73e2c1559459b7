// SPDX-License-Identifier: MIT
// Sessions on a K line and behind a gateway against recorded replies, from the other language.
function expect(what, found, expected) {
  if (String(found) !== String(expected)) {
    WScript.Echo(what + ': expected "' + expected + '", found "' + found + '"');
    WScript.Quit(1);
  }
}

// Number and description of what `call` raises.
function errorOf(call) {
  try {
    call();
  } catch (e) {
    return (e.number & 0xFFFF) + " " + e.description;
  }
  return "nothing";
}

function run(root, frames) {
  var elements = root.selectNodes("//r");
  expect("number of frames", frames.length, elements.length);
  for (var index = 0; index < frames.length; ++index) {
    var expected = elements.item(index).selectSingleNode("c").text;
    expect("beginning of frame " + index, frames[index].substr(0, expected.length), expected);
    var data = root.createElement("d");
    data.text = frames[index];
    elements.item(index).appendChild(data);
  }
  return root;
}

// A reply that does not begin as the request says.
function answer(root, frame) {
  var data = root.createElement("d");
  data.text = frame;
  root.selectSingleNode("//r").appendChild(data);
  return root;
}

function bytes(hex) {
  var string = new ActiveXObject("Vantrel.ByteString");
  string.Hex = hex;
  return string;
}

var diag = new ActiveXObject("Quillmark.DiagOnCANReprog");
expect("before CANIDs", errorOf(function () { diag.StartDiag; }),
       "91 Object variable or With block variable not set");

diag.CANIDs(0, 0x11);
expect("start of a session", diag.StartDiag.selectNodes("/k/bk").length > 0, true);
var seed = diag.getseed(run(diag.readseed(), ["86F1116781010203047A"]));
expect("seed", seed.Hex, "01020304");
expect("illegal seed", errorOf(function () {
  diag.getseed(answer(diag.readseed(), "83F1117F273560"));
}), "4001 SA#1 error 7F2735");
diag.checkunlock(run(diag.dounlock(bytes("01020304")), ["82F11167826D"]));
expect("refused key", errorOf(function () {
  diag.checkunlock(answer(diag.dounlock(bytes("01020304")), "83F1117F273560"));
}), "2037 Requested Service : 27 Negative response code : 35");
diag.checkstarterase(run(diag.starterase(1), ["83F11171810178"]));

// With another checksum than the frame has.
expect("checksum", errorOf(function () {
  diag.checkstarterase(answer(diag.starterase(1), "83F11171810100"));
}), "2003 Checksum error 83F11171810100");

var gateway = new ActiveXObject("Quillmark.DiagOnCANReprog");
gateway.CANIDs(0, 0x6E);
expect("line behind the gateway", gateway.TesterPresent().selectSingleNode("/can/x/i").text, "13");

expect("a Byte out of range", errorOf(function () { diag.starterase(256); }), "6 Overflow");
expect("a Byte that is text", errorOf(function () { diag.starterase("x"); }), "13 Type mismatch");

WScript.Echo("passed");
