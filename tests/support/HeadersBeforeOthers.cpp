// The published headers before those of other libraries.
#include <CorvaneQueue/CorvaneQueue.h>
#include <CorvaneQueue/findMessage.h>
#include <CorvaneQueue/MessageQueuing.h>
#include <CorvaneQueue/storeCheck.h>

#include <sql.h>
#include <sqlext.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
