// SPDX-License-Identifier: MIT
WScript.Echo("hello");
WScript.Quit(5);
