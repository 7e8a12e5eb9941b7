// dlopen, the Objective-C runtime and AppKit, as far as NSRunningApplication needs them. A message to what is
// no object, or without a pool, ends the run with status 99.
#include "machrun.h"

struct Object {
  enum { CLASS, APPLICATION, TEXT } kind;
  int isRegular;
  char text[200];  // the bundle identifier; empty: it has none
};

static int isLoaded, pools;
static struct Object runningApplication = {CLASS, 0, ""}, application, identifier;

static int appKitIs(const char* state) {
  const char* const wanted = getenv("MACHRUN_APPKIT");
  return wanted != NULL && strcmp(wanted, state) == 0;
}

static void print(const char* what) {
  static const char text[] = "2026-01-31 09:15:02.000 tavrin-hook[1:1] AppKit prints this: ";
  if (!appKitIs("loud")) return;
  if (write(2, text, sizeof text - 1) < 0 || write(2, what, strlen(what)) < 0 || write(2, "\n", 1) < 0)
    TRACE("AppKit is mute");
}

static void* openLibrary(const char* path, int mode) {
  enum { NOLOAD = 0x10 };
  TRACE("dlopen %s %d", path, mode);
  if (mode & NOLOAD) return NULL;  // libc++abi asks whether another C++ library is loaded
  // Names are then ordered by code points.
  if (strcmp(path, "/System/Library/Frameworks/CoreFoundation.framework/CoreFoundation") == 0) return NULL;
  if (strcmp(path, "/System/Library/Frameworks/AppKit.framework/AppKit") != 0) DIE("dlopen of %s", path);
  if (appKitIs("missing")) return NULL;
  isLoaded = 1;
  print("loaded");
  return &isLoaded;
}

static void* findSymbol(void) {
  DIE("dlsym");
}

static void* classNamed(const char* name) {
  return isLoaded && strcmp(name, "NSRunningApplication") == 0 ? &runningApplication : NULL;
}

static void* selectorNamed(const char* name) {
  static char names[16][64];
  static int count;
  for (int i = 0; i < count; ++i) {
    if (strcmp(names[i], name) == 0) return names[i];
  }
  if (count == 16) DIE("too many selectors");
  return strcpy(names[count++], name);
}

static void* pushPool(void) {
  return (void*)(intptr_t)++pools;
}

static void popPool(void* pool) {
  if ((intptr_t)pool != pools--) DIE("pools are popped out of order");
}

// The application that is the process, by its name in MACHRUN_APPS.
static struct Object* applicationOf(int pid) {
  char name[256], id[200];
  if (!nameOfProcess(pid, name, sizeof name) || !findInList("MACHRUN_APPS", name, id, sizeof id)) return NULL;
  application = (struct Object){.kind = APPLICATION, .isRegular = id[0] != '?'};
  if (strcmp(id, "-") != 0) strcpy(application.text, id + (id[0] == '?'));
  return &application;
}

static void* sendMessage(struct Object* receiver, const char* selector, void* argument) {
  if (receiver == NULL) return NULL;
  if (pools == 0) DIE("%s is sent without a pool", selector);
  TRACE("[%d %s]", receiver->kind, selector);
  print(selector);
  if (strcmp(selector, "respondsToSelector:") == 0) return (void*)1;
  if (receiver == &runningApplication && strcmp(selector, "runningApplicationWithProcessIdentifier:") == 0)
    return applicationOf((int)(intptr_t)argument);
  if (receiver == &application && strcmp(selector, "activationPolicy") == 0)
    return (void*)(intptr_t)!application.isRegular;
  if (receiver == &application && strcmp(selector, "bundleIdentifier") == 0) {
    identifier = application;
    identifier.kind = TEXT;
    return application.text[0] ? &identifier : NULL;
  }
  if (receiver == &identifier && strcmp(selector, "UTF8String") == 0) return identifier.text;
  DIE("an object of kind %d does not know %s", receiver->kind, selector);
}

const struct Import desktopImports[] = {{"_dlopen", (void*)openLibrary, NOTHING},
                                        {"_dlsym", (void*)findSymbol, NOTHING},
                                        {"_objc_autoreleasePoolPop", (void*)popPool, NEVER},
                                        {"_objc_autoreleasePoolPush", (void*)pushPool, NEVER},
                                        {"_objc_getClass", (void*)classNamed, NOTHING},
                                        {"_objc_msgSend", (void*)sendMessage, NOTHING},
                                        {"_sel_registerName", (void*)selectorNamed, NEVER},
                                        {NULL, NULL, UNKNOWN}};
