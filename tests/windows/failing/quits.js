WScript.Echo("hello");
WScript.Quit(5);
