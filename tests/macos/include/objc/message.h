#pragma once
// What the process table of macOS uses of the Objective-C runtime's <objc/message.h>, for systems without
// that header.

extern "C" void objc_msgSend();
