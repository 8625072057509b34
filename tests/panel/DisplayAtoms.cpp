// SPDX-License-Identifier: GPL-3.0-or-later
#include "panel/DisplayAtoms.h"

#include <X11/Xlib.h>

#include <initializer_list>

namespace orphia::test {

bool MakeDisplayAtoms() {
    // Stays open: with the last connection a server forgets them.
    Display* const display = XOpenDisplay(nullptr);
    if (display == nullptr) {
        return false;
    }
    for (const char* const name :
         {"WM_PROTOCOLS", "WM_TAKE_FOCUS", "WM_DELETE_WINDOW", "_NET_WM_PING", "WM_CHANGE_STATE", "WM_STATE",
          "_NET_WM_WINDOW_TYPE", "_NET_WM_WINDOW_TYPE_NORMAL", "_NET_WM_WINDOW_TYPE_COMBO", "_NET_WM_STATE",
          "_NET_WM_STATE_HIDDEN", "_NET_WM_STATE_ABOVE", "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_PID",
          "_NET_FRAME_EXTENTS", "_MOTIF_WM_HINTS", "_NET_WM_ALLOWED_ACTIONS"}) {
        XInternAtom(display, name, False);
    }
    XSync(display, False);
    return true;
}

} // namespace orphia::test
