WScript.Echo("passed");
WScript.Echo("stopped early");
