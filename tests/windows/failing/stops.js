// SPDX-License-Identifier: MIT
WScript.Echo("passed");
WScript.Echo("stopped early");
