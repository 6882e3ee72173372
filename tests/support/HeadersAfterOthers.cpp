// The published headers after those of other libraries, which define macros.
#include <sql.h>
#include <sqlext.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <CorvaneQueue/CorvaneQueue.h>
#include <CorvaneQueue/findMessage.h>
#include <CorvaneQueue/MessageQueuing.h>
#include <CorvaneQueue/storeCheck.h>
